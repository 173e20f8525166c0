// The Windows program, whole, under Wine: kvbeacon.exe, kvbeacon-simulator.exe and
// kvbeacon-web.exe from the unpacked zip (KVB_WINDOWS_DIR), in the Wine prefix and on the X
// server the caller set up, asked from the Linux side of loopback by a client, by headless
// Chromium and through a Mosquitto broker. KVB_SCREENSHOT names a PNG to write of the window
// once it shows a live session.
#include "broker.h"
#include "programoutput.h"
#include "serverfixture.h"
#include "webdriver.h"

namespace {
QString run(const QString &program, const QStringList &arguments)
{
    QProcess process;
    process.start(program, arguments);
    process.waitForFinished(60000);
    return QString::fromLocal8Bit(process.readAllStandardOutput()).trimmed();
}

// The Windows user's local data folder in the prefix, as a Unix path.
QString localAppData()
{
    const QString windows = run(QStringLiteral("wine"), {QStringLiteral("cmd"), "/c", "echo %LOCALAPPDATA%"});
    return run(QStringLiteral("winepath"), {QStringLiteral("-u"), windows});
}

QString windowsPath(const QString &path)
{
    return run(QStringLiteral("winepath"), {QStringLiteral("-w"), path});
}

// Ends a program of the prefix: by force, or by asking its window to close as the close button does.
void taskkill(const char *image, bool force)
{
    run(QStringLiteral("wine"),
        force ? QStringList{"taskkill", "/F", "/IM", image} : QStringList{"taskkill", "/IM", image});
}
} // namespace

class tst_WindowsProgram : public QObject
{
    Q_OBJECT
private slots:
    void firstStart();
    void wholeProgram();
    void phoneDashboardAndTeam();
    void recordAndReplay();
    void cleanupTestCase();

private:
    bool startKvBeacon()
    {
        kvbeacon.process.start(QStringLiteral("wine"), {dir + "/kvbeacon.exe"});
        // The server starts itself a second after the window: the first start of a prefix is slower.
        return QTest::qWaitFor([&] { return client.connectTo(loopback, port, 1000); }, 60000);
    }
    // The value of `key` in the document a Protocol::Live or Protocol::Info reply carries.
    // kvbeacon-web's state, read whole: the connection closes after it.
    QJsonObject webState(quint16 webPort)
    {
        RawConnection http(webPort);
        http.write("GET /api/state HTTP/1.1\r\nHost: 127.0.0.1:" + QByteArray::number(webPort) +
                   "\r\nConnection: close\r\n\r\n");
        QByteArray reply;
        while (http.waitForReadyRead(3000))
            reply += http.readAll();
        return json(reply.mid(reply.indexOf("\r\n\r\n") + 4));
    }
    QJsonValue value(Protocol::Command command, const char *key)
    {
        const std::optional<Reply> reply = client.request(command);
        return reply ? json(reply->payload.toUtf8()).value(key) : QJsonValue();
    }

    QString dir = qEnvironmentVariable("KVB_WINDOWS_DIR");
    quint16 port = 0;
    int id = 100;
    ProgramOutput simulator, kvbeacon, web;
    BeaconClient client;
};

