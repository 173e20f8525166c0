#include "serverfixture.h"

#include <algorithm>

namespace {
struct DirectServer : kvServer
{
    DirectServer() : kvServer(nullptr, nullptr) {}
    using kvServer::incomingConnection;
};
} // namespace

class tst_kvServer : public QObject
{
    Q_OBJECT
private slots:
    // A client's id is its connection's descriptor, and each has its own.
    void clientsLogsAndTheSecondFrame()
    {
        ServerWithClient f;
        const QString id = QString::number(f.server.currentThread->socketDescriptor);
        QCOMPARE(f.log, QStringList({"(Server) - Listening to port 0", "(Server) - Connecting... " + id}));
        QCOMPARE(ask(f.client, request(Protocol::ClientId, 4)),
                 request(Protocol::ClientId, 4, id.toLatin1()));
        QTRY_COMPARE(f.log.last(), "(Server) - Get Client ID: " + id);
        // Bytes without a head are reported and the connection is still served.
        f.client.write("@000012;");
        QTRY_COMPARE(f.log.count(QStringLiteral("Client: Header not found.")), 1);

        BeaconClient b, c;
        QSet<QByteArray> ids{id.toLatin1()};
        for (BeaconClient *client : {&b, &c}) {
            client->connectTo(loopback, f.server.serverPort());
            ids.insert(ask(*client, request(Protocol::ClientId, 1)).mid(19).chopped(1));
        }
        QVERIFY(ids.size() == 3 && f.server.clientCount() == 3);
        QSignalSpy counts(&f.server, &kvServer::sigClientCountChanged);
        f.client.close();
        QTRY_VERIFY(f.log.contains("(Server) - Client disconnected ID:" + id));
        QTRY_VERIFY(counts.count() == 1 && counts.at(0).at(0) == 2);
        // Any disconnect stops the publishing, though two clients remain.
        QVERIFY(!f.server.clientConnected);
        QCOMPARE(ask(c, request(Protocol::ServerName, 5)), QByteArray("@000021;202;000005;kv-Beacon;"));

        // A server on a port in use; then a thread that never got its socket, which once left a
        // client counted and the flag set.
        DirectServer second;
        QSignalSpy log(&second, &kvServer::sigDebugString);
        second.StartServer(QStringLiteral("127.0.0.1"), f.server.serverPort());
        QVERIFY(!second.isListening() && log.count() == 1);
        QCOMPARE(log.at(0).at(0).toString(), QStringLiteral("(Server) - Could not start server"));
        second.incomingConnection(qintptr(-1));
        QTRY_VERIFY(second.currentThread == nullptr);
        QVERIFY(!second.clientConnected && second.clientCount() == 0);
    }
    void replies_data()
    {
        QTest::addColumn<QByteArray>("frame");
        QTest::addColumn<QByteArray>("reply");     // empty: no reply
        QTest::addColumn<QStringList>("passedOn"); // log lines after their level, chat macros and keys
        const auto row = [](const char *name, const QByteArray &frame, const QByteArray &reply,
                            const QStringList &passedOn = {}) {
            QTest::newRow(name) << frame << reply << passedOn;
        };
        const QByteArray ok("@000021;206;000042;Button ok;"), keyOk("@000018;209;000003;KEY OK;"), none;
        // A client's name is the one line logged at level 1.
        row("201", request(Protocol::ClientName, 5, "Pit wall"), none,
            {"1 (Server) - Client Name: Pit wall"});
        row("201, no name", request(Protocol::ClientName, 5), none, {"1 (Server) - Client Name: "});
        row("205 without a folder", request(Protocol::ChatTexts, 2), "@000029;205;000002;iRacing not found;");
        row("206: 19-byte frame, no number", "@000011;206;000042;", ok, {"chat -1"});
        row("209: missing separator loses a digit", "@000013;209;000003;12", keyOk, {"key 1"});
        row("209: no number", request(Protocol::PressKey, 3, "F1"), keyOk, {"key 0"});
        // 204 has no case, nor a name.
        row("204", request(204, 1, "anything;"), none);
    }
    void replies()
    {
        QFETCH(QByteArray, frame);
        QFETCH(QByteArray, reply);
        QFETCH(QStringList, passedOn);
        QStringList seen; // in the order they come
        ServerWithClient f;
        connect(&f.server, &kvServer::sigDebugString,
                [&](const QString &text, int level) { seen << QString::number(level) + ' ' + text; });
        connect(&f.server, &kvServer::sigButtonChatClicked,
                [&](int n) { seen << "chat " + QString::number(n); });
        connect(&f.server, &kvServer::sigKeyboardKey, [&](int n) { seen << "key " + QString::number(n); });
        f.client.write(frame);
        QTRY_COMPARE(framesIn.load(), 1);
        if (!reply.isEmpty())
            QCOMPARE(nextFrame(f.client), reply);
        // Nothing else came: the next reply is the next thing on the wire.
        QCOMPARE(ask(f.client, request(Protocol::ServerName, 9)),
                 QByteArray("@000021;202;000009;kv-Beacon;"));
        // Log lines and signals are posted events, which Windows may deliver after the reply's bytes.
        passedOn << QStringLiteral("0 (Server) - Get Server name: kvBeacon");
        QTRY_COMPARE(seen, passedOn);
    }
    // Connections are counted by address, an IPv6 address by its /64, a mapped one as IPv4.
    void addressKeys()
    {
        const auto key = [](const char *address) {
            return kvServer::addressKey(QHostAddress(QString(address)));
        };
        QCOMPARE(key("2001:db8:1:2::1"), key("2001:db8:1:2:ffff:ffff:ffff:fffe"));
        QVERIFY(key("2001:db8:1:2::1") != key("2001:db8:1:3::1"));
        QCOMPARE(key("::ffff:127.0.0.2"), key("127.0.0.2"));
    }
    // With accepting paused, 120 connect only in a listen queue deeper than Qt's 50 (and within the
    // shallowest maximum, Linux's 128 before 5.4). On every interface, IPv4 and IPv6.
    void burstBeyondQtsQueue()
    {
        kvServer server(nullptr, nullptr);
        server.StartServer(QString(), 0);
        QCOMPARE(server.serverAddress(), QHostAddress(QHostAddress::Any));
        server.pauseAccepting();
        std::vector<std::unique_ptr<RawConnection>> clients;
        for (int i = 0; i < 120; ++i)
            clients.emplace_back(
                new RawConnection(server.serverPort(), i % 2 ? loopback : QStringLiteral("::1")));
        const auto connected = [&] {
            return std::count_if(clients.begin(), clients.end(),
                                 [](const auto &c) { return c->state() == QAbstractSocket::ConnectedState; });
        };
        QTRY_COMPARE_WITH_TIMEOUT(connected(), 120, 10000);
    }
    // A page in a browser can send kvBeacon's port an HTTP request with a frame in its path or body,
    // or have the browser send a TLS handshake with a frame in its session id: such a connection
    // is closed unread, while a client's junk before a frame is still skipped.
    void webRequestsAreClosed_data()
    {
        QTest::addColumn<QByteArrayList>("pieces");
        QTest::addColumn<QString>("closedAs"); // empty: served
        const QByteArray frame("@000013;206;000001;3;");
        const QByteArray post = "POST / HTTP/1.1\r\nHost: 127.0.0.1:47812\r\nContent-Type: text/plain\r\n"
                                "Content-Length: 21\r\n\r\n" +
                                frame;
        // A ClientHello's start: record and handshake heads, client version, random, then a
        // session id of 32 bytes that the attacker's server handed out earlier.
        const QByteArray hello = QByteArray::fromHex("160301006e0100006a0303") + QByteArray(32, 'r') +
                                 '\x20' + frame + QByteArray(11, 's') + QByteArray::fromHex("0002130101");
        const auto byteByByte = [](const QByteArray &bytes) {
            QByteArrayList list;
            for (const char c : bytes)
                list.append(QByteArray(1, c));
            return list;
        };
        const QString http = QStringLiteral("a web request (HTTP)"), tls = QStringLiteral("a TLS handshake");
        QTest::newRow("a frame in a POST's body") << QByteArrayList{post} << http;
        QTest::newRow("the same a byte at a time") << byteByByte(post) << http;
        QTest::newRow("a frame in the path") << QByteArrayList{"GET /" + frame + " HTTP/1.1\r\n\r\n"} << http;
        QTest::newRow("a path too long to wait for")
            << QByteArrayList{"GET /" + QByteArray(9000, 'a') + frame} << http;
        QTest::newRow("a frame in a ClientHello's session id") << QByteArrayList{hello} << tls;
        QTest::newRow("its first bytes one by one")
            << byteByByte(hello.left(24)) + QByteArrayList{hello.mid(24)} << tls;
        QTest::newRow("junk, then a frame") << QByteArrayList{"junk" + frame} << QString();
        QTest::newRow("a word and a space, then a frame") << QByteArrayList{"hello ", frame} << QString();
        QTest::newRow("a line, then a frame") << QByteArrayList{"HELLO THERE\n" + frame} << QString();
        QTest::newRow("a handshake's type, no TLS version, then a frame")
            << QByteArrayList{"\x16\x03\x05", frame} << QString();
    }
    void webRequestsAreClosed()
    {
        QFETCH(QByteArrayList, pieces);
        QFETCH(QString, closedAs);
        const bool closed = !closedAs.isEmpty();
        ServerWithClient f;
        QSignalSpy macros(&f.server, &kvServer::sigButtonChatClicked);
        RawConnection page(f.server.serverPort());
        QVERIFY(page.waitForConnected(3000));
        // Pieces one by one, while the server still takes them.
        for (int i = 0; i < pieces.size() && page.state() == QAbstractSocket::ConnectedState; ++i) {
            page.write(pieces[i]);
            page.flush();
            QTest::qWait(pieces.size() > 1 ? 2 : 0);
        }
        // Closed before any frame ran, or the frame's macro run and the connection kept.
        QTRY_VERIFY(page.state() == QAbstractSocket::UnconnectedState || macros.count() == 1);
        QTest::qWait(200); // for anything late
        QCOMPARE(macros.count(), closed ? 0 : 1);
        QCOMPARE(page.state() == QAbstractSocket::UnconnectedState, closed);
        QCOMPARE(f.log.filter(QStringLiteral("(Server) - Closed a connection that sent %1 ID:").arg(closedAs))
                     .size(),
                 int(closed));
        QCOMPARE(f.log.last().startsWith("(Server) - Client disconnected ID:"), closed);
    }
};

QTEST_MAIN(tst_kvServer)
#include "tst_kvserver.moc"
