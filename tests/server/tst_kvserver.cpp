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
    void clientsLogsAndTheSecondFrame();
    void replies_data();
    void replies();
    void burstBeyondQtsQueue();
    void webRequestsAreClosed_data();
    void webRequestsAreClosed();
};

// A client's id is its connection's descriptor, and each has its own.
void tst_kvServer::clientsLogsAndTheSecondFrame()
{
    ServerWithClient f;
    const QString id = QString::number(f.server.currentThread->socketDescriptor);
    QCOMPARE(f.logTexts(), QStringList({"(Server) - Listening to port 0", "(Server) - Connecting... " + id}));
    QCOMPARE(ask(f.client, request(Protocol::ClientId, 4)), request(Protocol::ClientId, 4, id.toLatin1()));
    QTRY_COMPARE(f.logTexts().last(), "(Server) - Get Client ID: " + id);
    // Bytes without a head are reported and the connection is still served.
    f.client.write("@000012;");
    QTRY_COMPARE(f.logTexts().count(QStringLiteral("Client: Header not found.")), 1);

    BeaconClient b, c;
    QSet<QByteArray> ids{id.toLatin1()};
    for (BeaconClient *client : {&b, &c}) {
        client->connectTo(loopback, f.server.serverPort());
        ids.insert(ask(*client, request(Protocol::ClientId, 1)).mid(19).chopped(1));
    }
    QVERIFY(ids.size() == 3 && f.server.clientCount() == 3);
    QSignalSpy counts(&f.server, &kvServer::sigClientCountChanged);
    f.client.close();
    QTRY_VERIFY(f.logTexts().contains("(Server) - Client disconnected ID:" + id));
    QTRY_COMPARE(counts.count(), 1);
    QCOMPARE(counts.at(0).at(0).toInt(), 2);
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

void tst_kvServer::replies_data()
{
    QTest::addColumn<QByteArray>("frame");
    QTest::addColumn<QByteArray>("reply");     // empty: no reply
    QTest::addColumn<QStringList>("passedOn"); // log lines after their level, chat macros and keys
    const auto row = [](const char *name, const QByteArray &frame, const QByteArray &reply,
                        const QStringList &passedOn = {}) {
        QTest::newRow(name) << frame << reply << passedOn;
    };
    const QByteArray ok("@000021;206;000042;Button ok;"), keyOk("@000018;209;000003;KEY OK;"), none;
    row("202", request(Protocol::ServerName, 7), "@000021;202;000007;kv-Beacon;",
        {"0 (Server) - Get Server name: kvBeacon"});
    // A client's name is the one line logged at level 1.
    row("201", request(Protocol::ClientName, 5, "Pit wall"), none, {"1 (Server) - Client Name: Pit wall"});
    row("201, no name", request(Protocol::ClientName, 5), none, {"1 (Server) - Client Name: "});
    row("205 without a folder", request(Protocol::ChatTexts, 2), "@000029;205;000002;iRacing not found;");
    row("206: 3 is the third macro", request(Protocol::ChatMacro, 42, "3"), ok, {"chat 2"});
    row("206: 19-byte frame, no number", "@000011;206;000042;", ok, {"chat -1"});
    row("209: key 13", request(Protocol::PressKey, 3, "13"), keyOk, {"key 13"});
    row("209: missing separator loses a digit", "@000013;209;000003;12", keyOk, {"key 1"});
    row("209: no number", request(Protocol::PressKey, 3, "F1"), keyOk, {"key 0"});
    // 204 has no case, nor a name.
    row("204", request(204, 1, "anything;"), none);
    row("refused: 18 bytes", "@000010;202;000001", none);
}

void tst_kvServer::replies()
{
    QFETCH(QByteArray, frame);
    QFETCH(QByteArray, reply);
    QFETCH(QStringList, passedOn);
    QStringList seen; // in the order they come
    ServerWithClient f;
    connect(&f.server, &kvServer::sigDebugString,
            [&](const QString &text, int level) { seen << QString::number(level) + ' ' + text; });
    connect(&f.server, &kvServer::sigButtonChatClicked, [&](int n) { seen << "chat " + QString::number(n); });
    connect(&f.server, &kvServer::sigKeyboardKey, [&](int n) { seen << "key " + QString::number(n); });
    f.client.write(frame);
    QTRY_COMPARE(framesIn.load(), 1);
    if (!reply.isEmpty())
        QCOMPARE(nextFrame(f.client), reply);
    // Nothing else came: the next reply is the next thing on the wire.
    QCOMPARE(ask(f.client, request(Protocol::ServerName, 9)), QByteArray("@000021;202;000009;kv-Beacon;"));
    // Log lines and signals cross from the connection's thread as posted events, which Windows
    // may deliver after the reply's bytes; the last request's line comes after all of them.
    passedOn << QStringLiteral("0 (Server) - Get Server name: kvBeacon");
    QTRY_COMPARE(seen, passedOn);
}

// With accepting paused, the system completes a connection only while its listen queue has
// room: 120 can all connect only in a queue deeper than the 50 that Qt asks for (and 120 fits
// the shallowest maximum, Linux's 128 before 5.4). On every interface, IPv4 and IPv6.
void tst_kvServer::burstBeyondQtsQueue()
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

// A page in a browser can send kvBeacon's port an HTTP request with a frame in its path or body:
// such a connection is closed unread, while a client's junk before a frame is still skipped.
void tst_kvServer::webRequestsAreClosed_data()
{
    QTest::addColumn<QByteArrayList>("pieces");
    QTest::addColumn<bool>("closed");
    const QByteArray frame("@000013;206;000001;3;");
    const QByteArray post = "POST / HTTP/1.1\r\nHost: 127.0.0.1:47812\r\nContent-Type: text/plain\r\n"
                            "Content-Length: 21\r\n\r\n" +
                            frame;
    QByteArrayList bytes;
    for (const char c : post)
        bytes.append(QByteArray(1, c));
    QTest::newRow("a frame in a POST's body") << QByteArrayList{post} << true;
    QTest::newRow("the same a byte at a time") << bytes << true;
    QTest::newRow("a frame in the path") << QByteArrayList{"GET /" + frame + " HTTP/1.1\r\n\r\n"} << true;
    QTest::newRow("a path too long to wait for")
        << QByteArrayList{"GET /" + QByteArray(9000, 'a') + frame} << true;
    QTest::newRow("a client's frame") << QByteArrayList{frame} << false;
    QTest::newRow("junk, then a frame") << QByteArrayList{"junk" + frame} << false;
    QTest::newRow("a word and a space, then a frame") << QByteArrayList{"hello ", frame} << false;
    QTest::newRow("a line, then a frame") << QByteArrayList{"HELLO THERE\n" + frame} << false;
}

void tst_kvServer::webRequestsAreClosed()
{
    QFETCH(QByteArrayList, pieces);
    QFETCH(bool, closed);
    ServerWithClient f;
    QSignalSpy macros(&f.server, &kvServer::sigButtonChatClicked);
    RawConnection page(f.server.serverPort());
    QVERIFY(page.waitForConnected(3000));
    // Pieces one by one, while the server still takes them.
    for (const QByteArray &piece : pieces) {
        if (page.state() != QAbstractSocket::ConnectedState)
            break;
        page.write(piece);
        page.flush();
        QTest::qWait(pieces.size() > 1 ? 2 : 0);
    }
    if (closed) {
        QTRY_COMPARE(page.state(), QAbstractSocket::UnconnectedState);
        QVERIFY(f.logTexts().last().startsWith("(Server) - Client disconnected ID:"));
        QCOMPARE(
            f.logTexts().filter("(Server) - Closed a connection that sent a web request (HTTP) ID:").size(),
            1);
        QTest::qWait(200);
        QCOMPARE(macros.count(), 0);
    } else {
        QTRY_COMPARE(macros.count(), 1);
        QCOMPARE(page.state(), QAbstractSocket::ConnectedState);
        QVERIFY(f.logTexts().filter("web request").isEmpty());
    }
}

QTEST_MAIN(tst_kvServer)
#include "tst_kvserver.moc"
