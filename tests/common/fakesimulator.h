#pragma once

#include "platform.h"
#include "regionlayout.h"
#include "telemetryclient.h"
#include "telemetrymap.h"

#include <cstring>
#include <functional>
#include <string>
#include <vector>

// Plays the simulator's objects from a block of memory, with a clock of its own, through
// the link's platform seam. One at a time; it detaches the link when it goes.
class FakeSimulator
{
public:
    explicit FakeSimulator(std::vector<RegionLayout::Variable> variables, std::int32_t slots = 3,
                           std::int32_t textCapacity = 4096)
        : layout(std::move(variables), slots, textCapacity, 1024), region(layout.regionSize())
    {
        layout.initialise(base());
        layout.setPublishing(base(), true);
        current = this;
        // Each fake starts its clock well past the last, so rows of an earlier test are stale.
        static std::int64_t epoch = 1700000000;
        clock = epoch += 100000;
        platform::setMemoryOps(&ops);
    }
    ~FakeSimulator()
    {
        TelemetryClient::shared().reset();
        platform::setMemoryOps(nullptr);
    }

    unsigned char *base() { return region.data(); }
    void setText(const std::string &text) { layout.setSessionText(base(), text); }
    void setEverywhere(const std::string &name, double value, std::int32_t entry = 0)
    {
        for (std::int32_t slot = 0; slot < layout.slotCount(); ++slot)
            layout.setValue(base(), slot, layout.indexOf(name), entry, value);
    }
    void publish(std::int32_t slot, std::int32_t tick) { layout.publish(base(), slot, tick); }
    // Writes `value` for `name` into the next slot and publishes it with `tick`.
    void nextRow(std::int32_t tick, const std::string &name = std::string(), double value = 0)
    {
        if (!name.empty())
            layout.setValue(base(), tick % layout.slotCount(), layout.indexOf(name), 0, value);
        publish(tick % layout.slotCount(), tick);
    }
    // Publishes the next row and lets the shared client wait for it.
    bool awaitNext() { return nextRow(++tick), TelemetryClient::shared().awaitRow(16); }
    // Takes the shared client from no cache to a filled one, as against a running simulator:
    // the first row only sets the mark, the second sizes the cache, the third fills it.
    bool bringRow() { return !awaitNext() && !awaitNext() && awaitNext(); }
    void writeInt(std::size_t offset, std::int32_t value) { RegionLayout::writeInt(base() + offset, value); }

    RegionLayout layout;
    std::vector<unsigned char> region;
    bool mappingPresent = true, eventPresent = true;
    int openObjects = 0; // opened and not yet closed
    std::int64_t clock = 0;
    std::int32_t tick = 0; // the last one awaitNext published
    std::function<void()> onWait;
    std::function<void()> duringCopy; // called after each copy of a row

private:
    static inline FakeSimulator *current = nullptr;
    static inline int token = 0;

    platform::Handle opened(bool present) { return present ? (++openObjects, &token) : nullptr; }
    static void closed(platform::Handle) { --current->openObjects; }
    const platform::MemoryOps ops = {
        [] { return current->opened(current->mappingPresent); },
        [](platform::Handle, std::size_t *size) -> const void * {
            return *size = current->region.size(), current->opened(true), current->base();
        },
        [](const void *, std::size_t) { --current->openObjects; },
        [](void *to, const void *from, std::size_t size) {
            std::memcpy(to, from, size);
            current->duringCopy ? current->duringCopy() : void();
        },
        closed,
        [] { return current->opened(current->eventPresent); },
        [](platform::Handle, int) { current->onWait ? current->onWait() : void(); },
        closed,
        [](int) {},
        [] { return current->clock; },
        [](std::int64_t later, std::int64_t earlier) { return double(later - earlier); }};
};
