#include "kvbeacon.h"
#include "recording.h"
#include "standin.h"

#include <algorithm>
#include <numeric>
#include <sstream>

using namespace WindowFixture;

namespace {
// Practice, then a race with its own session entry; fuel and flags move.
const char *const scenarioText =
    "session-text-begin\nWeekendInfo:\n TrackName: replay_ring\nSessionInfo:\n Sessions:\n"
    " - SessionNum: 0\n   SessionLaps: unlimited\n   SessionTime: 600.0000 sec\n   SessionType: Practice\n"
    " - SessionNum: 1\n   SessionLaps: 12\n   SessionTime: unlimited\n   SessionType: Race\n"
    "DriverInfo:\n DriverCarFuelKgPerLtr: 0.750\n DriverCarFuelMaxLtr: 80.000\n DriverCarMaxFuelPct: 0.900\n"
    "session-text-end\n"
    "phase Practice 2.5\nset SessionNum 0\nrate SessionTime 1\nramp FuelLevel 40 38\nset SessionFlags 4\n"
    "phase Race 60\nset SessionNum 1\nrate SessionTime 1\nrate RaceLaps 0.5\nramp FuelLevel 70 10\n"
    "set SessionFlags 8\nramp AirTemp 20 25\n";

// A recording's samples: the time and the lines as JSON.
QList<QJsonObject> samplesOf(const QString &path)
{
    QFile file(path);
    file.open(QIODevice::ReadOnly);
    QList<QJsonObject> samples;
    for (const QByteArray &line : file.readAll().split('\n'))
        if (!line.isEmpty())
            samples.append(json(line));
    return samples;
}
} // namespace

// A race recorded through kvBeacon with kvbeacon-cli, replayed by the stand-in and recorded
// again agrees value by value, at the same pace; bad and cut files are told apart.
class tst_RecordReplay : public QObject
{
    Q_OBJECT
private slots:
    void roundTrip();
    void badAndCutFiles_data();
    void badAndCutFiles();
};

void tst_RecordReplay::roundTrip()
{
    StandIn standIn(scenarioText, "[Autochat Messages]\nAutoChatStr2=Thanks\n");
    const QTemporaryDir &dir = standIn.dir;
    QVERIFY(standIn.play());
    kvBeacon window;
    window.show();
    const auto track = [&] { return child<QLabel>(&window, "label_trackname")->text(); };
    QTRY_COMPARE_WITH_TIMEOUT(track(), QStringLiteral("replay_ring"), 8000);

    QProcess cli;
    cli.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    const auto startRecording = [&](const QString &name, int seconds) {
        cli.start(QStringLiteral(KVB_CLI), {"--port", QString::number(standIn.port), "record",
                                            dir.filePath(name), "--duration", QString::number(seconds)});
    };
    // The window's server answers it on this thread: the events must go on meanwhile.
    const auto recorded = [&] {
        return QTest::qWaitFor([&] { return cli.state() == QProcess::NotRunning; }, 20000) &&
               cli.exitCode() == 0;
    };
    startRecording(QStringLiteral("first.jsonl"), 6);
    QVERIFY(recorded());
    QVERIFY(standIn.quit());
    // The second recorder first reads the race's last row, which kvBeacon keeps while no
    // simulator writes: that is no part of the replay.
    startRecording(QStringLiteral("second.jsonl"), 8);
    QTest::qWait(1000);
    QVERIFY(standIn.start(QStringLiteral(KVB_SIMULATOR), {"--replay", dir.filePath("first.jsonl")},
                          "publishing"));
    QVERIFY(recorded());
    // The stand-in's commands still act on a replay.
    QVERIFY(standIn.send("track elsewhere"));
    QTRY_COMPARE_WITH_TIMEOUT(track(), QStringLiteral("elsewhere"), 5000);
    standIn.quit();

    const QList<QJsonObject> first = samplesOf(dir.filePath("first.jsonl"));
    const QList<QJsonObject> second = samplesOf(dir.filePath("second.jsonl"));
    QCOMPARE(first.first()["format"].toString(), QStringLiteral("kvbeacon-recording"));
    QVERIFY2(first.size() > 40 && second.size() > 30,
             qPrintable(QStringLiteral("%1, %2").arg(first.size()).arg(second.size())));
    QCOMPARE(first[1]["chat"].toArray().at(1).toString(), QStringLiteral("Thanks"));
    // Each sample of the replay is one of the race, whole; matched by the session's clock.
    QHash<double, QJsonObject> byTime;
    for (const QJsonObject &sample : first.mid(1))
        byTime.insert(sample["live"]["SessionTimeSinceStarted"].toDouble(), sample);
    QVector<double> shifts;
    for (const QJsonObject &sample : second.mid(1)) {
        const double time = sample["live"]["SessionTimeSinceStarted"].toDouble();
        QVERIFY2(byTime.contains(time), qPrintable(QString::number(time)));
        const QJsonObject original = byTime.value(time);
        QCOMPARE(sample["live"].toObject(), original["live"].toObject());
        shifts.append(sample["t"].toDouble() - original["t"].toDouble());
    }
    // The pace error is each shift's distance from the typical one; late reads are noise.
    std::sort(shifts.begin(), shifts.end());
    const double offset = shifts[shifts.size() / 2],
                 worst = qMax(shifts.last() - offset, offset - shifts.first());
    const double average =
        std::accumulate(shifts.begin(), shifts.end(), 0.0,
                        [&](double sum, double shift) { return sum + qAbs(shift - offset); }) /
        shifts.size();
    // The session text made from the recorded info reads back as the same info.
    QJsonObject lastInfo[2];
    for (int i = 0; i < 2; ++i)
        for (const QJsonObject &sample : i ? second : first)
            if (sample.contains("info"))
                lastInfo[i] = sample["info"].toObject();
    QCOMPARE(lastInfo[1], lastInfo[0]);
    QCOMPARE(lastInfo[0]["SI.SessionType"].toString(), QStringLiteral("Race"));
    const double minutes = (first.last()["t"].toDouble() - first[1]["t"].toDouble()) / 60;
    qInfo("recording: %d samples, %.0f KB a minute at 10 Hz; replay: pace error %.3f s at worst, %.3f s on "
          "average over %d samples",
          int(first.size() - 1), QFileInfo(dir.filePath("first.jsonl")).size() / 1024.0 / minutes, worst,
          average, int(shifts.size()));
    // A wrong pace drifts a second or more over these six; a busy machine's reads a period or two.
    QVERIFY2(worst <= 0.5, qPrintable(QString::number(worst)));
}

