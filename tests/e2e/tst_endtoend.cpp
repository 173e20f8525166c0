#include "kvbeacon.h"
#include "kvserver.h"
#include "serverfixture.h"
#include "windowfixture.h"
#include "xvfbserver.h"

#include <QLineEdit>
#include <QPlainTextEdit>
#include <QProcess>
#include <QTcpServer>

#include <sys/mman.h>

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

// The stand-in's output, a line at a time, kept for the whole test.
class StandIn
{
public:
    bool start(const QString &scenario)
    {
        process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        QObject::connect(&process, &QProcess::readyReadStandardOutput, [this] {
            while (process.canReadLine())
                lines.append(QString::fromUtf8(process.readLine()).trimmed());
        });
        process.start(QStringLiteral(KVB_SIMULATOR), {QStringLiteral("--scenario"), scenario});
        return process.waitForStarted() && waitFor(QStringLiteral("publishing"));
    }
    bool waitFor(const QString &prefix, int ms = 5000)
    {
        return QTest::qWaitFor([&] { return count(prefix) > 0; }, ms);
    }
    int count(const QString &prefix) const
    {
        return int(std::count_if(lines.begin(), lines.end(),
                                 [&](const QString &l) { return l.startsWith(prefix); }));
    }
    void send(const QByteArray &line) { process.write(line + "\n"); }
    bool quit()
    {
        send("quit");
        return process.waitForFinished(5000);
    }

    QProcess process;
    QStringList lines;
};
} // namespace

// Everything real: the simulator stand-in, the kvBeacon window on an X server, a TCP client.
class tst_EndToEnd : public QObject
{
    Q_OBJECT
private slots:
    void liveSession();
};

