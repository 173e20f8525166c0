// The simulator link over an arbitrary region of arbitrary size: everything the two polls
// do, three times, with the block served through the platform seam.
#include "fakesimulator.h"
#include "pollnames.h"

#include <cstdint>
#include <cstdlib>

namespace {
// One fake for the whole run, since each input replaces its region anyway: laying out and
// clearing a fresh 7 KB block for every input cost more than the reads. The shared client is
// made first so that it outlives the fake, whose end resets it.
FakeSimulator &simulator()
{
    TelemetryClient::shared();
    static FakeSimulator sim({{"SessionTime", 5, 1}, {"FuelLevel", 4, 1}});
    return sim;
}
} // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    simulator();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    FakeSimulator &sim = simulator();
    // A block of exactly the input's size, so that a read past the region's end is caught
    // (assigned into the old block it would have kept that block's larger capacity).
    sim.region = std::vector<unsigned char>(data, data + size);
    // Well past the last input's clock, as a new fake would be, so that its rows are stale.
    sim.clock += 100000;
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
    // Detached and without a row, as the fake's end leaves the client.
    client.reset();
    return 0;
}
