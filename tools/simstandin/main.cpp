// kvbeacon-simulator: plays the iRacing simulator for kvBeacon's development and tests.
// Publishes telemetry rows and a session text through the same memory object and event
// as the simulator, driven by a scenario file, and takes fault commands on standard input.
#include "commandqueue.h"
#include "options.h"
#include "publisher.h"
#include "recording.h"
#include "regionlayout.h"
#include "report.h"
#include "scenario.h"
#include "simhost.h"
#include "simwindow.h"
#include "variables.h"
#include "windowlines.h"

#include <algorithm>
#include <atomic>
#include <csignal>
#include <fstream>
#include <optional>
#include <set>
#include <string>
#include <utility>

namespace {
std::atomic<bool> quitRequested{false};

void onSignal(int)
{
    quitRequested = true;
}

// Reads the scenario, or the recording to replay as one, and checks that it names only
// variables of `layout`; false, reported, when there is nothing to play.
bool load(const Options &options, const RegionLayout &layout, Scenario *scenario, Recording *recording)
{
    const std::string &source = options.replaying() ? options.replayPath : options.scenarioPath;
    std::ifstream file(source, std::ios::binary);
    std::string error, warning;
    if (!file) {
        report("error: cannot read %s", source.c_str());
        return false;
    }
    if (options.replaying()) {
        std::set<std::string> names;
        for (const RegionLayout::Variable &variable : layout.variables())
            names.insert(variable.name);
        if (!recording->load(file, options.replayPath, names, &error, &warning)) {
            report("error: %s", error.c_str());
            return false;
        }
        if (!warning.empty())
            report("warning: %s", warning.c_str());
        *scenario = recording->scenario();
    } else if (!scenario->parse(file, &error)) {
        report("error: %s: %s", options.scenarioPath.c_str(), error.c_str());
        return false;
    }
    scenario->loop = scenario->loop || options.loop;
    for (const Scenario::Phase &phase : scenario->phases)
        for (const Scenario::Motion &motion : phase.motions)
            if (layout.indexOf(motion.variable) < 0) {
                report("error: %s: phase %s names the unknown variable %s", options.scenarioPath.c_str(),
                       phase.name.c_str(), motion.variable.c_str());
                return false;
            }
    return true;
}
} // namespace

int main(int argc, char **argv)
{
    int exitCode = 0;
    std::string error;
    // The sample scenario lies beside the program, in the build tree and in the Windows zip.
    const std::optional<Options> options =
        Options::parse(argc, argv, SimHost::programFolder() + "sample.scenario", &exitCode, &error);
    if (!options) {
        if (error.empty())
            Options::printUsage();
        else
            report("error: %s", error.c_str());
        return exitCode;
    }
    if (options->stamp)
        stampReports();

    const RegionLayout layout(simulatorVariables(), 3, 256 * 1024, 8192);
    Scenario scenario;
    Recording recording;
    if (!load(*options, layout, &scenario, &recording))
        return 2;

    // An object taken over keeps its size: the session text gets what room is left in it.
    std::size_t longestText = scenario.sessionText.size();
    for (const auto &text : recording.sessionTexts())
        longestText = std::max(longestText, text.second.size());
    const std::int32_t textNeeded = static_cast<std::int32_t>(longestText) + 1;
    std::size_t size = layout.regionSize();
    unsigned char *region = SimHost::createRegion(&size);
    const std::optional<RegionLayout> fitted = region ? layout.fittedTo(size, textNeeded) : std::nullopt;
    if (region && !fitted) {
        report("error: the memory object /IRSDKMemMapFileName exists with %lu bytes; %lu are needed",
               static_cast<unsigned long>(size), static_cast<unsigned long>(layout.leastSize(textNeeded)));
        SimHost::removeObjects();
        return 1;
    }
    if (!region || !SimHost::createEvent()) {
        report("error: cannot create the memory object or the event");
        SimHost::removeObjects();
        return 1;
    }
    std::signal(SIGINT, onSignal);
    std::signal(SIGTERM, onSignal);
    Publisher publisher(*fitted, region, std::move(scenario), recording, *options);
    if (!publisher.start()) {
        SimHost::removeObjects();
        return 1;
    }
    // The sample documents lie beside the program, as the sample scenario does.
    const std::string documents = options->documentsPath.empty()
                                      ? SimHost::programFolder() + "sample-documents"
                                      : options->documentsPath;
    if (options->withWindow && !SimWindow::open(options->nesting, readMacroTexts(documents)))
        report("no display: no window");

    CommandQueue commands;
    commands.start();
    publisher.run(commands, quitRequested);

    SimWindow::close();
    publisher.stop();
    if (SimHost::removeObjects())
        report("removed objects");
    else
        report("left objects in place: a reader still maps them");
    return 0;
}
