#include "simwindow.h"

#include "report.h"
#include "windowlines.h"

#include <windows.h>

#include <atomic>
#include <cstdio>
#include <memory>
#include <string>
#include <thread>
#include <utility>

namespace SimWindow {

namespace {
const wchar_t *const title = L"iRacing.com Simulator";
constexpr UINT focusMessage = WM_APP + 1;
std::thread worker;
std::atomic<HWND> window{nullptr};
UINT broadcast = 0;
std::unique_ptr<WindowLines> lines;

// The key's name as Windows gives it for the keyboard's layout, else its virtual-key code.
std::string keyName(WPARAM virtualKey)
{
    const UINT scanCode = MapVirtualKeyW(static_cast<UINT>(virtualKey), MAPVK_VK_TO_VSC);
    wchar_t name[64];
    const int length = scanCode ? GetKeyNameTextW(static_cast<LONG>(scanCode << 16), name, 64) : 0;
    char utf8[256];
    const int bytes =
        length > 0 ? WideCharToMultiByte(CP_UTF8, 0, name, length, utf8, sizeof utf8, nullptr, nullptr) : 0;
    if (bytes > 0)
        return std::string(utf8, static_cast<std::size_t>(bytes));
    char code[16];
    std::snprintf(code, sizeof code, "vk=0x%02x", static_cast<unsigned>(virtualKey));
    return code;
}

void paint(HWND hwnd)
{
    PAINTSTRUCT paintStruct;
    HDC dc = BeginPaint(hwnd, &paintStruct);
    SelectObject(dc, GetStockObject(DEFAULT_GUI_FONT));
    TEXTMETRICW metrics;
    const int step = GetTextMetricsW(dc, &metrics) ? metrics.tmHeight + 2 : 16;
    int y = 6;
    for (const std::string &line : lines->lines()) {
        wchar_t wide[512];
        const int length =
            MultiByteToWideChar(CP_UTF8, 0, line.data(), static_cast<int>(line.size()), wide, 512);
        TextOutW(dc, 8, y, wide, length);
        y += step;
    }
    EndPaint(hwnd, &paintStruct);
}

LRESULT CALLBACK procedure(HWND hwnd, UINT message, WPARAM wParam, LPARAM lParam)
{
    if (broadcast != 0 && message == broadcast) {
        lines->broadcast(static_cast<unsigned>(LOWORD(wParam)),
                         static_cast<int>(static_cast<short>(HIWORD(wParam))), static_cast<int>(lParam));
        InvalidateRect(hwnd, nullptr, TRUE);
        return 0;
    }
    switch (message) {
    case WM_KEYDOWN:
    case WM_KEYUP:
        report("key %s vk=0x%02x", message == WM_KEYDOWN ? "down" : "up", static_cast<unsigned>(wParam));
        if (message == WM_KEYDOWN) {
            lines->keyDown(keyName(wParam));
            InvalidateRect(hwnd, nullptr, TRUE);
        }
        return 0;
    case WM_PAINT:
        paint(hwnd);
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
    kind.hCursor = LoadCursor(nullptr, IDC_ARROW);
    kind.hbrBackground = reinterpret_cast<HBRUSH>(COLOR_WINDOW + 1);
    RegisterClassW(&kind);
    HWND hwnd = CreateWindowExW(0, kind.lpszClassName, title, WS_OVERLAPPEDWINDOW, 40, 40, 360, 160, nullptr,
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

bool open(int, std::vector<std::string> macroTexts)
{
    lines = std::make_unique<WindowLines>(std::move(macroTexts));
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
