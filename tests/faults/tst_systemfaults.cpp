#include "blockingclient.h"
#include "fakewindows.h"
#include "frames.h"
#include "kvbeacon.h"
#include "kvserver.h"
#include "telemetrymap.h"

#include <QEventLoop>
#include <QLabel>
#include <QLineEdit>
#include <QProcess>
#include <QPushButton>
#include <QSettings>
#include <QStandardPaths>
#include <QStatusBar>
#include <QTemporaryDir>
#include <QTimer>
#include <QtTest>

#include <atomic>
#include <mutex>
#include <sys/mman.h>
#include <thread>
#include <vector>

namespace {
// Clients on threads of their own that read both documents in a loop until told to stop,
// counting answers, wrong answers and connections that the server closed.
class ReadingClients
{
public:
    ReadingClients(std::uint16_t port, int count)
    {
        for (int c = 0; c < count; ++c)
            threads.emplace_back([this, port, c] {
                BlockingClient client;
                if (!client.connectTo(port)) {
                    ++closed;
                    return;
                }
                for (int id = c * 100000; !stop; ++id) {
                    const int command = id % 2 ? 207 : 208;
                    if (!client.send(request(command, id % 1000000))) {
                        ++closed;
                        return;
                    }
                    const QByteArray reply = client.readFrame(12000);
                    if (reply.isEmpty()) {
                        ++closed;
                        return;
                    }
                    if (!reply.startsWith("@") || reply.mid(8, 4) != QByteArray::number(command) + ";" ||
                        !reply.endsWith("}\n;"))
                        ++wrong;
                    else
                        ++answers;
                    if (command == 207) {
                        std::lock_guard<std::mutex> lock(mutex);
                        lastLiveReply = reply;
                    }
                }
            });
    }
    ~ReadingClients() { finish(); }
    void finish()
    {
        stop = true;
        for (std::thread &t : threads)
            if (t.joinable())
                t.join();
    }

    QByteArray lastLive()
    {
        std::lock_guard<std::mutex> lock(mutex);
        return lastLiveReply;
    }

    std::atomic<bool> stop{false};
    std::atomic<int> answers{0}, wrong{0}, closed{0};
    std::vector<std::thread> threads;

private:
    std::mutex mutex;
    QByteArray lastLiveReply;
};

// Spins a real event loop until `done` or `ms` have passed (a test's wait helpers sleep
// between passes, which would slow every accept of the server down).
bool spinUntil(const std::function<bool()> &done, int ms)
{
    bool reached = done();
    if (reached)
        return true;
    QEventLoop loop;
    QTimer poll;
    QElapsedTimer clock;
    clock.start();
    QObject::connect(&poll, &QTimer::timeout, &loop, [&] {
        reached = done();
        if (reached || clock.elapsed() > ms)
            loop.quit();
    });
    poll.start(5);
    loop.exec();
    return reached;
}

// The server that listens now: a stopped one may still wait for its deferred deletion.
kvServer *listeningServer(QObject *window)
{
    for (kvServer *server : window->findChildren<kvServer *>())
        if (server->isListening())
            return server;
    return nullptr;
}

QString iniPath()
{
    return QStandardPaths::writableLocation(QStandardPaths::DataLocation) + QStringLiteral("/kvbeacon.ini");
}
} // namespace

// The whole program against a simulator that misbehaves and a user who stops the server and
// closes the window while clients read. The simulator's window is played by the test; its
// memory and event are the stand-in's, over real shared memory.
class tst_SystemFaults : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void cleanup();
    void simulatorMisbehaves();
    void stopAndCloseWithFiftyClientsReading();

private:
    bool startStandIn(QProcess &process, const QStringList &extra = {});
    static bool waitForLine(QProcess &process, const QByteArray &text);

    QTemporaryDir documents;
    ProcessCounts baseline;
};

void tst_SystemFaults::initTestCase()
{
    QStandardPaths::setTestModeEnabled(true);
    qInstallMessageHandler([](QtMsgType type, const QMessageLogContext &, const QString &text) {
        if (type != QtDebugMsg)
            fprintf(stderr, "%s\n", qPrintable(text));
    });
    QFile appIni(documents.filePath(QStringLiteral("app.ini")));
    QVERIFY(appIni.open(QIODevice::WriteOnly));
    appIni.write("[Autochat Messages]\nAutoChatStr1=hi\n");
    appIni.close();
    QFile::remove(iniPath());
    QSettings settings(iniPath(), QSettings::IniFormat);
    settings.setValue(QStringLiteral("main/port"), 0);
    settings.setValue(QStringLiteral("paths/iracingdocument"), documents.path());
    settings.sync();
    baseline = ProcessCounts::now();
}

void tst_SystemFaults::cleanup()
{
    shm_unlink("/IRSDKMemMapFileName");
    shm_unlink("/IRSDKDataValidEvent");
}

bool tst_SystemFaults::waitForLine(QProcess &process, const QByteArray &text)
{
    return spinUntil(
        [&] {
            while (process.canReadLine())
                if (process.readLine().startsWith(text))
                    return true;
            return false;
        },
        5000);
}

