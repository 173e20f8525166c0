// The Windows program, whole, under Wine: kvbeacon.exe and kvbeacon-simulator.exe from the
// unpacked zip (KVB_WINDOWS_DIR), in the Wine prefix and on the X server the caller set up,
// asked by a client on the Linux side of loopback. KVB_SCREENSHOT names a PNG to write of
// the window once it shows a live session.
#include "framehead.h"
#include "programoutput.h"
#include "wiremessage.h"

#include <QDir>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSettings>
#include <QTcpServer>
#include <QTcpSocket>
#include <QtTest>

namespace {
QString run(const QString &program, const QStringList &arguments)
{
    QProcess process;
    process.start(program, arguments);
    process.waitForFinished(60000);
    return QString::fromLocal8Bit(process.readAllStandardOutput()).trimmed();
}

QString windowsPath(const QString &linuxPath)
{
    return run(QStringLiteral("winepath"), {QStringLiteral("-w"), linuxPath}).replace(QLatin1Char('\\'), '/');
}

} // namespace

class tst_WindowsProgram : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void cleanupTestCase();
    void identity();
    void chatTexts();
    void documentsFollowTheSimulator();
    void macroReachesTheSimulator();
    void keyOnlyWhileTheSimulatorHasTheFocus();
    void settingsStoredOnCloseAndReadBack();

private:
    void startKvBeacon();
    QString ask(int command, const QString &argument = QString());
    QJsonObject live() { return QJsonDocument::fromJson(ask(207).toUtf8()).object(); }

    QString dir;
    QString iniPath;
    quint16 port = 0;
    int nextId = 1;
    ProgramOutput simulator;
    ProgramOutput kvbeacon;
    QTcpSocket client;
};

void tst_WindowsProgram::initTestCase()
{
    dir = qEnvironmentVariable("KVB_WINDOWS_DIR");
    QVERIFY2(QFileInfo::exists(dir + "/kvbeacon.exe"), "KVB_WINDOWS_DIR names no unpacked kvBeacon zip");
    const QString localAppData = run(QStringLiteral("wine"), {QStringLiteral("cmd"), QStringLiteral("/c"),
                                                              QStringLiteral("echo %LOCALAPPDATA%")});
    iniPath =
        run(QStringLiteral("winepath"), {QStringLiteral("-u"), localAppData}) + "/kvbeacon/kvbeacon.ini";
    QVERIFY2(iniPath.startsWith('/'), qPrintable("no Windows data folder: " + localAppData));

    QTcpServer probe;
    QVERIFY(probe.listen(QHostAddress::LocalHost));
    port = probe.serverPort();
    probe.close();
    QDir().mkpath(QFileInfo(iniPath).path());
    {
        QSettings ini(iniPath, QSettings::IniFormat);
        ini.setValue(QStringLiteral("main/port"), int(port));
        ini.setValue(QStringLiteral("main/autostartserver"), true);
        ini.setValue(QStringLiteral("paths/iracingdocument"), windowsPath(dir + "/sample-documents"));
    }

    // Without arguments the stand-in plays the sample scenario that lies beside it.
    simulator.process.start(QStringLiteral("wine"), {dir + "/kvbeacon-simulator.exe"});
    QVERIFY2(simulator.waitFor("publishing", 60000), simulator.output.constData());
    QVERIFY(simulator.waitFor("window opened"));
    startKvBeacon();
}

void tst_WindowsProgram::cleanupTestCase()
{
    client.abort();
    run(QStringLiteral("wine"),
        {QStringLiteral("taskkill"), QStringLiteral("/IM"), QStringLiteral("kvbeacon.exe")});
    kvbeacon.process.waitForFinished(10000);
    simulator.process.write("quit\n");
    simulator.process.waitForFinished(10000);
}

void tst_WindowsProgram::startKvBeacon()
{
    kvbeacon.output.clear();
    kvbeacon.process.start(QStringLiteral("wine"), {dir + "/kvbeacon.exe"});
    // The server starts itself a second after the window: the first start of a prefix is slower.
    const bool connected = QTest::qWaitFor(
        [&] {
            client.abort();
            client.connectToHost(QHostAddress::LocalHost, port);
            return client.waitForConnected(1000);
        },
        60000);
    QVERIFY2(connected, kvbeacon.output.constData());
}

