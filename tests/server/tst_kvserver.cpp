#include "serverfixture.h"

class tst_kvServer : public QObject
{
    Q_OBJECT
private slots:
    void listensAndLogs();
    void listenFailureIsLogged();
    void secondFrameWaitsForMoreData();
    void severalClientsAndOneDisconnect();
    void stopEndsEveryConnection();
    void failedSocketLeavesNoClient();
};

void tst_kvServer::listensAndLogs()
{
    ServerWithClient f;
    QVERIFY(f.server.isListening() && f.server.serverPort() != 0);
    QCOMPARE(
        f.logTexts(),
        QStringList(
            {QStringLiteral("(Server) - Listening to port 0"),
             QStringLiteral("(Server) - Connecting... %1").arg(f.server.currentThread->socketDescriptor)}));
    QCOMPARE(f.server.clientCount(), 1);
    QVERIFY(f.server.clientConnected);
    // Bytes without a head are reported and the connection is still served.
    f.client.write("@000012;");
    QTRY_COMPARE(f.logTexts().count(QStringLiteral("Client: Header not found.")), 1);
    QCOMPARE(ask(f.client, request(202, 8)), QByteArray("@000021;202;000008;kv-Beacon;"));
}

void tst_kvServer::listenFailureIsLogged()
{
    ServerWithClient first;
    kvServer second(nullptr, nullptr);
    QSignalSpy log(&second, &kvServer::sigDebugString);
    second.StartServer(QStringLiteral("127.0.0.1"), first.server.serverPort());
    QVERIFY(!second.isListening());
    QCOMPARE(log.count(), 1);
    QCOMPARE(log.at(0).at(0).toString(), QStringLiteral("(Server) - Could not start server"));
}

void tst_kvServer::secondFrameWaitsForMoreData()
{
    ServerWithClient f;
    f.client.write(request(202, 1) + request(202, 2));
    QCOMPARE(nextFrame(f.client), QByteArray("@000021;202;000001;kv-Beacon;"));
    QVERIFY(nextFrame(f.client, 200).isEmpty());
    QCOMPARE(ask(f.client, request(202, 3)), QByteArray("@000021;202;000002;kv-Beacon;"));
}

void tst_kvServer::severalClientsAndOneDisconnect()
{
    ServerWithClient f;
    QTcpSocket b, c;
    QSet<QByteArray> ids;
    for (QTcpSocket *client : {&f.client, &b, &c}) {
        if (client != &f.client)
            client->connectToHost(QHostAddress::LocalHost, f.server.serverPort());
        ids.insert(WireMessage(ask(*client, request(203, 1))).payload.chopped(1).toLatin1());
    }
    QCOMPARE(ids.size(), 3);
    QCOMPARE(f.server.clientCount(), 3);
    QSignalSpy counts(&f.server, &kvServer::sigClientCountChanged);
    const QByteArray gone = WireMessage(ask(b, request(203, 2))).payload.chopped(1).toLatin1();
    b.disconnectFromHost();
    QTRY_VERIFY(f.logTexts().contains("(Server) - Client disconnected ID:" + QString::fromLatin1(gone)));
    QTRY_COMPARE(counts.count(), 1);
    QCOMPARE(counts.at(0).at(0).toInt(), 2);
    // Any disconnect stops the publishing, though two clients remain.
    QVERIFY(!f.server.clientConnected);
    QCOMPARE(ask(c, request(202, 5)), QByteArray("@000021;202;000005;kv-Beacon;"));
}

void tst_kvServer::stopEndsEveryConnection()
{
    ServerWithClient f;
    QTcpSocket b;
    b.connectToHost(QHostAddress::LocalHost, f.server.serverPort());
    QCOMPARE(ask(b, request(202, 1)).size(), 29);
    f.client.write("@000050;202;0000"); // the rest never comes
    QTRY_COMPARE(f.server.clientCount(), 2);
    QTest::qWait(100);
    QElapsedTimer clock;
    clock.start();
    f.server.StopServer();
    // The read loop may wait 10 s for a body; a stop cuts that short.
    QVERIFY2(clock.elapsed() < 5000, QByteArray::number(clock.elapsed()).constData());
    QVERIFY(!f.server.isListening());
    for (QTcpSocket *client : {&f.client, &b})
        QTRY_COMPARE(client->state(), QAbstractSocket::UnconnectedState);
    QTRY_COMPARE(f.server.clientCount(), 0);
    QTRY_VERIFY(f.server.findChildren<kvServerThread *>().isEmpty());
}

namespace {
class DirectServer : public kvServer
{
public:
    DirectServer() : kvServer(nullptr, nullptr) {}
    using kvServer::incomingConnection;
};
} // namespace

// A thread that never got its socket once left a client counted and the flag set.
void tst_kvServer::failedSocketLeavesNoClient()
{
    DirectServer server;
    server.incomingConnection(qintptr(-1));
    QTRY_VERIFY(server.currentThread == nullptr);
    QVERIFY(!server.clientConnected);
    QCOMPARE(server.clientCount(), 0);
    server.StopServer();
}

QTEST_MAIN(tst_kvServer)
#include "tst_kvserver.moc"