bool tst_SystemFaults::startStandIn(QProcess &process, const QStringList &extra)
{
    process.start(QStringLiteral(KVB_SIMULATOR), QStringList{QStringLiteral("--no-window")} + extra);
    return process.waitForStarted() && waitForLine(process, "publishing");
}

void tst_SystemFaults::simulatorMisbehaves()
{
    FakeWindows windows; // the simulator's window is there throughout
    QProcess standIn;
    QVERIFY(startStandIn(standIn));
    {
        kvBeacon w;
        QLabel *status = w.statusBar()->findChildren<QLabel *>().value(0);
        QVERIFY(spinUntil([&] { return status->text() == QLatin1String("iRacing founded"); }, 3000));
        QTest::mouseClick(w.findChild<QPushButton *>(QStringLiteral("pushButton_startServer")),
                          Qt::LeftButton);
        kvServer *server = listeningServer(&w);
        QVERIFY(server && server->isListening());
        ReadingClients clients(server->serverPort(), 4);
        auto liveChanges = [&] {
            const QByteArray before = clients.lastLive();
            return spinUntil([&] { return clients.lastLive() != before && !before.isEmpty(); }, 5000);
        };
        QVERIFY(
            spinUntil([&] { return clients.lastLive().contains("\"SessionTimeSinceStarted\": "); }, 5000));
        QVERIFY(liveChanges());

        // Killed in the middle of the session, then started again with lower ticks.
        standIn.kill();
        QVERIFY(standIn.waitForFinished());
        QVERIFY(startStandIn(standIn, {QStringLiteral("--start-tick"), QStringLiteral("1")}));
        QVERIFY(liveChanges());

        // Its status bit cleared: no rows, and the last values stand; then it publishes again.
        standIn.write("stop\n");
        QVERIFY(waitForLine(standIn, "stopped"));
        QVERIFY(spinUntil([&] { return !TelemetryMap::isLive(); }, 3000));
        standIn.write("start\n");
        QVERIFY(waitForLine(standIn, "started"));
        QVERIFY(liveChanges());

        // Its row length changed while the clients read.
        standIn.write("rowlength 7000\n");
        QVERIFY(waitForLine(standIn, "rowlength"));
        QVERIFY(liveChanges());
        standIn.write("rowlength 5000\n");
        QVERIFY(waitForLine(standIn, "rowlength"));
        QVERIFY(liveChanges());

        // It goes away for good: the status says so, the clients go on reading the last values.
        standIn.write("quit\n");
        QVERIFY(standIn.waitForFinished(5000));
        windows.simulatorWindow = false;
        QVERIFY(spinUntil([&] { return status->text() == QLatin1String("iRacing not found"); }, 3000));
        const int answered = clients.answers;
        QVERIFY(spinUntil([&] { return clients.answers > answered + 20; }, 3000));

        clients.finish();
        QCOMPARE(clients.wrong.load(), 0);
        QCOMPARE(clients.closed.load(), 0);

        // A fresh client is served.
        ReadingClients fresh(server->serverPort(), 1);
        QVERIFY(spinUntil([&] { return fresh.answers > 2; }, 5000));
        fresh.finish();
        QCOMPARE(fresh.wrong.load(), 0);
        w.close();
    }
    QVERIFY(spinUntil([&] { return ProcessCounts::now() == baseline; }, 10000));
}

void tst_SystemFaults::stopAndCloseWithFiftyClientsReading()
{
    FakeWindows windows;
    windows.simulatorWindow = false;
    std::unique_ptr<ReadingClients> stillReading;
    {
        kvBeacon w;
        auto *button = w.findChild<QPushButton *>(QStringLiteral("pushButton_startServer"));
        QTest::mouseClick(button, Qt::LeftButton);
        {
            ReadingClients clients(listeningServer(&w)->serverPort(), 50);
            QVERIFY(spinUntil([&] { return clients.answers > 500; }, 10000));
            QTest::mouseClick(button, Qt::LeftButton); // stop while they read
            QCOMPARE(button->text(), QStringLiteral("Start Server"));
            // Every connection is closed: each client sees its server go.
            QVERIFY(spinUntil([&] { return clients.closed == 50; }, 15000));
            clients.finish();
            QCOMPARE(clients.wrong.load(), 0);
        }
        QTest::mouseClick(button, Qt::LeftButton);
        stillReading.reset(new ReadingClients(listeningServer(&w)->serverPort(), 50));
        QVERIFY2(spinUntil([&] { return stillReading->answers > 500; }, 10000),
                 qPrintable(QStringLiteral("answers %1, closed %2, wrong %3, server clients %4")
                                .arg(stillReading->answers.load())
                                .arg(stillReading->closed.load())
                                .arg(stillReading->wrong.load())
                                .arg(listeningServer(&w)->clientCount())));
        w.close();
    } // the window goes with the clients still reading
    QVERIFY(spinUntil([&] { return stillReading->closed == 50; }, 15000));
    stillReading->finish();
    QCOMPARE(stillReading->wrong.load(), 0);
    stillReading.reset();
    QVERIFY(spinUntil([&] { return ProcessCounts::now() == baseline; }, 10000));
}

QTEST_MAIN(tst_SystemFaults)
#include "tst_systemfaults.moc"
