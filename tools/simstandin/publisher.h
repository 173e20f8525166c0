#pragma once

#include "options.h"
#include "recording.h"
#include "regionlayout.h"
#include "scenario.h"

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>

class CommandQueue;

// Writes the rows of a scenario, or of a recording, into the memory object at the rate asked
// and signals the event after each, as the simulator does; carries out the commands from
// standard input between rows. Lives on the main thread.
class Publisher
{
public:
    // `region` is the memory object laid out as `layout`; both, and `recording`, outlive this.
    Publisher(const RegionLayout &layout, unsigned char *region, Scenario scenario,
              const Recording &recording, const Options &options);
    Publisher(const Publisher &) = delete;
    Publisher &operator=(const Publisher &) = delete;

    // Lays out the region, puts the session text in and sets the status bit; false, reported,
    // when the session text does not fit.
    bool start();
    // Publishes until `quit` is set, a quit command comes or the duration is over.
    void run(CommandQueue &commands, const std::atomic<bool> &quit);
    // Clears the status bit, as the simulator does when it ends.
    void stop();

private:
    using Clock = std::chrono::steady_clock;

    void execute(const std::string &line);
    // In a replay, puts in the session text recorded for `seconds` once it changes.
    void followRecordedText(double seconds);
    // Writes the values of `seconds` into the next slot and signals the row.
    void publishRow(double seconds);

    const RegionLayout &layout;
    unsigned char *const region;
    Scenario scenario;
    ScenarioPlayer player{scenario};
    const Recording &recording;
    const Options options;
    // Names are looked up once, not on every row.
    std::map<std::string, std::int32_t> indexes;
    std::map<std::string, double> pinned;
    bool publishing = true;
    bool stalled = false;
    bool quitAsked = false;
    long tick;
    std::string phase;
    Clock::time_point started;
    // In a replay, the session text as recorded at the time played, TrackName as `track` set it.
    std::size_t textShown = std::string::npos;
    std::string trackOverride;
};
