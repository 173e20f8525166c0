#include "fakesimulator.h"
#include "fakewindows.h"
#include "sessionpoll.h"
#include "telemetrypoll.h"

#include <QtTest>

namespace {
const char *const sessionText = "---\n"
                                "WeekendInfo:\n"
                                " TrackName: test_track\n"
                                " NumCarTypes: 2\n"
                                " NumCarClasses: three\n"
                                "SessionInfo:\n"
                                " NumSessions: 2\n"
                                " Sessions:\n"
                                " - SessionNum: 0\n"
                                "   SessionLaps: unlimited\n"
                                "   SessionTime: 600.5000 sec\n"
                                "   SessionNumLapsToAvg: 5\n"
                                "   SessionType: Practice\n"
                                " - SessionNum: 1\n"
                                "   SessionLaps: 12\n"
                                "   SessionTime: unlimited\n"
                                "   SessionType: Race\n"
                                "DriverInfo:\n"
                                " DriverCarFuelKgPerLtr: 0.750\n"
                                " DriverCarFuelMaxLtr: lots\n"
                                " DriverCarMaxFuelPct: 1.000\n"
                                "...\n";

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

// Writes the same value into every slot, so that whichever row is taken carries it.
void setEverywhere(FakeSimulator &sim, const std::string &name, double value)
{
    for (std::int32_t slot = 0; slot < 3; ++slot)
        sim.setValue(slot, name, value);
}
} // namespace

class tst_Polls : public QObject
{
    Q_OBJECT
private slots:
    void timeText_data();
    void timeText();
    void lapsText();
    void sessionPollStates();
    void firstPollWaitsForTheSessionNumber();
    void parseRules();
    void foregroundFollowsTheWindow();
    void telemetryPoll();
};

void tst_Polls::timeText_data()
{
    QTest::addColumn<double>("elapsed");
    QTest::addColumn<double>("limit");
    QTest::addColumn<QString>("text");
    QTest::newRow("start values") << -1.0 << -1.0 << "/";
    QTest::newRow("elapsed, no limit") << 3725.0 << -1.0 << "01:02:05/";
    QTest::newRow("two hour limit") << 3725.0 << 7200.0 << "01:02:05/02:00";
    QTest::newRow("cut, not rounded") << 59.9996 << 600.0 << "00:00:59/00:10";
    QTest::newRow("limit of exactly a day") << 10.0 << 86400.0 << "00:00:10/";
    QTest::newRow("elapsed of a day and more") << 86400.0 << 600.0 << "/00:10";
    QTest::newRow("just under a day") << 86399.999 << 0.0 << "23:59:59/00:00";
    QTest::newRow("far beyond 32 bits") << 1e12 << 1e12 << "/";
}

void tst_Polls::timeText()
{
    QFETCH(double, elapsed);
    QFETCH(double, limit);
    QFETCH(QString, text);
    QCOMPARE(SessionPoll::timeText(elapsed, limit), text);
}

void tst_Polls::lapsText()
{
    QCOMPARE(SessionPoll::lapsText(0, -1), QStringLiteral("0/-1"));
    QCOMPARE(SessionPoll::lapsText(4, 32767), QStringLiteral("4/unlimited"));
    QCOMPARE(SessionPoll::lapsText(4, 32768), QStringLiteral("4/32768"));
    QCOMPARE(SessionPoll::lapsText(7, 12), QStringLiteral("7/12"));
}

