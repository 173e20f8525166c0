#include "platform.h"
#include "telemetryclient.h"
#include "telemetrymap.h"

#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

#include <sys/mman.h>

namespace {
const char *const scenarioText = "session-text-begin\n"
                                 "---\n"
                                 "WeekendInfo:\n"
                                 " TrackName: test_track\n"
                                 "SessionInfo:\n"
                                 " Sessions:\n"
                                 " - SessionNum: 0\n"
                                 "   SessionType: Practice\n"
                                 " - SessionNum: 1\n"
                                 "   SessionType: Race\n"
                                 "...\n"
                                 "session-text-end\n"
                                 "phase Practice 1\n"
                                 "set SessionNum 0\n"
                                 "rate SessionTime 1\n"
                                 "ramp FuelLevel 50 40\n"
                                 "phase Race 3600\n"
                                 "set SessionNum 1\n"
                                 "rate SessionTime 1\n"
                                 "set IsOnTrack 1\n";

TelemetryClient &client()
{
    return TelemetryClient::shared();
}

// Waits for a new row, as the polls do, for up to `ms`.
bool rowWithin(int ms)
{
    QElapsedTimer clock;
    clock.start();
    while (clock.elapsed() < ms)
        if (client().awaitRow(16))
            return true;
    return false;
}

double readDouble(const char *name)
{
    return client().readDouble(client().variableIndex(name), 0);
}
} // namespace

// The link against the simulator stand-in, over real shared memory and the real event.
class tst_StandIn : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void cleanup();

    void followsTheScenario();
    void stopStartAndRestart();
    void rowLengthChanges();
    void killedAndStartedAgain();

private:
    bool start(QProcess &process, const QStringList &extra = {});
    bool command(QProcess &process, const QByteArray &line, const QByteArray &answer);
    static bool waitForLine(QProcess &process, const QByteArray &text, int ms = 5000);

    QTemporaryDir dir;
    QString scenario;
    QProcess standIn;
};

void tst_StandIn::initTestCase()
{
    scenario = dir.filePath(QStringLiteral("test.scenario"));
    QFile file(scenario);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(scenarioText);
}

void tst_StandIn::cleanup()
{
    client().reset();
    if (standIn.state() != QProcess::NotRunning) {
        standIn.write("quit\n");
        if (!standIn.waitForFinished(5000))
            standIn.kill();
        standIn.waitForFinished();
    }
    shm_unlink("/IRSDKMemMapFileName");
    shm_unlink("/IRSDKDataValidEvent");
}

bool tst_StandIn::waitForLine(QProcess &process, const QByteArray &text, int ms)
{
    QElapsedTimer clock;
    clock.start();
    while (clock.elapsed() < ms) {
        while (process.canReadLine()) {
            const QByteArray line = process.readLine().trimmed();
            if (line.startsWith(text))
                return true;
        }
        if (process.state() == QProcess::NotRunning && !process.canReadLine())
            return false;
        process.waitForReadyRead(100);
    }
    return false;
}

bool tst_StandIn::start(QProcess &process, const QStringList &extra)
{
    process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    process.start(QStringLiteral(KVB_SIMULATOR), QStringList{QStringLiteral("--scenario"), scenario} + extra);
    return process.waitForStarted() && waitForLine(process, "publishing");
}

bool tst_StandIn::command(QProcess &process, const QByteArray &line, const QByteArray &answer)
{
    process.write(line + "\n");
    return waitForLine(process, answer);
}

