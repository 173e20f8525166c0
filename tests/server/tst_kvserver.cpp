#include "kvserverthread.h"
#include "serverfixture.h"

class tst_kvServer : public QObject
{
    Q_OBJECT
private slots:
    void init() { capture.reset(new DebugCapture); }
    void cleanup() { capture.reset(); }

    void listensAndLogsAccept();
    void listenFailureIsLogged();
    void frameInOnePiece();
    void headPlusOneByteThenRest();
    void exactlyTheHeadBytesLoseTheMarker();
    void twoFramesTogether();
    void rejectedHeadsAreSkipped_data();
    void rejectedHeadsAreSkipped();
    void frameSizesAroundTheMinimum();
    void severalClientsAndOneDisconnect();
    void stopEndsEveryConnection();
    void stopIsNotHeldBackByAStalledBody();
    void destroyedWithClientsReading();
    void failedSocketLeavesNoClient();

private:
    QScopedPointer<DebugCapture> capture;
};

void tst_kvServer::listensAndLogsAccept()
{
    RunningServer s;
    QVERIFY(s.server.isListening());
    QVERIFY(s.port() != 0);
    QCOMPARE(s.logTexts().value(0), QStringLiteral("(Server) - Listening to port 0"));
    QVERIFY(capture->contains(QStringLiteral("Listening to port ")));
    QVERIFY(!s.server.clientConnected);

    TestClient client(s.port());
    QVERIFY(client.waitConnected());
    QTRY_VERIFY(s.server.clientConnected);
    QTRY_VERIFY(capture->contains(QStringLiteral(" Client connected")));
    const qintptr descriptor = s.server.currentThread->socketDescriptor;
    QCOMPARE(s.logTexts().value(1), QStringLiteral("(Server) - Connecting... %1").arg(descriptor));
    QCOMPARE(s.server.clientCount(), 1);
}

void tst_kvServer::listenFailureIsLogged()
{
    RunningServer first;
    kvServer second(nullptr, nullptr);
    QSignalSpy log(&second, &kvServer::sigDebugString);
    second.StartServer(QStringLiteral("127.0.0.1"), first.port());
    QVERIFY(!second.isListening());
    QCOMPARE(log.count(), 1);
    QCOMPARE(log.at(0).at(0).toString(), QStringLiteral("(Server) - Could not start server"));
    QCOMPARE(log.at(0).at(1).toInt(), 0);
    QVERIFY(capture->contains(QStringLiteral("Could not start server")));
}

void tst_kvServer::frameInOnePiece()
{
    RunningServer s;
    TestClient client(s.port());
    client.send("@000012;202;000007;;");
    QCOMPARE(client.take(29), QByteArray("@000021;202;000007;kv-Beacon;"));
    QTRY_VERIFY(capture->contains(QStringLiteral(": Data in: ")));
}

void tst_kvServer::headPlusOneByteThenRest()
{
    RunningServer s;
    TestClient client(s.port());
    QVERIFY(client.waitConnected());
    client.send("@000012;2");
    QTest::qWait(100); // let the first piece arrive on its own
    client.send("02;000007;;");
    QCOMPARE(client.take(29), QByteArray("@000021;202;000007;kv-Beacon;"));
}

void tst_kvServer::exactlyTheHeadBytesLoseTheMarker()
{
    RunningServer s;
    TestClient client(s.port());
    QVERIFY(client.waitConnected());
    const QString noHead = QStringLiteral("Client: Header not found.");
    client.send("@000012;");
    QTRY_COMPARE(s.logTexts().count(noHead), 1);
    client.send("202;000007;;");
    QTRY_COMPARE(s.logTexts().count(noHead), 2);
    QVERIFY(client.received.isEmpty());
    // The connection is still served.
    client.send(request(202, 8));
    QCOMPARE(client.take(29), QByteArray("@000021;202;000008;kv-Beacon;"));
    QVERIFY(client.received.isEmpty());
}

void tst_kvServer::twoFramesTogether()
{
    RunningServer s;
    TestClient client(s.port());
    QVERIFY(client.waitConnected());
    client.send(request(202, 1) + request(202, 2));
    QCOMPARE(client.take(29), QByteArray("@000021;202;000001;kv-Beacon;"));
    // The second frame waits for the next arrival of data.
    QTest::qWait(200);
    QVERIFY(client.received.isEmpty());
    client.send(request(202, 3));
    QCOMPARE(client.take(29), QByteArray("@000021;202;000002;kv-Beacon;"));
    client.send(request(202, 4));
    QCOMPARE(client.take(29), QByteArray("@000021;202;000003;kv-Beacon;"));
}

void tst_kvServer::rejectedHeadsAreSkipped_data()
{
    QTest::addColumn<QByteArray>("garbage");
    QTest::newRow("zero length") << QByteArray("@000000;");
    QTest::newRow("no separator") << QByteArray("@000012x");
    QTest::newRow("text length") << QByteArray("@abcdef;");
    QTest::newRow("noise") << QByteArray("hello;;%\r\n");
}

void tst_kvServer::rejectedHeadsAreSkipped()
{
    QFETCH(QByteArray, garbage);
    RunningServer s;
    TestClient client(s.port());
    client.send(garbage + request(202, 9));
    QCOMPARE(client.take(29), QByteArray("@000021;202;000009;kv-Beacon;"));
}

