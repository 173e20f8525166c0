// The simulator link over an arbitrary region of arbitrary size: everything the two polls
// do, three times, with the block served through the platform seam.
#include "fakesimulator.h"
#include "pollnames.h"

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    FakeSimulator sim({{"SessionTime", 5, 1}, {"FuelLevel", 4, 1}});
    sim.region.assign(data, data + size);
    if (size >= 8)
        RegionLayout::writeInt(sim.base() + 4, 1); // publishing, so that the reads go on
    TelemetryClient &client = TelemetryClient::shared();
    char buffer[256];
    for (int round = 0; round < 3; ++round) {
        client.awaitRow(16);
        if (client.hasRow() && static_cast<std::size_t>(client.rowLength()) > size)
            std::abort();
        for (const char *name : pollVariableNames) {
            const std::int32_t index = client.variableIndex(name);
            client.readDouble(index, 0);
            client.readInt(index, 0);
            client.readBool(index, 0);
        }
        for (const char *path : pollSessionPaths) {
            const std::int32_t result = client.sessionValue(path, buffer, sizeof buffer);
            if (result > 1)
                std::abort();
        }
        sim.clock += 1;
        if (size >= 52)
            RegionLayout::writeInt(sim.base() + 48, round + 2); // a new tick in slot 0
    }
    return 0;
}
