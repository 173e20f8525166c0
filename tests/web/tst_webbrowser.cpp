#include "broker.h"
#include "kvbeacon.h"
#include "standin.h"
#include "webdriver.h"

#include <csignal>

namespace {
// A race with a lap every six seconds and three litres a lap, so that the fuel estimate
// shows within a test.
const char *const scenarioText =
    "session-text-begin\nWeekendInfo:\n TrackName: sample_speedway\nSessionInfo:\n Sessions:\n"
    " - SessionNum: 0\n   SessionLaps: 30\n   SessionTime: unlimited\n   SessionType: Race\n"
    "DriverInfo:\n DriverCarFuelKgPerLtr: 0.750\n DriverCarFuelMaxLtr: 110.000\nsession-text-end\n"
    "phase Grid 1\nset SessionNum 0\nset SessionTime 600\nset FuelLevel 100\nset RaceLaps 3\n"
    "phase Race 3600\nrate SessionTime 1\nrate RaceLaps 0.1666667\nrate FuelLevel -0.5\nset FuelLevelPct "
    "0.82\n"
    "set FuelUsePerHour 58.5\nset DisplayUnits 1\nset PlayerCarPosition 5\nset PlayerCarClassPosition 3\n"
    "set SessionLapsRemain 26\nset SessionFlags 4\nset TrackTempCrew 31.2\nset AirTemp 22.4\nset Skies 1\n"
    "set WindVel 4.2\nset WindDir 2.3\nset RelativeHumidity 0.55\nset IsOnTrack 1\n";

QByteArray sampleAppIni()
{
    QFile sample(QStringLiteral(KVB_SAMPLE_DOCUMENTS "/app.ini"));
    return sample.open(QIODevice::ReadOnly) ? sample.readAll() : QByteArray();
}
} // namespace

// The pages in a real browser, headless Chromium, against kvBeacon's window beside the
// simulator stand-in, through the kvbeacon-web program. With KVB_SCREENSHOTS set to a folder,
// the pages are photographed there as they are tested.
class tst_WebBrowser : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void cleanupTestCase();
    void dashboard();
    void buttons();
    void pagesOfOtherSitesPressNothing();
    void overlay();
    void recoversFromEveryLoss();
    void teamView();
    void fuelToTheFlag();
    void layoutsFitTheHolder();
    void screenStaysOnAndInstalls();
    void buttonBoxSetUpOnThePage();

private:
    QUrl url(const QString &path) const
    {
        return QUrl(QStringLiteral("http://127.0.0.1:%1%2").arg(webPort).arg(path));
    }
    QString pageState() { return browser.run("return document.body.dataset.state;").toString(); }
    void photograph(const QString &name)
    {
        const QString folder = qEnvironmentVariable("KVB_SCREENSHOTS");
        if (!folder.isEmpty())
            QVERIFY(browser.screenshot(folder + "/" + name + ".png"));
    }
    bool startWeb()
    {
        // The button box is kept in the config folder: the test's own.
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("XDG_CONFIG_HOME"), standIn.dir.filePath(QStringLiteral("config")));
        web.process.setProcessEnvironment(environment);
        return web.start(QStringLiteral(KVB_WEB),
                         {"--port", QString::number(webPort), "--beacon",
                          QStringLiteral("127.0.0.1:%1").arg(standIn.port), "--mqtt", broker.url("ann"),
                          "--mqtt-ca", broker.path("ca.crt"), "--team", "red", "--driver", "ann",
                          "--allow-host", "phone.test"},
                         "dashboard");
    }

    StandIn standIn{scenarioText, sampleAppIni()};
    Broker broker;
    ProgramOutput web;
    std::unique_ptr<kvBeacon> window;
    WebDriver browser;
    quint16 webPort = freePort();
};

void tst_WebBrowser::initTestCase()
{
    quietDebugLines();
    QVERIFY(standIn.play({}, "window opened"));
    window = std::make_unique<kvBeacon>(nullptr);
    window->show();
    QTRY_VERIFY_WITH_TIMEOUT(window->findChild<kvServer *>(), 5000);
    QVERIFY(broker.make() && broker.start());
    QVERIFY(startWeb());
    QVERIFY2(browser.start(), "chromedriver or Chromium did not start");
    QVERIFY(browser.viewport(390, 844)); // a phone
}