// The first start as a new user meets it, in the fresh prefix: "Start kvBeacon.cmd" opens kvBeacon,
// its server off, and kvbeacon-web, whose console and pages say what to do; then, the server
// started as they say (the box ticked, kvBeacon started again) and the stand-in running, live.
void tst_WindowsProgram::firstStart()
{
    // The documents folder picked, as the window asks on a first start; nothing else stored.
    const QString iniPath = localAppData() + "/kvbeacon/kvbeacon.ini";
    QVERIFY(QDir().mkpath(QFileInfo(iniPath).path()));
    QSettings(iniPath, QSettings::IniFormat)
        .setValue(QStringLiteral("paths/iracingdocument"), windowsPath(dir + "/sample-documents"));
    QElapsedTimer clock;
    clock.start();
    const quint16 webPort = freePort();
    web.process.setWorkingDirectory(dir);
    web.process.start(QStringLiteral("wine"),
                      {"cmd", "/c", "Start kvBeacon.cmd", "--port", QString::number(webPort)});
    // Said once kvBeacon runs (until then: start kvBeacon), and again once it is gone.
    const auto hintSays = [&](const QString &start, int ms) {
        return QTest::qWaitFor([&] { return webState(webPort)["hint"].toString().startsWith(start); }, ms) &&
               web.waitFor(start.toUtf8());
    };
    QVERIFY2(hintSays(QStringLiteral("Click \"Start Server\" in kvBeacon's window"), 60000),
             web.output.constData());
    // Closed as by its close button, once its window is up.
    QVERIFY2(QTest::qWaitFor(
                 [&] { return taskkill("kvbeacon.exe", false), hintSays("Start kvBeacon.", 2000); }, 60000),
             web.output.constData());
    QSettings(iniPath, QSettings::IniFormat).setValue(QStringLiteral("main/autostartserver"), true);
    simulator.process.start(QStringLiteral("wine"), {dir + "/kvbeacon-simulator.exe"});
    QVERIFY2(simulator.waitFor("publishing", 60000), simulator.output.constData());
    kvbeacon.process.start(QStringLiteral("wine"), {dir + "/kvbeacon.exe"});
    QVERIFY2(QTest::qWaitFor([&] { return webState(webPort)["state"] == "live"; }, 60000),
             web.output.constData());
    qInfo("From \"Start kvBeacon.cmd\" in a fresh prefix to live values: %.1f s", clock.elapsed() / 1000.0);
    QVERIFY2(web.waitFor(" Live"), web.output.constData());

    taskkill("kvbeacon-web.exe", true);
    web.process.write("\n"); // the window's "Press a key"
    QVERIFY(web.process.waitForFinished(20000));
    taskkill("kvbeacon.exe", false);
    QVERIFY(kvbeacon.process.waitForFinished(20000) && simulator.quit(20000));
}

void tst_WindowsProgram::wholeProgram()
{
    QVERIFY2(QFileInfo::exists(dir + "/kvbeacon.exe"), "KVB_WINDOWS_DIR names no unpacked kvBeacon zip");
    const QString iniPath = localAppData() + "/kvbeacon/kvbeacon.ini";
    QVERIFY2(iniPath.startsWith('/'), qPrintable("no Windows data folder: " + iniPath));
    port = freePort();
    QDir().mkpath(QFileInfo(iniPath).path());
    {
        QSettings ini(iniPath, QSettings::IniFormat);
        ini.setValue(QStringLiteral("main/port"), int(port));
        ini.setValue(QStringLiteral("main/autostartserver"), true);
        ini.setValue(QStringLiteral("paths/iracingdocument"), windowsPath(dir + "/sample-documents"));
    }
    // Without arguments the stand-in plays the sample scenario that lies beside it.
    simulator.process.start(QStringLiteral("wine"), {dir + "/kvbeacon-simulator.exe"});
    QVERIFY2(simulator.waitFor("publishing", 60000) && simulator.waitFor("window opened"),
             simulator.output.constData());
    QVERIFY2(startKvBeacon(), kvbeacon.output.constData());

    QCOMPARE(ask(client, request(Protocol::ServerName, 2)), QByteArray("@000021;202;000002;kv-Beacon;"));
    // QSettings reads an unquoted comma as a list separator and joins the parts without it.
    const QByteArray chatTexts = "Pitting this lap|Thanks for the room|Sorry,my fault|Good race,everyone|"
                                 "Blue flag, let me by, please||||||||||";
    QCOMPARE(ask(client, request(Protocol::ChatTexts, 4)), request(Protocol::ChatTexts, 4, chatTexts));

    QVERIFY(simulator.send("set FuelLevel 30.25"));
    QVERIFY2(QTest::qWaitFor([&] { return value(Protocol::Live, "FuelLevel").toDouble() == 30.25; }, 5000),
             qPrintable(QString::number(value(Protocol::Live, "FuelLevel").toDouble())));
    const double before = value(Protocol::Live, "SessionTimeSinceStarted").toDouble();
    QVERIFY(QTest::qWaitFor(
        [&] { return value(Protocol::Live, "SessionTimeSinceStarted").toDouble() > before; }, 5000));
    const char *const track = Protocol::InfoKey::TrackName;
    QVERIFY2(QTest::qWaitFor([&] { return value(Protocol::Info, track) == "sample_speedway"; }, 5000),
             qPrintable(value(Protocol::Info, track).toString()));
    const QString screenshot = qEnvironmentVariable("KVB_SCREENSHOT");
    if (!screenshot.isEmpty()) {
        QTest::qWait(1500);
        const QString command = "xwd -silent -name kvBeacon | xwdtopnm 2>/dev/null | pnmtopng >\"$0\"";
        QCOMPARE(QProcess::execute(QStringLiteral("timeout"), {"20", "sh", "-c", command, screenshot}), 0);
    }

    QCOMPARE(ask(client, request(Protocol::ChatMacro, 5, "3")), QByteArray("@000021;206;000005;Button ok;"));
    QVERIFY2(simulator.waitFor("broadcast msg=8 var1=0 var2=2") &&
                 simulator.waitFor("chat macro 3: Sorry,my fault"),
             simulator.output.constData());

    QVERIFY(simulator.send("unfocus") && simulator.waitFor("unfocused"));
    QTest::qWait(1500); // a session poll sees the focus gone
    QCOMPARE(ask(client, request(Protocol::PressKey, 6, "112")), QByteArray("@000018;209;000006;KEY OK;"));
    QTest::qWait(1500);
    QCOMPARE(simulator.count("key down vk=0x70"), 0);
    QVERIFY(simulator.send("focus") && simulator.waitFor("\nfocused"));
    const auto pressed = [&] {
        ask(client, request(Protocol::PressKey, ++id, "112"));
        return simulator.waitFor("key down vk=0x70", 500);
    };
    QVERIFY2(QTest::qWaitFor(pressed, 10000), simulator.output.constData());
    QVERIFY(simulator.waitFor("key up vk=0x70"));

    client.close();
    taskkill("kvbeacon.exe", false);
    QVERIFY(kvbeacon.process.waitForFinished(20000));
    QSettings ini(iniPath, QSettings::IniFormat);
    QStringList keys = ini.allKeys();
    keys.sort();
    QCOMPARE(keys, QStringList({"main/autostartserver", "main/ip", "main/netinterface", "main/port",
                                "main/windowgeometry", "main/windowstate", "paths/iracingdocument"}));
    QCOMPARE(ini.value("main/port").toInt(), int(port));
    // The next start listens on the stored port and reads the stored documents folder.
    QVERIFY2(startKvBeacon(), kvbeacon.output.constData());
    QCOMPARE(ask(client, request(Protocol::ChatTexts, 7)), request(Protocol::ChatTexts, 7, chatTexts));
}

