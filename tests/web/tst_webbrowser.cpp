#include "broker.h"
#include "kvbeacon.h"
#include "standin.h"
#include "webdriver.h"

#include <csignal>

namespace {
// A race with a lap every six seconds and three litres a lap: the fuel estimate shows within a test.
const char *const scenarioText =
    "session-text-begin\nWeekendInfo:\n TrackName: sample_speedway\nSessionInfo:\n Sessions:\n"
    " - SessionNum: 0\n   SessionLaps: 30\n   SessionTime: unlimited\n   SessionType: Race\nDriverInfo:\n"
    " DriverCarFuelKgPerLtr: 0.750\n DriverCarFuelMaxLtr: 110.000\nsession-text-end\nphase Grid 1\n"
    "set SessionNum 0\nset SessionTime 600\nset FuelLevel 100\nset RaceLaps 3\nphase Race 3600\n"
    "rate SessionTime 1\nrate RaceLaps 0.1666667\nrate FuelLevel -0.5\nset FuelLevelPct 0.82\n"
    "set FuelUsePerHour 58.5\nset DisplayUnits 1\nset PlayerCarPosition 5\nset PlayerCarClassPosition 3\n"
    "set SessionLapsRemain 26\nset SessionFlags 4\nset TrackTempCrew 31.2\nset AirTemp 22.4\nset Skies 1\n"
    "set WindVel 4.2\nset WindDir 2.3\nset RelativeHumidity 0.55\nset IsOnTrack 1\n";

QByteArray sampleAppIni()
{
    QFile sample(QStringLiteral(KVB_SAMPLE_DOCUMENTS "/app.ini"));
    return sample.open(QIODevice::ReadOnly) ? sample.readAll() : QByteArray();
}
} // namespace

