#include "appsettings.h"
#include "basics.h"
#include "documentsfolder.h"
#include "protocol.h"

#include <QtTest>

class tst_Settings : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase() { QStandardPaths::setTestModeEnabled(true); }
    void port_data()
    {
        QTest::addColumn<QVariant>("stored"); // invalid: no file
        QTest::addColumn<int>("port");
        QTest::newRow("no file: the default") << QVariant() << 47812;
        QTest::newRow("low 16 bits") << QVariant(70000) << 4464;
        QTest::newRow("zero is kept") << QVariant(0) << 0;
    }
    // The keys themselves are pinned by the window's test, which stores them all.
    void port()
    {
        QFETCH(QVariant, stored);
        QFETCH(int, port);
        const QString ini =
            QStandardPaths::writableLocation(QStandardPaths::DataLocation) + QStringLiteral("/kvbeacon.ini");
        QFile::remove(ini);
        if (stored.isValid())
            QSettings(ini, QSettings::IniFormat).setValue(QStringLiteral("main/port"), stored);
        QObject owner;
        QTest::ignoreMessage(QtDebugMsg, QRegularExpression("^Expecting settings at \".*/kvbeacon.ini\"$"));
        const AppSettings settings(&owner);
        QCOMPARE(settings.port(), quint16(port));
        QVERIFY(!settings.autoStartServer() && settings.iracingDocumentPath().isEmpty());
        QCOMPARE(QFile::exists(ini), stored.isValid()); // reading writes nothing
    }
    void documentsFolder_data()
    {
        QTest::addColumn<QByteArray>("appIni"); // "dir": a folder of that name
        QTest::addColumn<QString>("texts");
        QTest::newRow("texts") << QByteArray(
                                      "[Autochat Messages]\nAutoChatStr1=Pit this lap\nAutoChatStr2=a,b\n"
                                      "AutoChatStr3=\"quoted, kept\"\nAutoChatStr15=last\n")
                               << "Pit this lap|a,b|quoted, kept||||||||||||last";
        // Read as Latin-1: UTF-8 arrives encoded twice. Blanks around an unquoted comma, quotes, and
        // all behind a ";" are dropped; backslash escapes are decoded.
        QTest::newRow("encoding and format")
            << QByteArray(
                   "[Autochat Messages]\nAutoChatStr1=Gr\xc3\xbc\xc3\x9f\x65 \xf0\x9f\x8f\x81\n"
                   "AutoChatStr2=Gr\xfc\xdf\x65\nAutoChatStr3=a, b ,c\nAutoChatStr4=say \"hi\" now; later\n"
                   "AutoChatStr5=back\\\\slash \\x41\n")
            << QString::fromLatin1("Gr\xc3\xbc\xc3\x9f\x65 \xf0\x9f\x8f\x81|Gr\xfc\xdf\x65|a,b,c|say hinow|"
                                   "back\\slash A||||||||||");
        QTest::newRow("no chat section") << QByteArray("[Other]\nkey=value\n") << "||||||||||||||";
        QTest::newRow("a folder named app.ini") << QByteArray("dir") << QString(Protocol::noChatTexts);
    }
    void documentsFolder()
    {
        QFETCH(QByteArray, appIni);
        QFETCH(QString, texts);
        QTemporaryDir folder;
        if (appIni == "dir")
            QVERIFY(QDir(folder.path()).mkdir(QStringLiteral("app.ini")));
        else
            QVERIFY(writeFile(folder.filePath(QStringLiteral("app.ini")), appIni));
        QCOMPARE(DocumentsFolder::holdsAppIni(folder.path()), texts != QLatin1String(Protocol::noChatTexts));
        QCOMPARE(DocumentsFolder::chatTexts(folder.path()), texts);
        // No temporary folder to copy the file into (a file in its place): the file itself is read.
        const QString notAFolder = folder.filePath(QStringLiteral("tmp"));
        QVERIFY(writeFile(notAFolder, ""));
        const QByteArray tmp = qgetenv("TMPDIR");
        qputenv("TMPDIR", notAFolder.toLocal8Bit());
        QCOMPARE(DocumentsFolder::chatTexts(folder.path()), texts);
        qputenv("TMPDIR", tmp);
    }
    // Same size and the same time stamp, as a coarse file clock gives two quick edits: once
    // served stale from QSettings' cache.
    void chatTextsEditedBetweenRequests()
    {
        QTemporaryDir folder;
        QFile file(folder.filePath(QStringLiteral("app.ini")));
        for (int round = 0; round < 20; ++round) {
            const QByteArray text(4, char('a' + round % 2));
            QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
            file.write("[Autochat Messages]\nAutoChatStr1=" + text + "\n");
            QVERIFY(file.setFileTime(QDateTime(QDate(2026, 1, 1), QTime(12, 0)),
                                     QFileDevice::FileModificationTime));
            file.close();
            QCOMPARE(DocumentsFolder::chatTexts(folder.path()), QString::fromLatin1(text + "||||||||||||||"));
        }
    }
};

QTEST_GUILESS_MAIN(tst_Settings)
#include "tst_settings.moc"
