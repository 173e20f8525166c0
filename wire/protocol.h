#pragma once

// The words of kvBeacon's protocol that both ends compare against: the command numbers, the
// fixed reply texts and the documents' keys. Named once here; the server, the client library,
// the companions and the tests use the names.
namespace Protocol {
enum Command : int {
    ClientName = 201, // the client says its name; no reply
    ServerName = 202,
    ClientId = 203,
    ChatTexts = 205, // the fifteen chat macro texts, joined by chatTextSeparator
    ChatMacro = 206, // runs a chat macro, 1 for the first
    Live = 207,      // the live document
    Info = 208,      // the info document
    PressKey = 209,  // presses a key by its Windows virtual-key code
};
// 204 lies between them and has no case: like any number outside the range, it goes unanswered.
constexpr int firstCommand = ClientName;
constexpr int lastCommand = PressKey;

constexpr unsigned short defaultPort = 47812;
constexpr int chatMacroCount = 15;
// Joins the chat texts unescaped: a text that holds one cannot be told from two.
constexpr char chatTextSeparator = '|';

// Replies.
constexpr char serverName[] = "kv-Beacon";
constexpr char macroDone[] = "Button ok";
constexpr char keyDone[] = "KEY OK";
constexpr char noChatTexts[] = "iRacing not found";
constexpr char noData[] = "NO DATA";

// The info document's keys.
namespace InfoKey {
constexpr char SessionType[] = "SI.SessionType";
constexpr char SessionTime[] = "SI.SessionTime";
constexpr char SessionNum[] = "SI.SessionNum";
constexpr char SessionLaps[] = "SI.SessionLaps";
constexpr char TrackName[] = "WI.Trackname";
constexpr char DriverCarFuelKgPerLtr[] = "DI.DriverCarFuelKgPerLtr";
constexpr char DriverCarFuelMaxLtr[] = "DI.DriverCarFuelMaxLtr";
constexpr char DriverCarMaxFuelPct[] = "DI.DriverCarMaxFuelPct";
} // namespace InfoKey
// All of them, for whoever checks a whole document.
constexpr const char *infoKeys[] = {
    InfoKey::SessionType,         InfoKey::SessionTime,         InfoKey::SessionNum,
    InfoKey::SessionLaps,         InfoKey::TrackName,           InfoKey::DriverCarFuelKgPerLtr,
    InfoKey::DriverCarFuelMaxLtr, InfoKey::DriverCarMaxFuelPct,
};
constexpr int infoKeyCount = sizeof infoKeys / sizeof infoKeys[0];
static_assert(infoKeyCount == 8, "the info document holds 8 keys");

// The live document's keys, in the order the server writes them.
constexpr const char *liveKeys[] = {
    "SessionNum",
    "SessionTimeSinceStarted",
    "SessionLapsRemain",
    "SessionFlags",
    "DisplayUnits",
    "IsOnTrack",
    "IsReplayPlaying",
    "PlayerCarPosition",
    "PlayerCarClassPosition",
    "PlayerCarIdx",
    "RaceLaps",
    "TrackTempCrew",
    "AirTemp",
    "WeatherType",
    "Skies",
    "AirDensity",
    "AirPressure",
    "WindVel",
    "WindDir",
    "RelativeHumidity",
    "FogLevel",
    "FuelLevel",
    "FuelLevelPct",
    "FuelUsePerHour",
};
constexpr int liveKeyCount = sizeof liveKeys / sizeof liveKeys[0];
static_assert(liveKeyCount == 24, "the live document holds 24 keys");
} // namespace Protocol
