#include "publishedsession.h"

#include <QtTest>

#include <atomic>
#include <thread>
#include <vector>

namespace {
// Every field of record k carries k, so a reader can tell a torn record from a whole one.
SessionData recordNumber(int k)
{
    SessionData r;
    r.SessionNum = k;
    r.SessionLaps = k;
    r.RaceLaps = k;
    r.SessionTime = k;
    r.SessionTimeSinceStarted = k;
    r.FuelLevel = float(k);
    r.TrackName = QStringLiteral("Track %1").arg(k);
    r.SessionType = QStringLiteral("Type %1").arg(k);
    return r;
}

bool isWhole(const SessionData &r)
{
    const int k = r.SessionNum;
    return r.SessionLaps == k && r.RaceLaps == k && r.SessionTime == k && r.SessionTimeSinceStarted == k &&
           r.FuelLevel == float(k) && r.TrackName == QStringLiteral("Track %1").arg(k) &&
           r.SessionType == QStringLiteral("Type %1").arg(k);
}
} // namespace

class tst_PublishedSession : public QObject
{
    Q_OBJECT
private slots:
    void startValuesBeforeAnyPublish();
    void snapshotOutlivesLaterPublishes();
    void concurrentReadersSeeWholeRecords();
    void documentTextsFollowEachPublish();
};

void tst_PublishedSession::startValuesBeforeAnyPublish()
{
    PublishedSession published;
    const auto snapshot = published.snapshot();
    const SessionData *r = &snapshot->record;
    QCOMPARE(r->SessionType, QStringLiteral("n/a"));
    QCOMPARE(r->TrackName, QStringLiteral("n/a"));
    QCOMPARE(r->SessionLaps, -1);
    QCOMPARE(r->SessionTime, -1.0);
    QCOMPARE(r->SessionTimeSinceStarted, -1.0);
    QCOMPARE(r->SiSessionNum, 1);
    QCOMPARE(r->SessionNum, -1);
}

void tst_PublishedSession::snapshotOutlivesLaterPublishes()
{
    PublishedSession published;
    SessionData working = recordNumber(1);
    published.publish(working);
    const auto held = published.snapshot();
    working.TrackName = QStringLiteral("changed after the publish");
    published.publish(recordNumber(2));
    QCOMPARE(held->record.TrackName, QStringLiteral("Track 1"));
    QCOMPARE(published.snapshot()->record.TrackName, QStringLiteral("Track 2"));
}

void tst_PublishedSession::concurrentReadersSeeWholeRecords()
{
    PublishedSession published;
    published.publish(recordNumber(0));
    std::atomic<bool> done{false};
    std::atomic<int> torn{0};
    std::atomic<int> backwards{0};
    std::atomic<long> reads{0};

    std::vector<std::thread> readers;
    for (int i = 0; i < 4; ++i) {
        readers.emplace_back([&] {
            int last = 0;
            while (!done) {
                const std::shared_ptr<const PublishedSession::Snapshot> snap = published.snapshot();
                const SessionData &r = snap->record;
                if (!isWhole(r))
                    ++torn;
                if (r.SessionNum < last)
                    ++backwards;
                last = r.SessionNum;
                // Take a document as a connection thread does: it must be this record's.
                if (!snap->infoText().contains(
                        QStringLiteral("\"WI.Trackname\": \"Track %1\"").arg(r.SessionNum)))
                    ++torn;
                ++reads;
            }
        });
    }
    // The working record is changed in place between publishes, as the polls do.
    SessionData working;
    for (int k = 1; k <= 20000; ++k) {
        working = recordNumber(k);
        published.publish(working);
    }
    done = true;
    for (std::thread &t : readers)
        t.join();

    QCOMPARE(torn.load(), 0);
    QCOMPARE(backwards.load(), 0);
    QVERIFY(reads.load() > 0);
    QCOMPARE(published.snapshot()->record.SessionNum, 20000);
}

void tst_PublishedSession::documentTextsFollowEachPublish()
{
    PublishedSession published;
    QCOMPARE(published.snapshot()->infoText(), SessionData::documentText(SessionData().InfoDocument()));
    SessionData record = recordNumber(3);
    record.FuelLevel = 0.1f;
    published.publish(record);
    const auto first = published.snapshot();
    QCOMPARE(first->liveText(), SessionData::documentText(record.LiveDocument()));
    QCOMPARE(first->infoText(), SessionData::documentText(record.InfoDocument()));
    // Built once: every later request shares the same text.
    QCOMPARE(published.snapshot()->liveText().constData(), first->liveText().constData());
    record.FuelLevel = 0.2f;
    published.publish(record);
    QVERIFY(published.snapshot()->liveText().contains(QStringLiteral("\"FuelLevel\": 0.20000000298023224,")));
    QVERIFY(first->liveText().contains(QStringLiteral("\"FuelLevel\": 0.10000000149011612,")));
}

QTEST_APPLESS_MAIN(tst_PublishedSession)
#include "tst_publishedsession.moc"