void tst_WebBrowser::cleanupTestCase()
{
    web.stop();
    broker.stop();
    window.reset();
}

void tst_WebBrowser::dashboard()
{
    browser.open(url("/"));
    QTRY_COMPARE_WITH_TIMEOUT(pageState(), QStringLiteral("live"), 8000);
    QTRY_COMPARE_WITH_TIMEOUT(browser.text("#track"), QStringLiteral("sample_speedway"), 5000);
    QCOMPARE(browser.text("#session-type"), QStringLiteral("Race"));
    QCOMPARE(browser.text("#position"), QStringLiteral("P5"));
    QCOMPARE(browser.text("#flags"), QStringLiteral("green"));
    // The values move: session time and fuel, in litres while the driver's units are metric.
    const QString time = browser.text("#time"), fuel = browser.text("#fuel");
    QVERIFY2(fuel.endsWith(" L"), qPrintable(fuel));
    QTRY_VERIFY_WITH_TIMEOUT(browser.text("#time") != time && browser.text("#fuel") != fuel, 3000);
    // Two laps seen whole give the laps the fuel lasts.
    QTRY_VERIFY_WITH_TIMEOUT(browser.text("#fuel-laps") != QStringLiteral("–"), 20000);
    photograph("dashboard");
    QVERIFY(standIn.send("set DisplayUnits 0"));
    QTRY_VERIFY_WITH_TIMEOUT(
        browser.text("#fuel").endsWith(" gal") && browser.text("#air-temp").endsWith("°F"), 3000);
    QVERIFY(standIn.send("unset DisplayUnits"));
}

void tst_WebBrowser::buttons()
{
    browser.open(url("/buttons?keys=Black%20box:F1"));
    QTRY_COMPARE_WITH_TIMEOUT(browser.text("button[data-macro='3'] .label"), QStringLiteral("Sorry,my fault"),
                              5000);
    // The sample app.ini holds five macros; the ten empty ones get no button.
    QCOMPARE(browser.count("button.macro"), 5);
    photograph("buttons");
    QVERIFY(browser.click("button[data-macro='3']"));
    QVERIFY(standIn.waitFor("broadcast msg=8 var1=0 var2=2"));
    QTRY_COMPARE(
        browser.run("return document.querySelector(\"button[data-macro='3']\").dataset.feedback;").toString(),
        QStringLiteral("answered"));
    QCOMPARE(browser.text("button[data-macro='3'] .feedback"),
             QStringLiteral("sent · kvBeacon: ") + Protocol::macroDone);
    // The app.ini gone and back.
    const QString appIni = standIn.documents.filePath("app.ini"),
                  away = standIn.documents.filePath("app.away");
    QVERIFY(QFile::rename(appIni, away));
    QTRY_VERIFY_WITH_TIMEOUT(browser.text("#macro-state").contains("no app.ini"), 5000);
    QCOMPARE(browser.count("button.macro"), 0);
    QVERIFY(QFile::rename(away, appIni));
    QTRY_COMPARE_WITH_TIMEOUT(browser.count("button.macro"), 5, 5000);
}

// A page of another site (another port on loopback is another origin) open in the driver's
// browser tries the companion's WebSocket and a frame in a fetch() to kvBeacon's port: the
// simulator sees neither a macro nor a key.
void tst_WebBrowser::pagesOfOtherSitesPressNothing()
{
    QTemporaryDir site;
    QVERIFY(writeFile(
        site.filePath(QStringLiteral("index.html")),
        QStringLiteral(
            "<!DOCTYPE html><title>hostile</title><script>\n"
            "const log = (what) => { document.title += ' ' + what; };\n"
            "const ws = new WebSocket('ws://127.0.0.1:%1/ws');\n"
            "ws.onopen = () => { ws.send('{\"macro\":4}'); ws.send('{\"key\":\"F2\"}'); log('ws-open'); };\n"
            "ws.onerror = () => log('ws-refused');\n"
            "fetch('http://127.0.0.1:%2/', {method: 'POST', mode: 'no-cors', body: "
            "'@000013;206;000001;4;'}).then(() => log('fetch-sent'), () => log('fetch-failed'));\n"
            "</script>\n")
            .arg(webPort)
            .arg(standIn.port)
            .toUtf8()));
    const quint16 sitePort = freePort();
    ProgramOutput server;
    QVERIFY(server.start(QStringLiteral("python3"),
                         {"-u", "-m", "http.server", "--bind", "127.0.0.1", "--directory", site.path(),
                          QString::number(sitePort)},
                         "Serving HTTP"));
    const int macros = standIn.count("broadcast"), keys = standIn.count("key down");
    browser.open(QUrl(QStringLiteral("http://127.0.0.1:%1/index.html").arg(sitePort)));
    const auto title = [&] { return browser.run("return document.title;").toString(); };
    QTRY_VERIFY_WITH_TIMEOUT(title().contains("fetch-") && title().contains("ws-"), 10000);
    QTest::qWait(1500);
    QCOMPARE(standIn.count("broadcast"), macros);
    QCOMPARE(standIn.count("key down"), keys);
    QVERIFY2(title().contains("ws-refused"), qPrintable(title()));
    server.stop();
}