void tst_Polls::sessionPollStates()
{
    FakeSimulator sim(pollVariables());
    FakeWindows windows;
    SessionData record;
    bool found = false, foreground = false;

    windows.simulatorWindow = false;
    SessionPoll::Report view = SessionPoll::run(record, found, foreground, false);
    QCOMPARE(view.status, QStringLiteral("iRacing not found"));
    QVERIFY(!view.showLabels && !view.startTelemetry && !found);

    windows.simulatorWindow = true;
    sim.mappingPresent = false;
    view = SessionPoll::run(record, found, foreground, false);
    QCOMPARE(view.status, QStringLiteral("iRacing not startet"));
    QVERIFY(!view.showLabels && !view.startTelemetry && !found);

    sim.mappingPresent = true;
    view = SessionPoll::run(record, found, foreground, false);
    QCOMPARE(view.status, QStringLiteral("iRacing founded"));
    QVERIFY(view.showLabels && view.startTelemetry && found);
    QCOMPARE(view.time, QStringLiteral("/"));
    QCOMPARE(view.laps, QStringLiteral("0/-1"));
    QCOMPARE(view.type, QStringLiteral("n/a"));
    QCOMPARE(view.track, QStringLiteral("n/a"));
    // Once found, no attach is tried and the fast poll is not started again.
    const int opens = sim.mappingOpens;
    view = SessionPoll::run(record, found, foreground, true);
    QVERIFY(!view.startTelemetry);
    QCOMPARE(sim.mappingOpens, opens);
}

void tst_Polls::firstPollWaitsForTheSessionNumber()
{
    FakeSimulator sim(pollVariables());
    sim.setText(sessionText);
    FakeWindows windows;
    SessionData record;
    bool found = false, foreground = false;
    std::int32_t tick = 0;
    // A new row comes during every wait.
    sim.onWait = [&] { sim.nextRow(++tick); };
    sim.nextRow(++tick);
    SessionPoll::run(record, found, foreground, false);
    SessionPoll::run(record, found, foreground, true);
    QCOMPARE(record.TrackName, QStringLiteral("test_track"));
    QCOMPARE(record.NumSessions, 2);
    QCOMPARE(record.SessionNum, -1);
    QCOMPARE(record.SessionType, QStringLiteral("n/a")); // rows 5 to 11 wait for the number
    QCOMPARE(record.DriverCarFuelKgPerLtr, 0.0f);

    record.SessionNum = 0;
    const SessionPoll::Report before = SessionPoll::run(record, found, foreground, true);
    QCOMPARE(before.type, QStringLiteral("n/a")); // labels show the previous poll's values
    QCOMPARE(record.SessionType, QStringLiteral("Practice"));
    QCOMPARE(record.SessionLaps, 32767);
    QCOMPARE(record.SessionTime, 600.5);
    QCOMPARE(record.SessionNumLapsToAvg, 5);
    QCOMPARE(record.DriverCarFuelKgPerLtr, 0.75f);
    const SessionPoll::Report after = SessionPoll::run(record, found, foreground, true);
    QCOMPARE(after.type, QStringLiteral("Practice"));
    QCOMPARE(after.laps, QStringLiteral("0/unlimited"));
    QCOMPARE(after.track, QStringLiteral("test_track"));

    // The next session: a number and "unlimited" change places.
    record.SessionNum = 1;
    SessionPoll::run(record, found, foreground, true);
    QCOMPARE(record.SessionType, QStringLiteral("Race"));
    QCOMPARE(record.SessionLaps, 12);
    QCOMPARE(record.SessionTime, -1.0);
    QCOMPARE(record.SessionNumLapsToAvg, 5); // missing from this item: the last value stays

    // A session without an item keeps the values of the one before.
    record.SessionNum = 4;
    SessionPoll::run(record, found, foreground, true);
    QCOMPARE(record.SessionType, QStringLiteral("Race"));
}

