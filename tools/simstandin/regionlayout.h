#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

// Lays out a region the way the simulator does: header, row slots, variable headers,
// session text and rows. Used by the simulator stand-in on shared memory and by tests on
// plain byte blocks. The writer's side only; kvBeacon never links it.
// Spelled from the simulator's own layout on purpose, not from the link's names, so a slip in either shows.
class RegionLayout
{
public:
    struct Variable
    {
        std::string name;
        std::int32_t type; // 0 char, 1 bool, 2 int, 3 bit field, 4 float, 5 double
        std::int32_t count;
    };

    static constexpr std::int32_t headerSize = 48;
    static constexpr std::int32_t slotSize = 16;
    static constexpr std::int32_t variableHeaderSize = 144;

    // Room is kept for rows up to `maxRowLength` (at least the variables' own length).
    RegionLayout(std::vector<Variable> variables, std::int32_t slotCount, std::int32_t sessionTextCapacity,
                 std::int32_t maxRowLength = 0);

    std::size_t regionSize() const { return size; }
    // This layout in a region of `available` bytes, the session text given the room left there
    // (never more than asked); none when that room is short of `textNeeded` bytes.
    std::optional<RegionLayout> fittedTo(std::size_t available, std::int32_t textNeeded) const;
    // The least region that fittedTo accepts for `textNeeded`.
    std::size_t leastSize(std::int32_t textNeeded) const;
    std::int32_t naturalRowLength() const { return rowLength; }
    std::int32_t slotCount() const { return slots; }
    const std::vector<Variable> &variables() const { return vars; }
    std::int32_t indexOf(const std::string &name) const;
    std::int32_t valueOffset(std::int32_t index) const { return offsets.at(static_cast<std::size_t>(index)); }
    static std::int32_t widthOf(std::int32_t type);

    // Writes header, variable table and slots; the status bit starts clear.
    void initialise(unsigned char *region) const;
    void setPublishing(unsigned char *region, bool publishing) const;
    // Returns false when the text does not fit.
    bool setSessionText(unsigned char *region, const std::string &text) const;
    // Changes the row length in the header (up to the room kept) and moves the rows to match.
    bool setRowLength(unsigned char *region, std::int32_t length) const;
    std::int32_t currentRowLength(const unsigned char *region) const;
    unsigned char *row(unsigned char *region, std::int32_t slot) const;
    // Writes one value of variable `index`, entry `entry`, converted to its type.
    void setValue(unsigned char *region, std::int32_t slot, std::int32_t index, std::int32_t entry,
                  double value) const;
    // Makes the row in `slot` the newest: its tick is written last, after the row.
    void publish(unsigned char *region, std::int32_t slot, std::int32_t tick) const;
    std::int32_t tick(const unsigned char *region, std::int32_t slot) const;

    static void writeInt(unsigned char *at, std::int32_t value);
    static std::int32_t readInt(const unsigned char *at);

private:
    std::vector<Variable> vars;
    std::vector<std::int32_t> offsets;
    std::int32_t slots;
    std::int32_t rowLength = 0;
    std::int32_t maxRow = 0;
    std::int32_t variableTableOffset = 0;
    std::int32_t sessionTextOffset = 0;
    std::int32_t sessionTextCapacity = 0;
    std::int32_t rowsOffset = 0;
    std::size_t size = 0;
};