void tst_WebBrowser::overlay()
{
    browser.open(url("/overlay?fields=position,fuel,laps,nonsense"));
    QTRY_COMPARE_WITH_TIMEOUT(pageState(), QStringLiteral("live"), 8000);
    QCOMPARE(browser.run("return [...document.querySelectorAll('.field')].map(e => e.dataset.field).join();")
                 .toString(),
             QStringLiteral("position,fuel,laps"));
    QTRY_COMPARE(browser.text(".field[data-field='position'] b"), QStringLiteral("5"));
    QVERIFY(browser.text(".field[data-field='laps'] b").endsWith("/30"));
    // Transparent, for a stream's browser source.
    QCOMPARE(browser.run("return getComputedStyle(document.body).backgroundColor;").toString(),
             QStringLiteral("rgba(0, 0, 0, 0)"));
    if (!qEnvironmentVariableIsEmpty("KVB_SCREENSHOTS")) {
        QVERIFY(browser.viewport(760, 120));
        browser.open(url("/overlay?fields=position,class,laps,time,fuel,fuellaps,flags"));
        QTRY_COMPARE_WITH_TIMEOUT(pageState(), QStringLiteral("live"), 8000);
        QTRY_VERIFY(browser.text(".field[data-field='fuellaps'] b") != QStringLiteral("–"));
        // A backdrop for the picture only, where the stream's image would be.
        browser.run("document.documentElement.style.cssText = 'min-height: 100%; background: #4a5866';");
        photograph("overlay");
        QVERIFY(browser.viewport(390, 844));
    }
}

// The losses only the page sees: the companion gone and back, and held still. The simulator's is
// in screenStaysOnAndInstalls, the app.ini's in buttons, and those behind the companion in tst_web.
void tst_WebBrowser::recoversFromEveryLoss()
{
    browser.open(url("/"));
    QTRY_COMPARE_WITH_TIMEOUT(pageState(), QStringLiteral("live"), 8000);
    // The companion itself gone and back.
    web.stop();
    QTRY_COMPARE_WITH_TIMEOUT(pageState(), QStringLiteral("no-web"), 8000);
    QVERIFY(startWeb());
    QTRY_COMPARE_WITH_TIMEOUT(pageState(), QStringLiteral("live"), 15000);
    // Messages that pause and flow again (the companion held still for a while): quiet, then
    // live, though the companion's own state never left live.
    ::kill(pid_t(web.process.processId()), SIGSTOP);
    QTRY_COMPARE_WITH_TIMEOUT(pageState(), QStringLiteral("quiet"), 5000);
    ::kill(pid_t(web.process.processId()), SIGCONT);
    QTRY_COMPARE_WITH_TIMEOUT(pageState(), QStringLiteral("live"), 5000);
}

