#include "telemetrymap.h"

#include <atomic>
#include <cstring>

namespace TelemetryMap {

namespace {
State s;

// The region is little-endian like every machine the simulator runs on; the simulator may
// rewrite it at any moment, so each field is read afresh where it is used.
std::int32_t field(std::size_t offset)
{
    std::int32_t value;
    std::memcpy(&value, s.regionBase + offset, sizeof value);
    return value;
}

bool headerReadable()
{
    return s.attached && s.regionSize >= headerSize;
}

// True when [offset, offset + length) lies inside the region.
bool inRegion(std::int64_t offset, std::int64_t length)
{
    return offset >= 0 && length >= 0 && offset + length <= static_cast<std::int64_t>(s.regionSize);
}

bool publishing()
{
    return (field(statusField) & 1) != 0;
}

// The slot with the highest tick; on equal ticks the lower slot. -1 when the slots lie
// outside the region.
std::int32_t newestSlot()
{
    const std::int32_t count = field(rowSlotCountField);
    const std::int64_t slots = count < 1 ? 1 : count;
    if (!inRegion(headerSize, slots * static_cast<std::int64_t>(slotSize)))
        return -1;
    std::int32_t best = 0;
    for (std::int32_t i = 1; i < count; ++i) {
        if (field(slotOffset(best) + slotTickField) < field(slotOffset(i) + slotTickField))
            best = i;
    }
    return best;
}

std::int32_t slotTick(std::int32_t slot)
{
    const std::int32_t tick = field(slotOffset(slot) + slotTickField);
    std::atomic_thread_fence(std::memory_order_acquire);
    return tick;
}

void resetTick()
{
    s.lastTick = noTick;
}
} // namespace

const State &state()
{
    return s;
}

bool attach()
{
    const platform::MemoryOps &ops = platform::memoryOps();
    if (!s.mappingHandle) {
        s.mappingHandle = ops.openMapping();
        resetTick();
        if (!s.mappingHandle) {
            s.attached = false;
            return false;
        }
    }
    if (!s.regionBase) {
        std::size_t size = 0;
        s.regionBase = static_cast<const unsigned char *>(ops.mapView(s.mappingHandle, &size));
        s.regionSize = s.regionBase ? size : 0;
        resetTick();
        if (!s.regionBase) {
            s.attached = false;
            return false;
        }
    }
    if (!s.dataEvent) {
        s.dataEvent = ops.openEvent();
        resetTick();
        if (!s.dataEvent) {
            s.attached = false;
            return false;
        }
    }
    s.attached = true;
    return true;
}

void detach()
{
    const platform::MemoryOps &ops = platform::memoryOps();
    if (s.dataEvent)
        ops.closeEvent(s.dataEvent);
    if (s.regionBase)
        ops.unmapView(s.regionBase, s.regionSize);
    if (s.mappingHandle)
        ops.closeMapping(s.mappingHandle);
    resetTick();
    s.dataEvent = nullptr;
    s.regionBase = nullptr;
    s.regionSize = 0;
    s.mappingHandle = nullptr;
    s.attached = false;
}

const unsigned char *header()
{
    return s.attached ? s.regionBase : nullptr;
}

const char *sessionText(std::size_t *available)
{
    if (!headerReadable())
        return nullptr;
    const std::int32_t offset = field(sessionTextOffsetField);
    if (!inRegion(offset, 1))
        return nullptr;
    if (available)
        *available = s.regionSize - static_cast<std::size_t>(offset);
    return reinterpret_cast<const char *>(s.regionBase + offset);
}

const unsigned char *variableHeader(std::int32_t index)
{
    if (!headerReadable() || index < 0 || index >= field(variableCountField))
        return nullptr;
    const std::int64_t offset = static_cast<std::int64_t>(field(variableTableOffsetField)) +
                                static_cast<std::int64_t>(variableHeaderSize) * index;
    if (!inRegion(offset, variableHeaderSize))
        return nullptr;
    return s.regionBase + offset;
}

std::int32_t findVariable(const char *name)
{
    if (!name || !headerReadable())
        return -1;
    for (std::int32_t i = 0; i < field(variableCountField); ++i) {
        const unsigned char *h = variableHeader(i);
        if (!h)
            return -1; // the table runs out of the region: nothing behind it can be read
        if (std::strncmp(name, reinterpret_cast<const char *>(h + variableNameField), variableNameSize) == 0)
            return i;
    }
    return -1;
}

std::int32_t rowLength()
{
    return headerReadable() ? field(rowLengthField) : -1;
}

bool fetchRow(unsigned char *destination, std::int32_t capacity)
{
    if (!s.attached && !attach())
        return false;
    if (!headerReadable())
        return false;
    if (!publishing()) {
        resetTick();
        return false;
    }
    const std::int32_t slot = newestSlot();
    if (slot < 0)
        return false;
    std::int32_t tick = slotTick(slot);
    if (s.lastTick > tick) {
        s.lastTick = tick;
        return false;
    }
    if (s.lastTick == tick)
        return false;

    const platform::MemoryOps &ops = platform::memoryOps();
    const std::size_t rowOffsetField = slotOffset(static_cast<std::size_t>(slot)) + slotRowOffsetField;
    if (!destination) {
        if (!inRegion(field(rowOffsetField), field(rowLengthField)))
            return false;
        s.lastTick = tick;
        s.lastRowTime = ops.now();
        return true;
    }
    for (int attempt = 0; attempt < 2; ++attempt) {
        const std::int32_t rowOffset = field(rowOffsetField);
        const std::int32_t length = field(rowLengthField);
        if (!inRegion(rowOffset, length))
            return false;
        const std::int32_t bytes = capacity < length ? capacity : length;
        if (bytes > 0)
            ops.copyFromView(destination, s.regionBase + rowOffset, static_cast<std::size_t>(bytes));
        std::atomic_thread_fence(std::memory_order_acquire);
        const std::int32_t after = slotTick(slot);
        if (after == tick) {
            s.lastTick = tick;
            s.lastRowTime = ops.now();
            return true;
        }
        // The simulator rewrote the slot during the copy.
        tick = after;
    }
    return false;
}

bool waitRow(std::int32_t timeoutMs, unsigned char *destination, std::int32_t capacity)
{
    const platform::MemoryOps &ops = platform::memoryOps();
    if (!s.attached && !attach()) {
        if (timeoutMs >= 1)
            ops.sleep(timeoutMs);
        return false;
    }
    if (fetchRow(destination, capacity))
        return true;
    ops.waitEvent(s.dataEvent, timeoutMs);
    return fetchRow(destination, capacity);
}

bool isLive()
{
    if (!s.attached)
        return false;
    const platform::MemoryOps &ops = platform::memoryOps();
    const double seconds = ops.secondsBetween(ops.now(), s.lastRowTime);
    if (!headerReadable() || !publishing())
        return false;
    return static_cast<std::int64_t>(seconds) < 30;
}

} // namespace TelemetryMap
