#include "kvbeacon.h"
#include "standin.h"
#include "telemetrymap.h"

#include <fcntl.h>
#include <unistd.h>

using namespace WindowFixture;

namespace {
const char *const scenarioText =
    "session-text-begin\nWeekendInfo:\n TrackName: e2e_track\nSessionInfo:\n Sessions:\n"
    " - SessionNum: 0\n   SessionLaps: unlimited\n   SessionTime: 300.0000 sec\n"
    "   SessionType: Practice\n"
    " - SessionNum: 1\n   SessionLaps: 15\n   SessionTime: unlimited\n   SessionType: Race\n"
    "DriverInfo:\n DriverCarFuelMaxLtr: 110.000\nsession-text-end\n"
    "phase Practice 2\nset SessionNum 0\nrate SessionTime 1\n"
    "phase Race 3600\nset SessionNum 1\nrate SessionTime 1\nset RaceLaps 6\n";
} // namespace

// The stand-in, the window on an X server and a TCP client; then the simulator misbehaves.
class tst_EndToEnd : public QObject
{
    Q_OBJECT
private slots:
    void liveSession();
    void objectLeftBehind_data();
    void objectLeftBehind();
};

void tst_EndToEnd::liveSession()
{
    StandIn standIn(scenarioText, "[Autochat Messages]\nAutoChatStr2=Box this lap\n");
    QVERIFY(writeFile(standIn.documents.filePath(QStringLiteral("controls.cfg")), ""));
    // Its window two levels down, as a reparenting window manager puts it.
    QVERIFY(standIn.play({"--nest", "2", "--documents", standIn.documents.path()}) &&
            standIn.waitFor("window opened"));
    kvBeacon w;
    w.show();
    const auto label = [&](const char *name) { return child<QLabel>(&w, name)->text(); };
    QTRY_COMPARE_WITH_TIMEOUT(statusText(&w, 0), QStringLiteral("iRacing founded"), 10000);
    QTRY_COMPARE_WITH_TIMEOUT(label("label_trackname"), QStringLiteral("e2e_track"), 5000);
    QTRY_COMPARE_WITH_TIMEOUT(label("label_sessionType"), QStringLiteral("Race"), 8000);
    QTRY_COMPARE_WITH_TIMEOUT(label("label_laps"), QStringLiteral("6/15"), 3000);
    QVERIFY(label("label_sessionTime").endsWith(QLatin1Char('/')));

    // The server starts by itself on the stored port.
    QTRY_VERIFY_WITH_TIMEOUT(w.findChild<kvServer *>(), 3000);
    BeaconClient client;
    QVERIFY(client.connectTo(loopback, standIn.port, 3000));
    QTRY_COMPARE(statusText(&w, 1), QStringLiteral("1 client connected"));
    QVERIFY(child<QPlainTextEdit>(&w, "plainTextEdit_debug")
                ->toPlainText()
                .startsWith(QStringLiteral("(Server) - Listening to port %1\n(Server) - Connecting... ")
                                .arg(standIn.port)));
    int id = 100;
    const auto liveShows = [&](const char *fuel, int ms = 5000) {
        const QByteArray line = QByteArray("\n    \"FuelLevel\": ") + fuel + ",\n";
        return QTest::qWaitFor([&] { return ask(client, request(Protocol::Live, ++id)).contains(line); }, ms);
    };
    const auto fuelShows = [&](const char *fuel) {
        return standIn.send("set FuelLevel " + QByteArray(fuel)) && liveShows(fuel);
    };
    QVERIFY(fuelShows("33.5"));
    // A chat macro: the message as it came, then as a person reads it, with or without a text.
    for (const char *macro : {"2", "3"})
        QVERIFY(ask(client, request(Protocol::ChatMacro, ++id, macro)).endsWith(";Button ok;"));
    QVERIFY2(standIn.waitFor("var2=1\nchat macro 2: Box this lap\n") &&
                 standIn.waitFor("broadcast msg=8 var1=0 var2=2\nchat macro 3\n"),
             standIn.output.constData());

    // A key reaches it while it has the focus; the flag follows at the next session poll.
    QVERIFY(standIn.send("focus"));
    QTRY_VERIFY_WITH_TIMEOUT(ask(client, request(Protocol::PressKey, ++id, "65")).endsWith(";KEY OK;") &&
                                 standIn.waitFor("key up keycode=", 300),
                             6000);
    // Keys of earlier tries may still be on their way: each down has its up, both of "a".
    QTest::qWait(500);
    QTRY_COMPARE(standIn.count("keysym=a\n"), 2 * standIn.count("key down"));
    const int keysPressed = standIn.count("key down");

    // ...and nowhere while another window has it.
    QLineEdit other;
    other.show();
    QVERIFY(QTest::qWaitForWindowExposed(&other));
    other.activateWindow();
    QTRY_VERIFY_WITH_TIMEOUT(other.hasFocus() && QApplication::activeWindow() == &other, 3000);
    QTest::qWait(2500); // two session polls at the least
    QCOMPARE(ask(client, request(Protocol::PressKey, 8, "66")), QByteArray("@000018;209;000008;KEY OK;"));
    QTest::qWait(500);
    QCOMPARE(standIn.count("key down"), keysPressed);
    QVERIFY2(other.text().isEmpty(), qPrintable(other.text()));

    // Killed in the middle of the session: the status says so, the values stay.
    standIn.process.kill();
    QVERIFY(standIn.process.waitForFinished());
    QTRY_COMPARE_WITH_TIMEOUT(statusText(&w, 0), QStringLiteral("iRacing not found"), 10000);
    QCOMPARE(label("label_trackname"), QStringLiteral("e2e_track"));
    QVERIFY(liveShows("33.5", 0));
    // Back with lower ticks: the link attaches again and the values move on.
    QVERIFY(standIn.play({"--start-tick", "1"}));
    QTRY_COMPARE_WITH_TIMEOUT(statusText(&w, 0), QStringLiteral("iRacing founded"), 10000);
    QVERIFY(fuelShows("11.25"));
    // Stopped by the user: the polls run on without a server.
    QTest::mouseClick(child<QPushButton>(&w, "pushButton_startServer"), Qt::LeftButton);
    QVERIFY(standIn.send("set FuelLevel 3.5"));
    QTest::qWait(300); // a few rows for the fast poll
    QCOMPARE(statusText(&w, 0), QStringLiteral("iRacing founded"));
    w.close();
    QVERIFY(standIn.quit());
}

