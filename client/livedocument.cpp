#include "livedocument.h"

#include "documentfields.h"

std::optional<LiveDocument> LiveDocument::fromJson(const QString &text)
{
    using DocumentFields::read;
    QJsonObject o;
    LiveDocument d;
    const bool complete =
        DocumentFields::object(text, o) && read(o, "SessionNum", d.SessionNum) &&
        read(o, "SessionTimeSinceStarted", d.SessionTimeSinceStarted) &&
        read(o, "SessionLapsRemain", d.SessionLapsRemain) && read(o, "SessionFlags", d.SessionFlags) &&
        read(o, "DisplayUnits", d.DisplayUnits) && read(o, "IsOnTrack", d.IsOnTrack) &&
        read(o, "IsReplayPlaying", d.IsReplayPlaying) && read(o, "PlayerCarPosition", d.PlayerCarPosition) &&
        read(o, "PlayerCarClassPosition", d.PlayerCarClassPosition) &&
        read(o, "PlayerCarIdx", d.PlayerCarIdx) && read(o, "RaceLaps", d.RaceLaps) &&
        read(o, "TrackTempCrew", d.TrackTempCrew) && read(o, "AirTemp", d.AirTemp) &&
        read(o, "WeatherType", d.WeatherType) && read(o, "Skies", d.Skies) &&
        read(o, "AirDensity", d.AirDensity) && read(o, "AirPressure", d.AirPressure) &&
        read(o, "WindVel", d.WindVel) && read(o, "WindDir", d.WindDir) &&
        read(o, "RelativeHumidity", d.RelativeHumidity) && read(o, "FogLevel", d.FogLevel) &&
        read(o, "FuelLevel", d.FuelLevel) && read(o, "FuelLevelPct", d.FuelLevelPct) &&
        read(o, "FuelUsePerHour", d.FuelUsePerHour);
    return complete ? std::optional<LiveDocument>(d) : std::nullopt;
}
