#include "simwindow.h"

#include "report.h"

#include <X11/Xatom.h>
#include <X11/Xlib.h>
#include <X11/Xutil.h>

#include <atomic>
#include <cstdint>
#include <cstring>
#include <poll.h>
#include <thread>

namespace SimWindow {

namespace {
const char *const title = "iRacing.com Simulator";
Display *display = nullptr;
Window window = 0, outermost = 0;
std::thread worker;
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

void handle(const XEvent &event, Atom broadcast)
{
    if (event.type == ClientMessage && event.xclient.message_type == broadcast) {
        const auto wParam = static_cast<std::uint32_t>(event.xclient.data.l[0]);
        const auto lParam = static_cast<std::int32_t>(event.xclient.data.l[1]);
        report("broadcast msg=%u var1=%d var2=%d", wParam & 0xFFFFu,
               static_cast<int>(static_cast<std::int16_t>(wParam >> 16)), lParam);
    } else if (event.type == KeyPress || event.type == KeyRelease) {
        XKeyEvent key = event.xkey;
        const KeySym sym = XLookupKeysym(&key, 0);
        const char *name = XKeysymToString(sym);
        report("key %s keycode=%u keysym=%s", event.type == KeyPress ? "down" : "up", key.keycode,
               name ? name : "none");
    }
}

void run()
{
    const Atom broadcast = XInternAtom(display, "IRSDK_BROADCASTMSG", False);
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
            handle(event, broadcast);
        }
        poll(&connection, 1, 20);
    }
}
} // namespace

bool open(int nesting)
{
    XSetErrorHandler(ignoreError);
    XSetIOErrorHandler(reportLostConnection);
    display = XOpenDisplay(nullptr);
    if (!display)
        return false;
    XSetIOErrorExitHandler(display, keepRunning, nullptr);
    const int screen = DefaultScreen(display);
    // The outermost window stands where a lone one would; those inside fill their parents.
    outermost = XCreateSimpleWindow(display, RootWindow(display, screen), 40, 40, 320, 120, 1,
                                    BlackPixel(display, screen), WhitePixel(display, screen));
    window = outermost;
    for (int level = 0; level < nesting; ++level) {
        XMapWindow(display, window);
        window = XCreateSimpleWindow(display, window, 0, 0, 320, 120, 0, BlackPixel(display, screen),
                                     WhitePixel(display, screen));
    }
    XStoreName(display, window, title);
    const Atom netWmName = XInternAtom(display, "_NET_WM_NAME", False);
    const Atom utf8 = XInternAtom(display, "UTF8_STRING", False);
    XChangeProperty(display, window, netWmName, utf8, 8, PropModeReplace,
                    reinterpret_cast<const unsigned char *>(title), static_cast<int>(std::strlen(title)));
    XSelectInput(display, window, KeyPressMask | KeyReleaseMask | StructureNotifyMask);
    XMapWindow(display, window); // named before it shows, as a manager expects
    XSync(display, False);
    report("window opened \"%s\" id=0x%lx nesting=%d", title, static_cast<unsigned long>(window), nesting);
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
