// A recording from anyone (the file a bug report brings): whatever it holds, the stand-in's
// reader gives a recording or a one-line error, never a crash, and a recording it gives plays.
#include "recording.h"

#include <cstdint>
#include <cstdlib>
#include <sstream>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    static const std::set<std::string> variables{"SessionTime", "SessionNum", "RaceLaps", "FuelLevel"};
    std::istringstream in(std::string(reinterpret_cast<const char *>(data), size));
    Recording recording;
    std::string error, warning;
    if (!recording.load(in, "fuzz.jsonl", variables, &error, &warning)) {
        if (error.empty() || error.find('\n') != std::string::npos || error.size() > 300)
            std::abort();
        return 0;
    }
    if (!(recording.length() > 0) || recording.sessionTexts().empty())
        std::abort();
    const Scenario scenario = recording.scenario();
    ScenarioPlayer player(scenario);
    player.valuesAt(recording.length() / 2);
    player.valuesAt(recording.length() + 1);
    return 0;
}
