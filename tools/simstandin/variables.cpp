#include "variables.h"

#include <cstdio>

std::vector<RegionLayout::Variable> simulatorVariables()
{
    enum : std::int32_t { Char = 0, Bool = 1, Int = 2, BitField = 3, Float = 4, Double = 5 };
    std::vector<RegionLayout::Variable> v = {
        {"SessionTime", Double, 1},
        {"SessionTick", Int, 1},
        {"SessionNum", Int, 1},
        {"SessionState", Int, 1},
        {"SessionFlags", BitField, 1},
        {"SessionTimeRemain", Double, 1},
        {"SessionLapsRemain", Int, 1},
        {"DisplayUnits", Int, 1},
        {"IsOnTrack", Bool, 1},
        {"IsReplayPlaying", Bool, 1},
        {"PlayerCarPosition", Int, 1},
        {"PlayerCarClassPosition", Int, 1},
        {"PlayerCarIdx", Int, 1},
        {"RaceLaps", Int, 1},
        {"TrackTemp", Float, 1},
        {"TrackTempCrew", Float, 1},
        {"AirTemp", Float, 1},
        {"WeatherType", Int, 1},
        {"Skies", Int, 1},
        {"AirDensity", Float, 1},
        {"AirPressure", Float, 1},
        {"WindVel", Float, 1},
        {"WindDir", Float, 1},
        {"RelativeHumidity", Float, 1},
        {"FogLevel", Float, 1},
        {"FuelLevel", Float, 1},
        {"FuelLevelPct", Float, 1},
        {"FuelUsePerHour", Float, 1},
        {"Speed", Float, 1},
        {"RPM", Float, 1},
        {"Gear", Int, 1},
        {"Throttle", Float, 1},
        {"Brake", Float, 1},
        {"Clutch", Float, 1},
        {"SteeringWheelAngle", Float, 1},
        {"Lap", Int, 1},
        {"LapDist", Float, 1},
        {"LapDistPct", Float, 1},
        {"LapCurrentLapTime", Float, 1},
        {"LapLastLapTime", Float, 1},
        {"LapBestLapTime", Float, 1},
        {"OnPitRoad", Bool, 1},
        {"EngineWarnings", BitField, 1},
        {"CamCarIdx", Int, 1},
        {"ReplayFrameNum", Int, 1},
        {"SessionUniqueID", Int, 1},
        {"Lat", Double, 1},
        {"Lon", Double, 1},
        {"Alt", Float, 1},
        {"CarIdxLap", Int, 64},
        {"CarIdxLapCompleted", Int, 64},
        {"CarIdxLapDistPct", Float, 64},
        {"CarIdxTrackSurface", Int, 64},
        {"CarIdxOnPitRoad", Bool, 64},
        {"CarIdxPosition", Int, 64},
        {"CarIdxClassPosition", Int, 64},
        {"CarIdxF2Time", Float, 64},
        {"CarIdxEstTime", Float, 64},
        {"CarIdxGear", Int, 64},
        {"CarIdxRPM", Float, 64},
        {"CarIdxSteer", Float, 64},
        {"CarIdxSessionFlags", BitField, 64},
        {"TireSetsUsed", Int, 1},
        {"DriverMarker", Bool, 1},
        {"RadioTransmitCarIdx", Int, 1},
        {"PitSvFlags", BitField, 1},
        {"PitSvFuel", Float, 1},
        {"PitRepairLeft", Float, 1},
        {"WaterTemp", Float, 1},
        {"OilTemp", Float, 1},
        {"OilPress", Float, 1},
        {"Voltage", Float, 1},
        {"ShiftIndicatorPct", Float, 1},
        {"PlayerTrackSurface", Int, 1},
        {"PlayerCarDriverIncidentCount", Int, 1},
        {"PlayerCarTeamIncidentCount", Int, 1},
        {"CpuUsageFG", Float, 1},
        {"FrameRate", Float, 1},
        {"ChanLatency", Float, 1},
        {"ChanQuality", Float, 1},
    };
    // Car channels of every kind fill the table up to a simulator's size.
    static const char *const corners[] = {"LF", "RF", "LR", "RR"};
    static const char *const channels[] = {"tempCL", "tempCM",    "tempCR",   "wearL",      "wearM",
                                           "wearR",  "shockDefl", "shockVel", "rideHeight", "pressure"};
    for (const char *corner : corners)
        for (const char *channel : channels)
            v.push_back({std::string(corner) + channel, Float, 1});
    static const std::int32_t cycle[] = {Float, Int, Bool, Double, BitField, Char};
    for (int i = 0; v.size() < 300; ++i) {
        char name[32];
        std::snprintf(name, sizeof name, "AuxChannel%03d", i);
        const std::int32_t type = cycle[i % 6];
        v.push_back({name, type, type == Char ? 16 : 1});
    }
    return v;
}
