#pragma once

// What the two polls ask of the simulator: the 24 telemetry variables and the 11 session
// text paths (the session's number filled in with 1).
inline const char *const pollVariableNames[] = {
    "SessionTime",     "SessionNum",        "SessionLapsRemain",
    "SessionFlags",    "DisplayUnits",      "IsOnTrack",
    "IsReplayPlaying", "PlayerCarPosition", "PlayerCarClassPosition",
    "PlayerCarIdx",    "RaceLaps",          "TrackTempCrew",
    "AirTemp",         "WeatherType",       "Skies",
    "AirDensity",      "AirPressure",       "WindVel",
    "WindDir",         "RelativeHumidity",  "FogLevel",
    "FuelLevel",       "FuelLevelPct",      "FuelUsePerHour"};

inline const char *const pollSessionPaths[] = {"WeekendInfo:TrackName:",
                                               "WeekendInfo:NumCarTypes:",
                                               "WeekendInfo:NumCarClasses:",
                                               "SessionInfo:NumSessions:",
                                               "SessionInfo:Sessions:SessionNum:{1}SessionType:",
                                               "SessionInfo:Sessions:SessionNum:{1}SessionLaps:",
                                               "SessionInfo:Sessions:SessionNum:{1}SessionNumLapsToAvg:",
                                               "SessionInfo:Sessions:SessionNum:{1}SessionTime:",
                                               "DriverInfo:DriverCarFuelKgPerLtr:",
                                               "DriverInfo:DriverCarFuelMaxLtr:",
                                               "DriverInfo:DriverCarMaxFuelPct:"};
