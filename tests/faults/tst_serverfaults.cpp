#include "blockingclient.h"
#include "kvserver.h"
#include "processfigures.h"
#include "serverfixture.h"

#include <QEventLoop>
#include <QRandomGenerator>
#include <QTimer>
#include <QtTest>

#include <atomic>
#include <thread>
#include <vector>

namespace {
QByteArray serverName(int id)
{
    return WireMessage(202, id, QStringLiteral("kv-Beacon")).data;
}
} // namespace

// Hostile and careless clients against a running server. Each case ends with a fresh client
// served correctly and the process's threads and descriptors back where they were.
class tst_ServerFaults : public QObject
{
    Q_OBJECT
private slots:
    void init();
    void cleanup();
    void connectDisconnectCycles();
    void clientsVanishInTheMiddleOfABody();
    void stalledBodyDoesNotHoldOthersUp();
    void randomByteStreams();
    void headAnnouncingTheLargestBody();

private:
    // Runs `work` on `count` threads while the main thread keeps the server's event loop going.
    void inThreads(int count, const std::function<void(int)> &work);

    QScopedPointer<kvServer> server;
    ProcessFigures baseline;
};

void tst_ServerFaults::init()
{
    qInstallMessageHandler([](QtMsgType type, const QMessageLogContext &, const QString &text) {
        if (type != QtDebugMsg) // the server's debug lines would drown the report
            fprintf(stderr, "%s\n", qPrintable(text));
    });
    baseline = ProcessFigures::of();
    server.reset(new kvServer(nullptr, nullptr));
    server->StartServer(QString(), 0);
    QVERIFY(server->isListening());
}

void tst_ServerFaults::cleanup()
{
    QTRY_COMPARE_WITH_TIMEOUT(server->clientCount(), 0, 15000);
    // A finished thread may take a moment to leave the process; the listener is the one
    // descriptor of the server's own.
    QTRY_COMPARE_WITH_TIMEOUT(ProcessFigures::of().threads, baseline.threads, 5000);
    QTRY_COMPARE_WITH_TIMEOUT(ProcessFigures::of().descriptors, baseline.descriptors + 1, 5000);
    QByteArray reply;
    inThreads(1, [&](int) {
        BlockingClient client;
        if (client.connectTo(server->serverPort()) && client.send(request(202, 77)))
            reply = client.readFrame();
    });
    QCOMPARE(reply, serverName(77));
    server.reset();
    QTRY_COMPARE_WITH_TIMEOUT(ProcessFigures::of().threads, baseline.threads, 10000);
    QTRY_COMPARE_WITH_TIMEOUT(ProcessFigures::of().descriptors, baseline.descriptors, 10000);
    qInstallMessageHandler(nullptr);
}

void tst_ServerFaults::inThreads(int count, const std::function<void(int)> &work)
{
    std::atomic<int> running{count};
    std::vector<std::thread> threads;
    for (int i = 0; i < count; ++i)
        threads.emplace_back([&, i] { work(i), --running; });
    // A real event loop: QtTest's waits sleep between passes, and every accept would wait them out.
    QEventLoop loop;
    QTimer poll;
    QElapsedTimer clock;
    clock.start();
    connect(&poll, &QTimer::timeout, &loop, [&] {
        if (running == 0 || clock.elapsed() > 120000)
            loop.quit();
    });
    poll.start(2);
    loop.exec();
    QCOMPARE(running.load(), 0);
    for (std::thread &t : threads)
        t.join();
}

void tst_ServerFaults::connectDisconnectCycles()
{
    // 5,000 cycles: most ask one thing before they go, the rest leave at once. A cycle waits
    // for its answer, so the accept queue (50 in Qt 5) never overflows into the kernel's
    // one-second retries.
    std::atomic<int> failed{0};
    inThreads(8, [&](int t) {
        for (int i = 0; i < 625; ++i) {
            BlockingClient client;
            const int id = t * 1000 + i;
            if (!client.connectTo(server->serverPort()))
                ++failed;
            else if (i % 5 == 0)
                usleep(500);
            else if (!client.send(request(202, id)) || client.readFrame() != serverName(id))
                ++failed;
        }
    });
    QCOMPARE(failed.load(), 0);
}

void tst_ServerFaults::clientsVanishInTheMiddleOfABody()
{
    inThreads(50, [&](int i) {
        BlockingClient client;
        if (client.connectTo(server->serverPort()))
            client.send(QByteArray("@000050;202;0000").left(9 + i % 8));
        if (i % 2)
            usleep(20000); // some leave while the server waits for the rest
    });
}

void tst_ServerFaults::stalledBodyDoesNotHoldOthersUp()
{
    std::atomic<bool> stallerClosed{false};
    std::atomic<int> served{0};
    std::atomic<qint64> stallerWaitedMs{0};
    inThreads(2, [&](int i) {
        BlockingClient client;
        if (!client.connectTo(server->serverPort()))
            return;
        if (i == 0) {
            client.send("@000050;202;0000"); // the rest never comes
            QElapsedTimer clock;
            clock.start();
            stallerClosed = client.closedWithin(15000);
            stallerWaitedMs = clock.elapsed();
            return;
        }
        usleep(100000);
        for (int n = 0; n < 20; ++n)
            served += client.send(request(202, n)) && client.readFrame(2000) == serverName(n);
    });
    QCOMPARE(served.load(), 20);
    // The server gives the stalled body its full ten seconds, then lets the client go.
    QVERIFY(stallerClosed);
    QVERIFY2(stallerWaitedMs >= 9000, QByteArray::number(stallerWaitedMs.load()).constData());
}

void tst_ServerFaults::randomByteStreams()
{
    inThreads(16, [&](int i) {
        QRandomGenerator random(quint32(1000 + i));
        BlockingClient client;
        if (!client.connectTo(server->serverPort()))
            return;
        for (int sent = 0; sent < 256 * 1024;) {
            QByteArray piece(int(random.bounded(1, 4096)), Qt::Uninitialized);
            for (char &c : piece)
                c = char(random.bounded(256));
            if (i % 4 == 0) // some streams are full of frame heads
                piece.replace(0, qMin(8, piece.size()), QByteArray("@000040;").left(qMin(8, piece.size())));
            if (!client.send(piece))
                break;
            client.receive(0);
            sent += piece.size();
        }
    });
}

void tst_ServerFaults::headAnnouncingTheLargestBody()
{
    QByteArray reply;
    inThreads(1, [&](int) {
        BlockingClient client;
        if (!client.connectTo(server->serverPort()))
            return;
        client.send("@999999;" + QByteArray(999999, 'x'));
        // That frame's command reads as 0 and gets no reply; the next one is answered.
        usleep(200000);
        client.send(request(202, 5));
        for (int nudge = 0; nudge < 100 && reply.isEmpty(); ++nudge)
            if ((reply = client.readFrame(100)).isEmpty())
                client.send(" "); // more data brings the next read
    });
    QCOMPARE(reply, serverName(5));
}

QTEST_GUILESS_MAIN(tst_ServerFaults)
#include "tst_serverfaults.moc"
