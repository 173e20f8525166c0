#include "simwindow.h"

#include "report.h"
#include "windowlines.h"

#include <X11/Xatom.h>
#include <X11/Xlib.h>
#include <X11/Xutil.h>

#include <atomic>
#include <cstdint>
#include <cstring>
#include <memory>
#include <poll.h>
#include <string>
#include <thread>
#include <utility>

namespace SimWindow {

namespace {
const char *const title = "iRacing.com Simulator";
// Room for WindowLines::shown lines of the default font.
constexpr unsigned width = 360, height = 120;
Display *display = nullptr;
Window window = 0, outermost = 0;
std::thread worker;
std::unique_ptr<WindowLines> lines;
std::atomic<bool> running{false};
// 0: nothing asked, 1: take the focus, 2: give it away.
std::atomic<int> focusRequest{0};
// The X server went away: the window is gone, but the simulator publishes on.
std::atomic<bool> connectionLost{false};

int ignoreError(Display *, XErrorEvent *)
{
    return 0;
}

int reportLostConnection(Display *)
{
    if (!connectionLost.exchange(true))
        report("window lost: the X connection broke");
    return 0;
}

// Returning here keeps the process alive; Xlib's own handler would end it.
void keepRunning(Display *, void *)
{
    connectionLost = true;
}

// Where the server's default font puts its first line, and how far apart its lines stand.
struct Spacing
{
    int baseline = 17, step = 15;
};

void paint(GC gc, Spacing spacing)
{
    XClearWindow(display, window);
    int y = spacing.baseline;
    for (const std::string &line : lines->lines()) {
        XDrawString(display, window, gc, 8, y, line.data(), static_cast<int>(line.size()));
        y += spacing.step;
    }
}

void handle(const XEvent &event, Atom broadcast, GC gc, Spacing spacing)
{
    if (event.type == ClientMessage && event.xclient.message_type == broadcast) {
        const auto wParam = static_cast<std::uint32_t>(event.xclient.data.l[0]);
        const auto lParam = static_cast<std::int32_t>(event.xclient.data.l[1]);
        lines->broadcast(wParam & 0xFFFFu, static_cast<int>(static_cast<std::int16_t>(wParam >> 16)), lParam);
        paint(gc, spacing);
    } else if (event.type == KeyPress || event.type == KeyRelease) {
        XKeyEvent key = event.xkey;
        const KeySym sym = XLookupKeysym(&key, 0);
        const char *name = XKeysymToString(sym);
        report("key %s keycode=%u keysym=%s", event.type == KeyPress ? "down" : "up", key.keycode,
               name ? name : "none");
        if (event.type == KeyPress) {
            lines->keyDown(name ? name : "keycode " + std::to_string(key.keycode));
            paint(gc, spacing);
        }
    } else if (event.type == Expose && event.xexpose.count == 0) {
        paint(gc, spacing);
    }
}

void run()
{
    const Atom broadcast = XInternAtom(display, "IRSDK_BROADCASTMSG", False);
    GC gc = XCreateGC(display, window, 0, nullptr);
    XSetForeground(display, gc, BlackPixel(display, DefaultScreen(display)));
    Spacing spacing;
    if (XFontStruct *font = XQueryFont(display, XGContextFromGC(gc))) {
        spacing = {6 + font->ascent, font->ascent + font->descent + 2};
        XFreeFontInfo(nullptr, font, 1);
    }
    pollfd connection{ConnectionNumber(display), POLLIN, 0};
    while (running && !connectionLost) {
        const int request = focusRequest.exchange(0);
        if (request == 1)
            XSetInputFocus(display, window, RevertToPointerRoot, CurrentTime);
        else if (request == 2)
            XSetInputFocus(display, PointerRoot, RevertToPointerRoot, CurrentTime);
        if (request) {
            XSync(display, False);
            report(request == 1 ? "focused" : "unfocused");
        }
        while (XPending(display)) {
            XEvent event;
            XNextEvent(display, &event);
            handle(event, broadcast, gc, spacing);
        }
        poll(&connection, 1, 20);
    }
    if (!connectionLost)
        XFreeGC(display, gc);
}
} // namespace

bool open(int nesting, std::vector<std::string> macroTexts)
{
    XSetErrorHandler(ignoreError);
    XSetIOErrorHandler(reportLostConnection);
    display = XOpenDisplay(nullptr);
    if (!display)
        return false;
    XSetIOErrorExitHandler(display, keepRunning, nullptr);
    const int screen = DefaultScreen(display);
    // The outermost window stands where a lone one would; those inside fill their parents.
    outermost = XCreateSimpleWindow(display, RootWindow(display, screen), 40, 40, width, height, 1,
                                    BlackPixel(display, screen), WhitePixel(display, screen));
    window = outermost;
    for (int level = 0; level < nesting; ++level) {
        XMapWindow(display, window);
        window = XCreateSimpleWindow(display, window, 0, 0, width, height, 0, BlackPixel(display, screen),
                                     WhitePixel(display, screen));
    }
    XStoreName(display, window, title);
    const Atom netWmName = XInternAtom(display, "_NET_WM_NAME", False);
    const Atom utf8 = XInternAtom(display, "UTF8_STRING", False);
    XChangeProperty(display, window, netWmName, utf8, 8, PropModeReplace,
                    reinterpret_cast<const unsigned char *>(title), static_cast<int>(std::strlen(title)));
    XSelectInput(display, window, KeyPressMask | KeyReleaseMask | StructureNotifyMask | ExposureMask);
    XMapWindow(display, window); // named before it shows, as a manager expects
    XSync(display, False);
    report("window opened \"%s\" id=0x%lx nesting=%d", title, static_cast<unsigned long>(window), nesting);
    lines = std::make_unique<WindowLines>(std::move(macroTexts));
    running = true;
    worker = std::thread(run);
    return true;
}

void setFocus(bool focused)
{
    focusRequest = focused ? 1 : 2;
}

void close()
{
    if (!display)
        return;
    running = false;
    if (worker.joinable())
        worker.join();
    if (!connectionLost) {
        XDestroyWindow(display, outermost);
        XCloseDisplay(display);
        report("window closed");
    }
    display = nullptr;
}

} // namespace SimWindow
