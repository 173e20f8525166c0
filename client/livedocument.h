#pragma once

#include <QString>

#include <optional>

// The live document (Protocol::Live) as typed values, named after its keys; every number in the
// simulator's own unit, as kvBeacon passes them on unconverted.
struct LiveDocument
{
    int SessionNum = -1;
    double SessionTimeSinceStarted = -1.0;
    int SessionLapsRemain = 0;
    int SessionFlags = 0;
    int DisplayUnits = 0; // 0 imperial, 1 metric
    bool IsOnTrack = false;
    bool IsReplayPlaying = false;
    int PlayerCarPosition = 0;
    int PlayerCarClassPosition = 0;
    int PlayerCarIdx = 0;
    int RaceLaps = 0;
    double TrackTempCrew = 0.0;
    double AirTemp = 0.0;
    int WeatherType = 0;
    int Skies = 0;
    double AirDensity = 0.0;
    double AirPressure = 0.0;
    double WindVel = 0.0;
    double WindDir = 0.0;
    double RelativeHumidity = 0.0;
    double FogLevel = 0.0;
    double FuelLevel = 0.0;
    double FuelLevelPct = 0.0;
    double FuelUsePerHour = 0.0;

    // Nothing unless `text` is a JSON object with all 24 keys, each of its type
    // (Protocol::noData is not); keys beyond them are left alone, so that a later server may add some.
    static std::optional<LiveDocument> fromJson(const QString &text);
};
