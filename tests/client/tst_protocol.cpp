#include "serverfixture.h"

namespace {
QRegularExpressionMatchIterator blocksOf(const char *kind)
{
    QFile file(QStringLiteral(KVB_PROTOCOL));
    file.open(QIODevice::ReadOnly);
    return QRegularExpression(QStringLiteral("```%1\n(.*?)\n```").arg(kind),
                              QRegularExpression::DotMatchesEverythingOption)
        .globalMatch(QString::fromUtf8(file.readAll()));
}
} // namespace

// Every exchange block of PROTOCOL.md replayed against a real server, byte for byte; the test
// plays the simulator and the telemetry poll's rule (publish only while no client has left).
class tst_Protocol : public QObject
{
    Q_OBJECT
private slots:
    void exchanges_data()
    {
        QTest::addColumn<QStringList>("steps"); // each a mark (<, > or -), a blank and its text
        QRegularExpressionMatchIterator blocks = blocksOf("exchange");
        int count = 0;
        while (blocks.hasNext()) {
            const QStringList steps = blocks.next().captured(1).split(QRegularExpression("\n(?=[<>-] )"));
            QTest::newRow(qPrintable(QStringLiteral("%1: %2").arg(++count).arg(steps.first()))) << steps;
        }
        QVERIFY(count >= 8);
    }
    void exchanges()
    {
        QFETCH(QStringList, steps);
        DocumentsSettings documents(
            "[Autochat Messages]\nAutoChatStr1=Pitting this lap\nAutoChatStr3=Box,box\n");
        ServerWithClient f(&documents.settings);
        SessionData simulator;
        for (const QString &step : steps) {
            const QChar mark = step.at(0);
            const QString text = step.mid(2);
            if (mark == '>') {
                QVERIFY(f.client.write(text.toUtf8()));
            } else if (mark == '<') {
                QCOMPARE(nextFrame(f.client, text == QLatin1String("nothing") ? 300 : 5000),
                         text == QLatin1String("nothing") ? QByteArray() : text.toUtf8());
            } else if (text.startsWith(QLatin1String("simulator: track "))) {
                simulator.TrackName = text.mid(17);
            } else if (text == QLatin1String("poll")) {
                if (f.server.clientConnected)
                    f.server.publish(simulator);
            } else if (text == QLatin1String("disconnect")) {
                f.client.close();
                QTRY_VERIFY(!f.server.clientConnected);
            } else {
                QCOMPARE(text, QStringLiteral("connect"));
                QVERIFY(f.client.reconnect());
                QTRY_VERIFY(f.server.clientConnected);
            }
        }
    }
    // kvbeacon-web's messages as its JSON writer makes them: compact, keys sorted (an MQTT payload's
    // "time" put in front). A line that begins with a blank continues the one before.
    void jsonExamples()
    {
        QRegularExpressionMatchIterator blocks = blocksOf("json");
        int count = 0;
        while (blocks.hasNext()) {
            for (QString message : blocks.next().captured(1).remove("\n ").split('\n', Qt::SkipEmptyParts)) {
                message.replace(QRegularExpression("^\\{\"time\":\\d+,"), "{");
                const QByteArray bytes = message.toUtf8();
                QCOMPARE(QJsonDocument::fromJson(bytes).toJson(QJsonDocument::Compact), bytes);
                ++count;
            }
        }
        QVERIFY(count >= 6);
    }
    // A client that closes and connects again at once may have its connect noted before the old
    // connection's disconnect, which then pauses the publishing: its documents stand still. The
    // rule (pause, check that SessionTimeSinceStarted moves, else connect again) gets past that.
    void reconnectRule()
    {
        quietDebugLines();
        // The telemetry poll as in kvBeacon: every 100 ms it waits 0 to 16 ms for the simulator's next
        // row (60 a second), then publishes while no client has left since the last connect.
        PollingServer beacon;
        int polls = 0;
        beacon.beforePoll = [&] { QThread::msleep(static_cast<unsigned long>(polls++ % 17)); };

        constexpr int rounds = 20;
        int moving = 0, retries = 0; // read once `done` is set
        std::atomic<bool> done{false};
        // The client on a thread of its own, so that the main thread orders the events as in kvBeacon.
        ClientThreads client(1, [&](int) {
            const QDeadlineTimer deadline(16000);
            BeaconClient c;
            c.connectTo(loopback, beacon.port);
            // Whether SessionTimeSinceStarted changes within three polls.
            const auto moves = [&] {
                const std::optional<LiveDocument> first = c.live(1000);
                const auto moved = [&] {
                    const std::optional<LiveDocument> now = c.live(1000);
                    return now && now->SessionTimeSinceStarted != first->SessionTimeSinceStarted;
                };
                return first && QTest::qWaitFor(moved, 300);
            };
            // By the rule: reconnect waits 50 ms after the close, then the check, and a retry.
            for (int i = 0; i < rounds && !deadline.hasExpired(); ++i) {
                bool moved = false;
                for (int attempt = 0; attempt < 4 && !moved; ++attempt) {
                    c.reconnect();
                    moved = moves();
                    retries += !moved;
                }
                moving += moved;
            }
            done = true;
        });
        QTRY_VERIFY_WITH_TIMEOUT(done, 20000);
        qInfo("Reconnected with a pause of 50 ms and the check: %d of %d moving, after %d retries.", moving,
              rounds, retries);
        QCOMPARE(moving, rounds);
    }
};

QTEST_MAIN(tst_Protocol)
#include "tst_protocol.moc"