// The team page: the stand-in's car through kvbeacon-web and the broker, beside two teammates
// that the test plays, one of whom goes quiet.
void tst_WebBrowser::teamView()
{
    Client bob(broker, "bob"), cat(broker, "cat");
    int tick = 0;
    bool catQuiet = false;
    QTimer samples;
    samples.callOnTimeout([&] {
        for (Client *mate : {&bob, &cat}) {
            if (catQuiet && mate == &cat)
                continue;
            mate->publish(QStringLiteral("kvbeacon/red/%1/live").arg(mate == &bob ? "bob" : "cat"),
                          QStringLiteral(
                              R"({"time":0,"fuelLapsLeft":4.2,"fuelPerLap":2.5,"live":{"DisplayUnits":1,)"
                              R"("FuelLevel":10.5,"FuelLevelPct":0.1,"PlayerCarClassPosition":2,)"
                              R"("PlayerCarPosition":%1,"RaceLaps":%2,"SessionLapsRemain":9},"type":"live"})")
                              .arg(mate == &bob ? 2 : 9)
                              .arg(tick / 10)
                              .toUtf8());
        }
        ++tick;
    });
    samples.start(100);
    browser.open(url("/team"));
    const auto states = [this] {
        return browser
            .run("return [...document.querySelectorAll('#cars tbody tr')]"
                 ".map(r => r.dataset.car + ':' + r.dataset.state).join();")
            .toString();
    };
    QTRY_COMPARE_WITH_TIMEOUT(states(), QStringLiteral("ann:live,bob:live,cat:live"), 10000);
    QCOMPARE(browser.text("tr[data-car='ann'] td:nth-child(4)"), QStringLiteral("P5"));
    QCOMPARE(browser.text("tr[data-car='bob'] td:nth-child(8)"), QStringLiteral("10.5 L · 10 %"));
    QVERIFY(browser.text("#broker").startsWith("Connected to the broker"));
    catQuiet = true;
    QTRY_COMPARE_WITH_TIMEOUT(states(), QStringLiteral("ann:live,bob:live,cat:stale"), 10000);
    QCOMPARE(browser.text("tr[data-car='cat'] td:nth-child(2)"), QStringLiteral("stale"));
    photograph("team");
}

// Fuel to the flag against numbers worked by hand: the stand-in drives six laps of 2.5 L with
// 14 laps to go, which take 35 L; at 32.5 L in the tank that is 2.5 L short, and a stop adds
// those and a lap's margin, 5 L.
void tst_WebBrowser::fuelToTheFlag()
{
    browser.open(url("/"));
    QTRY_COMPARE_WITH_TIMEOUT(pageState(), QStringLiteral("live"), 8000);
    QVERIFY(standIn.send("set SessionLapsRemain 14"));
    for (int lap = 0; lap <= 6; ++lap) {
        QVERIFY(standIn.send(QStringLiteral("set FuelLevel %1").arg(47.5 - 2.5 * lap).toUtf8()));
        QVERIFY(standIn.send(QStringLiteral("set RaceLaps %1").arg(100 + lap).toUtf8()));
        QTRY_VERIFY_WITH_TIMEOUT(browser.text("#laps").startsWith(QString::number(100 + lap) + " "), 5000);
    }
    QTRY_COMPARE_WITH_TIMEOUT(browser.text("#fuel-finish"), QStringLiteral("35.0 L"), 5000);
    QCOMPARE(browser.text("#fuel-per-lap"), QStringLiteral("2.5 L"));
    QCOMPARE(browser.text("#fuel-stop"), QStringLiteral("add 5.0 L at the stop"));
    // Six laps' bars on the chart, drawn.
    QVERIFY(browser
                .run("const c = document.getElementById('fuel-chart');"
                     "return c.width > 0 && c.getContext('2d').getImageData(0, 0, c.width, c.height)"
                     ".data.some((v, i) => i % 4 === 3 && v > 0);")
                .toBool());
    photograph("dashboard-fuel");
    QVERIFY(standIn.send("set FuelLevel 36"));
    QTRY_COMPARE_WITH_TIMEOUT(browser.text("#fuel-stop"), QStringLiteral("no stop needed"), 5000);
    browser.open(url("/overlay?fields=tofinish,fuelstop"));
    QTRY_COMPARE_WITH_TIMEOUT(browser.text(".field[data-field='tofinish'] b"), QStringLiteral("35.0 L"),
                              8000);
    QCOMPARE(browser.text(".field[data-field='fuelstop'] b"), QStringLiteral("no stop needed"));
    for (const char *name : {"SessionLapsRemain", "FuelLevel", "RaceLaps"})
        QVERIFY(standIn.send(QByteArray("unset ") + name));
}

