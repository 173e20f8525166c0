// kvbeacon-simulator: plays the iRacing simulator for kvBeacon's development and tests.
// Publishes telemetry rows and a session text through the same memory object and event
// as the simulator, driven by a scenario file, and takes fault commands on standard input.
#include "recording.h"
#include "regionlayout.h"
#include "report.h"
#include "scenario.h"
#include "simhost.h"
#include "simwindow.h"
#include "variables.h"

#include <atomic>
#include <chrono>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iostream>
#include <map>
#include <mutex>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace {
std::atomic<bool> quitRequested{false};

void onSignal(int)
{
    quitRequested = true;
}

// Lines from standard input, read on a thread of their own so that publishing never waits.
class CommandQueue
{
public:
    void start()
    {
        std::thread([this] {
            std::string line;
            while (std::getline(std::cin, line)) {
                std::lock_guard<std::mutex> lock(mutex);
                lines.push_back(line);
            }
        }).detach();
    }
    std::vector<std::string> take()
    {
        std::lock_guard<std::mutex> lock(mutex);
        std::vector<std::string> taken;
        taken.swap(lines);
        return taken;
    }

private:
    std::mutex mutex;
    std::vector<std::string> lines;
};

// Replaces the value of the session text's TrackName line.
bool setTrackName(std::string *text, const std::string &name)
{
    const std::string key = " TrackName: ";
    const std::size_t at = text->find(key);
    if (at == std::string::npos)
        return false;
    const std::size_t from = at + key.size();
    text->replace(from, text->find('\n', from) - from, name);
    return true;
}

void usage()
{
    std::puts(
        "usage: kvbeacon-simulator [--scenario FILE | --replay FILE] [--speed X] [--loop] [--from SECONDS]\n"
        "                          [--rate ROWS_PER_SECOND] [--start-tick N] [--duration SECONDS]\n"
        "                          [--nest N] [--no-window] [--stamp]\n"
        "--replay plays a recording of kvbeacon-cli record: its live values at their times and a\n"
        "session text made of its info values; --speed plays it faster or slower, --loop again\n"
        "from its start at its end, --from from that many seconds into it.\n"
        "Commands on standard input, one a line:\n"
        "  stop              clear the status bit: the simulator stops publishing\n"
        "  start             set the status bit and publish again\n"
        "  stall             keep the status bit but write no rows\n"
        "  resume            write rows again after a stall\n"
        "  restart [TICK]    start the ticks again from TICK (default 1) and the scenario from its start\n"
        "  rowlength N       change the row length in the header (rows move to match)\n"
        "  set NAME VALUE    pin a variable to a value, overriding the scenario\n"
        "  track NAME        put NAME as TrackName into the session text and mark it updated\n"
        "  unset NAME        give the variable back to the scenario\n"
        "  focus, unfocus    take the input focus to the window, or away from it\n"
        "  quit              remove the objects and end\n"
        "--no-window leaves out the window titled \"iRacing.com Simulator\", which otherwise\n"
        "opens on the display and reports the broadcast messages and keys that reach it.\n"
        "--nest N puts that window N levels inside plain windows, as a reparenting window\n"
        "manager frames its clients (X11).\n"
        "--stamp ends every line with at=SECONDS of the monotonic clock and writes the same clock\n"
        "into each row's SessionTime, so that a benchmark can time presses and the age of data.");
}
} // namespace

