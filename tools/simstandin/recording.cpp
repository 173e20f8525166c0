#include "recording.h"

#include <nlohmann/json.hpp>

#include <cstdio>
#include <iterator>
#include <sstream>

using json = nlohmann::json;

namespace {
// The live document's keys are the simulator's variable names but one.
std::string variableOf(const std::string &key)
{
    return key == "SessionTimeSinceStarted" ? "SessionTime" : key;
}

std::string number(double value, const char *format)
{
    char text[64];
    std::snprintf(text, sizeof text, format, value);
    return text;
}

// The session text as the simulator writes it, as far as kvBeacon reads it: the track, one entry
// for each session seen (its laps, time and type as recorded while it ran), the car's fuel.
std::string sessionText(const std::map<int, json> &sessions, const json &latest)
{
    const auto value = [](const json &info, const char *key, double otherwise) {
        const auto found = info.find(key);
        return found != info.end() && found->is_number() ? found->get<double>() : otherwise;
    };
    const auto text = [](const json &info, const char *key) {
        const auto found = info.find(key);
        return found != info.end() && found->is_string() ? found->get<std::string>() : std::string("n/a");
    };
    std::ostringstream out;
    out << "---\nWeekendInfo:\n TrackName: " << text(latest, "WI.Trackname")
        << "\nSessionInfo:\n NumSessions: " << sessions.size() << "\n Sessions:\n";
    for (const auto &[number, info] : sessions) {
        const double laps = value(info, "SI.SessionLaps", -1);
        const double time = value(info, "SI.SessionTime", -1);
        out << " - SessionNum: " << number << "\n   SessionLaps: "
            << (laps >= 32767 || laps < 0 ? std::string("unlimited") : std::to_string(int(laps)))
            << "\n   SessionTime: " << (time < 0 ? std::string("unlimited") : ::number(time, "%.4f sec"))
            << "\n   SessionType: " << text(info, "SI.SessionType") << "\n";
    }
    out << "DriverInfo:\n DriverCarFuelKgPerLtr: "
        << ::number(value(latest, "DI.DriverCarFuelKgPerLtr", 0), "%.3f")
        << "\n DriverCarFuelMaxLtr: " << ::number(value(latest, "DI.DriverCarFuelMaxLtr", 0), "%.3f")
        << "\n DriverCarMaxFuelPct: " << ::number(value(latest, "DI.DriverCarMaxFuelPct", 0), "%.3f")
        << "\n...\n";
    return out.str();
}
} // namespace

bool Recording::load(std::istream &in, const std::string &name, const std::set<std::string> &variables,
                     std::string *error, std::string *warning)
{
    const auto fail = [&](long line, const std::string &why) {
        *error = name + ":" + std::to_string(line) + ": " + why;
        return false;
    };
    const std::string content((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    // The recorder ends every line it finishes: a file that does not end so ended mid-write.
    const bool cut = !content.empty() && content.back() != '\n';
    std::vector<std::string> lines;
    std::istringstream split(content);
    for (std::string line; std::getline(split, line);) {
        if (!line.empty() && line.back() == '\r')
            line.pop_back();
        lines.push_back(line);
    }
    if (lines.empty())
        return fail(1, "empty: no kvBeacon recording");
    const json head = json::parse(lines[0], nullptr, false);
    // Read without trusting the kinds: a value of another kind is no value.
    const auto field = [&head](const char *key) {
        return head.is_object() && head.contains(key) ? head[key] : json();
    };
    if (field("format") != format)
        return fail(1,
                    std::string("no kvBeacon recording (its first line names no format \"") + format + "\")");
    if (field("version") != version)
        return fail(1, "a recording of version " + field("version").dump().substr(0, 20) +
                           ", this stand-in reads " + std::to_string(version));
    if (field("hz").is_number() && field("hz").get<double>() > 0)
        period = 1.0 / field("hz").get<double>();

    std::map<int, json> sessions;
    json info = json::object();
    int sessionNum = 0;
    samples.clear();
    texts.clear();
    for (std::size_t i = 1; i < lines.size(); ++i) {
        const long line = long(i) + 1;
        if (lines[i].empty())
            continue;
        const json sample = json::parse(lines[i], nullptr, false);
        const bool last = i + 1 == lines.size();
        if (!sample.is_object() || !sample.contains("t") || !sample["t"].is_number() ||
            !sample.contains("live") || !sample["live"].is_object()) {
            if (last && cut) {
                *warning = name + ":" + std::to_string(line) +
                           ": the last line is cut off; replaying up to line " + std::to_string(line - 1);
                break;
            }
            return fail(line, "no sample (a JSON object with \"t\" and \"live\")");
        }
        Sample next;
        next.t = sample["t"].get<double>();
        if (!samples.empty() && next.t < samples.back().t)
            return fail(line, "the time goes back");
        for (const auto &[key, value] : sample["live"].items()) {
            const std::string variable = variableOf(key);
            if (variables.count(variable) && (value.is_number() || value.is_boolean()))
                next.values[variable] = value.is_boolean() ? double(value.get<bool>()) : value.get<double>();
        }
        if (next.values.count("SessionNum"))
            sessionNum = int(next.values["SessionNum"]);
        const bool newSession = !sessions.count(sessionNum);
        if (sample.contains("info") && sample["info"].is_object())
            info = sample["info"];
        if (newSession || sample.contains("info")) {
            sessions[sessionNum] = info;
            texts.emplace_back(next.t, sessionText(sessions, info));
        }
        samples.push_back(std::move(next));
    }
    if (samples.empty())
        return fail(long(lines.size()), "no samples");
    // The replay starts at the first sample.
    const double start = samples.front().t;
    for (Sample &sample : samples)
        sample.t -= start;
    for (auto &text : texts)
        text.first -= start;
    return true;
}

Scenario Recording::scenario() const
{
    Scenario scenario;
    scenario.sessionText = texts.empty() ? std::string() : texts.front().second;
    for (std::size_t i = 0; i < samples.size(); ++i) {
        Scenario::Phase phase;
        // One name for all, so that the stand-in does not report a phase ten times a second.
        phase.name = "replay";
        phase.seconds = i + 1 < samples.size() ? samples[i + 1].t - samples[i].t : period;
        for (const auto &[variable, value] : samples[i].values)
            phase.motions.push_back({Scenario::Motion::Set, variable, value, 0});
        scenario.phases.push_back(std::move(phase));
    }
    return scenario;
}

double Recording::length() const
{
    return samples.empty() ? 0 : samples.back().t + period;
}
