#include "fakesimulator.h"
#include "fakewindows.h"
#include "sessionpoll.h"
#include "telemetrypoll.h"
#include "variables.h"

#include <QJsonDocument>
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

// The stand-in's variables but "FuelUsePerHour": one the simulator lacks reads as 0.
std::vector<RegionLayout::Variable> pollVariables()
{
    std::vector<RegionLayout::Variable> all = simulatorVariables();
    all.erase(std::find_if(all.begin(), all.end(), [](const auto &v) { return v.name == "FuelUsePerHour"; }));
    return all;
}
} // namespace

class tst_Polls : public QObject
{
    Q_OBJECT
private slots:
    // The time label, then the laps label after 7 laps.
    void texts_data()
    {
        QTest::addColumn<double>("elapsed");
        QTest::addColumn<double>("limit");
        QTest::addColumn<int>("laps");
        QTest::addColumn<QString>("texts");
        const auto row = [](const char *name, double elapsed, double limit, int laps, const char *texts) {
            QTest::newRow(name) << elapsed << limit << laps << QString(texts);
        };
        row("start values", -1.0, -1.0, -1, "/ 7/-1");
        row("elapsed, no limit", 3725.0, -1.0, 32767, "01:02:05/ 7/unlimited");
        row("two hour limit", 3725.0, 7200.0, 32768, "01:02:05/02:00 7/32768");
        row("cut, not rounded", 59.9996, 600.0, 12, "00:00:59/00:10 7/12");
        row("elapsed of a day", 86400.0, 600.0, 0, "/00:10 7/0");
        row("just under a day", 86399.999, 0.0, 0, "23:59:59/00:00 7/0");
        row("far beyond 32 bits", 1e12, -1e12, 0, "/ 7/0");
    }
    void texts()
    {
        QFETCH(double, elapsed);
        QFETCH(double, limit);
        QFETCH(int, laps);
        QFETCH(QString, texts);
        QCOMPARE(SessionPoll::timeText(elapsed, limit) + QLatin1Char(' ') + SessionPoll::lapsText(7, laps),
                 texts);
    }
    // What the status bar shows, then what the session text gives the record.
    void sessionPoll()
    {
        FakeSimulator sim(pollVariables());
        FakeWindows windows;
        SessionData record;
        bool found = false, foreground = false;
        sim.setText(sessionText);
        sim.onWait = [&] { sim.nextRow(++sim.tick); }; // a new row during every wait of a poll
        sim.nextRow(++sim.tick);
        const auto run = [&](bool telemetryRunning = true) {
            return SessionPoll::run(record, found, foreground, telemetryRunning);
        };
        const auto poll = [&](bool window, bool mapping, bool inForeground, bool telemetryRunning) {
            windows.simulatorWindow = window;
            sim.mappingPresent = mapping;
            windows.simulatorInForeground = inForeground;
            const SessionPoll::Report r = run(telemetryRunning);
            return QStringList({r.status, QString::number(r.showLabels), QString::number(r.startTelemetry),
                                QString::number(found), QString::number(foreground)})
                .join(QLatin1Char(' '));
        };
        QCOMPARE(poll(false, true, true, false), QStringLiteral("iRacing not found 0 0 0 0"));
        QCOMPARE(poll(true, false, true, false), QStringLiteral("iRacing not startet 0 0 0 0"));
        QCOMPARE(poll(true, true, true, false), QStringLiteral("iRacing founded 1 1 1 1"));
        // The labels show what the previous poll read.
        const SessionPoll::Report report = run();
        QCOMPARE(QStringList({report.time, report.laps, report.type, report.track}),
                 QStringList({"/", "0/-1", "n/a", "n/a"}));
        // Once found, no attach is tried and the fast poll is not started again.
        QCOMPARE(poll(true, false, false, true), QStringLiteral("iRacing founded 1 0 1 0"));
        // The window goes: no key may go to whatever has the focus now.
        QCOMPARE(poll(true, true, true, true), QStringLiteral("iRacing founded 1 0 1 1"));
        QCOMPARE(poll(false, true, true, true), QStringLiteral("iRacing not found 0 0 0 0"));

        record = SessionData();
        windows.simulatorWindow = true;
        run(); // found again: the link's first wait never gives a row
        const auto fields = [&](int sessionNum) {
            record.SessionNum = sessionNum;
            run();
            const SessionData &r = record;
            const auto n = [](double value) { return QString::number(value); };
            return QStringList({r.TrackName, n(r.NumCarTypes), n(r.NumCarClasses), n(r.NumSessions),
                                r.SessionType, n(r.SessionLaps), n(r.SessionTime), n(r.SessionNumLapsToAvg),
                                n(r.DriverCarFuelKgPerLtr), n(r.DriverCarFuelMaxLtr),
                                n(r.DriverCarMaxFuelPct)})
                .join(QLatin1Char(' '));
        };
        // What is no number reads as 0; the rest waits for the session's number.
        QCOMPARE(fields(-1), QStringLiteral("test_track 2 0 2 n/a -1 -1 -1 0 0 0"));
        QCOMPARE(fields(0), QStringLiteral("test_track 2 0 2 Practice 32767 600.5 5 0.75 0 1"));
        QCOMPARE(QStringList({run().type, run().laps}), QStringList({"Practice", "0/unlimited"}));
        // The next session: a number and "unlimited" change places; what its item lacks stays.
        QCOMPARE(fields(1), QStringLiteral("test_track 2 0 2 Race 12 -1 5 0.75 0 1"));
        // A session without an item keeps the values of the one before.
        QCOMPARE(fields(4), QStringLiteral("test_track 2 0 2 Race 12 -1 5 0.75 0 1"));
        // Without a new row the session text is not read, but the rest of the poll runs.
        sim.onWait = nullptr;
        record.TrackName = QStringLiteral("kept");
        QCOMPARE(poll(true, true, true, false) + QLatin1Char(' ') + record.TrackName,
                 QStringLiteral("iRacing founded 1 1 1 1 kept"));
    }
    void telemetry()
    {
        FakeSimulator sim(pollVariables());
        const QStringList values =
            QStringLiteral(
                "SessionTime 1234.5 SessionNum 2 SessionLapsRemain 3 SessionFlags -2147483648 "
                "DisplayUnits 255 IsOnTrack 1 IsReplayPlaying 1 PlayerCarPosition 4 PlayerCarClassPosition 5 "
                "PlayerCarIdx 6 RaceLaps 7 TrackTempCrew 30.5 AirTemp 21.5 WeatherType 257 Skies 128 "
                "AirDensity 1.25 AirPressure 29.5 WindVel 2.5 WindDir 3.5 RelativeHumidity 0.5 "
                "FogLevel 0.25 FuelLevel 0.1 FuelLevelPct 0.75")
                .split(QLatin1Char(' '));
        for (int i = 0; i + 1 < values.size(); i += 2)
            sim.setEverywhere(values.at(i).toStdString(), values.at(i + 1).toDouble());
        SessionData record;
        record.FuelUsePerHour = 9;
        QVERIFY(!sim.awaitNext() && !sim.awaitNext()); // the link's first rows give no values
        QVERIFY((sim.nextRow(++sim.tick), TelemetryPoll::run(record)));
        // Bytes keep their low 8 bits: 255 is -1, 257 is 1, 128 is -128.
        QCOMPARE(
            QJsonDocument(record.LiveDocument()).toJson(QJsonDocument::Compact),
            QByteArray(
                R"({"AirDensity":1.25,"AirPressure":29.5,"AirTemp":21.5,"DisplayUnits":-1,"FogLevel":0.25,)"
                R"("FuelLevel":0.10000000149011612,"FuelLevelPct":0.75,"FuelUsePerHour":0,"IsOnTrack":true,)"
                R"("IsReplayPlaying":true,"PlayerCarClassPosition":5,"PlayerCarIdx":6,"PlayerCarPosition":4,)"
                R"("RaceLaps":7,"RelativeHumidity":0.5,"SessionFlags":-2147483648,"SessionLapsRemain":3,)"
                R"("SessionNum":2,"SessionTimeSinceStarted":1234.5,"Skies":-128,"TrackTempCrew":30.5,)"
                R"("WeatherType":1,"WindDir":3.5,"WindVel":2.5})"));
        // The session time is the elapsed time, not the limit.
        QCOMPARE(record.SessionTime, -1.0);
        // No new row: nothing changes.
        record.RaceLaps = 99;
        QVERIFY(!TelemetryPoll::run(record) && record.RaceLaps == 99);
    }
};

QTEST_APPLESS_MAIN(tst_Polls)
#include "tst_polls.moc"
