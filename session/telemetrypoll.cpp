#include "telemetrypoll.h"

#include "telemetryclient.h"

bool TelemetryPoll::run(SessionData &record)
{
    TelemetryClient &client = TelemetryClient::shared();
    if (!client.awaitRow(16))
        return false;
    // Names are looked up on every poll: the simulator may change its table between rows.
    auto readInt = [&](const char *name) { return client.readInt(client.variableIndex(name), 0); };
    auto readFloat = [&](const char *name) { return client.readFloat(client.variableIndex(name), 0); };
    auto readBool = [&](const char *name) { return client.readBool(client.variableIndex(name), 0); };

    record.SessionTimeSinceStarted = client.readDouble(client.variableIndex("SessionTime"), 0);
    record.SessionNum = readInt("SessionNum");
    record.SessionLapsRemain = readInt("SessionLapsRemain");
    record.SessionFlags = readInt("SessionFlags");
    record.DisplayUnits = static_cast<qint8>(readInt("DisplayUnits"));
    record.IsOnTrack = readBool("IsOnTrack");
    record.IsReplayPlaying = readBool("IsReplayPlaying");
    record.PlayerCarPosition = readInt("PlayerCarPosition");
    record.PlayerCarClassPosition = readInt("PlayerCarClassPosition");
    record.PlayerCarIdx = readInt("PlayerCarIdx");
    record.RaceLaps = readInt("RaceLaps");
    record.TrackTempCrew = readFloat("TrackTempCrew");
    record.AirTemp = readFloat("AirTemp");
    record.WeatherType = static_cast<qint8>(readInt("WeatherType"));
    record.Skies = static_cast<qint8>(readInt("Skies"));
    record.AirDensity = readFloat("AirDensity");
    record.AirPressure = readFloat("AirPressure");
    record.WindVel = readFloat("WindVel");
    record.WindDir = readFloat("WindDir");
    record.RelativeHumidity = readFloat("RelativeHumidity");
    record.FogLevel = readFloat("FogLevel");
    record.FuelLevel = readFloat("FuelLevel");
    record.FuelLevelPct = readFloat("FuelLevelPct");
    record.FuelUsePerHour = readFloat("FuelUsePerHour");
    return true;
}
