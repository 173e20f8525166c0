// The simulator's memory object, event, window, broadcast message and keys on Windows,
// through the calls the simulator's own interface uses.
#include "platform.h"

#include <windows.h>

#include <ctime>
#include <mmsystem.h>

namespace platform {

namespace {
Handle openMapping()
{
    return OpenFileMappingW(FILE_MAP_READ, FALSE, L"Local\\IRSDKMemMapFileName");
}

const void *mapView(Handle mapping, std::size_t *size)
{
    const void *view = MapViewOfFile(static_cast<HANDLE>(mapping), FILE_MAP_READ, 0, 0, 0);
    if (!view)
        return nullptr;
    // The view's size bounds every offset the link takes from the region.
    MEMORY_BASIC_INFORMATION info;
    if (VirtualQuery(view, &info, sizeof info) == 0) {
        UnmapViewOfFile(view);
        return nullptr;
    }
    *size = info.RegionSize;
    return view;
}

void unmapView(const void *view, std::size_t)
{
    UnmapViewOfFile(view);
}

void copyFromView(void *destination, const void *source, std::size_t size)
{
    CopyMemory(destination, source, size);
}

void closeHandle(Handle handle)
{
    CloseHandle(static_cast<HANDLE>(handle));
}

Handle openEvent()
{
    return OpenEventW(SYNCHRONIZE, FALSE, L"Local\\IRSDKDataValidEvent");
}

void waitEvent(Handle event, int milliseconds)
{
    WaitForSingleObject(static_cast<HANDLE>(event), milliseconds < 0 ? 0 : static_cast<DWORD>(milliseconds));
}

void sleepMs(int milliseconds)
{
    Sleep(static_cast<DWORD>(milliseconds));
}

std::int64_t now()
{
    return static_cast<std::int64_t>(_time64(nullptr));
}

double secondsBetween(std::int64_t later, std::int64_t earlier)
{
    return _difftime64(static_cast<__time64_t>(later), static_cast<__time64_t>(earlier));
}

Handle findSimulatorWindow()
{
    return FindWindowW(nullptr, L"iRacing.com Simulator");
}

Handle foregroundWindow()
{
    return GetForegroundWindow();
}

std::uint32_t registerBroadcastMessage()
{
    return RegisterWindowMessageW(L"IRSDK_BROADCASTMSG");
}

void postBroadcast(std::uint32_t message, std::intptr_t wParam, std::intptr_t lParam)
{
    SendNotifyMessageW(HWND_BROADCAST, message, static_cast<WPARAM>(wParam), static_cast<LPARAM>(lParam));
}

void sendKey(std::uint16_t virtualKey, bool keyUp)
{
    INPUT input = {};
    input.type = INPUT_KEYBOARD;
    input.ki.wVk = virtualKey;
    input.ki.wScan = 0;
    input.ki.dwFlags = keyUp ? KEYEVENTF_KEYUP : 0;
    input.ki.time = 0;
    input.ki.dwExtraInfo = 0;
    SendInput(1, &input, sizeof(INPUT));
}

void beginTimerPeriod()
{
    timeBeginPeriod(1);
}

void endTimerPeriod()
{
    timeEndPeriod(1);
}

const MemoryOps windowsMemoryOps = {openMapping, mapView,    unmapView, copyFromView, closeHandle,
                                    openEvent,   waitEvent,  closeHandle, sleepMs,    now,
                                    secondsBetween};
const WindowOps windowsWindowOps = {findSimulatorWindow, foregroundWindow, registerBroadcastMessage, postBroadcast,
                                    sendKey,             beginTimerPeriod, endTimerPeriod};
} // namespace

void prepareDesktop() {}

const MemoryOps &systemMemoryOps()
{
    return windowsMemoryOps;
}

const WindowOps &systemWindowOps()
{
    return windowsWindowOps;
}

} // namespace platform
