#pragma once

#include <QJsonObject>
#include <QString>
#include <QtGlobal>

// What kvBeacon knows of the running session: twelve values from the session text and
// twenty-four from the telemetry. A plain value, copied whole; the text fields share their
// data with the copy. The window holds the working record, each server a published one.
class SessionData
{
public:
    // From the session text.
    qint32 NumSessions = -1;
    float DriverCarFuelKgPerLtr = 0.0f;
    float DriverCarFuelMaxLtr = 0.0f;
    float DriverCarMaxFuelPct = 0.0f;
    qint32 SiSessionNum = 1;
    qint32 SessionLaps = -1; // 32767 marks "unlimited"
    QString SessionType = QStringLiteral("n/a");
    double SessionTime = -1.0; // the session's time limit; -1.0 also for "unlimited"
    qint32 SessionNumLapsToAvg = -1;
    QString TrackName = QStringLiteral("n/a");
    qint32 NumCarClasses = -1;
    qint32 NumCarTypes = -1;

    // From the telemetry.
    qint32 SessionNum = -1;
    qint32 SessionFlags = 0;
    double SessionTimeSinceStarted = -1.0;
    qint32 SessionLapsRemain = 0;
    qint8 DisplayUnits = 0;
    bool IsOnTrack = false;
    bool IsReplayPlaying = false;
    qint32 PlayerCarPosition = 0;
    qint32 PlayerCarClassPosition = 0;
    qint32 PlayerCarIdx = 0;
    qint32 RaceLaps = 0;
    float TrackTempCrew = 0.0f;
    float AirTemp = 0.0f;
    qint8 WeatherType = 0;
    qint8 Skies = 0;
    float AirDensity = 0.0f;
    float AirPressure = 0.0f;
    float WindVel = 0.0f;
    float WindDir = 0.0f;
    float RelativeHumidity = 0.0f;
    float FogLevel = 0.0f;
    float FuelLevel = 0.0f;
    float FuelLevelPct = 0.0f;
    float FuelUsePerHour = 0.0f;

    // The values that change from moment to moment (Protocol::Live).
    QJsonObject LiveDocument() const;
    // What the session text says of the session, the track and the car (Protocol::Info).
    QJsonObject InfoDocument() const;

    // The reply text of a document: indented JSON, keys sorted, ending in a line break.
    static QString documentText(const QJsonObject &document);
};
