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

// The simulator's window, the foreground, the broadcast message, injected keys and the
// timer resolution. Windows are compared by their handles only.
struct WindowOps
{
    // The top-level window titled "iRacing.com Simulator", or null.
    Handle (*findSimulatorWindow)();
    // The window that has the user's input, or null.
    Handle (*foregroundWindow)();
    // The system-wide number of the message "IRSDK_BROADCASTMSG"; 0 on failure.
    std::uint32_t (*registerBroadcastMessage)();
    // Hands the message to every top-level window without waiting.
    void (*postBroadcast)(std::uint32_t message, std::intptr_t wParam, std::intptr_t lParam);
    // Puts one key event of a virtual-key code into the input stream.
    void (*sendKey)(std::uint16_t virtualKey, bool keyUp);
    // Asks for, and gives back, a 1 ms system timer resolution.
    void (*beginTimerPeriod)();
    void (*endTimerPeriod)();
};

// Called once before the toolkit starts. On X11 it keeps the toolkit from loading an OpenGL
// driver that kvBeacon never draws with (some 50 MB of memory); elsewhere it does nothing.
void prepareDesktop();

// The backend's own operations.
const MemoryOps &systemMemoryOps();
const WindowOps &systemWindowOps();
// The operations in force: the system's unless a test has put in its own.
const MemoryOps &memoryOps();
// For tests; null goes back to the system's. Main thread only, while the link is detached.
void setMemoryOps(const MemoryOps *ops);
const WindowOps &windowOps();
void setWindowOps(const WindowOps *ops);

} // namespace platform