// kvbeacon-web.exe beside the two: the dashboard and the phone's page in Chromium on the Linux
// side with values moving, and the car shared over TLS with a password through a Mosquitto on
// Linux, until its last will says offline.
void tst_WindowsProgram::phoneDashboardAndTeam()
{
    QVERIFY2(client.isConnected(), "kvBeacon did not come up in wholeProgram");
    Broker broker;
    QVERIFY(broker.make() && broker.start());
    Client watcher(broker);
    QVERIFY(watcher.subscribe("kvbeacon/wine/ann/#"));
    const quint16 webPort = freePort();
    const auto startWeb = [&](const char *driver, const QStringList &more) {
        web.output.clear();
        web.process.start(QStringLiteral("wine"),
                          QStringList{dir + "/kvbeacon-web.exe", "--port", QString::number(webPort),
                                      "--beacon", QStringLiteral("127.0.0.1:%1").arg(port), "--mqtt",
                                      broker.url(driver), "--team", "wine", "--driver", driver} +
                              more);
    };
    startWeb("ann", {"--mqtt-ca", windowsPath(broker.path("ca.crt"))});
    QVERIFY2(web.waitFor("kvbeacon/wine/ann", 60000), web.output.constData());
    // The QR code in block characters, the address under it, and the phone's page on this PC.
    QVERIFY2(web.output.contains("\xe2\x96\x88") && web.output.contains("On a phone on the same network") &&
                 web.output.contains("/phone   (open it on this PC"),
             web.output.constData());

    WebDriver browser;
    QVERIFY2(browser.start(), "chromedriver or Chromium did not start");
    QVERIFY(browser.viewport(390, 844));
    const QString base = QStringLiteral("http://127.0.0.1:%1").arg(webPort);
    browser.open(QUrl(base + "/"));
    QTRY_COMPARE_WITH_TIMEOUT(browser.text("#track"), QStringLiteral("sample_speedway"), 15000);
    const QString time = browser.text("#time");
    QTRY_VERIFY_WITH_TIMEOUT(browser.text("#time") != time, 5000);

    // The keys set up on a page are kept in the Windows user's own folder.
    QCOMPARE(browser
                 .run("return fetch('/api/buttons', {method: 'PUT', headers: {'Content-Type': "
                      "'application/json'}, body: JSON.stringify({keys: [{key: 'F5', label: 'Wipers'}]})})"
                      ".then(r => r.status);")
                 .toInt(),
             200);
    QFile box(localAppData() + "/kvbeacon-web/buttons.json");
    QVERIFY2(box.open(QIODevice::ReadOnly) && box.readAll().contains("Wipers"), qPrintable(box.fileName()));

    // The page the PC's browser opens for the phone draws a code for each address it lists.
    browser.open(QUrl(base + "/phone"));
    QTRY_VERIFY_WITH_TIMEOUT(browser.count("figure canvas") == browser.count(".address") &&
                                 browser.text("#codes").contains("http"),
                             5000);

    QTRY_VERIFY_WITH_TIMEOUT(watcher.of("kvbeacon/wine/ann/live").size() >= 5, 10000);
    const QJsonObject live = json(watcher.last("kvbeacon/wine/ann/live"))["live"].toObject();
    QVERIFY2(live["SessionTimeSinceStarted"].toDouble() > 0 && live["FuelLevel"].toDouble() == 30.25,
             watcher.last("kvbeacon/wine/ann/live"));
    QCOMPARE(watcher.last("kvbeacon/wine/ann/status"), QByteArray("online"));

    taskkill("kvbeacon-web.exe", true);
    QVERIFY(web.process.waitForFinished(20000));
    QTRY_COMPARE_WITH_TIMEOUT(watcher.last("kvbeacon/wine/ann/status"), QByteArray("offline"), 15000);

    // Without a CA of its own the broker's certificate is checked against Windows' store, written
    // out for OpenSSL at start: the test's own CA is not in it, so the broker is refused.
    startWeb("bob", {});
    // The end of the line that says why: Wine may hand the output over in pieces.
    QVERIFY2(web.waitFor("trying again in", 60000), web.output.constData());
    // libmosquitto names the certificate check, or under Wine at times only "A TLS error".
    QVERIFY2(web.output.contains("certificate") || web.output.contains("TLS error"), web.output.constData());
    QCOMPARE(watcher.last("kvbeacon/wine/bob/status"), QByteArray());
    QFile roots(localAppData() + "/kvbeacon-web/windows-roots.pem");
    QVERIFY2(roots.open(QIODevice::ReadOnly) && roots.readAll().contains("-----BEGIN CERTIFICATE-----"),
             qPrintable(roots.fileName()));
    broker.stop();
}