// A phone in a landscape holder (844 x 390) and a tablet see the whole dashboard without
// scrolling; at those sizes and on a portrait phone no value is cut at its tile's edge. /team
// fits a portrait phone's width.
void tst_WebBrowser::layoutsFitTheHolder()
{
    const auto cut = [this] {
        return browser
            .run("return [...document.querySelectorAll('.tile > *, #cars td')]"
                 ".filter(e => e.scrollWidth > e.clientWidth + 1 || e.getBoundingClientRect().right > "
                 "innerWidth)"
                 ".map(e => e.id || e.textContent).join(' | ');")
            .toString();
    };
    const auto scrolls = [this] {
        return browser
            .run("const e = document.scrollingElement;"
                 "return e.scrollHeight > innerHeight || e.scrollWidth > innerWidth;")
            .toBool();
    };
    for (const auto &[width, height, name] :
         {std::tuple{844, 390, "dashboard-landscape"}, {1024, 768, "dashboard-tablet"}, {390, 844, ""}}) {
        QVERIFY(browser.viewport(width, height));
        browser.open(url("/"));
        QTRY_COMPARE_WITH_TIMEOUT(pageState(), QStringLiteral("live"), 8000);
        QTRY_VERIFY_WITH_TIMEOUT(browser.text("#fuel-laps") != QStringLiteral("–"), 20000);
        QVERIFY2(cut().isEmpty(), qPrintable(QStringLiteral("%1x%2: %3").arg(width).arg(height).arg(cut())));
        if (width > height)
            QVERIFY2(!scrolls(), qPrintable(QStringLiteral("%1x%2 scrolls").arg(width).arg(height)));
        if (*name)
            photograph(QLatin1String(name));
    }
    browser.open(url("/team"));
    QTRY_VERIFY_WITH_TIMEOUT(browser.count("#cars tbody tr") > 0, 10000);
    QVERIFY2(cut().isEmpty(), qPrintable(cut()));
    QVERIFY(!browser.run("return document.scrollingElement.scrollWidth > innerWidth;").toBool());
}

// The screen stays on while the data is live: by the Wake Lock on a secure page (loopback),
// by the muted video elsewhere (a LAN name over plain HTTP), said in a corner. The pages can
// be put on a home screen: a manifest Chromium reads without complaint, with its icons.
void tst_WebBrowser::screenStaysOnAndInstalls()
{
    browser.open(url("/"));
    QTRY_COMPARE_WITH_TIMEOUT(pageState(), QStringLiteral("live"), 8000);
    QTRY_COMPARE_WITH_TIMEOUT(browser.run("return Kvb.awake.mode;").toString(), QStringLiteral("wake lock"),
                              5000);
    QCOMPARE(browser.text("#awake"), QStringLiteral("screen kept on"));
    QVERIFY(browser.run("return isSecureContext;").toBool());
    // The simulator gone: the page says so, and data no longer live for the time set (a minute,
    // here shortened) lets the screen sleep. Back, and both come back.
    browser.run("Kvb.awake.releaseAfterMs = 800;");
    QVERIFY(standIn.send("stop"));
    QTRY_COMPARE_WITH_TIMEOUT(pageState(), QStringLiteral("no-simulator"), 8000);
    QCOMPARE(browser.text("#state"), QStringLiteral("Simulator not found: kvBeacon has no live data"));
    QTRY_COMPARE_WITH_TIMEOUT(browser.run("return Kvb.awake.mode;").toString(), QStringLiteral("off"), 8000);
    QVERIFY(browser.text("#awake").isEmpty());
    QVERIFY(standIn.send("start"));
    QTRY_COMPARE_WITH_TIMEOUT(pageState(), QStringLiteral("live"), 8000);
    QTRY_COMPARE_WITH_TIMEOUT(browser.run("return Kvb.awake.mode;").toString(), QStringLiteral("wake lock"),
                              8000);

    browser.open(QUrl(QStringLiteral("http://phone.test:%1/buttons").arg(webPort)));
    QTRY_COMPARE_WITH_TIMEOUT(pageState(), QStringLiteral("live"), 8000);
    QVERIFY(!browser.run("return isSecureContext || 'wakeLock' in navigator;").toBool());
    QVERIFY(browser.click("header"));
    QTRY_COMPARE_WITH_TIMEOUT(browser.run("return Kvb.awake.mode;").toString(), QStringLiteral("video"),
                              5000);
    QVERIFY(browser.run("const v = Kvb.awake.video; return v.muted && !v.paused;").toBool());
    QCOMPARE(browser.text("#awake"), QStringLiteral("screen kept on"));

    browser.open(url("/"));
    QTRY_COMPARE_WITH_TIMEOUT(pageState(), QStringLiteral("live"), 8000);
    const QJsonObject manifest = browser.cdp("Page.getAppManifest").toObject();
    QVERIFY2(manifest["errors"].toArray().isEmpty(), QJsonDocument(manifest).toJson().constData());
    const QJsonObject parsed = QJsonDocument::fromJson(manifest["data"].toString().toUtf8()).object();
    QCOMPARE(parsed["display"].toString(), QStringLiteral("standalone"));
    // Each icon is a PNG of the size it claims.
    QCOMPARE(browser
                 .run("return Promise.all([192, 512].map(size => fetch('/icon-' + size + '.png')"
                      ".then(r => r.blob()).then(createImageBitmap).then(b => b.width === size && b.height "
                      "=== size)))"
                      ".then(all => all.every(Boolean));")
                 .toBool(),
             true);
    QVERIFY(!browser.run("return document.getElementById('fullscreen').hidden;").toBool());
    QVERIFY(browser.click("#fullscreen"));
    QTRY_VERIFY_WITH_TIMEOUT(browser.run("return document.fullscreenElement !== null;").toBool(), 5000);
}

