// The simulator's window, the foreground, the broadcast message and injected keys on Linux,
// through the X server named by the display setting. Without an X server the simulator's
// window is simply never found.
#include "platform.h"
#include "virtualkeys.h"

#include <X11/Xatom.h>
#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <X11/extensions/XTest.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <unistd.h>
#include <vector>

namespace platform {

namespace {
const char *const simulatorTitle = "iRacing.com Simulator";

// A window may vanish between two requests; that is no reason to end the program, which is
// what Xlib's own handler would do.
int ignoreError(Display *, XErrorEvent *)
{
    return 0;
}

Display *display()
{
    static Display *const opened = [] {
        XSetErrorHandler(ignoreError);
        return XOpenDisplay(nullptr);
    }();
    return opened;
}

Handle toHandle(Window window)
{
    return reinterpret_cast<Handle>(static_cast<std::uintptr_t>(window));
}

std::string textProperty(Display *d, Window window, Atom property, Atom type)
{
    Atom actualType = None;
    int format = 0;
    unsigned long count = 0, after = 0;
    unsigned char *data = nullptr;
    std::string text;
    if (XGetWindowProperty(d, window, property, 0, 1024, False, type, &actualType, &format, &count, &after,
                           &data) == Success &&
        data) {
        if (actualType == type && format == 8)
            text.assign(reinterpret_cast<const char *>(data), count);
        XFree(data);
    }
    return text;
}

bool hasTitle(Display *d, Window window)
{
    static const Atom netWmName = XInternAtom(d, "_NET_WM_NAME", False);
    static const Atom utf8 = XInternAtom(d, "UTF8_STRING", False);
    std::string title = textProperty(d, window, netWmName, utf8);
    if (title.empty())
        title = textProperty(d, window, XA_WM_NAME, XA_STRING);
    return title == simulatorTitle;
}

std::vector<Window> children(Display *d, Window window)
{
    Window root = 0, parent = 0, *list = nullptr;
    unsigned int count = 0;
    std::vector<Window> result;
    if (XQueryTree(d, window, &root, &parent, &list, &count)) {
        result.assign(list, list + count);
        if (list)
            XFree(list);
    }
    return result;
}

// The child of the root that holds `window`: the window itself, or a manager's frame round it.
Window topLevel(Display *d, Window window)
{
    const Window root = DefaultRootWindow(d);
    while (window && window != root) {
        Window rootReturn = 0, parent = 0, *list = nullptr;
        unsigned int count = 0;
        if (!XQueryTree(d, window, &rootReturn, &parent, &list, &count))
            return 0;
        if (list)
            XFree(list);
        if (parent == root)
            return window;
        window = parent;
    }
    return 0;
}

// Whether `window` or any window below it bears the title: reparenting window managers put
// the client window one or more levels inside their frames.
bool holdsTitle(Display *d, Window window)
{
    if (hasTitle(d, window))
        return true;
    for (Window child : children(d, window))
        if (holdsTitle(d, child))
            return true;
    return false;
}

Handle findSimulatorWindow()
{
    Display *d = display();
    if (!d)
        return nullptr;
    for (Window top : children(d, DefaultRootWindow(d)))
        if (holdsTitle(d, top))
            return toHandle(top);
    return nullptr;
}

Handle foregroundWindow()
{
    Display *d = display();
    if (!d)
        return nullptr;
    static const Atom active = XInternAtom(d, "_NET_ACTIVE_WINDOW", False);
    Atom type = None;
    int format = 0;
    unsigned long count = 0, after = 0;
    unsigned char *data = nullptr;
    Window window = 0;
    if (XGetWindowProperty(d, DefaultRootWindow(d), active, 0, 1, False, XA_WINDOW, &type, &format, &count,
                           &after, &data) == Success &&
        data) {
        if (type == XA_WINDOW && format == 32 && count == 1)
            window = static_cast<Window>(*reinterpret_cast<unsigned long *>(data));
        XFree(data);
    }
    if (!window) {
        int revert = 0;
        XGetInputFocus(d, &window, &revert);
        if (window == PointerRoot || window == None)
            return nullptr;
    }
    // Both sides of the comparison are taken to the root's child that holds them.
    return toHandle(topLevel(d, window));
}

std::uint32_t registerBroadcastMessage()
{
    Display *d = display();
    return d ? static_cast<std::uint32_t>(XInternAtom(d, "IRSDK_BROADCASTMSG", False)) : 0;
}

// True for kvBeacon's own windows, which have no use for the message (and the toolkit
// would warn about each one).
bool ownWindow(Display *d, Window window)
{
    static const Atom pidAtom = XInternAtom(d, "_NET_WM_PID", False);
    Atom type = None;
    int format = 0;
    unsigned long count = 0, after = 0;
    unsigned char *data = nullptr;
    bool own = false;
    if (XGetWindowProperty(d, window, pidAtom, 0, 1, False, XA_CARDINAL, &type, &format, &count, &after,
                           &data) == Success &&
        data) {
        own = type == XA_CARDINAL && format == 32 && count == 1 &&
              static_cast<pid_t>(*reinterpret_cast<unsigned long *>(data)) == getpid();
        XFree(data);
    }
    return own;
}

void postBroadcast(std::uint32_t message, std::intptr_t wParam, std::intptr_t lParam)
{
    Display *d = display();
    if (!d)
        return;
    auto send = [&](Window window) {
        if (ownWindow(d, window))
            return;
        XEvent event;
        std::memset(&event, 0, sizeof event);
        event.xclient.type = ClientMessage;
        event.xclient.window = window;
        event.xclient.message_type = static_cast<Atom>(message);
        event.xclient.format = 32;
        event.xclient.data.l[0] = static_cast<long>(static_cast<std::int32_t>(wParam));
        event.xclient.data.l[1] = static_cast<long>(lParam);
        XSendEvent(d, window, False, NoEventMask, &event);
    };
    for (Window top : children(d, DefaultRootWindow(d))) {
        send(top);
        for (Window inner : children(d, top)) // client windows inside a manager's frames
            send(inner);
    }
    XFlush(d);
}

void sendKey(std::uint16_t virtualKey, bool keyUp)
{
    Display *d = display();
    const std::uint32_t keysym = keysymOfVirtualKey(virtualKey);
    if (!d || !keysym)
        return;
    const KeyCode code = XKeysymToKeycode(d, keysym);
    if (!code)
        return;
    XTestFakeKeyEvent(d, code, keyUp ? False : True, CurrentTime);
    XFlush(d);
}

// The system timer is fine-grained already.
void beginTimerPeriod() {}
void endTimerPeriod() {}

const WindowOps x11Ops = {findSimulatorWindow, foregroundWindow, registerBroadcastMessage,
                          postBroadcast,       sendKey,          beginTimerPeriod,
                          endTimerPeriod};
} // namespace

void prepareDesktop()
{
    setenv("QT_XCB_GL_INTEGRATION", "none", 0); // a value set by the user stands
}

const WindowOps &systemWindowOps()
{
    return x11Ops;
}

} // namespace platform
