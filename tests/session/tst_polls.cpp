#include "fakesimulator.h"
#include "fakewindows.h"
#include "sessionpoll.h"
#include "telemetrypoll.h"

#include <QtTest>

namespace {
const char *const sessionText =
    "---\nWeekendInfo:\n TrackName: test_track\n NumCarTypes: 2\n NumCarClasses: three\n"
    "SessionInfo:\n NumSessions: 2\n Sessions:\n"
    " - SessionNum: 0\n   SessionLaps: unlimited\n   SessionTime: 600.5000 sec\n"
    "   SessionNumLapsToAvg: 5\n   SessionType: Practice\n"
    " - SessionNum: 1\n   SessionLaps: 12\n   SessionTime: unlimited\n   SessionType: Race\n"
    "DriverInfo:\n DriverCarFuelKgPerLtr: 0.750\n DriverCarFuelMaxLtr: lots\n"
    " DriverCarMaxFuelPct: 1.000\n...\n";

// "FuelUsePerHour" is left out: a variable the simulator does not have reads as 0.
std::vector<RegionLayout::Variable> pollVariables()
{
    return {{"SessionTime", 5, 1},     {"SessionNum", 2, 1},        {"SessionLapsRemain", 2, 1},
            {"SessionFlags", 3, 1},    {"DisplayUnits", 2, 1},      {"IsOnTrack", 1, 1},
            {"IsReplayPlaying", 1, 1}, {"PlayerCarPosition", 2, 1}, {"PlayerCarClassPosition", 2, 1},
            {"PlayerCarIdx", 2, 1},    {"RaceLaps", 2, 1},          {"TrackTempCrew", 4, 1},
            {"AirTemp", 4, 1},         {"WeatherType", 2, 1},       {"Skies", 2, 1},
            {"AirDensity", 4, 1},      {"AirPressure", 4, 1},       {"WindVel", 4, 1},
            {"WindDir", 4, 1},         {"RelativeHumidity", 4, 1},  {"FogLevel", 4, 1},
            {"FuelLevel", 4, 1},       {"FuelLevelPct", 4, 1}};
}

// The simulator with its window, a new row during every wait of a poll.
struct Simulator
{
    Simulator()
    {
        sim.setText(sessionText);
        sim.onWait = [this] { sim.nextRow(++tick); };
        sim.nextRow(++tick);
    }
    SessionPoll::Report poll(bool telemetryRunning = true)
    {
        return SessionPoll::run(record, found, foreground, telemetryRunning);
    }
    FakeSimulator sim{pollVariables()};
    FakeWindows windows;
    SessionData record;
    bool found = false, foreground = false;
    std::int32_t tick = 0;
};
} // namespace

class tst_Polls : public QObject
{
    Q_OBJECT
private slots:
    void texts_data();
    void texts();
    void states();
    void sessionText();
    void telemetry();
};

void tst_Polls::texts_data()
{
    QTest::addColumn<double>("elapsed");
    QTest::addColumn<double>("limit");
    QTest::addColumn<QString>("time");
    QTest::addColumn<int>("laps");
    QTest::addColumn<QString>("lapsText");
    QTest::newRow("start values") << -1.0 << -1.0 << "/" << -1 << "0/-1";
    QTest::newRow("elapsed, no limit") << 3725.0 << -1.0 << "01:02:05/" << 32767 << "0/unlimited";
    QTest::newRow("two hour limit") << 3725.0 << 7200.0 << "01:02:05/02:00" << 32768 << "0/32768";
    QTest::newRow("cut, not rounded") << 59.9996 << 600.0 << "00:00:59/00:10" << 12 << "0/12";
    QTest::newRow("limit of exactly a day") << 10.0 << 86400.0 << "00:00:10/" << 0 << "0/0";
    QTest::newRow("elapsed of a day") << 86400.0 << 600.0 << "/00:10" << 0 << "0/0";
    QTest::newRow("just under a day") << 86399.999 << 0.0 << "23:59:59/00:00" << 0 << "0/0";
    QTest::newRow("far beyond 32 bits") << 1e12 << -1e12 << "/" << 0 << "0/0";
}

