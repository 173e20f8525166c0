#pragma once

#include "platform.h"

#include <cstddef>
#include <cstdint>

// The simulator's shared memory: opens the memory object and the event, finds the newest
// row, copies it out under the tick test, and tells whether the link is alive. One set of
// state per process, used on the main thread only. Every offset and count taken from the
// region is checked against the mapped size: a region that fails a check reads as no row,
// no variable or no text.
namespace TelemetryMap {

constexpr std::int32_t noTick = 2147483647;

// Layout of the region, in bytes.
constexpr std::size_t headerSize = 48;
constexpr std::size_t slotSize = 16;
constexpr std::size_t variableHeaderSize = 144;
constexpr std::size_t variableNameSize = 32;

struct State
{
    platform::Handle mappingHandle = nullptr;
    const unsigned char *regionBase = nullptr;
    std::size_t regionSize = 0;
    platform::Handle dataEvent = nullptr;
    bool attached = false;
    std::int32_t lastTick = noTick;
    std::int64_t lastRowTime = 0;
};

bool attach();
void detach();
// The region's first byte while attached, else null.
const unsigned char *header();
// The session text while attached and its offset lies inside the region, else null;
// `available` receives the bytes from there to the region's end.
const char *sessionText(std::size_t *available = nullptr);
// Variable header `index` while attached and inside the region, else null.
const unsigned char *variableHeader(std::int32_t index);
// The index of the variable of that name (compared over 32 bytes), else -1.
std::int32_t findVariable(const char *name);
// Takes the newest row if it is new; copies it into `destination` (if not null), never
// more than `capacity` bytes.
bool fetchRow(unsigned char *destination, std::int32_t capacity);
// As fetchRow, waiting for the simulator's event once when no new row is there yet.
bool waitRow(std::int32_t timeoutMs, unsigned char *destination, std::int32_t capacity);
// True while the simulator says it publishes and a row came within the last 30 seconds.
bool isLive();

// The header's row length, or -1 when the region is not attached or the header is cut short.
std::int32_t rowLength();

// The module state, for tests and diagnostics.
const State &state();

} // namespace TelemetryMap