int main(int argc, char **argv)
{
    // The sample scenario lies beside the program, in the build tree and in the Windows zip.
    std::string scenarioPath = SimHost::programFolder() + "sample.scenario";
    double rate = 60;
    long startTick = 1;
    double duration = 0;
    bool withWindow = true;
    int nesting = 0;
    bool stamp = false;
    std::string replayPath;
    double speed = 1;
    double from = 0;
    bool loop = false;
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        const bool hasValue = i + 1 < argc;
        if (arg == "--scenario" && hasValue)
            scenarioPath = argv[++i];
        else if (arg == "--rate" && hasValue)
            rate = std::atof(argv[++i]);
        else if (arg == "--start-tick" && hasValue)
            startTick = std::atol(argv[++i]);
        else if (arg == "--duration" && hasValue)
            duration = std::atof(argv[++i]);
        else if (arg == "--nest" && hasValue)
            nesting = std::atoi(argv[++i]);
        else if (arg == "--no-window")
            withWindow = false;
        else if (arg == "--stamp")
            stamp = true;
        else if (arg == "--replay" && hasValue)
            replayPath = argv[++i];
        else if (arg == "--speed" && hasValue)
            speed = std::atof(argv[++i]);
        else if (arg == "--from" && hasValue)
            from = std::atof(argv[++i]);
        else if (arg == "--loop")
            loop = true;
        else {
            usage();
            return arg == "--help" ? 0 : 2;
        }
    }
    if (rate <= 0 || rate > 1000) {
        report("error: the rate must lie above 0 and at most 1000 rows per second");
        return 2;
    }
    if (speed <= 0 || speed > 100 || from < 0) {
        report("error: --speed takes a number above 0 and at most 100, --from seconds from 0 on");
        return 2;
    }

    if (stamp)
        stampReports();

    const RegionLayout layout(simulatorVariables(), 3, 256 * 1024, 8192);
    Scenario scenario;
    Recording recording;
    const bool replaying = !replayPath.empty();
    const std::string &source = replaying ? replayPath : scenarioPath;
    std::ifstream file(source, std::ios::binary);
    std::string error, warning;
    if (!file) {
        report("error: cannot read %s", source.c_str());
        return 2;
    }
    if (replaying) {
        std::set<std::string> names;
        for (const RegionLayout::Variable &variable : layout.variables())
            names.insert(variable.name);
        if (!recording.load(file, replayPath, names, &error, &warning)) {
            report("error: %s", error.c_str());
            return 2;
        }
        if (!warning.empty())
            report("warning: %s", warning.c_str());
        scenario = recording.scenario();
    } else if (!scenario.parse(file, &error)) {
        report("error: %s: %s", scenarioPath.c_str(), error.c_str());
        return 2;
    }
    scenario.loop = scenario.loop || loop;
    for (const Scenario::Phase &phase : scenario.phases)
        for (const Scenario::Motion &motion : phase.motions)
            if (layout.indexOf(motion.variable) < 0) {
                report("error: %s: phase %s names the unknown variable %s", scenarioPath.c_str(),
                       phase.name.c_str(), motion.variable.c_str());
                return 2;
            }

    unsigned char *region = SimHost::createRegion(layout.regionSize());
    if (!region || !SimHost::createEvent()) {
        report("error: cannot create the memory object or the event");
        SimHost::removeObjects();
        return 1;
    }
    std::signal(SIGINT, onSignal);
    std::signal(SIGTERM, onSignal);

    layout.initialise(region);
    if (!layout.setSessionText(region, scenario.sessionText)) {
        report("error: the session text is too long");
        SimHost::removeObjects();
        return 1;
    }
    report("created memory /IRSDKMemMapFileName size=%lu variables=%lu rowlength=%d slots=%d",
           static_cast<unsigned long>(layout.regionSize()),
           static_cast<unsigned long>(layout.variables().size()), layout.naturalRowLength(),
           layout.slotCount());
    report("created event /IRSDKDataValidEvent");
    layout.setPublishing(region, true);
    if (replaying)
        report("publishing rate=%g tick=%ld replay=%s length=%.1f s", rate, startTick, replayPath.c_str(),
               recording.length());
    else
        report("publishing rate=%g tick=%ld scenario=%s", rate, startTick, scenarioPath.c_str());
    // In a replay, the session text as recorded at the time played, TrackName as `track` set it.
    std::size_t textShown = std::string::npos;
    std::string trackOverride;

    if (withWindow && !SimWindow::open(nesting))
        report("no display: no window");

    CommandQueue commands;
    commands.start();
    ScenarioPlayer player(scenario);
    // Names are looked up once, not on every row.
    std::map<std::string, std::int32_t> indexes;
    for (std::size_t i = 0; i < layout.variables().size(); ++i)
        indexes[layout.variables()[i].name] = static_cast<std::int32_t>(i);
    std::map<std::string, double> pinned;
    bool publishing = true;
    bool stalled = false;
    long tick = startTick;
    std::string phase;

    using Clock = std::chrono::steady_clock;
    const auto period =
        std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(1.0 / rate));
    auto started = Clock::now();
    const auto launched = started;
    auto next = started;
    long rowsThisSecond = 0;
    auto secondMark = started;

    while (!quitRequested) {
        for (const std::string &line : commands.take()) {
            std::istringstream words(line);
            std::string command;
            words >> command;
            if (command.empty())
                continue;
            if (command == "stop") {
                publishing = false;
                layout.setPublishing(region, false);
                report("stopped");
            } else if (command == "start") {
                publishing = true;
                layout.setPublishing(region, true);
                report("started");
            } else if (command == "stall") {
                stalled = true;
                report("stalled");
            } else if (command == "resume") {
                stalled = false;
                report("resumed");
            } else if (command == "restart") {
                long from = 1;
                words >> from;
                tick = from;
                player.restart();
                started = Clock::now();
                report("restarted tick=%ld", tick);
            } else if (command == "rowlength") {
                int length = -1;
                if (words >> length && layout.setRowLength(region, length))
                    report("rowlength %d", length);
                else
                    report("error: rowlength needs a length from 0 to 8192");
            } else if (command == "set") {
                std::string name;
                double value = 0;
                if (words >> name >> value && layout.indexOf(name) >= 0) {
                    pinned[name] = value;
                    report("set %s %g", name.c_str(), value);
                } else {
                    report("error: set needs a known variable and a value");
                }
            } else if (command == "unset") {
                std::string name;
                words >> name;
                pinned.erase(name);
                report("unset %s", name.c_str());
            } else if (command == "track") {
                std::string name;
                words >> name;
                if (!name.empty() && setTrackName(&scenario.sessionText, name) &&
                    layout.setSessionText(region, scenario.sessionText)) {
                    trackOverride = name;
                    report("track %s", name.c_str());
                } else
                    report("error: track needs a name, and the session text a TrackName line");
            } else if (command == "focus" || command == "unfocus") {
                SimWindow::setFocus(command == "focus");
            } else if (command == "quit") {
                quitRequested = true;
            } else {
                report("error: unknown command \"%s\"", command.c_str());
            }
        }
        if (quitRequested)
            break;

        const auto now = Clock::now();
        if (duration > 0 && now - launched >= std::chrono::duration<double>(duration))
            break;
        if (publishing && !stalled) {
            const double seconds = from + speed * std::chrono::duration<double>(now - started).count();
            std::map<std::string, double> values = player.valuesAt(seconds);
            if (replaying) {
                const auto &texts = recording.sessionTexts();
                const double at = scenario.loop ? std::fmod(seconds, recording.length()) : seconds;
                std::size_t index = 0;
                while (index + 1 < texts.size() && texts[index + 1].first <= at)
                    ++index;
                if (index != textShown && index < texts.size()) {
                    textShown = index;
                    scenario.sessionText = texts[index].second;
                    if (!trackOverride.empty())
                        setTrackName(&scenario.sessionText, trackOverride);
                    if (!layout.setSessionText(region, scenario.sessionText))
                        report("error: the recorded session text is too long");
                }
            }
            if (player.phaseName() != phase) {
                phase = player.phaseName();
                report("phase %s", phase.empty() ? "(end)" : phase.c_str());
            }
            for (const auto &pin : pinned)
                values[pin.first] = pin.second;
            if (stamp)
                values["SessionTime"] = monotonicSeconds();
            const std::int32_t slot = static_cast<std::int32_t>(tick % layout.slotCount());
            // A row shorter than the variables' own length only holds the values that fit.
            const std::int32_t length = layout.currentRowLength(region);
            for (const auto &value : values) {
                const std::int32_t index = indexes.at(value.first);
                if (layout.valueOffset(index) + RegionLayout::widthOf(layout.variables()[index].type) <=
                    length)
                    layout.setValue(region, slot, index, 0, value.second);
            }
            layout.publish(region, slot, static_cast<std::int32_t>(tick));
            SimHost::signalEvent();
            ++tick;
            ++rowsThisSecond;
        }
        if (now - secondMark >= std::chrono::seconds(1)) {
            report("tick %ld rows=%ld", tick - 1, rowsThisSecond);
            rowsThisSecond = 0;
            secondMark = now;
        }
        next += period;
        if (next < Clock::now())
            next = Clock::now(); // behind after a pause: no burst to catch up
        std::this_thread::sleep_until(next);
    }

    SimWindow::close();
    layout.setPublishing(region, false);
    if (SimHost::removeObjects())
        report("removed objects");
    else
        report("left objects in place: a reader still maps them");
    return 0;
}
