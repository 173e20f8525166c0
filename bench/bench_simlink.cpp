// Prints what the simulator link costs per poll: one row fetch, the telemetry poll's 24
// lookups and reads over a 300-variable table, and the session poll's 11 queries over the
// sample session text. Medians over repeated batches; allocations are counted throughout.
#include "fakesimulator.h"
#include "pollnames.h"
#include "scenario.h"
#include "variables.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <new>

namespace {
std::atomic<long> allocations{0};
}

void *operator new(std::size_t size)
{
    ++allocations;
    if (void *p = std::malloc(size ? size : 1))
        return p;
    throw std::bad_alloc();
}
void operator delete(void *p) noexcept
{
    std::free(p);
}
void operator delete(void *p, std::size_t) noexcept
{
    std::free(p);
}

namespace {
volatile double sink;

template <typename Work> void measure(const char *what, int perBatch, Work work)
{
    std::vector<double> batches;
    const long before = allocations;
    for (int batch = 0; batch < 31; ++batch) {
        const auto start = std::chrono::steady_clock::now();
        for (int i = 0; i < perBatch; ++i)
            work();
        const auto end = std::chrono::steady_clock::now();
        batches.push_back(std::chrono::duration<double, std::micro>(end - start).count() / perBatch);
    }
    std::sort(batches.begin(), batches.end());
    const double calls = 31.0 * perBatch;
    std::printf("| %-46s | %10.3f | %10.3f | %10.3f | %8.2f |\n", what, batches[15], batches[3], batches[27],
                double(allocations - before) / calls);
}
} // namespace

int main()
{
    std::ifstream file(KVB_SAMPLE_SCENARIO);
    Scenario scenario;
    std::string error;
    if (!scenario.parse(file, &error)) {
        std::printf("cannot read the sample scenario: %s\n", error.c_str());
        return 1;
    }
    FakeSimulator sim(simulatorVariables(), 3, 256 * 1024);
    sim.setText(scenario.sessionText);
    TelemetryClient &client = TelemetryClient::shared();
    std::int32_t tick = 0;
    while (!client.awaitRow(16))
        sim.nextRow(++tick);

    std::printf("Simulator link, %zu variables, row length %d bytes, session text %zu bytes\n\n",
                sim.layout.variables().size(), client.rowLength(), scenario.sessionText.size());
    std::printf("| %-46s | %10s | %10s | %10s | %8s |\n", "operation", "median us", "p10 us", "p90 us",
                "allocs");
    std::printf("|%s|%s|%s|%s|%s|\n", std::string(48, '-').c_str(), std::string(12, '-').c_str(),
                std::string(12, '-').c_str(), std::string(12, '-').c_str(), std::string(10, '-').c_str());

    std::vector<unsigned char> row(std::size_t(client.rowLength()));
    measure("row fetch (one row copied)", 20000, [&] {
        sim.nextRow(++tick);
        sink = TelemetryMap::fetchRow(row.data(), std::int32_t(row.size()));
    });
    measure("awaitRow with a new row", 20000, [&] {
        sim.nextRow(++tick);
        sink = client.awaitRow(16);
    });
    measure("telemetry poll: 24 lookups and reads", 2000, [&] {
        double sum = 0;
        for (const char *name : pollVariableNames)
            sum += client.readDouble(client.variableIndex(name), 0);
        sink = sum;
    });
    char buffer[2048];
    measure("session poll: 11 queries", 2000, [&] {
        int found = 0;
        for (const char *path : pollSessionPaths)
            found += client.sessionValue(path, buffer, sizeof buffer);
        sink = found;
    });
    return 0;
}
