#include "serverfixture.h"

// Every exchange block of PROTOCOL.md replayed against a real server, byte for byte; the test
// plays the simulator and the telemetry poll's rule (publish only while no client has left).
class tst_Protocol : public QObject
{
    Q_OBJECT
private slots:
    void exchanges_data();
    void exchanges();
    void jsonExamples();
    void reconnectRule();
};

namespace {
QRegularExpressionMatchIterator blocksOf(const char *kind)
{
    QFile file(QStringLiteral(KVB_PROTOCOL));
    file.open(QIODevice::ReadOnly);
    return QRegularExpression(QStringLiteral("```%1\n(.*?)```").arg(kind),
                              QRegularExpression::DotMatchesEverythingOption)
        .globalMatch(QString::fromUtf8(file.readAll()));
}
} // namespace

void tst_Protocol::exchanges_data()
{
    QTest::addColumn<QStringList>("lines");
    QRegularExpressionMatchIterator blocks = blocksOf("exchange");
    int count = 0;
    while (blocks.hasNext()) {
        const QStringList lines = blocks.next().captured(1).split('\n');
        QTest::newRow(qPrintable(QStringLiteral("%1: %2").arg(++count).arg(lines.first()))) << lines;
    }
    QVERIFY(count >= 8);
}

void tst_Protocol::exchanges()
{
    QFETCH(QStringList, lines);
    DocumentsSettings documents("[Autochat Messages]\nAutoChatStr1=Pitting this lap\nAutoChatStr3=Box,box\n");
    ServerWithClient f(&documents.settings);
    SessionData simulator;

    // Each mark with the text that follows it, continuation lines joined by line breaks.
    QList<QPair<QChar, QString>> steps;
    for (const QString &line : lines) {
        if (line.size() >= 2 && QStringLiteral("<>-").contains(line.at(0)) && line.at(1) == ' ')
            steps.append({line.at(0), line.mid(2)});
        else if (!steps.isEmpty() && !(line.isEmpty() && &line == &lines.last()))
            steps.last().second += '\n' + line;
    }
    for (const auto &[mark, text] : steps) {
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
void tst_Protocol::jsonExamples()
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
void tst_Protocol::reconnectRule()
{
    quietDebugLines();
    // The telemetry poll on the main thread, as in kvBeacon: every 100 ms it waits for the
    // simulator's next row (at 60 rows a second, 0 to 16 ms), then publishes while no client
    // has left since the last connect.
    PollingServer beacon;
    int polls = 0;
    beacon.beforePoll = [&] { QThread::msleep(static_cast<unsigned long>(polls++ % 17)); };

    constexpr int rounds = 20;
    int frozen = 0, moving = 0, retries = 0; // read once `done` is set
    std::atomic<bool> done{false};
    // The client on a thread of its own, as another program would be, so that the server's
    // main thread orders the events as it would in kvBeacon.
    ClientThreads client(1, [&](int) {
        QElapsedTimer clock;
        clock.start();
        const auto inTime = [&] { return clock.elapsed() < 16000; };
        BeaconClient c, other;
        // Whether SessionTimeSinceStarted changes within three polls.
        const auto moves = [&](BeaconClient &probe) {
            const std::optional<LiveDocument> first = probe.live(1000);
            QElapsedTimer since;
            since.start();
            while (first && since.elapsed() < 300) {
                QTest::qWait(20);
                const std::optional<LiveDocument> now = probe.live(1000);
                if (now && now->SessionTimeSinceStarted != first->SessionTimeSinceStarted)
                    return true;
            }
            return false;
        };
        // At once: one connection closed and another opened straight after (a client of its own,
        // as BeaconClient::reconnect itself waits the pause).
        c.connectTo(loopback, beacon.port);
        for (int i = 0; i < rounds && inTime(); ++i) {
            (i % 2 ? other : c).close();
            (i % 2 ? c : other).connectTo(loopback, beacon.port);
            frozen += !moves(i % 2 ? c : other);
        }
        other.close();
        // By the rule: reconnect waits 50 ms after the close, then the check, and a retry.
        for (int i = 0; i < rounds && inTime(); ++i) {
            for (int attempt = 0; attempt < 4; ++attempt) {
                c.reconnect();
                if (moves(c)) {
                    ++moving;
                    break;
                }
                ++retries;
            }
        }
        done = true;
    });
    QTRY_VERIFY_WITH_TIMEOUT(done, 20000);
    qInfo("Closed and connected again at once: %d of %d froze. With a pause of 50 ms and the check: "
          "%d of %d moving, after %d retries.",
          frozen, rounds, moving, rounds, retries);
    QCOMPARE(moving, rounds);
}

QTEST_MAIN(tst_Protocol)
#include "tst_protocol.moc"
