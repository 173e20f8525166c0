#include "processfigures.h"
#include "serverfixture.h"

// Hostile and careless clients at once against a running server; then a fresh client is served,
// and the process's threads and descriptors are back where they were.
class tst_ServerFaults : public QObject
{
    Q_OBJECT
private slots:
    void hostileClientsAtOnce();
};

void tst_ServerFaults::hostileClientsAtOnce()
{
    quietDebugLines();
    const ProcessFigures baseline = ProcessFigures::of();
    QScopedPointer<kvServer> server(new kvServer(nullptr, nullptr));
    server->StartServer(QString(), 0);
    const quint16 port = server->serverPort();
    const auto serverName = [](int id) { return request(Protocol::ServerName, id, Protocol::serverName); };
    std::atomic<int> failed{0}, running{76};
    std::atomic<qint64> stallerWaitedMs{0};
    QByteArray afterLargest;
    ClientThreads threads(76, [&](int t) {
        BeaconClient client;
        if (!client.connectTo(loopback, port)) {
            ++failed;
        } else if (t == 0) { // the rest of its body never comes
            client.write("@000050;202;0000");
            QElapsedTimer clock;
            clock.start();
            if (client.waitForClosed(15000))
                stallerWaitedMs = clock.elapsed();
        } else if (t == 1) { // that frame's command reads as 0: no reply, but the next is answered
            client.write("@999999;" + QByteArray(999999, 'x'));
            QThread::usleep(200000);
            client.write(request(Protocol::ServerName, 5));
            for (int nudge = 0; nudge < 100 && afterLargest.isEmpty(); ++nudge)
                if ((afterLargest = nextFrame(client, 100)).isEmpty())
                    client.write(" "); // more data brings the next read
        } else if (t < 10) {
            // Each waits for its answer before the next, so that the accept queue (50 in Qt 5)
            // never overflows into the kernel's one-second retries; some leave at once.
            for (int i = 0; i < 250; ++i)
                if (i && !client.connectTo(loopback, port))
                    ++failed;
                else if (i % 5 == 0)
                    QThread::usleep(500);
                else if (!client.write(request(Protocol::ServerName, t * 1000 + i)) ||
                         nextFrame(client) != serverName(t * 1000 + i))
                    ++failed;
        } else if (t < 26) {
            QRandomGenerator random(quint32(1000 + t));
            for (int sent = 0; sent < 256 * 1024;) {
                QByteArray piece(int(random.bounded(1, 4096)), Qt::Uninitialized);
                for (char &c : piece)
                    c = char(random.bounded(256));
                if (t % 4 == 0) // some streams are full of frame heads
                    piece = ("@000040;" + piece).left(piece.size());
                if (!client.write(piece))
                    break;
                sent += piece.size();
            }
        } else {
            client.write(QByteArray("@000050;202;0000").left(9 + t % 8));
            if (t % 2)
                QThread::usleep(20000); // some leave while the server waits for the rest
        }
        --running;
    });
    const bool done = QTest::qWaitFor([&] { return running == 0; }, 120000);
    threads.join();
    QVERIFY(done);
    QCOMPARE(failed.load(), 0);
    QCOMPARE(afterLargest, serverName(5));
    // The stalled body gets its full ten seconds, while the others are served.
    QVERIFY2(stallerWaitedMs >= 9000, QByteArray::number(stallerWaitedMs.load()).constData());

    QTRY_COMPARE_WITH_TIMEOUT(server->clientCount(), 0, 15000);
    // A finished thread may take a moment to leave; the listener is the server's one descriptor.
    QTRY_COMPARE_WITH_TIMEOUT(ProcessFigures::of().threads, baseline.threads, 5000);
    QTRY_COMPARE_WITH_TIMEOUT(ProcessFigures::of().descriptors, baseline.descriptors + 1, 5000);
    {
        BeaconClient client;
        QVERIFY(client.connectTo(loopback, port));
        QCOMPARE(ask(client, request(Protocol::ServerName, 77)), serverName(77));
    }
    server.reset();
    QTRY_VERIFY_WITH_TIMEOUT(ProcessFigures::of().sameThreadsAndDescriptors(baseline), 10000);
}

QTEST_GUILESS_MAIN(tst_ServerFaults)
#include "tst_serverfaults.moc"
