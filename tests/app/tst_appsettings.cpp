#include "appsettings.h"

#include <QSettings>
#include <QStandardPaths>
#include <QtTest>

#include <thread>

class tst_AppSettings : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void init();
    void defaultsWithoutFile();
    void portKeepsLow16Bits();
    void portZeroIsStored();
    void valuesRoundTrip();
    void documentPathFromOtherThreads();

private:
    QString iniPath() const
    {
        return QStandardPaths::writableLocation(QStandardPaths::DataLocation) +
               QStringLiteral("/kvbeacon.ini");
    }
};

void tst_AppSettings::initTestCase()
{
    QStandardPaths::setTestModeEnabled(true);
}

void tst_AppSettings::init()
{
    QFile::remove(iniPath());
}

void tst_AppSettings::defaultsWithoutFile()
{
    QObject owner;
    QTest::ignoreMessage(QtDebugMsg,
                         QRegularExpression(QStringLiteral("^Expecting settings at \".*/kvbeacon.ini\"$")));
    AppSettings settings(&owner);
    QCOMPARE(settings.port(), quint16(47812));
    QCOMPARE(settings.autoStartServer(), false);
    QVERIFY(settings.ip().isEmpty());
    QVERIFY(settings.netInterface().isEmpty());
    QVERIFY(settings.windowState().isEmpty());
    QVERIFY(settings.windowGeometry().isEmpty());
    QVERIFY(settings.iracingDocumentPath().isEmpty());
}

void tst_AppSettings::portKeepsLow16Bits()
{
    {
        QSettings byHand(iniPath(), QSettings::IniFormat);
        byHand.setValue(QStringLiteral("main/port"), 70000);
    }
    QObject owner;
    AppSettings settings(&owner);
    QCOMPARE(settings.port(), quint16(4464));
}

void tst_AppSettings::portZeroIsStored()
{
    {
        QObject owner;
        AppSettings settings(&owner);
        settings.setPort(0);
    }
    QObject owner;
    AppSettings settings(&owner);
    QCOMPARE(settings.port(), quint16(0));
}

void tst_AppSettings::valuesRoundTrip()
{
    {
        QObject owner;
        AppSettings settings(&owner);
        settings.setPort(4000);
        settings.setIp(QStringLiteral("192.168.1.20"));
        settings.setNetInterface(QStringLiteral("192.168.1.20 - eth0"));
        settings.setAutoStartServer(true);
        settings.setWindowState(QByteArray("\x00\x01state", 7));
        settings.setWindowGeometry(QByteArray("geometry\xff", 9));
        settings.setIracingDocumentPath(QStringLiteral("C:/Users/driver/Documents/iRacing"));
    }
    QSettings file(iniPath(), QSettings::IniFormat);
    QCOMPARE(file.childGroups(), QStringList({QStringLiteral("main"), QStringLiteral("paths")}));
    QCOMPARE(file.allKeys().size(), 7);

    QObject owner;
    AppSettings settings(&owner);
    QCOMPARE(settings.port(), quint16(4000));
    QCOMPARE(settings.ip(), QStringLiteral("192.168.1.20"));
    QCOMPARE(settings.netInterface(), QStringLiteral("192.168.1.20 - eth0"));
    QCOMPARE(settings.autoStartServer(), true);
    QCOMPARE(settings.windowState(), QByteArray("\x00\x01state", 7));
    QCOMPARE(settings.windowGeometry(), QByteArray("geometry\xff", 9));
    QCOMPARE(settings.iracingDocumentPath(), QStringLiteral("C:/Users/driver/Documents/iRacing"));
}

// Connection threads read the folder while the main thread may just have stored a new one.
void tst_AppSettings::documentPathFromOtherThreads()
{
    QObject owner;
    AppSettings settings(&owner);
    for (int round = 0; round < 50; ++round) {
        const QString path = QStringLiteral("/documents/%1").arg(round);
        settings.setIracingDocumentPath(path);
        std::vector<std::thread> readers;
        std::atomic<int> wrong{0};
        for (int i = 0; i < 4; ++i)
            readers.emplace_back([&] {
                if (settings.iracingDocumentPath() != path)
                    ++wrong;
            });
        for (std::thread &t : readers)
            t.join();
        QCOMPARE(wrong.load(), 0);
    }
}

QTEST_GUILESS_MAIN(tst_AppSettings)
#include "tst_appsettings.moc"