void tst_Polls::parseRules()
{
    FakeSimulator sim(pollVariables());
    sim.setText(sessionText);
    FakeWindows windows;
    SessionData record;
    record.SessionNum = 1;
    bool found = false, foreground = false;
    std::int32_t tick = 0;
    sim.onWait = [&] { sim.nextRow(++tick); };
    sim.nextRow(++tick);
    for (int i = 0; i < 3; ++i)
        SessionPoll::run(record, found, foreground, true);
    QCOMPARE(record.NumCarTypes, 2);
    QCOMPARE(record.NumCarClasses, 0);          // no number: 0
    QCOMPARE(record.DriverCarFuelMaxLtr, 0.0f); // no number: 0.0
    QCOMPARE(record.DriverCarMaxFuelPct, 1.0f);

    // Without a new row the session text is not read, but the rest of the poll runs.
    sim.onWait = nullptr;
    record.TrackName = QStringLiteral("kept");
    const SessionPoll::Report view = SessionPoll::run(record, found, foreground, true);
    QCOMPARE(record.TrackName, QStringLiteral("kept"));
    QCOMPARE(view.track, QStringLiteral("kept"));
    QVERIFY(found);
}

void tst_Polls::foregroundFollowsTheWindow()
{
    FakeSimulator sim(pollVariables());
    FakeWindows windows;
    SessionData record;
    bool found = false, foreground = false;
    windows.simulatorInForeground = true;
    SessionPoll::run(record, found, foreground, false);
    QVERIFY(foreground);
    windows.simulatorInForeground = false;
    SessionPoll::run(record, found, foreground, true);
    QVERIFY(!foreground);
    windows.simulatorInForeground = true;
    SessionPoll::run(record, found, foreground, true);
    QVERIFY(foreground);
    // The window goes: no key may go to whatever has the focus now.
    windows.simulatorWindow = false;
    const SessionPoll::Report view = SessionPoll::run(record, found, foreground, true);
    QVERIFY(!foreground && !found);
    QVERIFY(!view.showLabels);
}

void tst_Polls::telemetryPoll()
{
    FakeSimulator sim(pollVariables());
    SessionData record;
    QVERIFY(!TelemetryPoll::run(record)); // the first call never gives a row
    QCOMPARE(record.SessionNum, -1);

    setEverywhere(sim, "SessionTime", 1234.5);
    setEverywhere(sim, "SessionNum", 2);
    setEverywhere(sim, "SessionFlags", -2147483648.0);
    setEverywhere(sim, "DisplayUnits", 255);  // low 8 bits: -1
    setEverywhere(sim, "WeatherType", 0x101); // low 8 bits: 1
    setEverywhere(sim, "Skies", 128);         // low 8 bits: -128
    setEverywhere(sim, "IsOnTrack", 1);
    setEverywhere(sim, "RaceLaps", 7);
    setEverywhere(sim, "FuelLevel", 0.1);
    setEverywhere(sim, "AirTemp", 21.5);
    std::int32_t tick = 0;
    bool read = false;
    for (int i = 0; i < 3 && !read; ++i) {
        sim.nextRow(++tick);
        read = TelemetryPoll::run(record);
    }
    QVERIFY(read);
    QCOMPARE(record.SessionTimeSinceStarted, 1234.5);
    QCOMPARE(record.SessionNum, 2);
    QCOMPARE(record.SessionFlags, std::numeric_limits<qint32>::min());
    QCOMPARE(int(record.DisplayUnits), -1);
    QCOMPARE(int(record.WeatherType), 1);
    QCOMPARE(int(record.Skies), -128);
    QVERIFY(record.IsOnTrack);
    QCOMPARE(record.RaceLaps, 7);
    QCOMPARE(record.FuelLevel, 0.1f);
    QCOMPARE(record.AirTemp, 21.5f);
    // "FuelUsePerHour" is not in this table: it reads as 0 over what was there.
    QCOMPARE(record.FuelUsePerHour, 0.0f);
    // The session time is the elapsed time, not the limit.
    QCOMPARE(record.SessionTime, -1.0);

    // No new row: nothing changes.
    record.RaceLaps = 99;
    QVERIFY(!TelemetryPoll::run(record));
    QCOMPARE(record.RaceLaps, 99);
}

QTEST_APPLESS_MAIN(tst_Polls)
#include "tst_polls.moc"