void tst_StandIn::followsTheScenario()
{
    QVERIFY(!TelemetryMap::attach()); // nothing there yet
    QVERIFY(start(standIn));
    QVERIFY(TelemetryMap::attach());
    // The first call against a running simulator never gives a row.
    QVERIFY(!client().awaitRow(16));
    QVERIFY(rowWithin(2000));
    QVERIFY(TelemetryMap::isLive());

    char buffer[2048];
    QCOMPARE(client().sessionValue("WeekendInfo:TrackName:", buffer, sizeof buffer), 1);
    QCOMPARE(QByteArray(buffer), QByteArray("test_track"));

    // The practice phase, then the race: the session number moves on, the time runs.
    QVERIFY(rowWithin(1000));
    QCOMPARE(readDouble("SessionNum"), 0.0);
    const double fuel = client().readFloat(client().variableIndex("FuelLevel"), 0);
    QVERIFY2(fuel <= 50.0f && fuel > 40.0f, QByteArray::number(fuel).constData());
    QTRY_VERIFY_WITH_TIMEOUT(rowWithin(100) && readDouble("SessionNum") == 1.0, 5000);
    QVERIFY(readDouble("SessionTime") >= 1.0);
    QVERIFY(client().readBool(client().variableIndex("IsOnTrack"), 0));
    QCOMPARE(client().sessionValue("SessionInfo:Sessions:SessionNum:{1}SessionType:", buffer, sizeof buffer),
             1);
    QCOMPARE(QByteArray(buffer), QByteArray("Race"));

    QVERIFY(command(standIn, "set FuelLevel 12.5", "set FuelLevel"));
    QTRY_VERIFY_WITH_TIMEOUT(
        rowWithin(100) && client().readFloat(client().variableIndex("FuelLevel"), 0) == 12.5f, 2000);

    // The objects go with the stand-in once no reader maps them.
    TelemetryMap::detach();
    QVERIFY(command(standIn, "quit", "removed objects"));
    QVERIFY(standIn.waitForFinished(5000));
    QVERIFY(!QFile::exists(QStringLiteral("/dev/shm/IRSDKMemMapFileName")));
    QVERIFY(!TelemetryMap::attach());
}

void tst_StandIn::stopStartAndRestart()
{
    QVERIFY(start(standIn));
    QVERIFY(rowWithin(2000));
    QVERIFY(rowWithin(2000));

    QVERIFY(command(standIn, "stop", "stopped"));
    QTRY_VERIFY_WITH_TIMEOUT(!TelemetryMap::isLive(), 2000);
    QVERIFY(!client().awaitRow(16));
    QVERIFY(!client().hasRow());
    QCOMPARE(readDouble("SessionTime"), 0.0);

    QVERIFY(command(standIn, "start", "started"));
    QVERIFY(rowWithin(2000));
    QVERIFY(readDouble("SessionTime") > 0.0);

    // Ticks that start again lower are taken once they rise past the new mark.
    QTRY_VERIFY_WITH_TIMEOUT(rowWithin(100) && TelemetryMap::state().lastTick > 30, 3000);
    const std::int32_t before = TelemetryMap::state().lastTick;
    QVERIFY(command(standIn, "restart 1", "restarted"));
    QVERIFY(rowWithin(2000));
    QVERIFY(TelemetryMap::state().lastTick < before);

    // A stall keeps the bit: the link stays alive with its last row for now.
    QVERIFY(command(standIn, "stall", "stalled"));
    QTest::qWait(100);
    while (client().awaitRow(16)) {
    }
    QVERIFY(!client().awaitRow(16));
    QVERIFY(TelemetryMap::isLive());
    QVERIFY(client().hasRow());
    QVERIFY(command(standIn, "resume", "resumed"));
    QVERIFY(rowWithin(2000));
}

void tst_StandIn::rowLengthChanges()
{
    QVERIFY(start(standIn));
    QVERIFY(rowWithin(2000));
    const std::int32_t generation = client().rowGeneration();
    const std::int32_t length = client().rowLength();
    QVERIFY(command(standIn, "rowlength 8000", "rowlength 8000"));
    QTRY_VERIFY_WITH_TIMEOUT(rowWithin(100) && client().rowLength() == 8000, 2000);
    QCOMPARE(client().rowGeneration(), generation + 1);
    QVERIFY(length != 8000);
    QVERIFY(readDouble("SessionTime") > 0.0);
    QVERIFY(command(standIn, "set FuelLevel 7", "set FuelLevel"));
    QTRY_VERIFY_WITH_TIMEOUT(
        rowWithin(100) && client().readFloat(client().variableIndex("FuelLevel"), 0) == 7.0f, 2000);
}

void tst_StandIn::killedAndStartedAgain()
{
    QVERIFY(start(standIn));
    QVERIFY(rowWithin(2000));
    QVERIFY(rowWithin(2000));
    standIn.kill();
    QVERIFY(standIn.waitForFinished());

    // The next run takes over the objects that the reader still maps, with lower ticks.
    QVERIFY(start(standIn, {QStringLiteral("--start-tick"), QStringLiteral("1")}));
    QVERIFY(rowWithin(3000));
    QVERIFY(TelemetryMap::state().lastTick < 100);
    QVERIFY(TelemetryMap::isLive());
}

QTEST_GUILESS_MAIN(tst_StandIn)
#include "tst_standin.moc"
