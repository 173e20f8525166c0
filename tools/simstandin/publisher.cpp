#include "publisher.h"

#include "commandqueue.h"
#include "report.h"
#include "simhost.h"
#include "simwindow.h"

#include <cmath>
#include <sstream>
#include <thread>
#include <utility>
#include <vector>

namespace {
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
} // namespace

Publisher::Publisher(const RegionLayout &layout, unsigned char *region, Scenario scenario,
                     const Recording &recording, const Options &options)
    : layout(layout), region(region), scenario(std::move(scenario)), recording(recording), options(options),
      tick(options.startTick)
{
    for (std::size_t i = 0; i < layout.variables().size(); ++i)
        indexes[layout.variables()[i].name] = static_cast<std::int32_t>(i);
}

bool Publisher::start()
{
    layout.initialise(region);
    if (!layout.setSessionText(region, scenario.sessionText)) {
        report("error: the session text is too long");
        return false;
    }
    report("created memory /IRSDKMemMapFileName size=%lu variables=%lu rowlength=%d slots=%d",
           static_cast<unsigned long>(layout.regionSize()),
           static_cast<unsigned long>(layout.variables().size()), layout.naturalRowLength(),
           layout.slotCount());
    report("created event /IRSDKDataValidEvent");
    layout.setPublishing(region, true);
    if (options.replaying())
        report("publishing rate=%g tick=%ld replay=%s length=%.1f s", options.rate, options.startTick,
               options.replayPath.c_str(), recording.length());
    else
        report("publishing rate=%g tick=%ld scenario=%s", options.rate, options.startTick,
               options.scenarioPath.c_str());
    return true;
}

void Publisher::run(CommandQueue &commands, const std::atomic<bool> &quit)
{
    const auto period =
        std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(1.0 / options.rate));
    started = Clock::now();
    const auto launched = started;
    auto next = started;
    long rowsThisSecond = 0;
    auto secondMark = started;

    while (!quit) {
        for (const std::string &line : commands.take())
            execute(line);
        if (quit || quitAsked)
            break;

        const auto now = Clock::now();
        if (options.duration > 0 && now - launched >= std::chrono::duration<double>(options.duration))
            break;
        if (publishing && !stalled) {
            publishRow(options.from + options.speed * std::chrono::duration<double>(now - started).count());
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
}

void Publisher::stop()
{
    layout.setPublishing(region, false);
}

void Publisher::execute(const std::string &line)
{
    std::istringstream words(line);
    std::string command;
    words >> command;
    if (command.empty())
        return;
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
        long first = 1;
        words >> first;
        tick = first;
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
        quitAsked = true;
    } else {
        report("error: unknown command \"%s\"", command.c_str());
    }
}

void Publisher::followRecordedText(double seconds)
{
    const std::vector<std::pair<double, std::string>> &texts = recording.sessionTexts();
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

void Publisher::publishRow(double seconds)
{
    std::map<std::string, double> values = player.valuesAt(seconds);
    if (options.replaying())
        followRecordedText(seconds);
    if (player.phaseName() != phase) {
        phase = player.phaseName();
        report("phase %s", phase.empty() ? "(end)" : phase.c_str());
    }
    for (const auto &pin : pinned)
        values[pin.first] = pin.second;
    if (options.stamp)
        values["SessionTime"] = monotonicSeconds();
    const std::int32_t slot = static_cast<std::int32_t>(tick % layout.slotCount());
    // A row shorter than the variables' own length only holds the values that fit.
    const std::int32_t length = layout.currentRowLength(region);
    for (const auto &value : values) {
        const std::int32_t index = indexes.at(value.first);
        if (layout.valueOffset(index) + RegionLayout::widthOf(layout.variables()[index].type) <= length)
            layout.setValue(region, slot, index, 0, value.second);
    }
    layout.publish(region, slot, static_cast<std::int32_t>(tick));
    SimHost::signalEvent();
    ++tick;
}
