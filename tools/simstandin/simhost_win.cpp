#include "simhost.h"

#include <windows.h>

namespace SimHost {

namespace {
HANDLE mapping = nullptr;
unsigned char *region = nullptr;
HANDLE event = nullptr;
} // namespace

unsigned char *createRegion(std::size_t *size)
{
    mapping = CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, static_cast<DWORD>(*size),
                                 L"Local\\IRSDKMemMapFileName");
    if (!mapping)
        return nullptr;
    // An object another program still holds comes back at its own size, whatever was asked:
    // mapped whole and measured, as kvBeacon's reader measures it.
    const bool existed = GetLastError() == ERROR_ALREADY_EXISTS;
    region =
        static_cast<unsigned char *>(MapViewOfFile(mapping, FILE_MAP_ALL_ACCESS, 0, 0, existed ? 0 : *size));
    MEMORY_BASIC_INFORMATION info;
    if (region && existed)
        *size = VirtualQuery(region, &info, sizeof info) != 0 ? info.RegionSize : 0;
    return region;
}

bool createEvent()
{
    event = CreateEventW(nullptr, TRUE, FALSE, L"Local\\IRSDKDataValidEvent");
    return event != nullptr;
}

void signalEvent()
{
    if (event)
        PulseEvent(event); // wakes every reader waiting now
}

bool removeObjects()
{
    // The system removes the objects when the last handle goes, a reader's included.
    if (region)
        UnmapViewOfFile(region);
    if (mapping)
        CloseHandle(mapping);
    if (event)
        CloseHandle(event);
    region = nullptr;
    mapping = nullptr;
    event = nullptr;
    return true;
}

std::string programFolder()
{
    char path[MAX_PATH];
    const DWORD length = GetModuleFileNameA(nullptr, path, MAX_PATH);
    if (length == 0 || length == MAX_PATH)
        return std::string();
    const std::string whole(path, length);
    return whole.substr(0, whole.find_last_of("\\/") + 1);
}

} // namespace SimHost
