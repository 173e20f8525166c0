#pragma once

#include <cstdint>
#include <memory>

// The process-wide holder of one private copy of the newest telemetry row, with typed reads
// out of it and the session text query. Main thread only, apart from the first shared().
class TelemetryClient
{
public:
    static TelemetryClient &shared();
    ~TelemetryClient();

    TelemetryClient(const TelemetryClient &) = delete;
    TelemetryClient &operator=(const TelemetryClient &) = delete;

    // True when the cache holds a new whole row; waits up to `timeoutMs` for one.
    bool awaitRow(std::int32_t timeoutMs);
    // The variable's index, -1 for a name the simulator does not offer; 0 without a live row.
    std::int32_t variableIndex(const char *name);
    bool readBool(std::int32_t index, std::int32_t entry);
    std::int32_t readInt(std::int32_t index, std::int32_t entry);
    float readFloat(std::int32_t index, std::int32_t entry);
    double readDouble(std::int32_t index, std::int32_t entry);
    // Copies the value at `path` into `buffer` of `size` bytes with its NUL: 1 when whole,
    // minus the value's length when cut short, 0 when there is none.
    std::int32_t sessionValue(const char *path, char *buffer, std::int32_t size);

    std::int32_t rowLength() const { return rowLengthValue; }
    std::int32_t rowGeneration() const { return rowGenerationValue; }
    bool hasRow() const { return row != nullptr; }
    // Drops the cache and detaches the link, as at process end; for tests.
    void reset();

private:
    TelemetryClient() = default;

    // The entry's bytes in the cached row after every guard, or null; `type` receives the code.
    const unsigned char *entry(std::int32_t index, std::int32_t entry, std::int32_t *type);

    std::unique_ptr<unsigned char[]> row;
    std::int32_t rowLengthValue = 0;
    std::int32_t rowGenerationValue = 0;
};
