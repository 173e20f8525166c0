#include "appsettings.h"
#include "documentsfolder.h"

#include <QSettings>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QtTest>

#include <thread>

class tst_Settings : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase() { QStandardPaths::setTestModeEnabled(true); }
    void init() { QFile::remove(iniPath()); }
    void defaultsWithoutFile();
    void port_data();
    void port();
    void storedUnderTheirKeys();
    void documentPathFromOtherThreads();
    void documentsFolder_data();
    void documentsFolder();
    void chatTextsEditedBetweenRequests();

private:
    static QString iniPath()
    {
        return QStandardPaths::writableLocation(QStandardPaths::DataLocation) +
               QStringLiteral("/kvbeacon.ini");
    }
};

void tst_Settings::defaultsWithoutFile()
{
    QObject owner;
    QTest::ignoreMessage(QtDebugMsg,
                         QRegularExpression(QStringLiteral("^Expecting settings at \".*/kvbeacon.ini\"$")));
    AppSettings settings(&owner);
    QCOMPARE(settings.port(), quint16(47812));
    QCOMPARE(settings.autoStartServer(), false);
    QVERIFY(settings.ip().isEmpty() && settings.netInterface().isEmpty() &&
            settings.iracingDocumentPath().isEmpty());
    QVERIFY(settings.windowState().isEmpty() && settings.windowGeometry().isEmpty());
    QVERIFY(!QFile::exists(iniPath()));
}

void tst_Settings::port_data()
{
    QTest::addColumn<int>("stored");
    QTest::addColumn<int>("port");
    QTest::newRow("low 16 bits") << 70000 << 4464;
    QTest::newRow("zero is kept") << 0 << 0;
}

void tst_Settings::port()
{
    QFETCH(int, stored);
    QFETCH(int, port);
    QSettings(iniPath(), QSettings::IniFormat).setValue(QStringLiteral("main/port"), stored);
    QObject owner;
    QCOMPARE(AppSettings(&owner).port(), quint16(port));
}

void tst_Settings::storedUnderTheirKeys()
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
    const QSettings file(iniPath(), QSettings::IniFormat);
    QCOMPARE(file.allKeys(),
             QStringList({"main/autostartserver", "main/ip", "main/netinterface", "main/port",
                          "main/windowgeometry", "main/windowstate", "paths/iracingdocument"}));
    QCOMPARE(file.value("main/port").toInt(), 4000);
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
void tst_Settings::documentPathFromOtherThreads()
{
    QObject owner;
    AppSettings settings(&owner);
    for (int round = 0; round < 50; ++round) {
        const QString path = QStringLiteral("/documents/%1").arg(round);
        settings.setIracingDocumentPath(path);
        QString seen;
        std::thread([&] { seen = settings.iracingDocumentPath(); }).join();
        QCOMPARE(seen, path);
    }
}

void tst_Settings::documentsFolder_data()
{
    QTest::addColumn<QByteArray>("appIni"); // "dir": a folder of that name; empty: none
    QTest::addColumn<bool>("holdsAppIni");
    QTest::addColumn<QString>("texts");
    QTest::newRow("texts") << QByteArray("[Autochat Messages]\nAutoChatStr1=Pit this lap\nAutoChatStr2=a,b\n"
                                         "AutoChatStr3=\"quoted, kept\"\nAutoChatStr15=last\n")
                           << true << "Pit this lap|a,b|quoted, kept||||||||||||last";
    QTest::newRow("no chat section") << QByteArray("[Other]\nkey=value\n") << true << "||||||||||||||";
    QTest::newRow("no app.ini") << QByteArray() << false << "iRacing not found";
    QTest::newRow("a folder named app.ini") << QByteArray("dir") << false << "iRacing not found";
}

void tst_Settings::documentsFolder()
{
    QFETCH(QByteArray, appIni);
    QFETCH(bool, holdsAppIni);
    QFETCH(QString, texts);
    QTemporaryDir folder;
    QFile file(folder.filePath(QStringLiteral("app.ini")));
    if (appIni == "dir")
        QVERIFY(QDir(folder.path()).mkdir(QStringLiteral("app.ini")));
    else if (!appIni.isEmpty())
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write(appIni) && file.flush());
    QCOMPARE(DocumentsFolder::holdsAppIni(folder.path()), holdsAppIni);
    QCOMPARE(DocumentsFolder::chatTexts(folder.path()), texts);
}

// Same size and the same time stamp, as a coarse file clock gives two quick edits: once
// served stale from QSettings' cache.
void tst_Settings::chatTextsEditedBetweenRequests()
{
    QTemporaryDir folder;
    QFile file(folder.filePath(QStringLiteral("app.ini")));
    for (int round = 0; round < 20; ++round) {
        const QByteArray text(4, char('a' + round % 2));
        QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
        file.write("[Autochat Messages]\nAutoChatStr1=" + text + "\n");
        QVERIFY(
            file.setFileTime(QDateTime(QDate(2026, 1, 1), QTime(12, 0)), QFileDevice::FileModificationTime));
        file.close();
        QCOMPARE(DocumentsFolder::chatTexts(folder.path()), QString::fromLatin1(text + "||||||||||||||"));
    }
}

QTEST_GUILESS_MAIN(tst_Settings)
#include "tst_settings.moc"