void tst_EndToEnd::objectLeftBehind_data()
{
    QTest::addColumn<int>("size");
    QTest::newRow("too small") << 65536;
    QTest::newRow("smaller, room for the text") << 131072;
    QTest::newRow("larger") << 1048576;
}

// A memory object that another program still holds is never resized: the stand-in lays out
// within its size, where the reader finds rows, or refuses in one line that names a least size
// between this row's and the next.
void tst_EndToEnd::objectLeftBehind()
{
    QFETCH(int, size);
    StandIn standIn(scenarioText, "");
    const int fd = shm_open("/IRSDKMemMapFileName", O_CREAT | O_RDWR, 0644);
    QVERIFY(fd >= 0 && ftruncate(fd, size) == 0 && close(fd) == 0);
    QVERIFY(standIn.play({"--no-window"}, size < 131072 ? "error" : "publishing"));
    TelemetryMap::detach(); // of a run before
    const QRegularExpressionMatch refusal =
        QRegularExpression(QString("exists with %1 bytes; (\\d+) are needed\n").arg(size))
            .match(standIn.output);
    if (size < 131072)
        QVERIFY2(refusal.captured(1).toInt() > size && refusal.captured(1).toInt() <= 131072,
                 standIn.output.constData());
    else
        QVERIFY(TelemetryMap::attach() && TelemetryMap::state().regionSize == std::size_t(size) &&
                QTest::qWaitFor([] { return TelemetryMap::fetchRow(nullptr, 0); }));
    TelemetryMap::detach();
}

QTEST_MAIN(tst_EndToEnd)
#include "tst_endtoend.moc"