// The pages in headless Chromium against kvBeacon's window beside the simulator stand-in, through the
// kvbeacon-web program; with KVB_SCREENSHOTS naming a folder, photographed there as they are tested.
class tst_WebBrowser : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase()
    {
        quietDebugLines();
        // kvbeacon-web keeps its button box in the config folder: the test's own.
        qputenv("XDG_CONFIG_HOME", standIn.dir.filePath(QStringLiteral("config")).toUtf8());
        QVERIFY(standIn.play({}, "window opened"));
        window = std::make_unique<kvBeacon>(nullptr);
        window->show();
        QTRY_VERIFY_WITH_TIMEOUT(window->findChild<kvServer *>(), 5000);
        QVERIFY(broker.make() && broker.start());
        QVERIFY(startWeb());
        QVERIFY2(browser.start(), "chromedriver or Chromium did not start");
        QVERIFY(browser.viewport(390, 844)); // a phone
    }

    void cleanupTestCase()
    {
        web.stop();
        broker.stop();
        window.reset();
    }

    void dashboard()
    {
        QVERIFY(openLive(url("/")));
        QTRY_COMPARE_WITH_TIMEOUT(browser.text("#track"), QStringLiteral("sample_speedway"), 5000);
        QCOMPARE(browser.text("#session-type"), QStringLiteral("Race"));
        QCOMPARE(browser.text("#position"), QStringLiteral("P5"));
        QCOMPARE(browser.text("#flags"), QStringLiteral("green"));
        // The values move: session time and fuel, in litres while the driver's units are metric.
        const QString time = browser.text("#time"), fuel = browser.text("#fuel");
        QVERIFY2(fuel.endsWith(" L"), qPrintable(fuel));
        QTRY_VERIFY_WITH_TIMEOUT(browser.text("#time") != time && browser.text("#fuel") != fuel, 3000);
        QVERIFY(standIn.send("set DisplayUnits 0"));
        QTRY_VERIFY_WITH_TIMEOUT(
            browser.text("#fuel").endsWith(" gal") && browser.text("#air-temp").endsWith("°F"), 3000);
        QVERIFY(standIn.send("unset DisplayUnits"));
    }

    void buttons()
    {
        browser.open(url("/buttons?keys=Black%20box:F1"));
        QTRY_COMPARE_WITH_TIMEOUT(browser.text("button[data-macro='3'] .label"),
                                  QStringLiteral("Sorry,my fault"), 5000);
        // The sample app.ini holds five macros; the ten empty ones get no button.
        QCOMPARE(browser.count("button.macro"), 5);
        QVERIFY(browser.photograph("buttons"));
        QVERIFY(browser.click("button[data-macro='3']"));
        QVERIFY(standIn.waitFor("broadcast msg=8 var1=0 var2=2"));
        QTRY_COMPARE(browser.each("button[data-macro='3']", "e.dataset.feedback"),
                     QStringLiteral("answered"));
        QCOMPARE(browser.text("button[data-macro='3'] .feedback"),
                 QStringLiteral("sent · kvBeacon: ") + Protocol::macroDone);
        // The app.ini gone and back.
        QVERIFY(QFile::rename(standIn.documents.filePath("app.ini"), standIn.documents.filePath("app.away")));
        QTRY_VERIFY_WITH_TIMEOUT(browser.text("#macro-state").contains("no app.ini"), 5000);
        QCOMPARE(browser.count("button.macro"), 0);
        QVERIFY(QFile::rename(standIn.documents.filePath("app.away"), standIn.documents.filePath("app.ini")));
        QTRY_COMPARE_WITH_TIMEOUT(browser.count("button.macro"), 5, 5000);
    }

    void overlay()
    {
        const QString fields = QStringLiteral("position,class,laps,time,fuel,fuellaps,flags");
        QVERIFY(browser.viewport(760, 120)); // a stream's width
        QVERIFY(openLive(url("/overlay?fields=" + fields + ",nonsense")));
        QCOMPARE(browser.each(".field", "e.dataset.field"), fields);
        QTRY_COMPARE(browser.text(".field[data-field='position'] b"), QStringLiteral("5"));
        QVERIFY(browser.text(".field[data-field='laps'] b").endsWith("/30"));
        // Transparent, for a stream's browser source.
        QCOMPARE(browser.run("return getComputedStyle(document.body).backgroundColor;").toString(),
                 QStringLiteral("rgba(0, 0, 0, 0)"));
        if (!qEnvironmentVariableIsEmpty("KVB_SCREENSHOTS")) {
            QTRY_VERIFY(browser.text(".field[data-field='fuellaps'] b") != QStringLiteral("–"));
            // A backdrop for the picture only, where the stream's image would be.
            browser.run("document.documentElement.style.cssText = 'min-height: 100%; background: #4a5866';");
            QVERIFY(browser.photograph("overlay"));
        }
        QVERIFY(browser.viewport(390, 844));
    }

    // The losses only the page sees: the companion gone and back, and held still. The simulator's is
    // in screenStaysOnAndInstalls, the app.ini's in buttons, and those behind the companion in tst_web.
    void recoversFromEveryLoss()
    {
        QVERIFY(openLive(url("/")));
        web.stop();
        QTRY_COMPARE_WITH_TIMEOUT(pageState(), QStringLiteral("no-web"), 8000);
        QVERIFY(startWeb());
        QTRY_COMPARE_WITH_TIMEOUT(pageState(), QStringLiteral("live"), 15000);
        // The companion held still a while: quiet, then live, though its own state never left live.
        ::kill(pid_t(web.process.processId()), SIGSTOP);
        QTRY_COMPARE_WITH_TIMEOUT(pageState(), QStringLiteral("quiet"), 5000);
        ::kill(pid_t(web.process.processId()), SIGCONT);
        QTRY_COMPARE_WITH_TIMEOUT(pageState(), QStringLiteral("live"), 5000);
    }

    // A real browser's WebSocket and no-cors fetch() from a page of another site press nothing.
    void pagesOfOtherSitesPressNothing()
    {
        QTemporaryDir site;
        QVERIFY(writeFile(
            site.filePath(QStringLiteral("index.html")),
            QStringLiteral("<!DOCTYPE html><title>hostile</title><script>\n"
                           "const log = (what) => { document.title += ' ' + what; };\n"
                           "const ws = new WebSocket('ws://127.0.0.1:%1/ws');\n"
                           "ws.onopen = () => { ws.send('{\"macro\":4}'); ws.send('{\"key\":\"F2\"}'); "
                           "log('ws-open'); };\n"
                           "ws.onerror = () => log('ws-refused');\n"
                           "fetch('http://127.0.0.1:%2/', {method: 'POST', mode: 'no-cors', body: "
                           "'@000013;206;000001;4;'}).then(() => log('fetch-sent'), () => "
                           "log('fetch-failed'));\n</script>\n")
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

    // The team page: the stand-in's car through kvbeacon-web and the broker, beside two teammates
    // that the test plays, one of whom goes quiet.
    void teamView()
    {
        Client bob(broker, "bob"), cat(broker, "cat");
        bool catQuiet = false;
        QTimer samples;
        const auto sample = [&](Client &mate, const char *name, int position) {
            mate.publish(
                QStringLiteral("kvbeacon/red/%1/live").arg(name),
                QStringLiteral(R"({"time":0,"fuelLapsLeft":4.2,"fuelPerLap":2.5,"live":{"DisplayUnits":1,)"
                               R"("FuelLevel":10.5,"FuelLevelPct":0.1,"PlayerCarClassPosition":2,)"
                               R"("PlayerCarPosition":%1,"RaceLaps":7,"SessionLapsRemain":9},"type":"live"})")
                    .arg(position)
                    .toUtf8());
        };
        samples.callOnTimeout([&] {
            sample(bob, "bob", 2);
            if (!catQuiet)
                sample(cat, "cat", 9);
        });
        samples.start(100);
        browser.open(url("/team"));
        const auto states = [this] {
            return browser.each("#cars tbody tr", "e.dataset.car + ':' + e.dataset.state");
        };
        QTRY_COMPARE_WITH_TIMEOUT(states(), QStringLiteral("ann:live,bob:live,cat:live"), 10000);
        QCOMPARE(browser.text("tr[data-car='ann'] td:nth-child(4)"), QStringLiteral("P5"));
        QCOMPARE(browser.text("tr[data-car='bob'] td:nth-child(8)"), QStringLiteral("10.5 L · 10 %"));
        QVERIFY(browser.text("#broker").startsWith("Connected to the broker"));
        catQuiet = true;
        QTRY_COMPARE_WITH_TIMEOUT(states(), QStringLiteral("ann:live,bob:live,cat:stale"), 10000);
        QCOMPARE(browser.text("tr[data-car='cat'] td:nth-child(2)"), QStringLiteral("stale"));
        QVERIFY(browser.photograph("team"));
    }

    // Fuel to the flag against numbers worked by hand: six laps of 2.5 L, and 14 to go take 35 L; 32.5 L
    // in the tank is 2.5 L short, and a stop adds those and a lap's margin, 5 L.
    void fuelToTheFlag()
    {
        QVERIFY(openLive(url("/")));
        QVERIFY(standIn.send("set SessionLapsRemain 14"));
        for (int lap = 0; lap <= 6; ++lap) {
            QVERIFY(standIn.send(QStringLiteral("set FuelLevel %1").arg(47.5 - 2.5 * lap).toUtf8()));
            QVERIFY(standIn.send(QStringLiteral("set RaceLaps %1").arg(100 + lap).toUtf8()));
            QTRY_COMPARE_WITH_TIMEOUT(browser.text("#laps"), QStringLiteral("%1 / 30").arg(100 + lap), 5000);
        }
        QTRY_COMPARE_WITH_TIMEOUT(browser.text("#fuel-finish"), QStringLiteral("35.0 L"), 5000);
        QCOMPARE(browser.text("#fuel-per-lap"), QStringLiteral("2.5 L"));
        QCOMPARE(browser.text("#fuel-laps"), QStringLiteral("13.0"));
        QCOMPARE(browser.text("#fuel-stop"), QStringLiteral("add 5.0 L at the stop"));
        // Six laps' bars on the chart, drawn.
        QVERIFY(browser
                    .run("const c = document.getElementById('fuel-chart');"
                         "return c.width > 0 && c.getContext('2d').getImageData(0, 0, c.width, c.height)"
                         ".data.some((v, i) => i % 4 === 3 && v > 0);")
                    .toBool());
        QVERIFY(browser.photograph("dashboard-fuel"));
        QVERIFY(standIn.send("set FuelLevel 36"));
        QTRY_COMPARE_WITH_TIMEOUT(browser.text("#fuel-stop"), QStringLiteral("no stop needed"), 5000);
        browser.open(url("/overlay?fields=tofinish,fuelstop"));
        QTRY_COMPARE_WITH_TIMEOUT(browser.text(".field[data-field='tofinish'] b"), QStringLiteral("35.0 L"),
                                  8000);
        QCOMPARE(browser.text(".field[data-field='fuelstop'] b"), QStringLiteral("no stop needed"));
        for (const char *name : {"SessionLapsRemain", "FuelLevel", "RaceLaps"})
            QVERIFY(standIn.send(QByteArray("unset ") + name));
    }

    // A phone in a landscape holder and a tablet see the whole dashboard without scrolling; there and on
    // a portrait phone no value is cut at its tile's edge. /team fits a portrait phone's width.
    void layoutsFitTheHolder()
    {
        const auto cut = [this] {
            return browser
                .run("return [...document.querySelectorAll('.tile > *, #cars td')].filter(e =>"
                     " e.scrollWidth > e.clientWidth + 1 || e.getBoundingClientRect().right > innerWidth)"
                     ".map(e => e.id || e.textContent).join(' | ');")
                .toString();
        };
        for (const auto &[width, height, name] : {std::tuple{844, 390, "dashboard-landscape"},
                                                  {1024, 768, "dashboard-tablet"},
                                                  {390, 844, "dashboard"}}) {
            QVERIFY(browser.viewport(width, height));
            QVERIFY(openLive(url("/")));
            QTRY_VERIFY_WITH_TIMEOUT(browser.text("#fuel-laps") != QStringLiteral("–"), 20000);
            QVERIFY2(cut().isEmpty(),
                     qPrintable(QStringLiteral("%1x%2: %3").arg(width).arg(height).arg(cut())));
            const char *scrolls = "const e = document.scrollingElement;"
                                  "return e.scrollHeight > innerHeight || e.scrollWidth > innerWidth;";
            if (width > height)
                QVERIFY2(!browser.run(scrolls).toBool(),
                         qPrintable(QStringLiteral("%1x%2 scrolls").arg(width).arg(height)));
            QVERIFY(browser.photograph(QLatin1String(name)));
        }
        browser.open(url("/team"));
        QTRY_VERIFY_WITH_TIMEOUT(browser.count("#cars tbody tr") > 0, 10000);
        QVERIFY2(cut().isEmpty(), qPrintable(cut()));
        QVERIFY(!browser.run("return document.scrollingElement.scrollWidth > innerWidth;").toBool());
    }

    // The screen stays on while the data is live: by the Wake Lock on a secure page (loopback),
    // by the muted video elsewhere (a LAN name over plain HTTP), said in a corner. The pages can
    // be put on a home screen: a manifest Chromium reads without complaint, with its icons.
    void screenStaysOnAndInstalls()
    {
        const auto awake = [this] { return browser.run("return Kvb.awake.mode;").toString(); };
        QVERIFY(openLive(url("/")));
        QTRY_COMPARE_WITH_TIMEOUT(awake(), QStringLiteral("wake lock"), 5000);
        QCOMPARE(browser.text("#awake"), QStringLiteral("screen kept on"));
        QVERIFY(browser.run("return isSecureContext;").toBool());
        // The simulator gone: the page says so, and data no longer live for the time set (a minute,
        // here shortened) lets the screen sleep. Back, and both come back.
        browser.run("Kvb.awake.releaseAfterMs = 800;");
        QVERIFY(standIn.send("stop"));
        QTRY_COMPARE_WITH_TIMEOUT(pageState(), QStringLiteral("no-simulator"), 8000);
        QCOMPARE(browser.text("#state"), QStringLiteral("Simulator not found: kvBeacon has no live data"));
        QVERIFY(browser.text("#hint").startsWith("Start iRacing and join a session")); // what to do, under it
        QTRY_COMPARE_WITH_TIMEOUT(awake(), QStringLiteral("off"), 8000);
        QVERIFY(browser.text("#awake").isEmpty());
        QVERIFY(standIn.send("start"));
        QTRY_COMPARE_WITH_TIMEOUT(pageState(), QStringLiteral("live"), 8000);
        QTRY_COMPARE_WITH_TIMEOUT(awake(), QStringLiteral("wake lock"), 8000);

        const QJsonObject manifest = browser.cdp("Page.getAppManifest").toObject();
        QVERIFY2(manifest["errors"].toArray().isEmpty(), QJsonDocument(manifest).toJson().constData());
        QCOMPARE(json(manifest["data"].toString().toUtf8())["display"].toString(),
                 QStringLiteral("standalone"));
        // Each icon is a PNG of the size it claims.
        QVERIFY(browser
                    .run("return Promise.all([192, 512].map(size => fetch('/icon-' + size + '.png')"
                         ".then(r => r.blob()).then(createImageBitmap).then(b => b.width === size &&"
                         " b.height === size))).then(all => all.every(Boolean));")
                    .toBool());
        QVERIFY(browser.click("#fullscreen")); // a hidden button is no click's target
        QTRY_VERIFY_WITH_TIMEOUT(browser.run("return document.fullscreenElement !== null;").toBool(), 5000);

        QVERIFY(openLive(QUrl(QStringLiteral("http://phone.test:%1/buttons").arg(webPort))));
        QVERIFY(!browser.run("return isSecureContext || 'wakeLock' in navigator;").toBool());
        QVERIFY(browser.click("header"));
        QTRY_COMPARE_WITH_TIMEOUT(awake(), QStringLiteral("video"), 5000);
        QVERIFY(browser.run("const v = Kvb.awake.video; return v.muted && !v.paused;").toBool());
        QCOMPARE(browser.text("#awake"), QStringLiteral("screen kept on"));
    }

    // The driver sets the key buttons up by tapping: adds two keys from the list (one with a label of its
    // own), moves one up, removes one, saves. The box survives a reload; its new key reaches the simulator.
    void buttonBoxSetUpOnThePage()
    {
        browser.open(url("/buttons"));
        const auto keys = [this] {
            return browser.each("#keys button.key",
                                "e.querySelector('.label').textContent + ':' + e.dataset.key");
        };
        QTRY_COMPARE_WITH_TIMEOUT(keys(), QStringLiteral("Pit limiter:A"), 5000);
        QCOMPARE(browser.count("#new-key option"), 0); // filled only for editing
        QTRY_VERIFY(browser.run("return box.names.length > 0;").toBool());
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
        QVERIFY(browser.photograph("buttons-editing"));
        QVERIFY(browser.click("#save-keys"));
        QTRY_COMPARE_WITH_TIMEOUT(keys(), QStringLiteral("Wipers:F5,Pit limiter:A"), 5000);

        // A link's keys still win over the kept box.
        browser.open(url("/buttons?keys=Black%20box:F1"));
        QTRY_COMPARE_WITH_TIMEOUT(keys(), QStringLiteral("Pit limiter:A,Black box:F1"), 5000);

        browser.open(url("/buttons"));
        QTRY_COMPARE_WITH_TIMEOUT(keys(), QStringLiteral("Wipers:F5,Pit limiter:A"), 5000);
        QVERIFY(standIn.send("focus"));
        const int pressed = standIn.count("key down");
        // kvBeacon sees the focus at its next session poll: until then the key is dropped.
        QTRY_VERIFY_WITH_TIMEOUT(
            browser.click("button.key[data-key='F5']") &&
                QTest::qWaitFor([&] { return standIn.count("key down") > pressed; }, 400),
            6000);
        QVERIFY(standIn.count("keysym=F5\n") > 0);
    }

private:
    QUrl url(const QString &path) const { return "http://127.0.0.1:" + QString::number(webPort) + path; }
    QString pageState() { return browser.run("return document.body.dataset.state;").toString(); }
    // Opens a page of the companion and waits for it to show live data.
    bool openLive(const QUrl &page)
    {
        browser.open(page);
        return QTest::qWaitFor([this] { return pageState() == QLatin1String("live"); }, 8000);
    }
    bool startWeb()
    {
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

QTEST_MAIN(tst_WebBrowser)
#include "tst_webbrowser.moc"