QString tst_WindowsProgram::ask(int command, const QString &argument)
{
    const int id = nextId++;
    client.write(WireMessage(command, id, argument).data);
    QByteArray bytes;
    while (FrameHead::wholeFrameSize(bytes) == 0 && client.waitForReadyRead(10000))
        bytes += client.readAll();
    const WireMessage reply(bytes);
    if (reply.command != command || reply.id != id)
        return QStringLiteral("no reply to %1: %2").arg(command).arg(QString::fromUtf8(bytes));
    return reply.payload.left(reply.payload.size() - 1);
}

void tst_WindowsProgram::identity()
{
    ask(201, QStringLiteral("Wine check"));
    QCOMPARE(ask(202), QStringLiteral("kv-Beacon"));
    bool number = false;
    ask(203).toInt(&number);
    QVERIFY(number);
}

void tst_WindowsProgram::chatTexts()
{
    // QSettings reads an unquoted comma as a list separator and joins the parts without it.
    QCOMPARE(ask(205), QStringLiteral("Pitting this lap|Thanks for the room|Sorry,my fault|Good race,everyone|"
                                      "Blue flag, let me by, please||||||||||"));
}

void tst_WindowsProgram::documentsFollowTheSimulator()
{
    for (const char *fuel : {"12.5", "30.25"}) {
        QVERIFY(simulator.send(QByteArray("set FuelLevel ") + fuel));
        QVERIFY2(
            QTest::qWaitFor(
                [&] { return live().value("FuelLevel").toDouble() == QByteArray(fuel).toDouble(); }, 5000),
            qPrintable(ask(207)));
    }
    const double before = live().value("SessionTimeSinceStarted").toDouble();
    QVERIFY(
        QTest::qWaitFor([&] { return live().value("SessionTimeSinceStarted").toDouble() > before; }, 5000));
    const QJsonObject info = QJsonDocument::fromJson(ask(208).toUtf8()).object();
    QCOMPARE(info.value("WI.Trackname").toString(), QStringLiteral("sample_speedway"));

    const QString screenshot = qEnvironmentVariable("KVB_SCREENSHOT");
    if (!screenshot.isEmpty()) {
        QTest::qWait(1500);
        QProcess shot;
        shot.start(QStringLiteral("sh"),
                   {QStringLiteral("-c"),
                    QStringLiteral("xwd -silent -name kvBeacon | xwdtopnm 2>/dev/null | pnmtopng >\"$0\""),
                    screenshot});
        QVERIFY(shot.waitForFinished(20000) && shot.exitCode() == 0);
    }
}

void tst_WindowsProgram::macroReachesTheSimulator()
{
    QCOMPARE(ask(206, QStringLiteral("3")), QStringLiteral("Button ok"));
    QVERIFY2(simulator.waitFor("broadcast msg=8 var1=0 var2=2"),
             simulator.output.constData());
}

void tst_WindowsProgram::keyOnlyWhileTheSimulatorHasTheFocus()
{
    QVERIFY(simulator.send("unfocus") && simulator.waitFor("unfocused"));
    QTest::qWait(1500);
    QCOMPARE(ask(209, QStringLiteral("112")), QStringLiteral("KEY OK"));
    QTest::qWait(1500);
    QCOMPARE(simulator.count("key down vk=0x70"), 0);

    QVERIFY(simulator.send("focus") && simulator.waitFor("\nfocused"));
    // kvBeacon learns of the focus on its next session poll.
    QVERIFY2(QTest::qWaitFor(
                 [&] {
                     ask(209, QStringLiteral("112"));
                     return simulator.waitFor("key down vk=0x70", 500);
                 },
                 10000),
             simulator.output.constData());
    QVERIFY(simulator.waitFor("key up vk=0x70"));
}

void tst_WindowsProgram::settingsStoredOnCloseAndReadBack()
{
    client.abort();
    // taskkill without /F asks the window to close, as the close button does.
    run(QStringLiteral("wine"),
        {QStringLiteral("taskkill"), QStringLiteral("/IM"), QStringLiteral("kvbeacon.exe")});
    QVERIFY(kvbeacon.process.waitForFinished(20000));
    {
        QSettings ini(iniPath, QSettings::IniFormat);
        QStringList keys = ini.allKeys();
        keys.sort();
        QCOMPARE(keys, QStringList({"main/autostartserver", "main/ip", "main/netinterface", "main/port",
                                    "main/windowgeometry", "main/windowstate", "paths/iracingdocument"}));
        QCOMPARE(ini.value("main/port").toInt(), int(port));
    }
    // The next start listens on the stored port and reads the stored documents folder.
    startKvBeacon();
    QVERIFY(ask(205).startsWith(QStringLiteral("Pitting this lap|")));
}

QTEST_GUILESS_MAIN(tst_WindowsProgram)
#include "tst_windowsprogram.moc"
