#include "fakesimulator.h"
#include "fakewindows.h"
#include "frames.h"
#include "kvbeacon.h"
#include "kvserver.h"
#include "windowfixture.h"

#include <QLabel>
#include <QLineEdit>
#include <QStatusBar>
#include <QTcpSocket>

namespace {
std::vector<RegionLayout::Variable> liveVariables()
{
    return {{"SessionTime", 5, 1}, {"SessionNum", 2, 1}, {"RaceLaps", 2, 1}, {"FuelLevel", 4, 1}};
}

const char *const liveText = "WeekendInfo:\n"
                             " TrackName: live_track\n"
                             "SessionInfo:\n"
                             " Sessions:\n"
                             " - SessionNum: 1\n"
                             "   SessionLaps: 20\n"
                             "   SessionTime: 3600.0000 sec\n"
                             "   SessionType: Race\n";

} // namespace

// The window with the polls running against a simulator played in memory.
class tst_LiveWindow : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase() { QStandardPaths::setTestModeEnabled(true); }
    void liveSession();
};

void tst_LiveWindow::liveSession()
{
    QFile::remove(iniPath());
    DocumentsFolder documents;
    writeSetting(QStringLiteral("paths/iracingdocument"), documents.path());
    writeSetting(QStringLiteral("main/port"), 0);

    FakeSimulator sim(liveVariables());
    sim.setText(liveText);
    FakeWindows windows;
    std::int32_t tick = 0;
    double laps = 3;
    auto writeRow = [&] {
        const std::int32_t slot = (tick + 1) % 3;
        sim.setValue(slot, "SessionTime", 125.0);
        sim.setValue(slot, "SessionNum", 1);
        sim.setValue(slot, "RaceLaps", laps);
        sim.setValue(slot, "FuelLevel", 42.5);
        sim.publish(slot, ++tick);
    };
    sim.onWait = writeRow; // a new row for every poll that waits

    kvBeacon w;
    auto *status = w.statusBar()->findChildren<QLabel *>().value(0);
    QTRY_COMPARE_WITH_TIMEOUT(status->text(), QStringLiteral("iRacing founded"), 3000);
    QCOMPARE(windows.timerBegins, 1);
    QTRY_COMPARE_WITH_TIMEOUT(child<QLabel>(&w, "label_trackname")->text(), QStringLiteral("live_track"),
                              4000);
    QTRY_COMPARE_WITH_TIMEOUT(child<QLabel>(&w, "label_laps")->text(), QStringLiteral("3/20"), 4000);
    QTRY_COMPARE_WITH_TIMEOUT(child<QLabel>(&w, "label_sessionTime")->text(),
                              QStringLiteral("00:02:05/01:00"), 4000);
    QCOMPARE(child<QLabel>(&w, "label_sessionType")->text(), QStringLiteral("Race"));

    // A running server with no client publishes nothing.
    QTest::mouseClick(child<QPushButton>(&w, "pushButton_startServer"), Qt::LeftButton);
    kvServer *server = w.findChild<kvServer *>();
    QVERIFY(server);
    QTest::qWait(300);
    QCOMPARE(server->sessionData.snapshot()->record.RaceLaps, 0);
    QCOMPARE(server->sessionData.snapshot()->record.TrackName, QStringLiteral("n/a"));

    QTcpSocket client;
    client.connectToHost(QHostAddress::LocalHost, server->serverPort());
    QVERIFY(client.waitForConnected(3000));
    QTRY_COMPARE_WITH_TIMEOUT(server->sessionData.snapshot()->record.RaceLaps, 3, 3000);
    laps = 4;
    QTRY_VERIFY_WITH_TIMEOUT(askPayload(client, request(207, 1)).contains("\"RaceLaps\": 4,"), 3000);
    const QByteArray info = askPayload(client, request(208, 2));
    QVERIFY2(info.contains("\"WI.Trackname\": \"live_track\""), info.constData());
    QVERIFY(info.contains("\"SI.SessionTime\": 3600,"));

    // Chat: passed on while the simulator is found. Key: only while it has the foreground.
    QCOMPARE(askPayload(client, request(206, 3, "3")), QByteArray("Button ok"));
    QTRY_COMPARE(windows.broadcasts.size(), std::size_t(1));
    QCOMPARE(qint64(windows.broadcasts[0].wParam), qint64(8));
    QCOMPARE(qint64(windows.broadcasts[0].lParam), qint64(2));
    QCOMPARE(askPayload(client, request(209, 4, "65")), QByteArray("KEY OK"));
    QTest::qWait(200);
    QVERIFY(windows.keys.empty());
    windows.simulatorInForeground = true;
    QTest::qWait(1200); // the flag is as old as the last session poll
    QCOMPARE(askPayload(client, request(209, 5, "65")), QByteArray("KEY OK"));
    QTRY_COMPARE(windows.keys.size(), std::size_t(2));
    QCOMPARE(windows.keys[0].virtualKey, std::uint16_t(65));

    // The simulator goes: the status says so, the labels and the record keep their values.
    windows.simulatorWindow = false;
    sim.onWait = nullptr;
    QTRY_COMPARE_WITH_TIMEOUT(status->text(), QStringLiteral("iRacing not found"), 3000);
    QCOMPARE(child<QLabel>(&w, "label_trackname")->text(), QStringLiteral("live_track"));
    QVERIFY(askPayload(client, request(207, 6)).contains("\"RaceLaps\": 4,"));
    QCOMPARE(askPayload(client, request(209, 7, "65")), QByteArray("KEY OK"));
    QTest::qWait(200);
    QCOMPARE(windows.keys.size(), std::size_t(2));

    w.close();
    QCOMPARE(windows.timerEnds, 1);
    QVERIFY(!TelemetryMap::state().attached);
}

QTEST_MAIN(tst_LiveWindow)
#include "tst_livewindow.moc"