// A driver records the race with kvbeacon-cli.exe; kvbeacon-simulator.exe replays it, and
// kvBeacon serves the recorded values again.
void tst_WindowsProgram::recordAndReplay()
{
    QVERIFY2(client.isConnected(), "kvBeacon did not come up in wholeProgram");
    QTemporaryDir folder;
    const QString file = folder.filePath(QStringLiteral("race.jsonl"));
    const QString windowsFile = windowsPath(file);
    run(QStringLiteral("wine"), {dir + "/kvbeacon-cli.exe", "--port", QString::number(port), "record",
                                 windowsFile, "--duration", "3"});
    QFile recording(file);
    QVERIFY2(recording.open(QIODevice::ReadOnly), qPrintable(file));
    const QList<QByteArray> lines = recording.readAll().trimmed().split('\n');
    QVERIFY2(lines.size() > 15 && lines.first().contains("\"format\":\"kvbeacon-recording\""), lines.first());
    const double last = json(lines.last())["live"]["SessionTimeSinceStarted"].toDouble();

    QVERIFY(simulator.quit(20000));
    simulator.process.start(QStringLiteral("wine"),
                            {dir + "/kvbeacon-simulator.exe", "--replay", windowsFile});
    QVERIFY2(simulator.waitFor("publishing", 60000), simulator.output.constData());
    // The replay's clock runs through the recorded times, then holds the last.
    // The recorder's leaving paused kvBeacon's publishing: a new connection re-arms it.
    QVERIFY(QTest::qWaitFor([&] { return client.reconnect(1000); }, 10000));
    QVERIFY2(QTest::qWaitFor(
                 [&] { return value(Protocol::Live, "SessionTimeSinceStarted").toDouble() == last; }, 30000),
             qPrintable(QString::number(value(Protocol::Live, "SessionTimeSinceStarted").toDouble())));
}

// Also after a failure: nothing is left running in the prefix.
void tst_WindowsProgram::cleanupTestCase()
{
    taskkill("kvbeacon-web.exe", true);
    web.process.waitForFinished(10000);
    client.close();
    taskkill("kvbeacon.exe", false);
    kvbeacon.process.waitForFinished(10000);
    simulator.quit(10000);
}

QTEST_GUILESS_MAIN(tst_WindowsProgram)
#include "tst_windowsprogram.moc"