void tst_EndToEnd::liveSession()
{
    shm_unlink("/IRSDKMemMapFileName");
    shm_unlink("/IRSDKDataValidEvent");
    QTemporaryDir dir;
    const QString scenario = dir.filePath(QStringLiteral("e2e.scenario"));
    QFile file(scenario);
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write(scenarioText));
    file.close();
    QTcpServer probe; // a free port for the window's field
    QVERIFY(probe.listen(QHostAddress::Any, 0));
    const quint16 port = probe.serverPort();
    probe.close();
    QTemporaryDir documents;
    QFile(documents.filePath(QStringLiteral("controls.cfg"))).open(QIODevice::WriteOnly);
    startSettings({{"main/port", port},
                   {"main/autostartserver", true},
                   {"paths/iracingdocument",
                    makeDocuments(documents, "[Autochat Messages]\nAutoChatStr3=Box this lap\n")}});

    StandIn standIn;
    QVERIFY(standIn.start(scenario));
    QVERIFY(standIn.waitFor(QStringLiteral("window opened")));
    kvBeacon w;
    w.show();
    QTRY_COMPARE_WITH_TIMEOUT(statusText(&w, 0), QStringLiteral("iRacing founded"), 3000);
    QTRY_COMPARE_WITH_TIMEOUT(child<QLabel>(&w, "label_trackname")->text(), QStringLiteral("e2e_track"),
                              5000);
    QTRY_COMPARE_WITH_TIMEOUT(child<QLabel>(&w, "label_sessionType")->text(), QStringLiteral("Race"), 8000);
    QTRY_COMPARE_WITH_TIMEOUT(child<QLabel>(&w, "label_laps")->text(), QStringLiteral("6/15"), 3000);
    QVERIFY(child<QLabel>(&w, "label_sessionTime")->text().endsWith(QLatin1Char('/')));

    // The server starts by itself on the stored port.
    QTRY_VERIFY_WITH_TIMEOUT(w.findChild<kvServer *>(), 3000);
    QTcpSocket client;
    client.connectToHost(QHostAddress::LocalHost, port);
    QVERIFY(client.waitForConnected(3000));
    QCOMPARE(ask(client, request(202, 1)), QByteArray("@000021;202;000001;kv-Beacon;"));
    QCOMPARE(statusText(&w, 1), QStringLiteral("1 client connected"));
    QVERIFY(child<QPlainTextEdit>(&w, "plainTextEdit_debug")
                ->toPlainText()
                .startsWith(
                    QStringLiteral("(Server) - Listening to port %1\n(Server) - Connecting... ").arg(port)));
    QCOMPARE(ask(client, request(205, 2)), request(205, 2, "||Box this lap||||||||||||"));
    standIn.send("set FuelLevel 33.5");
    QTRY_VERIFY_WITH_TIMEOUT(ask(client, request(207, 3)).contains("\n    \"FuelLevel\": 33.5,\n"), 3000);
    const QByteArray live = ask(client, request(207, 4));
    QVERIFY2(live.contains("\"SessionNum\": 1,") && live.contains("\"RaceLaps\": 6,"), live.constData());
    const QByteArray info = ask(client, request(208, 5));
    QVERIFY2(info.contains("\"WI.Trackname\": \"e2e_track\"") && info.contains("\"SI.SessionLaps\": 15,"),
             info.constData());

    // A chat command reaches the stand-in's window as message 8 with the macro's number.
    QCOMPARE(ask(client, request(206, 6, "3")), QByteArray("@000021;206;000006;Button ok;"));
    QVERIFY(standIn.waitFor(QStringLiteral("broadcast msg=8 var1=0 var2=2")));

    // A key reaches it while it has the focus; the flag follows at the next session poll.
    standIn.send("focus");
    QVERIFY(standIn.waitFor(QStringLiteral("focused")));
    int id = 100;
    QTRY_VERIFY_WITH_TIMEOUT(ask(client, request(209, ++id, "65")).endsWith(";KEY OK;") &&
                                 standIn.waitFor(QStringLiteral("key up keycode="), 300),
                             6000);
    QTest::qWait(500); // keys of earlier tries still on their way
    const int keysPressed = standIn.count(QStringLiteral("key down"));
    QCOMPARE(standIn.lines.filter(QStringLiteral("keysym=a")).size(), 2 * keysPressed);

    // ...and nowhere while another window has it.
    QLineEdit other;
    other.show();
    QVERIFY(QTest::qWaitForWindowExposed(&other));
    other.activateWindow();
    QTRY_VERIFY_WITH_TIMEOUT(other.hasFocus() && QApplication::activeWindow() == &other, 3000);
    QTest::qWait(2500); // two session polls at the least
    QCOMPARE(ask(client, request(209, 8, "66")), QByteArray("@000018;209;000008;KEY OK;"));
    QTest::qWait(500);
    QCOMPARE(standIn.count(QStringLiteral("key down")), keysPressed);
    QVERIFY2(other.text().isEmpty(), qPrintable(other.text()));

    // The simulator goes away: the status says so, the values stay.
    QVERIFY(standIn.quit());
    QTRY_COMPARE_WITH_TIMEOUT(statusText(&w, 0), QStringLiteral("iRacing not found"), 3000);
    QCOMPARE(child<QLabel>(&w, "label_trackname")->text(), QStringLiteral("e2e_track"));
    QVERIFY(ask(client, request(207, 9)).contains("\"FuelLevel\": 33.5,"));

    // It comes back: the link attaches again and the values move on.
    StandIn again;
    QVERIFY(again.start(scenario));
    QTRY_COMPARE_WITH_TIMEOUT(statusText(&w, 0), QStringLiteral("iRacing founded"), 3000);
    again.send("set FuelLevel 11.25");
    QTRY_VERIFY_WITH_TIMEOUT(ask(client, request(207, 10)).contains("\"FuelLevel\": 11.25,"), 5000);
    w.close();
    QVERIFY(again.quit());
    shm_unlink("/IRSDKMemMapFileName");
    shm_unlink("/IRSDKDataValidEvent");
}

int main(int argc, char **argv)
{
    XvfbServer xvfb;
    if (!xvfb.start()) {
        std::fprintf(stderr, "no X server for the end-to-end test\n");
        return 1;
    }
    qputenv("QT_QPA_PLATFORM", "xcb");
    qputenv("QT_XCB_GL_INTEGRATION", "none"); // no GL: nothing here draws with it
    QApplication app(argc, argv);
    tst_EndToEnd test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_endtoend.moc"
