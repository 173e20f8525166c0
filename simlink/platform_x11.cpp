// The simulator's window, the foreground, the broadcast message and injected keys on Linux,
// through the X server named by the display setting. Without an X server the simulator's
// window is simply never found.
#include "platform.h"
#include "virtualkeys.h"

#include <X11/Xatom.h>
#include <X11/Xlib-xcb.h>
#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <X11/extensions/XTest.h>
#include <xcb/xcb.h>

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

// The windows of one level of the tree below `parents`, each with whether it is one of
// kvBeacon's own, asked for together: every request goes out before the first reply is read,
// so a level costs one round trip to the X server however many windows it holds.
struct Level
{
    std::vector<Window> windows;
    std::vector<bool> own;
};

Level nextLevel(xcb_connection_t *c, const std::vector<Window> &parents)
{
    static const xcb_atom_t pidAtom = XInternAtom(display(), "_NET_WM_PID", False);
    std::vector<xcb_query_tree_cookie_t> trees;
    for (Window parent : parents)
        trees.push_back(xcb_query_tree(c, static_cast<xcb_window_t>(parent)));
    Level level;
    for (xcb_query_tree_cookie_t cookie : trees) {
        xcb_generic_error_t *error = nullptr; // a window gone meanwhile has no children
        xcb_query_tree_reply_t *tree = xcb_query_tree_reply(c, cookie, &error);
        free(error);
        if (!tree)
            continue;
        const xcb_window_t *list = xcb_query_tree_children(tree);
        level.windows.insert(level.windows.end(), list, list + xcb_query_tree_children_length(tree));
        free(tree);
    }
    std::vector<xcb_get_property_cookie_t> pids;
    for (Window window : level.windows)
        pids.push_back(
            xcb_get_property(c, 0, static_cast<xcb_window_t>(window), pidAtom, XCB_ATOM_CARDINAL, 0, 1));
    for (xcb_get_property_cookie_t cookie : pids) {
        xcb_generic_error_t *error = nullptr;
        xcb_get_property_reply_t *pid = xcb_get_property_reply(c, cookie, &error);
        free(error);
        level.own.push_back(
            pid && pid->type == XCB_ATOM_CARDINAL && pid->format == 32 &&
            xcb_get_property_value_length(pid) == 4 &&
            static_cast<pid_t>(*static_cast<const std::uint32_t *>(xcb_get_property_value(pid))) == getpid());
        free(pid);
    }
    return level;
}

void postBroadcast(std::uint32_t message, std::intptr_t wParam, std::intptr_t lParam)
{
    Display *d = display();
    if (!d)
        return;
    XFlush(d); // what Xlib holds goes before the requests made through its XCB connection
    xcb_connection_t *c = XGetXCBConnection(d);
    // The root's children, and the client windows inside a manager's frames one level below.
    const Level tops = nextLevel(c, {DefaultRootWindow(d)});
    const Level inner = nextLevel(c, tops.windows);
    for (const Level *level : {&tops, &inner})
        for (std::size_t i = 0; i < level->windows.size(); ++i) {
            if (level->own[i]) // kvBeacon's own windows have no use for it, and the toolkit would warn
                continue;
            XEvent event;
            std::memset(&event, 0, sizeof event);
            event.xclient.type = ClientMessage;
            event.xclient.window = level->windows[i];
            event.xclient.message_type = static_cast<Atom>(message);
            event.xclient.format = 32;
            event.xclient.data.l[0] = static_cast<long>(static_cast<std::int32_t>(wParam));
            event.xclient.data.l[1] = static_cast<long>(lParam);
            XSendEvent(d, level->windows[i], False, NoEventMask, &event);
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
