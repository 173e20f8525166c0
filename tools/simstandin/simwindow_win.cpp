#include "simwindow.h"

#include "report.h"

#include <windows.h>

#include <atomic>
#include <thread>

namespace SimWindow {

namespace {
const wchar_t *const title = L"iRacing.com Simulator";
constexpr UINT focusMessage = WM_APP + 1;
std::thread worker;
std::atomic<HWND> window{nullptr};
UINT broadcast = 0;

LRESULT CALLBACK procedure(HWND hwnd, UINT message, WPARAM wParam, LPARAM lParam)
{
    if (broadcast != 0 && message == broadcast) {
        report("broadcast msg=%u var1=%d var2=%d", static_cast<unsigned>(LOWORD(wParam)),
               static_cast<int>(static_cast<short>(HIWORD(wParam))), static_cast<int>(lParam));
        return 0;
    }
    switch (message) {
    case WM_KEYDOWN:
    case WM_KEYUP:
        report("key %s vk=0x%02x", message == WM_KEYDOWN ? "down" : "up", static_cast<unsigned>(wParam));
        return 0;
    case focusMessage:
        if (wParam) {
            SetForegroundWindow(hwnd);
            SetFocus(hwnd);
        } else {
            SetForegroundWindow(GetDesktopWindow());
        }
        report(wParam ? "focused" : "unfocused");
        return 0;
    case WM_DESTROY:
        PostQuitMessage(0);
        return 0;
    default:
        return DefWindowProcW(hwnd, message, wParam, lParam);
    }
}

void run(std::atomic<int> *opened)
{
    broadcast = RegisterWindowMessageW(L"IRSDK_BROADCASTMSG");
    WNDCLASSW kind = {};
    kind.lpfnWndProc = procedure;
    kind.hInstance = GetModuleHandleW(nullptr);
    kind.lpszClassName = L"kvBeaconSimulatorStandIn";
    RegisterClassW(&kind);
    HWND hwnd = CreateWindowExW(0, kind.lpszClassName, title, WS_OVERLAPPEDWINDOW, 40, 40, 320, 120, nullptr,
                                nullptr, kind.hInstance, nullptr);
    if (!hwnd) {
        *opened = 2;
        return;
    }
    ShowWindow(hwnd, SW_SHOW);
    UpdateWindow(hwnd);
    window = hwnd;
    *opened = 1;
    MSG message;
    while (GetMessageW(&message, nullptr, 0, 0) > 0) {
        TranslateMessage(&message);
        DispatchMessageW(&message);
    }
}
} // namespace

bool open(int)
{
    std::atomic<int> opened{0};
    worker = std::thread(run, &opened);
    while (opened == 0)
        Sleep(5);
    if (opened != 1) {
        worker.join();
        return false;
    }
    report("window opened \"iRacing.com Simulator\"");
    return true;
}

void setFocus(bool focused)
{
    if (HWND hwnd = window)
        PostMessageW(hwnd, focusMessage, focused ? 1 : 0, 0);
}

void close()
{
    if (HWND hwnd = window) {
        PostMessageW(hwnd, WM_CLOSE, 0, 0);
        worker.join();
        window = nullptr;
        report("window closed");
    }
}

} // namespace SimWindow
