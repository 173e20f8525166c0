#include "publishedsession.h"

#include <QJsonDocument>
#include <QtTest>

#include <atomic>
#include <thread>
#include <vector>

class tst_SessionData : public QObject
{
    Q_OBJECT
private slots:
    void documents();
    void readersSeeWholeRecords();
};

// The live document's start values, which a client sees before any publish (the info's are
// replayed from PROTOCOL.md by tst_protocol), then a filled record's info.
void tst_SessionData::documents()
{
    QCOMPARE(QJsonDocument(SessionData().LiveDocument()).toJson(QJsonDocument::Compact),
             QByteArray(
                 R"({"AirDensity":0,"AirPressure":0,"AirTemp":0,"DisplayUnits":0,"FogLevel":0,"FuelLevel":0,)"
                 R"("FuelLevelPct":0,"FuelUsePerHour":0,"IsOnTrack":false,"IsReplayPlaying":false,)"
                 R"("PlayerCarClassPosition":0,"PlayerCarIdx":0,"PlayerCarPosition":0,"RaceLaps":0,)"
                 R"("RelativeHumidity":0,"SessionFlags":0,"SessionLapsRemain":0,"SessionNum":-1,)"
                 R"("SessionTimeSinceStarted":-1,"Skies":0,"TrackTempCrew":0,"WeatherType":0,"WindDir":0,)"
                 R"("WindVel":0})"));
    SessionData r;
    r.SessionType = QStringLiteral("Race"), r.SessionLaps = 32767, r.SiSessionNum = 3, r.SessionTime = 5400.0;
    r.DriverCarFuelKgPerLtr = 0.75f, r.DriverCarFuelMaxLtr = 110.5f, r.DriverCarMaxFuelPct = 1.0f;
    r.TrackName = QStringLiteral("Aut\u00F3dromo \"a\\b\"");
    // Non-ASCII text as such, quotes and backslashes escaped.
    QCOMPARE(
        SessionData::documentText(r.InfoDocument()),
        QStringLiteral(
            "{\n    \"DI.DriverCarFuelKgPerLtr\": 0.75,\n    \"DI.DriverCarFuelMaxLtr\": 110.5,\n"
            "    \"DI.DriverCarMaxFuelPct\": 1,\n    \"SI.SessionLaps\": 32767,\n    \"SI.SessionNum\": 3,\n"
            "    \"SI.SessionTime\": 5400,\n    \"SI.SessionType\": \"Race\",\n"
            "    \"WI.Trackname\": \"Aut\u00F3dromo \\\"a\\\\b\\\"\"\n}\n"));
}

// Readers on other threads while the record changes in place between publishes, as the polls do:
// each snapshot is whole, never older than the last one seen, and stays as it was while held.
void tst_SessionData::readersSeeWholeRecords()
{
    const auto whole = [](const PublishedSession::Snapshot &s) {
        const int k = s.record.SessionNum;
        return s.record.RaceLaps == k && s.record.SessionTime == k &&
               s.infoText().contains(QStringLiteral("\"WI.Trackname\": \"Track %1\"").arg(k)) &&
               s.liveText().contains(QStringLiteral("\"RaceLaps\": %1,").arg(k));
    };
    PublishedSession published;
    SessionData working;
    const auto publish = [&](int k) {
        working.SessionTime = working.SessionNum = working.RaceLaps = k;
        working.TrackName = QStringLiteral("Track %1").arg(k);
        published.publish(working);
    };
    publish(0);
    const auto held = published.snapshot();
    std::atomic<bool> done{false};
    std::atomic<int> wrong{0};
    std::vector<std::thread> readers;
    for (int i = 0; i < 4; ++i)
        readers.emplace_back([&] {
            for (int last = 0; !done;) {
                const auto snapshot = published.snapshot();
                wrong += !whole(*snapshot) || snapshot->record.SessionNum < last;
                last = snapshot->record.SessionNum;
            }
        });
    for (int k = 1; k <= 20000; ++k)
        publish(k);
    done = true;
    for (std::thread &t : readers)
        t.join();
    QCOMPARE(wrong.load(), 0);
    QVERIFY(whole(*held) && held->record.TrackName == QStringLiteral("Track 0"));
    QCOMPARE(published.snapshot()->record.SessionNum, 20000);
}

QTEST_APPLESS_MAIN(tst_SessionData)
#include "tst_sessiondata.moc"