// The driver sets the key buttons up by tapping: adds two keys picked from the list (one with a
// label of its own), moves one up, removes one, saves. The box survives a reload, shows in a
// second browser (the tablet beside the phone), and its new key reaches the simulator.
void tst_WebBrowser::buttonBoxSetUpOnThePage()
{
    browser.open(url("/buttons"));
    const auto keys = [](WebDriver &in) {
        return in
            .run("return [...document.querySelectorAll('#keys button.key')]"
                 ".map(b => b.querySelector('.label').textContent + ':' + b.dataset.key).join();")
            .toString();
    };
    QTRY_COMPARE_WITH_TIMEOUT(keys(browser), QStringLiteral("Pit limiter:A"), 5000);
    QTRY_VERIFY(browser
                    .run("return document.querySelectorAll('#new-key option').length === 0 && "
                         "fetch('/api/buttons').then(r => r.ok);")
                    .toBool());
    QVERIFY(browser.click("#edit-keys"));
    QTRY_VERIFY(browser.count("#new-key option") > 60);
    QVERIFY(!browser.run("return document.getElementById('keys').checkVisibility();").toBool());
    QVERIFY(browser
                .run("document.getElementById('new-key').value = 'F5';"
                     "document.getElementById('new-label').value = 'Wipers'; return true;")
                .toBool());
    QVERIFY(browser.click("#add-key"));
    QVERIFY(browser.run("document.getElementById('new-key').value = 'NUMPAD1'; return true;").toBool());
    QVERIFY(browser.click("#add-key"));
    QVERIFY(browser.click("#key-list li[data-key='F5'] .up"));
    QVERIFY(browser.click("#key-list li[data-key='NUMPAD1'] .remove"));
    photograph("buttons-editing");
    QVERIFY(browser.click("#save-keys"));
    QTRY_COMPARE_WITH_TIMEOUT(keys(browser), QStringLiteral("Wipers:F5,Pit limiter:A"), 5000);

    WebDriver tablet;
    QVERIFY2(tablet.start(), "a second Chromium did not start");
    tablet.open(QUrl(QStringLiteral("http://phone.test:%1/buttons").arg(webPort)));
    QTRY_COMPARE_WITH_TIMEOUT(keys(tablet), QStringLiteral("Wipers:F5,Pit limiter:A"), 8000);
    // A link's keys still win over the kept box.
    browser.open(url("/buttons?keys=Black%20box:F1"));
    QTRY_COMPARE_WITH_TIMEOUT(keys(browser), QStringLiteral("Pit limiter:A,Black box:F1"), 5000);

    browser.open(url("/buttons"));
    QTRY_COMPARE_WITH_TIMEOUT(keys(browser), QStringLiteral("Wipers:F5,Pit limiter:A"), 5000);
    QVERIFY(standIn.send("focus"));
    const int pressed = standIn.count("key down");
    // kvBeacon sees the focus at its next session poll: until then the key is dropped.
    QTRY_VERIFY_WITH_TIMEOUT(browser.click("button.key[data-key='F5']") &&
                                 QTest::qWaitFor([&] { return standIn.count("key down") > pressed; }, 400),
                             6000);
    QVERIFY(standIn.count("keysym=F5\n") > 0);
}

QTEST_MAIN(tst_WebBrowser)
#include "tst_webbrowser.moc"
