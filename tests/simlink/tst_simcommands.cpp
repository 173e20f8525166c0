#include "fakewindows.h"
#include "simbroadcast.h"
#include "simcommands.h"
#include "virtualkeys.h"

#include <QtTest>

#include <X11/keysym.h>

class tst_SimCommands : public QObject
{
    Q_OBJECT
private slots:
    void packing_data();
    void packing();
    void postGates();
    void chatGates();
    void keyGates();
    void virtualKeys_data();
    void virtualKeys();
};

void tst_SimCommands::packing_data()
{
    QTest::addColumn<int>("message");
    QTest::addColumn<int>("var1");
    QTest::addColumn<qint64>("wParam");
    QTest::newRow("chat macro") << 8 << 0 << qint64(8);
    QTest::newRow("first argument in the high half") << 3 << 0x1234 << qint64(0x12340003);
    QTest::newRow("only its low 16 bits") << 1 << 0x7ABCD << qint64(0xABCD0001 - 0x100000000LL);
    QTest::newRow("bit 15 set: negative") << 2 << 0x8000 << qint64(-2147483646);
    QTest::newRow("negative argument") << 0 << -1 << qint64(-65536);
}

void tst_SimCommands::packing()
{
    QFETCH(int, message);
    QFETCH(int, var1);
    QFETCH(qint64, wParam);
    QCOMPARE(qint64(SimBroadcast::packWParam(message, var1)), wParam);
}

void tst_SimCommands::postGates()
{
    FakeWindows windows;
    SimBroadcast::post(8, 0, 5);
    SimBroadcast::post(12, 1, -7);
    SimBroadcast::post(13, 0, 0);
    SimBroadcast::post(-1, 0, 0);
    SimBroadcast::post(8, 0, 6);
    QCOMPARE(windows.registrations, 1); // once per process
    QCOMPARE(windows.broadcasts.size(), std::size_t(3));
    QCOMPARE(windows.broadcasts[0].message, std::uint32_t(0xC0DE));
    QCOMPARE(qint64(windows.broadcasts[0].wParam), qint64(8));
    QCOMPARE(qint64(windows.broadcasts[0].lParam), qint64(5));
    QCOMPARE(qint64(windows.broadcasts[1].wParam), qint64(0x1000C));
    QCOMPARE(qint64(windows.broadcasts[1].lParam), qint64(-7));
}

void tst_SimCommands::chatGates()
{
    FakeWindows windows;
    SimCommands::chat(true, 14);
    SimCommands::chat(true, 15);
    SimCommands::chat(true, -1);
    SimCommands::chat(false, 2);
    SimCommands::chat(true, 0);
    SimCommands::chat(true, 0); // no queue, no limit
    QCOMPARE(windows.broadcasts.size(), std::size_t(3));
    QCOMPARE(qint64(windows.broadcasts[0].wParam), qint64(8));
    QCOMPARE(qint64(windows.broadcasts[0].lParam), qint64(14));
    QCOMPARE(qint64(windows.broadcasts[2].lParam), qint64(0));
    QVERIFY(windows.keys.empty());
}

void tst_SimCommands::keyGates()
{
    FakeWindows windows;
    SimCommands::key(false, 0x41);
    QVERIFY(windows.keys.empty());
    SimCommands::key(true, 0x41);
    SimCommands::key(true, 0x10070); // above 65535: its low 16 bits
    SimCommands::key(true, 0);
    QCOMPARE(windows.keys.size(), std::size_t(6));
    QCOMPARE(windows.keys[0].virtualKey, std::uint16_t(0x41));
    QVERIFY(!windows.keys[0].up);
    QVERIFY(windows.keys[1].up);
    QCOMPARE(windows.keys[2].virtualKey, std::uint16_t(0x70));
    QCOMPARE(windows.keys[4].virtualKey, std::uint16_t(0));
    QVERIFY(windows.broadcasts.empty());
}

void tst_SimCommands::virtualKeys_data()
{
    QTest::addColumn<int>("vk");
    QTest::addColumn<uint>("keysym");
    QTest::newRow("A") << 0x41 << uint(XK_a);
    QTest::newRow("Z") << 0x5A << uint(XK_z);
    QTest::newRow("0") << 0x30 << uint(XK_0);
    QTest::newRow("9") << 0x39 << uint(XK_9);
    QTest::newRow("F1") << 0x70 << uint(XK_F1);
    QTest::newRow("F24") << 0x87 << uint(XK_F24);
    QTest::newRow("space") << 0x20 << uint(XK_space);
    QTest::newRow("return") << 0x0D << uint(XK_Return);
    QTest::newRow("escape") << 0x1B << uint(XK_Escape);
    QTest::newRow("left") << 0x25 << uint(XK_Left);
    QTest::newRow("page down") << 0x22 << uint(XK_Page_Down);
    QTest::newRow("keypad 5") << 0x65 << uint(XK_KP_5);
    QTest::newRow("keypad plus") << 0x6B << uint(XK_KP_Add);
    QTest::newRow("comma") << 0xBC << uint(XK_comma);
    QTest::newRow("none: 0") << 0x00 << 0u;
    QTest::newRow("none: 0xFF") << 0xFF << 0u;
    QTest::newRow("none: F25") << 0x88 << 0u;
}

void tst_SimCommands::virtualKeys()
{
    QFETCH(int, vk);
    QFETCH(uint, keysym);
    QCOMPARE(keysymOfVirtualKey(std::uint16_t(vk)), std::uint32_t(keysym));
}

QTEST_APPLESS_MAIN(tst_SimCommands)
#include "tst_simcommands.moc"