void tst_RecordReplay::badAndCutFiles_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<double>("length");   // -1: refused
    QTest::addColumn<QByteArray>("said"); // the error of a refused file, the warning of one that plays
    const auto line = [](const char *text) { return QByteArray(text) + '\n'; };
    const QByteArray head = line(R"({"format":"kvbeacon-recording","hz":10,"version":1})");
    const QByteArray sample = line(R"({"live":{"FuelLevel":5,"SessionTimeSinceStarted":1},"t":0})");
    const QByteArray later = line(R"({"live":{"FuelLevel":4,"SessionTimeSinceStarted":2},"t":0.5})");
    const QByteArray noFormat = "r.jsonl:1: no kvBeacon recording (its first line names no format "
                                "\"kvbeacon-recording\")";
    QTest::newRow("no recording") << line("hello") << -1.0 << noFormat;
    QTest::newRow("no sample") << head + sample + line(R"({"t":1})") + sample << -1.0
                               << QByteArray("r.jsonl:3: no sample (a JSON object with \"t\" and \"live\")");
    QTest::newRow("version 2") << line(R"({"format":"kvbeacon-recording","version":2})") << -1.0
                               << QByteArray("r.jsonl:1: a recording of version 2, this stand-in reads 1");
    QTest::newRow("head of other kinds")
        << line(R"({"format":["kvbeacon-recording"],"version":"1","hz":"x"})") << -1.0 << noFormat;
    // The recorder stopped mid-line: the samples before it play.
    const QByteArray cut = "r.jsonl:4: the last line is cut off; replaying up to line 3";
    QTest::newRow("cut mid-line") << head + sample + later + later.left(20) << 0.6 << cut;
}

void tst_RecordReplay::badAndCutFiles()
{
    QFETCH(QByteArray, text);
    QFETCH(double, length);
    QFETCH(QByteArray, said);
    std::istringstream in(text.toStdString());
    Recording recording;
    std::string error, warning;
    const bool ok = recording.load(in, "r.jsonl", {"FuelLevel", "SessionTime"}, &error, &warning);
    QCOMPARE(ok ? recording.length() : -1.0, length);
    QCOMPARE(ok ? warning : error, said.toStdString());
}

QTEST_MAIN(tst_RecordReplay)
#include "tst_recordreplay.moc"
