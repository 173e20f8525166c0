#pragma once

#include <cstddef>
#include <cstdint>

// The system operations the simulator link needs, and nothing of its logic. Each system has
// one backend file (platform_posix.cpp here, platform_win.cpp on Windows); tests put in a
// fake table that serves a byte block from memory and a clock of their own.
namespace platform {

using Handle = void *; // null: nothing open

struct MemoryOps
{
    // The simulator's memory object, or null while it has not created it.
    Handle (*openMapping)();
    // A read-only view of the whole object, or null; `size` receives its length in bytes.
    const void *(*mapView)(Handle mapping, std::size_t *size);
    void (*unmapView)(const void *view, std::size_t size);
    // Copies bytes out of the view, which the simulator may be rewriting meanwhile.
    void (*copyFromView)(void *destination, const void *source, std::size_t size);
    void (*closeMapping)(Handle mapping);
    // The simulator's "new row written" event, or null.
    Handle (*openEvent)();
    // Returns when the event is signalled or `milliseconds` have passed.
    void (*waitEvent)(Handle event, int milliseconds);
    void (*closeEvent)(Handle event);
    void (*sleep)(int milliseconds);
    // The wall clock in whole seconds, and the difference of two such times in seconds.
    std::int64_t (*now)();
    double (*secondsBetween)(std::int64_t later, std::int64_t earlier);
};

// The backend's own operations.
const MemoryOps &systemMemoryOps();
// The operations in force: the system's unless a test has put in its own.
const MemoryOps &memoryOps();
// For tests; null goes back to the system's. Main thread only, while the link is detached.
void setMemoryOps(const MemoryOps *ops);

} // namespace platform
