#include "beaconlink.h"
#include "buttonbox.h"
#include "fuelestimate.h"
#include "pages.h"
#include "phoneaddress.h"
#include "platform.h"
#include "processfigures.h"
#include "serverfixture.h"
#include "untrustedjson.h"
#include "webserver.h"
#include "websocketclient.h"
#include "websocketsession.h"

#include <QNetworkAccessManager>
#include <QNetworkReply>

#include <numeric>

namespace {
const QByteArray appIni = "[Autochat Messages]\nAutoChatStr1=Pitting this lap\nAutoChatStr3=Box,box\n";
// A browser's request for the WebSocket, but for its first line and its host.
const QByteArray upgrade = "Upgrade: websocket\r\nConnection: Upgrade\r\n"
                           "Sec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\nSec-WebSocket-Version: 13\r\n";
// What the companion's process list says of kvBeacon on this machine.
std::atomic<bool> beaconRuns{true};

// kvBeacon's server with a simulator behind it and the driver's chat macros, publishing only
// while no client has left since the last connect, as kvBeacon's window does.
struct Beacon : DocumentsSettings, PollingServer
{
    Beacon() : DocumentsSettings(appIni), PollingServer(&settings)
    {
        record.TrackName = QStringLiteral("Spa");
        record.SessionLaps = 20;
        record.SessionNum = 1;
        record.SessionTimeSinceStarted = 100.0;
        record.FuelLevel = 50.0f;
    }
};

struct HttpReply
{
    int status = 0;
    QByteArray contentType, body, length, allow;
};

// The companion in this process, on a free port, polling kvBeacon at the given port.
struct Companion
{
    explicit Companion(quint16 beaconPort, int perSource = ConnectionLimits::defaultPerSource)
        : link(hub, loopback, beaconPort, timing()), server(context(perSource))
    {
        std::string error;
        if (!server.listen(0, &error))
            qFatal("no port for the companion: %s", error.c_str());
        phone = std::make_unique<PhoneAddress>(server.port(), QStringList{QStringLiteral("192.0.2.7")});
        server.setPhoneAddress(phone.get());
        link.start();
        server.start();
    }
    ~Companion()
    {
        link.stop();
        link.wait();
        server.stop();
    }
    WebContext context(int perSource)
    {
        WebContext context{hub, pages, [this](Command command) { link.enqueue(std::move(command)); }};
        context.connections = std::make_shared<ConnectionLimits>(ConnectionLimits::defaultTotal, perSource);
        context.buttons = &buttons;
        return context;
    }
    static BeaconLink::Timing timing()
    {
        BeaconLink::Timing timing;
        timing.macrosMs = timing.reconnectMs = 300;
        timing.retryMs = 600;
        timing.beaconRunning = [] { return beaconRuns.load(); };
        timing.staleMs = 3000; // the pages stay live across a re-arm on a busy machine too
        return timing;
    }
    QByteArray here() const { return "127.0.0.1:" + QByteArray::number(server.port()); }
    QUrl ws() const { return QUrl("ws://" + here() + "/ws"); }
    HttpReply fetch(const QString &path, const QByteArray &verb = "GET") const
    {
        static QNetworkAccessManager network;
        std::unique_ptr<QNetworkReply> reply(
            network.sendCustomRequest(QNetworkRequest(QUrl("http://" + here() + path)), verb));
        QSignalSpy done(reply.get(), &QNetworkReply::finished);
        done.wait(5000);
        return {reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt(),
                reply->header(QNetworkRequest::ContentTypeHeader).toByteArray(), reply->readAll(),
                reply->rawHeader("Content-Length"), reply->rawHeader("Allow")};
    }
    // The answer to a request sent as it stands, `head` being all before its blank line.
    QByteArray raw(const QByteArray &head, const QByteArray &body = {}, int ms = 3000) const
    {
        return RawConnection(server.port()).exchange(head + "\r\n" + body, ms);
    }

