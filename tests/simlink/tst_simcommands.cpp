#include "fakewindows.h"
#include "simbroadcast.h"
#include "simcommands.h"

#include <QtTest>

#ifdef Q_OS_LINUX
#include "virtualkeys.h"

#include <X11/keysym.h>
#endif

class tst_SimCommands : public QObject
{
    Q_OBJECT
private slots:
    // Messages 0 to 12 go out, in the word's low half and the first argument in its high half, each
    // cut to 16 bits (bit 15 of the argument makes the word negative); chat macros 0 to 14 only once
    // the simulator is found, keys only while it has the foreground.
    void gates()
    {
        FakeWindows windows;
        for (const auto &[message, var1] : {std::pair(12, 1), {2, 0x8000}, {0, -1}, {13, 0}, {-1, 0}})
            SimBroadcast::post(message, var1, -7);
        for (int id : {14, 15, -1, 0, 0})
            SimCommands::chat(true, id);
        SimCommands::chat(false, 2);
        SimCommands::key(false, 0x41);
        for (int key : {0x41, 0x10070, 0})
            SimCommands::key(true, key);
        QList<qint64> sent; // wParam and lParam of each broadcast
        for (const FakeWindows::Broadcast &broadcast : windows.broadcasts)
            sent << (broadcast.message == windows.registeredNumber ? broadcast.wParam : -1)
                 << broadcast.lParam;
        QCOMPARE(sent, (QList<qint64>{0x1000C, -7, -2147483646, -7, -65536, -7, 8, 14, 8, 0, 8, 0}));
        QCOMPARE(qint64(SimBroadcast::packWParam(0x20001, 0x7ABCD)), 0xABCD0001 - 0x100000000LL);
        QList<int> pressed; // down then up, the low 16 bits of each key
        for (const FakeWindows::Key &key : windows.keys)
            pressed << (key.up ? -1 : 1) * (key.virtualKey + 1);
        QCOMPARE(pressed, (QList<int>{0x42, -0x42, 0x71, -0x71, 1, -1}));
    }
#ifdef Q_OS_LINUX
    // Each code with its keysym on X11; 0 where no key is sent.
    void virtualKeys()
    {
        const int codes[] = {0x41, 0x5A, 0x30, 0x39, 0x70, 0x87, 0x20, 0x0D, 0x1B,
                             0x25, 0x22, 0x65, 0x6B, 0xBC, 0,    0xFF, 0x88};
        const std::uint32_t keysyms[] = {
            XK_a,    XK_z,         XK_0,    XK_9,      XK_F1,    XK_F24, XK_space, XK_Return, XK_Escape,
            XK_Left, XK_Page_Down, XK_KP_5, XK_KP_Add, XK_comma, 0,      0,        0};
        for (std::size_t i = 0; i < std::size(codes); ++i)
            QCOMPARE(keysymOfVirtualKey(std::uint16_t(codes[i])), keysyms[i]);
    }
#endif
};

QTEST_APPLESS_MAIN(tst_SimCommands)
#include "tst_simcommands.moc"
