#include "regionlayout.h"

#include <atomic>
#include <cstring>

namespace {
std::int32_t alignedTo(std::int32_t value, std::int32_t alignment)
{
    return (value + alignment - 1) / alignment * alignment;
}
} // namespace

RegionLayout::RegionLayout(std::vector<Variable> variables, std::int32_t slotCount,
                           std::int32_t sessionTextCapacity, std::int32_t maxRowLength)
    : vars(std::move(variables)), slots(slotCount), sessionTextCapacity(sessionTextCapacity)
{
    for (const Variable &v : vars) {
        rowLength = alignedTo(rowLength, widthOf(v.type));
        offsets.push_back(rowLength);
        rowLength += widthOf(v.type) * v.count;
    }
    rowLength = alignedTo(rowLength, 16);
    maxRow = alignedTo(maxRowLength > rowLength ? maxRowLength : rowLength, 16);
    variableTableOffset = alignedTo(headerSize + slotSize * (slots < 1 ? 1 : slots), 16);
    sessionTextOffset = variableTableOffset + variableHeaderSize * static_cast<std::int32_t>(vars.size());
    rowsOffset = alignedTo(sessionTextOffset + sessionTextCapacity, 16);
    size = static_cast<std::size_t>(rowsOffset) +
           static_cast<std::size_t>(maxRow) * static_cast<std::size_t>(slots);
}

std::optional<RegionLayout> RegionLayout::fittedTo(std::size_t available, std::int32_t textNeeded) const
{
    if (available >= size)
        return *this;
    if (available < leastSize(textNeeded))
        return std::nullopt;
    const std::size_t rows = static_cast<std::size_t>(maxRow) * static_cast<std::size_t>(slots);
    const std::size_t room = (available - rows - static_cast<std::size_t>(sessionTextOffset)) / 16 * 16;
    return RegionLayout(vars, slots, static_cast<std::int32_t>(room), maxRow);
}

std::size_t RegionLayout::leastSize(std::int32_t textNeeded) const
{
    return static_cast<std::size_t>(alignedTo(sessionTextOffset + textNeeded, 16)) +
           static_cast<std::size_t>(maxRow) * static_cast<std::size_t>(slots);
}

std::int32_t RegionLayout::widthOf(std::int32_t type)
{
    switch (type) {
    case 0:
    case 1:
        return 1;
    case 5:
        return 8;
    default:
        return 4;
    }
}

std::int32_t RegionLayout::indexOf(const std::string &name) const
{
    for (std::size_t i = 0; i < vars.size(); ++i)
        if (vars[i].name == name)
            return static_cast<std::int32_t>(i);
    return -1;
}

void RegionLayout::writeInt(unsigned char *at, std::int32_t value)
{
    std::memcpy(at, &value, sizeof value);
}

std::int32_t RegionLayout::readInt(const unsigned char *at)
{
    std::int32_t value;
    std::memcpy(&value, at, sizeof value);
    return value;
}

void RegionLayout::initialise(unsigned char *region) const
{
    std::memset(region, 0, size);
    writeInt(region + 0, 2);  // layout version
    writeInt(region + 8, 60); // rows per second
    writeInt(region + 12, 0); // session text updates
    writeInt(region + 16, sessionTextCapacity);
    writeInt(region + 20, sessionTextOffset);
    writeInt(region + 24, static_cast<std::int32_t>(vars.size()));
    writeInt(region + 28, variableTableOffset);
    writeInt(region + 32, slots);
    writeInt(region + 36, rowLength);
    for (std::size_t i = 0; i < vars.size(); ++i) {
        unsigned char *h = region + variableTableOffset + variableHeaderSize * static_cast<std::int32_t>(i);
        writeInt(h + 0, vars[i].type);
        writeInt(h + 4, offsets[i]);
        writeInt(h + 8, vars[i].count);
        std::memcpy(h + 16, vars[i].name.data(), vars[i].name.size() < 32 ? vars[i].name.size() : 32);
    }
    setRowLength(region, rowLength);
}

void RegionLayout::setPublishing(unsigned char *region, bool publishing) const
{
    const std::int32_t status = readInt(region + 4);
    writeInt(region + 4, publishing ? (status | 1) : (status & ~1));
}

bool RegionLayout::setSessionText(unsigned char *region, const std::string &text) const
{
    if (static_cast<std::int32_t>(text.size()) >= sessionTextCapacity)
        return false;
    std::memcpy(region + sessionTextOffset, text.c_str(), text.size() + 1);
    writeInt(region + 12, readInt(region + 12) + 1);
    return true;
}

bool RegionLayout::setRowLength(unsigned char *region, std::int32_t length) const
{
    if (length < 0 || length > maxRow)
        return false;
    writeInt(region + 36, length);
    for (std::int32_t slot = 0; slot < slots; ++slot) {
        unsigned char *s = region + headerSize + slotSize * slot;
        writeInt(s + 4, rowsOffset + slot * alignedTo(length > 0 ? length : 16, 16));
    }
    return true;
}

std::int32_t RegionLayout::currentRowLength(const unsigned char *region) const
{
    return readInt(region + 36);
}

unsigned char *RegionLayout::row(unsigned char *region, std::int32_t slot) const
{
    return region + readInt(region + headerSize + slotSize * slot + 4);
}

void RegionLayout::setValue(unsigned char *region, std::int32_t slot, std::int32_t index, std::int32_t entry,
                            double value) const
{
    const Variable &v = vars.at(static_cast<std::size_t>(index));
    unsigned char *at =
        row(region, slot) + offsets[static_cast<std::size_t>(index)] + entry * widthOf(v.type);
    switch (v.type) {
    case 0:
    case 1: {
        const signed char b = static_cast<signed char>(static_cast<std::int32_t>(value));
        std::memcpy(at, &b, 1);
        break;
    }
    case 2:
    case 3:
        writeInt(at, static_cast<std::int32_t>(static_cast<std::int64_t>(value)));
        break;
    case 4: {
        const float f = static_cast<float>(value);
        std::memcpy(at, &f, sizeof f);
        break;
    }
    default:
        std::memcpy(at, &value, sizeof value);
        break;
    }
}

void RegionLayout::publish(unsigned char *region, std::int32_t slot, std::int32_t tick) const
{
    std::atomic_thread_fence(std::memory_order_release);
    writeInt(region + headerSize + slotSize * slot, tick);
}

std::int32_t RegionLayout::tick(const unsigned char *region, std::int32_t slot) const
{
    return readInt(region + headerSize + slotSize * slot);
}