    Hub hub;
    const Pages pages;
    QTemporaryDir config;
    ButtonBox buttons{config.filePath(QStringLiteral("buttons.json"))};
    BeaconLink link;
    WebServer server;
    std::unique_ptr<PhoneAddress> phone;
};

// What kvbeacon-web says of its browsers' connections, from whichever thread says it.
std::mutex httpLogMutex;
QStringList httpLog;
void keepHttpLog(QtMsgType, const QMessageLogContext &context, const QString &text)
{
    std::lock_guard<std::mutex> lock(httpLogMutex);
    if (qstrcmp(context.category, "kvbeacon.web.http") == 0)
        httpLog.append(text);
}
} // namespace

// kvbeacon-web in this process against kvBeacon's server, over real sockets: what browsers and
// programs get, and how the companion rides out what goes wrong around it.
class tst_Web : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase() { quietDebugLines(); }

    void fuelPerLap()
    {
        FuelEstimate fuel;
        fuel.add(3, 40.0); // mid-lap: no lap measured from here
        fuel.add(4, 38.5);
        QVERIFY(!fuel.perLap());
        fuel.add(5, 36.5);
        fuel.add(6, 34.5);
        QCOMPARE(*fuel.perLap(), 2.0);
        QCOMPARE(*fuel.lapsLeft(34.5), 17.25);
        fuel.add(7, 60.0); // refuelled on the lap: not counted
        fuel.add(8, 57.0);
        QCOMPARE(*fuel.perLap(), 7.0 / 3.0);
        for (int lap = 9; lap < 20; ++lap)
            fuel.add(lap, 57.0 - (lap - 8));
        QCOMPARE(*fuel.perLap(), 1.0); // the last five laps only
        fuel.reset();
        QVERIFY(!fuel.lapsLeft(10.0));

        // Fuel to the flag, worked by hand: 2.5 L and 90 s a lap.
        fuel.add(3, 40.0, 100.0);
        fuel.add(4, 37.5, 190.0);
        QVERIFY(!fuel.plan(37.5, 14, std::nullopt, 20.0)); // no lap driven whole yet
        fuel.add(5, 35.0, 280.0);
        fuel.add(6, 32.5, 370.0);
        QCOMPARE(*fuel.lapTime(), 90.0);
        // 14 laps to go take 35 L: 2.5 L short, plus a lap's margin.
        FuelEstimate::Plan plan = *fuel.plan(32.5, 14, 500.0, 20.0);
        QVERIFY(plan.toFinish == 35.0 && plan.toAdd == 5.0 && !plan.withoutStop);
        // A timed session: 1,000 s left is 11.1 laps, so 12 are driven, 30 L.
        plan = *fuel.plan(32.5, std::nullopt, 1000.0, 0);
        QVERIFY(plan.toFinish == 30.0 && plan.toAdd == 0.0 && plan.withoutStop);
        // No more than a tank (40 L at 50 %) goes in at one stop.
        QCOMPARE(fuel.plan(2.0, 20, std::nullopt, 20.0)->toAdd, 20.0);
        QVERIFY(!fuel.plan(32.5, std::nullopt, std::nullopt, 20.0));
    }

    void pagesAndDocuments()
    {
        Beacon beacon;
        beacon.simulatorRuns = false;
        Companion web(beacon.port);

        const HttpReply page = web.fetch("/");
        QCOMPARE(page.status, 200);
        QCOMPARE(page.contentType, QByteArray("text/html; charset=utf-8"));
        QCOMPARE(web.fetch("/kvb.js").contentType, QByteArray("text/javascript; charset=utf-8"));
        QCOMPARE(web.fetch("/nothing").status, 404);
        // The page for the phone, and the addresses with their codes that it draws.
        QVERIFY(web.fetch("/phone").body.contains("<title>kvBeacon: open this on your phone"));
        const QJsonArray urls = json(web.fetch("/api/phone").body)["urls"].toArray();
        QCOMPARE(urls.size(), 1);
        QCOMPARE(urls[0]["url"].toString(), QStringLiteral("http://192.0.2.7:%1/").arg(web.server.port()));
        const HttpReply post = web.fetch("/", "POST");
        QVERIFY(post.status == 405 && post.allow == "GET, HEAD");
        const HttpReply head = web.fetch("/", "HEAD");
        QVERIFY(head.status == 200 && head.body.isEmpty());
        QCOMPARE(head.length, QByteArray::number(page.body.size())); // what a GET would bring

        // Start values from kvBeacon are not live: the documents answer with the state instead.
        QTRY_COMPARE_WITH_TIMEOUT(json(web.fetch("/api/state").body).value("state").toString(),
                                  QStringLiteral("no-simulator"), 3000);
        HttpReply live = web.fetch("/api/live");
        QCOMPARE(live.status, 503);
        QCOMPARE(json(live.body).value("state").toString(), QStringLiteral("no-simulator"));
        QVERIFY(json(live.body).value("hint").toString().startsWith("Start iRacing and join a session"));

        beacon.simulatorRuns = true;
        QTRY_COMPARE_WITH_TIMEOUT(web.fetch("/api/live").status, 200, 5000);
        live = web.fetch("/api/live");
        QCOMPARE(live.contentType, QByteArray("application/json"));
        const QJsonObject document = json(live.body).value("live").toObject();
        QCOMPARE(document.size(), Protocol::liveKeyCount);
        QVERIFY(document.value("SessionTimeSinceStarted").toDouble() > 100.0);
        QCOMPARE(document.value("FuelLevel").toDouble(), 50.0);
        const QJsonObject info = json(web.fetch("/api/info").body).value("info").toObject();
        QVERIFY(info.size() == 8 && info.value(Protocol::InfoKey::TrackName) == QStringLiteral("Spa"));
        const QJsonArray macros = json(web.fetch("/api/macros").body).value("macros").toArray();
        QCOMPARE(macros.size(), Protocol::chatMacroCount);
        QVERIFY(macros.at(0) == QStringLiteral("Pitting this lap") &&
                macros.at(2) == QStringLiteral("Box,box"));
    }

    void webSocketFeed()
    {
        Beacon beacon;
        Companion web(beacon.port);
        WebSocketClient browser(web.ws());
        QTRY_COMPARE_WITH_TIMEOUT(browser.state(), QStringLiteral("live"), 5000);
        QTRY_VERIFY(!browser.of("macros").isEmpty());
        QTRY_COMPARE(browser.last("info")["info"][Protocol::InfoKey::SessionLaps].toInt(), 20);
        QVERIFY(browser.last("live").value("fuelPerLap").isNull()); // no lap driven whole: no estimate

        // Ten live messages a second, each newer than the last; the info once while it stands.
        browser.messages.clear();
        QTest::qWait(2000);
        const QList<QJsonObject> live = browser.of("live");
        QVERIFY2(live.size() >= 15 && live.size() <= 23, qPrintable(QString::number(live.size())));
        QVERIFY(live.last()["live"]["SessionTimeSinceStarted"].toDouble() >
                live.first()["live"]["SessionTimeSinceStarted"].toDouble());
        QVERIFY(browser.of("info").isEmpty());
        beacon.record.TrackName = QStringLiteral("Monza");
        QTRY_COMPARE(browser.of("info").size(), 1);
        QCOMPARE(browser.last("info")["info"][Protocol::InfoKey::TrackName].toString(),
                 QStringLiteral("Monza"));
    }

    // Presses run and are answered with their ids; what is no press gets an error and reaches nobody.
    // A flood of them runs a burst and is told the rest came too fast; a double tap still runs twice.
    void presses()
    {
        Beacon beacon;
        Companion web(beacon.port);
        QSignalSpy chats(&beacon.server, &kvServer::sigButtonChatClicked);
        QSignalSpy keys(&beacon.server, &kvServer::sigKeyboardKey);
        WebSocketClient browser(web.ws());
        QTRY_COMPARE_WITH_TIMEOUT(browser.state(), QStringLiteral("live"), 5000);

        browser.send(R"({"macro":3,"id":"m3"})");
        browser.send(R"({"key":"f1","id":7})"); // a key's name in any case
        browser.send(R"({"key":65})");
        QTRY_COMPARE(browser.of("result").size(), 3);
        QCOMPARE(chats.size(), 1);
        QCOMPARE(chats.at(0).at(0).toInt(), 2);
        QTRY_COMPARE(keys.size(), 2);
        QVERIFY(keys.at(0).at(0) == 112 && keys.at(1).at(0) == 65);
        const QList<QJsonObject> results = browser.of("result");
        QCOMPARE(results.at(0),
                 json(R"({"type":"result","macro":3,"ok":true,"reply":"Button ok","id":"m3"})"));
        QCOMPARE(results.at(1), json(R"({"type":"result","key":112,"ok":true,"reply":"KEY OK","id":7})"));
        QVERIFY(!results.at(2).contains("id"));

        // What is no press gets an error with the id it came with and reaches nobody; the socket stays open.
        for (const char *bad :
             {"not json", "[3]", R"({"macro":16})", R"({"macro":0,"id":"m0"})", R"({"macro":2.5})",
              R"({"key":"NOSUCHKEY","id":5})", R"({"key":300})", R"({"macro":6e47})", R"({"key":-1e300})",
              R"({"key":{"a":1},"key":{"b":2}})", R"({"macro":1,"key":65})", "{}"})
            browser.send(bad);
        QTRY_COMPARE(browser.of("error").size(), 12);
        const QList<QJsonObject> errors = browser.of("error");
        QVERIFY(errors.at(3).value("id") == "m0" && errors.at(5).value("id") == 5 &&
                !errors.at(4).contains("id"));
        QVERIFY(errors.last().value("error").toString().contains("\"macro\" or \"key\""));
        // Nesting beyond any real message is no JSON, whatever its depth: reading it back must not
        // recurse without bound (a thread's stack on Windows is a megabyte).
        const auto nested = [](int depth, const char *inner) {
            return QByteArray(depth, '[') + inner + QByteArray(depth, ']');
        };
        QVERIFY(UntrustedJson::parse(nested(UntrustedJson::maxDepth, "1")).isArray());
        QVERIFY(UntrustedJson::parse(nested(UntrustedJson::maxDepth + 1, "1")).isNull());
        QVERIFY(UntrustedJson::parse("{\"macro\":" + nested(8000, "") + "}").isNull());
        browser.send(R"({"macro":1})");
        QTRY_COMPARE(chats.size(), 2);
        QCOMPARE(keys.size(), 2);

        // Two presses at once (a driver's double tap) both run, two hundred run the rest of the burst.
        QTest::qWait(1500); // the page's presses back to their whole burst
        browser.messages.clear();
        chats.clear();
        for (int i = 0; i < 200; ++i)
            browser.send(R"({"macro":4})");
        QTRY_VERIFY_WITH_TIMEOUT(browser.of("result").size() > 16, 5000);
        QTest::qWait(1000);
        int tooFast = 0;
        for (const QJsonObject &answer : browser.of("result"))
            tooFast += answer.value("error") == QLatin1String("too fast");
        QVERIFY2(tooFast > 0 && chats.size() >= 2 && chats.size() <= PressRate::viewerMacros.burst + 2,
                 qPrintable(QStringLiteral("%1 ran, %2 too fast").arg(chats.size()).arg(tooFast)));

        // The companion's own rate holds across viewers: ten browsers at once run no more than its burst.
        QTest::qWait(2000);
        keys.clear();
        std::deque<WebSocketClient> others;
        for (int i = 0; i < 10; ++i)
            others.emplace_back(web.ws());
        for (WebSocketClient &other : others)
            for (int i = 0; i < 3; ++i)
                other.send(R"({"key":"F1"})");
        QTRY_COMPARE_WITH_TIMEOUT(
            std::accumulate(others.begin(), others.end(), 0,
                            [](int sum, const auto &b) { return sum + b.of("result").size(); }),
            30, 5000);
        QTest::qWait(500);
        QVERIFY2(keys.size() >= int(PressRate::companionKeys.burst) && keys.size() <= 15,
                 qPrintable(QString::number(keys.size())));

        // Presses beyond those waiting are refused at once rather than piled up.
        struct Results : Viewer
        {
            std::vector<std::string> texts;
            void deliver(Channel, std::shared_ptr<const std::string> m) override { texts.push_back(*m); }
        };
        Hub idleHub;
        BeaconLink idle(idleHub, loopback, 1); // never started: nothing runs its presses
        const auto refused = std::make_shared<Results>();
        for (std::size_t i = 0; i <= BeaconLink::maxWaitingPresses; ++i)
            idle.enqueue({Command::Macro, 1, QJsonValue::Undefined, refused});
        QVERIFY(refused->texts.size() == 1 && refused->texts[0].find("busy") != std::string::npos);
    }

    // What another site's page, a name that points here (DNS rebinding) and a flooding host try.
    void refusesHostileRequests()
    {
        Beacon beacon;
        Companion web(beacon.port);
        const QByteArray here = web.here();
        const auto get = [&](const QByteArray &path, const QByteArray &host, const QByteArray &more = {}) {
            return web.raw("GET " + path + " HTTP/1.1\r\nHost: " + host + "\r\n" + more);
        };

        // A name that is not this machine's is refused whatever it asks; addresses and localhost pass.
        const QByteArray refused = get("/api/live", "evil.example:47813");
        QVERIFY2(refused.startsWith("HTTP/1.1 403") && refused.contains("--allow-host NAME"),
                 refused.constData());
        for (const QByteArray &host : {here, QByteArray("LOCALHOST"), QByteArray("[::1]:80")})
            QVERIFY(get("/", host).startsWith("HTTP/1.1 200"));
        QVERIFY(get("/ws", "rebound.example").startsWith("HTTP/1.1 403"));
        // A name given with --allow-host passes.
        const AccessRules named({QStringLiteral("Racing-PC.home")});
        QVERIFY(named.hostAllowed("racing-pc.home:47813") && named.hostAllowed("racing-pc.home.") &&
                !named.hostAllowed("racing-pc.home.evil.example"));

        // The WebSocket opens for the companion's own pages and for programs (no Origin) only.
        const QByteArray fromElsewhere = get("/ws", here, upgrade + "Origin: http://evil.example\r\n");
        QVERIFY2(fromElsewhere.startsWith("HTTP/1.1 403") && fromElsewhere.contains("another site"),
                 fromElsewhere.constData());
        for (const QByteArray &origin : {QByteArray("null"), QByteArray("http://127.0.0.1:1")})
            QVERIFY(get("/ws", here, upgrade + "Origin: " + origin + "\r\n").startsWith("HTTP/1.1 403"));
        QVERIFY(get("/ws", here, upgrade + "Origin: http://" + here + "\r\n").startsWith("HTTP/1.1 101"));
        QVERIFY(get("/ws", here, upgrade).startsWith("HTTP/1.1 101"));

        // No type guessing anywhere; pages framed only by the companion's own.
        for (const char *path : {"/buttons", "/api/state", "/kvb.js", "/nothing"}) {
            const QByteArray answer = get(path, here);
            const bool page = path == QLatin1String("/buttons");
            const char *framing =
                page ? "Content-Security-Policy: frame-ancestors 'self'\r\n" : "Content-Security";
            QVERIFY2(answer.contains("X-Content-Type-Options: nosniff\r\n") &&
                         answer.contains(framing) == page,
                     answer.constData());
        }
        QVERIFY(get("/", "x.example").contains("X-Content-Type-Options: nosniff"));

        // A request that is no HTTP is told so, and said once where a user can turn it up.
        QLoggingCategory::setFilterRules(QStringLiteral("kvbeacon.web.http.info=true"));
        const QtMessageHandler previous = qInstallMessageHandler(keepHttpLog);
        const QByteArray junk = web.raw("\x01\x02 / HTTP/1.1\r\n");
        QTest::qWait(200);
        qInstallMessageHandler(previous);
        QLoggingCategory::setFilterRules(QString());
        QVERIFY2(junk.startsWith("HTTP/1.1 400 Bad Request") && junk.contains("Bad request: bad method"),
                 junk.constData());
        std::lock_guard<std::mutex> lock(httpLogMutex);
        QCOMPARE(httpLog.filter(QStringLiteral("ended while reading a request: bad method")).size(), 1);
    }

    // The key buttons a page sets up are kept whole and checked: only kvbeacon-web's own pages may
    // change them, in JSON, with keys it knows; a file that cannot be read is left for the user.
    void buttonBoxFromThePages()
    {
        Companion web(1);
        const QByteArray here = web.here();
        const auto put = [&](const QByteArray &origin, const QByteArray &type, const QByteArray &body) {
            return web.raw("PUT /api/buttons HTTP/1.1\r\nHost: " + here + "\r\nOrigin: " + origin +
                               "\r\nContent-Type: " + type +
                               "\r\nContent-Length: " + QByteArray::number(body.size()) + "\r\n",
                           body);
        };
        const QByteArray box = R"({"keys":[{"key":"f5","label":"  Wipers "},{"key":"A","label":""}]})";
        QVERIFY(put("http://evil.example", "application/json", box).startsWith("HTTP/1.1 403"));
        QVERIFY(put("http://" + here, "text/plain", box).startsWith("HTTP/1.1 415"));
        QVERIFY(put("http://" + here, "application/json", R"({"keys":[{"key":"NOPE"}]})")
                    .contains("no key kvBeacon knows"));
        const QString file = web.config.filePath("buttons.json");
        QVERIFY(!QFile::exists(file));
        const QByteArray saved = put("http://" + here, "application/json", box);
        QVERIFY2(saved.startsWith("HTTP/1.1 200") &&
                     saved.contains(R"("keys":[{"key":"F5","label":"Wipers"},{"key":"A","label":"A"}])"),
                 saved.constData());
        QCOMPARE(json(ButtonBox(file).json()), json(web.buttons.json())); // as kept, read back

        QVERIFY(writeFile(file, "{\"keys\": [{\"key\""));
        QString warning;
        ButtonBox broken(file, &warning);
        QVERIFY2(warning.contains("cannot be read") &&
                     broken.json().find(R"("keys":[])") != std::string::npos,
                 qPrintable(warning));
        QCOMPARE(QFileInfo(file).size(), qint64(16));
    }

    // Connections are capped from one address and in all, and an idle keep-alive connection goes;
    // neither a host holding over a thousand connections nor eleven holding all they may keep the
    // driver's browser out, on either loopback.
    void boundedConnections()
    {
        platform::raiseFileLimit();
        Beacon beacon;
        Companion web(beacon.port);
        const QByteArray here = web.here();

        // Keep-alive: one request answered, then silence, and the server lets go.
        RawConnection idle(web.server.port());
        QVERIFY(idle.exchange("GET /api/state HTTP/1.1\r\nHost: " + here + "\r\n\r\n")
                    .startsWith("HTTP/1.1 200"));
        QTRY_COMPARE_WITH_TIMEOUT(idle.state(), QAbstractSocket::UnconnectedState, 15000);

        // A flooding host on another address of this machine: 1,100 connections, each half a request.
        std::deque<RawConnection> flood;
        for (int i = 0; i < 1100; ++i)
            flood.emplace_back(web.server.port(), loopback, QStringLiteral("127.0.0.2"));
        for (RawConnection &socket : flood)
            if (socket.waitForConnected(3000))
                socket.write("GET / HTTP/1.1\r\nHost: " + here + "\r\n");
        QTRY_COMPARE_WITH_TIMEOUT(web.server.openConnections(), ConnectionLimits::defaultPerSource, 10000);
        for (int i = 0; i < 10 * ConnectionLimits::defaultPerSource; ++i)
            flood.emplace_back(web.server.port(), loopback, QStringLiteral("127.0.0.%1").arg(3 + i % 10));
        QTRY_VERIFY_WITH_TIMEOUT(web.server.openConnections() >=
                                     ConnectionLimits::defaultTotal - ConnectionLimits::defaultReserve,
                                 10000);
        // The driver's browser, on [::1] and with all a browser opens on 127.0.0.1.
        std::deque<RawConnection> browser;
        for (int i = 0; i <= ConnectionLimits::fewConnections; ++i) {
            const QByteArray answer =
                browser.emplace_back(web.server.port(), i ? loopback : QStringLiteral("::1"))
                    .exchange("GET /api/state HTTP/1.1\r\nHost: " + here + "\r\n\r\n");
            QVERIFY2(answer.startsWith("HTTP/1.1 200"), answer.constData());
        }
    }

    // A source is an IPv4 address or an IPv6 /64, an IPv4-mapped address its IPv4 address; with
    // room for two from a source, a third connection is refused only from the same one.
    void connectionSources_data()
    {
        QTest::addColumn<QString>("first");
        QTest::addColumn<bool>("shared");
        QTest::addColumn<QString>("second");
        QTest::newRow("one /64") << "2001:db8:1:2::1" << true << "2001:db8:1:2:ffff:ffff:ffff:fffe";
        QTest::newRow("the next /64") << "2001:db8:1:2::1" << false << "2001:db8:1:3::1";
        QTest::newRow("IPv4-mapped") << "::ffff:192.0.2.7" << true << "192.0.2.7";
        QTest::newRow("two IPv4-mapped") << "::ffff:192.0.2.7" << false << "::ffff:192.0.2.8";
        QTest::newRow("both loopbacks") << "::1" << false << "::ffff:127.0.0.1";
    }
    void connectionSources()
    {
        QFETCH(QString, first);
        QFETCH(bool, shared);
        QFETCH(QString, second);
        const auto limits = std::make_shared<ConnectionLimits>(ConnectionLimits::defaultTotal, 2);
        auto one = limits->admit(first.toStdString());
        const auto two = limits->admit(first.toStdString());
        QVERIFY(one && two);
        QCOMPARE(!limits->admit(second.toStdString()), shared);
        one.reset(); // the place goes back to the source it was taken from
        QVERIFY(limits->admit(second.toStdString()));
    }

    void recoversFromEveryLoss()
    {
        Beacon beacon;
        Companion web(beacon.port);
        WebSocketClient browser(web.ws());
        QTRY_COMPARE_WITH_TIMEOUT(browser.state(), QStringLiteral("live"), 5000);

        // Another client leaves: kvBeacon stops publishing for all, and only a new connection
        // brings the documents back. Nothing frozen goes out as live meanwhile.
        browser.messages.clear();
        QVERIFY(BeaconClient().connectTo(loopback, beacon.port));
        const double left = beacon.record.SessionTimeSinceStarted; // its clock runs on through pauses
        QTRY_VERIFY_WITH_TIMEOUT(
            browser.last("live")["live"]["SessionTimeSinceStarted"].toDouble() > left + 1, 5000);
        double previous = qQNaN(), still = 0;
        int repeats = 0, most = 0;
        for (const QJsonObject &message : browser.of("live")) {
            const double time = message["live"]["SessionTimeSinceStarted"].toDouble();
            most = std::max(most, repeats = time == previous ? repeats + 1 : 0);
            still = std::max(still, time - previous);
            previous = time;
        }
        qInfo("another client's leaving held the documents still for %.1f s", still);
        // At most the polls of the freeze's notice repeat a time.
        QVERIFY2(most <= 2, "frozen documents went out as live");
        QCOMPARE(browser.states(), QStringList()); // back soon enough for the pages to stay live

        beacon.server.StopServer();
        QTRY_COMPARE_WITH_TIMEOUT(browser.state(), QStringLiteral("no-beacon"), 5000);
        // What to do, as kvBeacon on this machine runs or not; of one elsewhere, where to look.
        const auto said = [&] {
            return browser.last("state")["text"].toString() + ' ' + browser.last("state")["hint"].toString();
        };
        QVERIFY2(said().startsWith(QStringLiteral("kvBeacon's server is not started: nothing answers on port "
                                                  "%1 Click \"Start Server\" in kvBeacon's window")
                                       .arg(beacon.port)),
                 qPrintable(said()));
        // A press meanwhile is answered as failed, not lost.
        browser.send(R"({"macro":1,"id":9})");
        QTRY_VERIFY(
            browser.last("result").value("error").toString().startsWith("kvBeacon's server is not started"));
        QCOMPARE(browser.last("result").value("ok"), QJsonValue(false));
        beaconRuns = false;
        QTRY_VERIFY2(said().startsWith("kvBeacon is not running Start kvBeacon."), qPrintable(said()));
        beaconRuns = true;
        Hub elsewhere;
        const BeaconLink remote(elsewhere, QStringLiteral("192.0.2.1"), 47812);
        QVERIFY(remote.stateText(BeaconLink::Unreachable) == "kvBeacon unreachable at 192.0.2.1:47812" &&
                remote.stateHint(BeaconLink::Unreachable).contains("firewall"));
        beacon.server.StartServer(QString(), beacon.port);
        QTRY_COMPARE_WITH_TIMEOUT(browser.state(), QStringLiteral("live"), 5000);

        // A "|" inside a text would put every later button on the wrong macro: no buttons then.
        QVERIFY(writeFile(beacon.folder.filePath("app.ini"), "[Autochat Messages]\nAutoChatStr1=Pit|box\n"));
        QTRY_VERIFY_WITH_TIMEOUT(browser.last("macros").value("error").toString().contains("\"|\""), 3000);
        QVERIFY(browser.last("macros").value("macros").isNull());
    }

    void manyViewersOneStalled()
    {
        // A minute, as a race's viewers would; shorter under the sanitizers, which are slow.
        const int seconds = qEnvironmentVariable("KVB_WEB_SOAK_SECONDS", QStringLiteral("60")).toInt();
        Beacon beacon;
        // Fifty browsers from one address: more than a host is let have in a real network.
        Companion web(beacon.port, 64);
        QTRY_VERIFY_WITH_TIMEOUT(web.hub.isLive(), 5000);

        // The stalled browser asks for the upgrade, then reads nothing, into a small buffer.
        RawConnection stalled(web.server.port());
        stalled.setReadBufferSize(1);
        QVERIFY(stalled.waitForConnected(3000));
        stalled.setSocketOption(QAbstractSocket::ReceiveBufferSizeSocketOption, 4096);
        stalled.write("GET /ws HTTP/1.1\r\nHost: " + web.here() + "\r\n" + upgrade + "\r\n");

        std::deque<WebSocketClient> browsers;
        for (int i = 0; i < 50; ++i)
            browsers.emplace_back(web.ws(), false);
        QTRY_VERIFY_WITH_TIMEOUT(std::all_of(browsers.begin(), browsers.end(),
                                             [](const auto &b) { return b.counts.value("live") > 0; }),
                                 10000);
        QTest::qWait(3000); // the sockets' buffers grown to their working size
        for (WebSocketClient &browser : browsers)
            browser.counts.clear();

        const double memoryBefore = ProcessFigures::of().residentKb / 1024.0;
        QTest::qWait(seconds * 1000);
        const double memoryAfter = ProcessFigures::of().residentKb / 1024.0;

        int fewest = INT_MAX;
        for (const WebSocketClient &browser : browsers)
            fewest = std::min(fewest, browser.counts.value("live"));
        qInfo("50 browsers and one stalled, %d s: the slowest got %d live messages (%.1f a second); "
              "memory %.1f MB then %.1f MB",
              seconds, fewest, double(fewest) / seconds, memoryBefore, memoryAfter);
        QVERIFY2(fewest >= seconds * 8, "a browser fell behind ten a second");
        QCOMPARE(beacon.server.clientCount(), 1); // one connection to kvBeacon for all of them
        // The stalled one answered no ping and was let go; the others stay.
        if (seconds > 2 * WebSocketSession::idleSeconds)
            QCOMPARE(web.hub.viewerCount(), 50);
#ifndef KVB_SANITIZED
        QVERIFY2(memoryAfter - memoryBefore < 10.0, "memory grew with the stalled browser");
#endif
    }
};

QTEST_GUILESS_MAIN(tst_Web)
#include "tst_web.moc"
