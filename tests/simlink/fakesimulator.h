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
        : layout(std::move(variables), slots, textCapacity, 1024)
    {
        region.assign(layout.regionSize(), 0);
        layout.initialise(region.data());
        layout.setPublishing(region.data(), true);
        current = this;
        // Each fake starts its clock well past the last, so rows of an earlier test are stale.
        static std::int64_t epoch = 1700000000;
        epoch += 100000;
        clock = epoch;
        platform::setMemoryOps(&ops);
    }
    ~FakeSimulator()
    {
        TelemetryClient::shared().reset();
        platform::setMemoryOps(nullptr);
        current = nullptr;
    }

    unsigned char *base() { return region.data(); }
    void setText(const std::string &text) { layout.setSessionText(base(), text); }
    void setValue(std::int32_t slot, const std::string &name, double value, std::int32_t entry = 0)
    {
        layout.setValue(base(), slot, layout.indexOf(name), entry, value);
    }
    void publish(std::int32_t slot, std::int32_t tick) { layout.publish(base(), slot, tick); }
    // Writes `value` into every slot for `name` and publishes the next slot with `tick`.
    void nextRow(std::int32_t tick, const std::string &name = std::string(), double value = 0)
    {
        const std::int32_t slot = tick % layout.slotCount();
        if (!name.empty())
            setValue(slot, name, value);
        publish(slot, tick);
    }
    void writeInt(std::size_t offset, std::int32_t value) { RegionLayout::writeInt(base() + offset, value); }

    RegionLayout layout;
    std::vector<unsigned char> region;
    bool mappingPresent = true;
    bool viewPresent = true;
    bool eventPresent = true;
    int mappingOpens = 0, viewMaps = 0, eventOpens = 0, closes = 0, unmaps = 0;
    std::vector<int> sleeps;
    std::vector<int> waits;
    std::int64_t clock = 0;
    int copies = 0;
    std::function<void()> onWait;
    std::function<void(int copy)> duringCopy;

private:
    static inline FakeSimulator *current = nullptr;
    static inline int mappingToken = 0, eventToken = 0;

    static platform::Handle openMapping()
    {
        ++current->mappingOpens;
        return current->mappingPresent ? &mappingToken : nullptr;
    }
    static const void *mapView(platform::Handle, std::size_t *size)
    {
        ++current->viewMaps;
        if (!current->viewPresent)
            return nullptr;
        *size = current->region.size();
        return current->region.data();
    }
    static void unmapView(const void *, std::size_t) { ++current->unmaps; }
    static void copyFromView(void *destination, const void *source, std::size_t size)
    {
        std::memcpy(destination, source, size);
        ++current->copies;
        if (current->duringCopy)
            current->duringCopy(current->copies);
    }
    static void closeHandle(platform::Handle) { ++current->closes; }
    static platform::Handle openEvent()
    {
        ++current->eventOpens;
        return current->eventPresent ? &eventToken : nullptr;
    }
    static void waitEvent(platform::Handle, int ms)
    {
        current->waits.push_back(ms);
        if (current->onWait)
            current->onWait();
    }
    static void sleep(int ms) { current->sleeps.push_back(ms); }
    static std::int64_t now() { return current->clock; }
    static double secondsBetween(std::int64_t later, std::int64_t earlier) { return double(later - earlier); }

    const platform::MemoryOps ops = {openMapping, mapView,   unmapView,     copyFromView,
                                     closeHandle, openEvent, waitEvent,     closeHandle,
                                     sleep,       now,       secondsBetween};
};