void tst_kvServer::frameSizesAroundTheMinimum()
{
    RunningServer s;
    TestClient client(s.port());
    QVERIFY(client.waitConnected());
    // 18 bytes: a head announcing ten bytes of body; parse refuses it and nothing answers.
    client.send("@000010;202;000001");
    QTRY_VERIFY(capture->contains(QStringLiteral("\"@000010;202;000001\"")));
    // 19 bytes: a frame with an empty payload; 201 stores an empty name and sends nothing.
    client.send("@000011;201;000002;");
    QTRY_VERIFY(s.logTexts().contains(QStringLiteral("(Server) - Client Name: ")));
    client.send(request(202, 3));
    QCOMPARE(client.take(29), QByteArray("@000021;202;000003;kv-Beacon;"));
    QVERIFY(client.received.isEmpty());
}

void tst_kvServer::severalClientsAndOneDisconnect()
{
    RunningServer s;
    QSignalSpy counts(&s.server, &kvServer::sigClientCountChanged);
    TestClient a(s.port()), b(s.port()), c(s.port());
    QList<QByteArray> ids;
    for (TestClient *client : {&a, &b, &c}) {
        client->send(request(203, 1));
        const QByteArray reply = client->takeFrame();
        QVERIFY2(reply.startsWith("@0000") && reply.endsWith(';'), reply.constData());
        ids.append(reply.mid(19, reply.size() - 20));
    }
    QCOMPARE(QSet<QByteArray>(ids.begin(), ids.end()).size(), 3);
    QTRY_COMPARE(s.server.clientCount(), 3);
    QVERIFY(s.server.clientConnected);

    b.socket.disconnectFromHost();
    const QString gone =
        QStringLiteral("(Server) - Client disconnected ID:%1").arg(QString::fromLatin1(ids.at(1)));
    QTRY_VERIFY(s.logTexts().contains(gone));
    QTRY_COMPARE(s.server.clientCount(), 2);
    // Any disconnect clears the flag, though two clients remain.
    QVERIFY(!s.server.clientConnected);
    QCOMPARE(counts.last().at(0).toInt(), 2);

    for (TestClient *client : {&a, &c}) {
        client->send(request(202, 5));
        QCOMPARE(client->take(29), QByteArray("@000021;202;000005;kv-Beacon;"));
    }
}

void tst_kvServer::stopEndsEveryConnection()
{
    RunningServer s;
    TestClient a(s.port()), b(s.port()), c(s.port());
    for (TestClient *client : {&a, &b, &c}) {
        client->send(request(202, 1));
        QCOMPARE(client->take(29).size(), 29);
    }
    QList<QPointer<kvServerThread>> threads;
    for (kvServerThread *t : s.server.findChildren<kvServerThread *>())
        threads.append(t);
    QCOMPARE(threads.size(), 3);

    s.server.StopServer();
    QVERIFY(!s.server.isListening()); // nobody new comes in while it waits for deletion
    for (const QPointer<kvServerThread> &t : threads)
        QVERIFY(!t || t->isFinished());
    // Each socket is closed with its thread, so every client hears of it.
    for (TestClient *client : {&a, &b, &c})
        QVERIFY(client->waitClosed());
    QTRY_COMPARE(s.server.clientCount(), 0);
    QTRY_VERIFY(s.server.findChildren<kvServerThread *>().isEmpty());
    QVERIFY(s.server.currentThread == nullptr);
}

void tst_kvServer::stopIsNotHeldBackByAStalledBody()
{
    RunningServer s;
    TestClient client(s.port());
    client.send(request(202, 1));
    QCOMPARE(client.take(29).size(), 29);
    client.send("@000050;202;0000"); // the rest never comes
    QTest::qWait(100);
    QElapsedTimer clock;
    clock.start();
    s.server.StopServer();
    // The read loop may wait 10 s for a body; a stop cuts that short.
    QVERIFY2(clock.elapsed() < 5000, QByteArray::number(clock.elapsed()).constData());
    QVERIFY(client.waitClosed());
}

void tst_kvServer::destroyedWithClientsReading()
{
    auto *server = new kvServer(nullptr, nullptr);
    server->StartServer(QString(), 0);
    QList<TestClient *> clients;
    for (int i = 0; i < 8; ++i)
        clients.append(new TestClient(server->serverPort()));
    for (TestClient *client : clients) {
        client->send(request(207, 1));
        client->send(request(208, 2)); // arrives while the server goes away
    }
    QTRY_VERIFY(server->clientCount() == 8);
    delete server;
    for (TestClient *client : clients) {
        QVERIFY(client->waitClosed());
        delete client;
    }
    QVERIFY(!capture->contains(QStringLiteral("Destroyed while thread")));
}

namespace {
class DirectServer : public kvServer
{
public:
    DirectServer() : kvServer(nullptr, nullptr) {}
    using kvServer::incomingConnection;
};
} // namespace

void tst_kvServer::failedSocketLeavesNoClient()
{
    DirectServer server;
    QSignalSpy log(&server, &kvServer::sigDebugString);
    server.incomingConnection(qintptr(-1));
    QVERIFY(server.currentThread != nullptr);
    QTRY_VERIFY(server.currentThread == nullptr);
    QVERIFY(!server.clientConnected);
    QCOMPARE(server.clientCount(), 0);
    QCOMPARE(log.count(), 1); // the accept line only
    server.StopServer();      // must not touch the thread that is gone
}

QTEST_MAIN(tst_kvServer)
#include "tst_kvserver.moc"
