#include "processfigures.h"
#include "programoutput.h"
#include "serverfixture.h"
#include "serverplatform.h"

namespace {
// This test's own program as a server alone (KVB_SERVE_ALONE), so that its open-file limit and
// its memory are its own; through `wrapper` (such as prlimit) when given. Its port; 0 if none.
quint16 startServerAlone(ProgramOutput &kv, QStringList wrapper = {})
{
    const QByteArray sanitizer = qgetenv("ASAN_OPTIONS");
    qputenv("KVB_SERVE_ALONE", "1");
    // AddressSanitizer holds freed memory aside (256 MB by default), which would read as growth.
    qputenv("ASAN_OPTIONS", sanitizer + (sanitizer.isEmpty() ? "" : ":") + "quarantine_size_mb=0");
    wrapper << QCoreApplication::applicationFilePath();
    const bool started = kv.start(wrapper.first(), wrapper.mid(1), "\n");
    qunsetenv("KVB_SERVE_ALONE");
    qputenv("ASAN_OPTIONS", sanitizer);
    return started ? quint16(kv.output.mid(5).trimmed().toUInt()) : 0;
}

int serveAlone(int argc, char **argv)
{
    serverplatform::prepareProcess();
    QCoreApplication app(argc, argv);
    quietDebugLines();
    kvServer server(nullptr, nullptr);
    server.StartServer(QString(), 0);
    std::printf("port %d\n", server.serverPort());
    std::fflush(stdout);
    return app.exec();
}
} // namespace

// Hostile and careless clients at once against a running server; then a fresh client is served,
// and the process's threads and descriptors are back where they were.
class tst_ServerFaults : public QObject
{
    Q_OBJECT
private slots:
    void hostileClientsAtOnce();
    void idleFloodUnderALowFileLimit();
    void fastSenderHeldBackByTcp();
};

// Idle connections from a few addresses, more than a desktop's open-file limit allows threads
// for: those beyond the caps are closed, and another address is still served.
void tst_ServerFaults::idleFloodUnderALowFileLimit()
{
    ProgramOutput kv;
    const quint16 port =
        startServerAlone(kv, {QStringLiteral("prlimit"), QStringLiteral("--nofile=1024:1024")});
    QVERIFY(port);
    std::vector<std::unique_ptr<RawConnection>> flood;
    // The first 200 from one address, the rest from four others.
    for (int i = 0; i < 600; ++i)
        flood.emplace_back(
            new RawConnection(port, loopback, QStringLiteral("127.0.0.%1").arg(i < 200 ? 2 : 3 + i % 4)));
    const auto count = [&](QAbstractSocket::SocketState state, std::size_t first = 0) {
        return std::count_if(flood.begin() + first, flood.end(),
                             [&](const auto &c) { return c->state() == state; });
    };
    // Every connection is taken in or closed, and the server keeps places for other addresses:
    // a few of the driver's programs come in and are answered, and no more.
    const int openToAll = kvServer::maxConnections - kvServer::placesKept;
    QTRY_VERIFY_WITH_TIMEOUT(count(QAbstractSocket::UnconnectedState) == 600 - openToAll, 20000);
    QCOMPARE(count(QAbstractSocket::ConnectedState, 200), openToAll - kvServer::maxPerAddress);
    BeaconClient driver;
    QVERIFY(driver.connectTo(loopback, port));
    QCOMPARE(ask(driver, request(Protocol::ServerName, 9)),
             request(Protocol::ServerName, 9, Protocol::serverName));
    for (int i = 1; i <= kvServer::fewConnections; ++i)
        flood.emplace_back(new RawConnection(port));
    QTRY_VERIFY_WITH_TIMEOUT(count(QAbstractSocket::UnconnectedState) == 600 - openToAll + 1, 20000);
    QTest::qWait(300); // for any late closing
    QCOMPARE(count(QAbstractSocket::ConnectedState), openToAll + kvServer::fewConnections - 1);
    QCOMPARE(kv.process.state(), QProcess::Running);
    kv.stop();
}

// 64 MB of client names as fast as TCP takes them: the server reads a frame per arrival, and
// what it has not read waits in the sender's socket, not in the server's memory.
void tst_ServerFaults::fastSenderHeldBackByTcp()
{
    ProgramOutput kv;
    const quint16 port = startServerAlone(kv);
    QVERIFY(port);
    const auto figures = [&] { return ProcessFigures::of(int(kv.process.processId())); };
    BeaconClient sender;
    QVERIFY(sender.connectTo(loopback, port));
    QCOMPARE(ask(sender, request(Protocol::ServerName, 1)),
             request(Protocol::ServerName, 1, Protocol::serverName));
    [[maybe_unused]] const long residentKb = figures().residentKb;
    QRandomGenerator random(64);
    for (qint64 sent = 0; sent < 64 << 20;) {
        const QByteArray frame = request(Protocol::ClientName, 2, QByteArray(random.bounded(1, 65536), 'n'));
        QVERIFY(sender.write(frame, 30000));
        sent += frame.size();
    }
    // What waits behind the last frame is read as more data comes.
    QByteArray answer;
    for (int nudge = 0; nudge < 3000 && answer.isEmpty(); ++nudge)
        if ((answer = nextFrame(sender, 10)).isEmpty())
            sender.write(request(Protocol::ServerName, 3));
    QCOMPARE(answer, request(Protocol::ServerName, 3, Protocol::serverName));
#ifndef __SANITIZE_THREAD__ // its shadow of every heap range the frames passed through stays resident
    const long grownKb = figures().peakResidentKb - residentKb;
    QVERIFY2(grownKb < 16 * 1024, qPrintable(QStringLiteral("the server grew by %1 KB").arg(grownKb)));
#endif
    kv.stop();
}

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

int main(int argc, char **argv)
{
    if (qEnvironmentVariableIsSet("KVB_SERVE_ALONE"))
        return serveAlone(argc, argv);
    QCoreApplication app(argc, argv);
    tst_ServerFaults test;
    QTEST_SET_MAIN_SOURCE_PATH
    return QTest::qExec(&test, argc, argv);
}
#include "tst_serverfaults.moc"