void tst_Polls::texts()
{
    QFETCH(double, elapsed);
    QFETCH(double, limit);
    QFETCH(QString, time);
    QFETCH(int, laps);
    QFETCH(QString, lapsText);
    QCOMPARE(SessionPoll::timeText(elapsed, limit), time);
    QCOMPARE(SessionPoll::lapsText(0, laps), lapsText);
    QCOMPARE(SessionPoll::lapsText(7, 1), QStringLiteral("7/1"));
}

void tst_Polls::states()
{
    Simulator s;
    s.windows.simulatorWindow = false;
    SessionPoll::Report report = s.poll(false);
    QCOMPARE(report.status, QStringLiteral("iRacing not found"));
    QVERIFY(!report.showLabels && !report.startTelemetry && !s.found);

    s.windows.simulatorWindow = true;
    s.sim.mappingPresent = false;
    report = s.poll(false);
    QCOMPARE(report.status, QStringLiteral("iRacing not startet"));
    QVERIFY(!report.showLabels && !report.startTelemetry && !s.found);

    s.sim.mappingPresent = true;
    s.windows.simulatorInForeground = true;
    report = s.poll(false);
    QCOMPARE(report.status, QStringLiteral("iRacing founded"));
    QVERIFY(report.showLabels && report.startTelemetry && s.found && s.foreground);
    // The labels show what the previous poll read.
    QCOMPARE(QStringList({report.time, report.laps, report.type, report.track}),
             QStringList({"/", "0/-1", "n/a", "n/a"}));
    // Once found, no attach is tried and the fast poll is not started again.
    const int opens = s.sim.mappingOpens;
    s.windows.simulatorInForeground = false;
    report = s.poll(true);
    QVERIFY(!report.startTelemetry && !s.foreground);
    QCOMPARE(s.sim.mappingOpens, opens);
    // The window goes: no key may go to whatever has the focus now.
    s.windows.simulatorInForeground = true;
    s.poll();
    s.windows.simulatorWindow = false;
    QVERIFY(!s.poll().showLabels && !s.foreground && !s.found);
}

void tst_Polls::sessionText()
{
    Simulator s;
    s.poll();
    s.poll(); // the link's first wait never gives a row
    QCOMPARE(s.record.TrackName, QStringLiteral("test_track"));
    QCOMPARE(s.record.NumCarTypes, 2);
    QCOMPARE(s.record.NumCarClasses, 0); // no number: 0
    QCOMPARE(s.record.NumSessions, 2);
    QCOMPARE(s.record.SessionType, QStringLiteral("n/a")); // the rest waits for the session's number
    QCOMPARE(s.record.DriverCarFuelKgPerLtr, 0.0f);

    s.record.SessionNum = 0;
    s.poll();
    QCOMPARE(s.record.SessionType, QStringLiteral("Practice"));
    QCOMPARE(s.record.SessionLaps, 32767);
    QCOMPARE(s.record.SessionTime, 600.5);
    QCOMPARE(s.record.SessionNumLapsToAvg, 5);
    QCOMPARE(s.record.DriverCarFuelKgPerLtr, 0.75f);
    QCOMPARE(s.record.DriverCarFuelMaxLtr, 0.0f); // no number: 0.0
    QCOMPARE(s.record.DriverCarMaxFuelPct, 1.0f);
    const SessionPoll::Report report = s.poll();
    QCOMPARE(QStringList({report.type, report.laps}), QStringList({"Practice", "0/unlimited"}));

    // The next session: a number and "unlimited" change places; what its item lacks stays.
    s.record.SessionNum = 1;
    s.poll();
    QCOMPARE(s.record.SessionType, QStringLiteral("Race"));
    QCOMPARE(s.record.SessionLaps, 12);
    QCOMPARE(s.record.SessionTime, -1.0);
    QCOMPARE(s.record.SessionNumLapsToAvg, 5);
    // A session without an item keeps the values of the one before.
    s.record.SessionNum = 4;
    s.poll();
    QCOMPARE(s.record.SessionType, QStringLiteral("Race"));

    // Without a new row the session text is not read, but the rest of the poll runs.
    s.sim.onWait = nullptr;
    s.record.TrackName = QStringLiteral("kept");
    QCOMPARE(s.poll().track, QStringLiteral("kept"));
    QCOMPARE(s.record.TrackName, QStringLiteral("kept"));
}

