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

// Layout of the region: byte offsets of the header's fields, of a row slot's and of a
// variable header's, little-endian 32-bit values unless told otherwise.
constexpr std::size_t statusField = 4; // bit 0: the simulator is publishing
constexpr std::size_t sessionTextOffsetField = 20;
constexpr std::size_t variableCountField = 24;
constexpr std::size_t variableTableOffsetField = 28;
constexpr std::size_t rowSlotCountField = 32;
constexpr std::size_t rowLengthField = 36;
constexpr std::size_t headerSize = 48; // the row slots follow the header

constexpr std::size_t slotSize = 16;
constexpr std::size_t slotTickField = 0;
constexpr std::size_t slotRowOffsetField = 4;
constexpr std::size_t slotOffset(std::size_t slot)
{
    return headerSize + slotSize * slot;
}

constexpr std::size_t variableHeaderSize = 144;
constexpr std::size_t variableTypeField = 0;
constexpr std::size_t variableValueOffsetField = 4;
constexpr std::size_t variableEntryCountField = 8;
constexpr std::size_t variableNameField = 16;
constexpr std::size_t variableNameSize = 32;

// A variable's type code and so the width of each of its entries.
enum TypeCode : std::int32_t {
    typeChar = 0,     // 1 byte, signed
    typeBool = 1,     // 1 byte, signed
    typeInt = 2,      // 4 bytes
    typeBitField = 3, // 4 bytes, read as an int
    typeFloat = 4,    // 4 bytes
    typeDouble = 5    // 8 bytes
};

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