void tst_Polls::telemetry()
{
    FakeSimulator sim(pollVariables());
    SessionData record;
    QVERIFY(!TelemetryPoll::run(record)); // the first call never gives a row
    QCOMPARE(record.SessionNum, -1);
    const QStringList values =
        QStringLiteral(
            "SessionTime 1234.5 SessionNum 2 SessionLapsRemain 3 SessionFlags -2147483648 DisplayUnits 255 "
            "IsOnTrack 1 "
            "IsReplayPlaying 1 PlayerCarPosition 4 PlayerCarClassPosition 5 PlayerCarIdx 6 RaceLaps 7 "
            "TrackTempCrew 30.5 "
            "AirTemp 21.5 WeatherType 257 Skies 128 AirDensity 1.25 AirPressure 29.5 WindVel 2.5 WindDir 3.5 "
            "RelativeHumidity 0.5 FogLevel 0.25 FuelLevel 0.1 FuelLevelPct 0.75")
            .split(QLatin1Char(' '));
    for (int i = 0; i + 1 < values.size(); i += 2)
        sim.setEverywhere(values.at(i).toStdString(), values.at(i + 1).toDouble());
    record.FuelUsePerHour = 9;
    std::int32_t tick = 0;
    bool read = false;
    for (int i = 0; i < 3 && !read; ++i) {
        sim.nextRow(++tick);
        read = TelemetryPoll::run(record);
    }
    QVERIFY(read);
    // Bytes keep their low 8 bits: 255 is -1, 257 is 1, 128 is -128.
    QCOMPARE(
        SessionData::documentText(record.LiveDocument()),
        QStringLiteral(
            "{\n    \"AirDensity\": 1.25,\n    \"AirPressure\": 29.5,\n    \"AirTemp\": 21.5,\n"
            "    \"DisplayUnits\": -1,\n    \"FogLevel\": 0.25,\n    \"FuelLevel\": 0.10000000149011612,\n"
            "    \"FuelLevelPct\": 0.75,\n    \"FuelUsePerHour\": 0,\n    \"IsOnTrack\": true,\n"
            "    \"IsReplayPlaying\": true,\n    \"PlayerCarClassPosition\": 5,\n    \"PlayerCarIdx\": 6,\n"
            "    \"PlayerCarPosition\": 4,\n    \"RaceLaps\": 7,\n    \"RelativeHumidity\": 0.5,\n"
            "    \"SessionFlags\": -2147483648,\n    \"SessionLapsRemain\": 3,\n    \"SessionNum\": 2,\n"
            "    \"SessionTimeSinceStarted\": 1234.5,\n    \"Skies\": -128,\n    \"TrackTempCrew\": 30.5,\n"
            "    \"WeatherType\": 1,\n    \"WindDir\": 3.5,\n    \"WindVel\": 2.5\n}\n"));
    // The session time is the elapsed time, not the limit.
    QCOMPARE(record.SessionTime, -1.0);
    // No new row: nothing changes.
    record.RaceLaps = 99;
    QVERIFY(!TelemetryPoll::run(record));
    QCOMPARE(record.RaceLaps, 99);
}

QTEST_APPLESS_MAIN(tst_Polls)
#include "tst_polls.moc"
