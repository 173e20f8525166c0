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
    r.SessionNum = r.SessionLaps = r.RaceLaps = k;
    r.SessionTime = r.SessionTimeSinceStarted = k;
    r.TrackName = QStringLiteral("Track %1").arg(k);
    return r;
}

bool isWhole(const PublishedSession::Snapshot &s)
{
    const SessionData &r = s.record;
    const int k = r.SessionNum;
    return r.SessionLaps == k && r.RaceLaps == k && r.SessionTime == k && r.SessionTimeSinceStarted == k &&
           r.TrackName == QStringLiteral("Track %1").arg(k) &&
           s.infoText().contains(QStringLiteral("\"WI.Trackname\": \"Track %1\"").arg(k)) &&
           s.liveText().contains(QStringLiteral("\"RaceLaps\": %1,").arg(k));
}
} // namespace

class tst_PublishedSession : public QObject
{
    Q_OBJECT
private slots:
    void snapshotOutlivesLaterPublishes();
    void concurrentReadersSeeWholeRecords();
};

void tst_PublishedSession::snapshotOutlivesLaterPublishes()
{
    PublishedSession published;
    QCOMPARE(published.snapshot()->infoText(), SessionData::documentText(SessionData().InfoDocument()));
    SessionData working = recordNumber(1);
    published.publish(working);
    const auto held = published.snapshot();
    working.TrackName = QStringLiteral("changed after the publish");
    published.publish(recordNumber(2));
    QVERIFY(isWhole(*held));
    QCOMPARE(held->record.TrackName, QStringLiteral("Track 1"));
    QCOMPARE(published.snapshot()->record.TrackName, QStringLiteral("Track 2"));
}

void tst_PublishedSession::concurrentReadersSeeWholeRecords()
{
    PublishedSession published;
    published.publish(recordNumber(0));
    std::atomic<bool> done{false};
    std::atomic<int> wrong{0};
    std::vector<std::thread> readers;
    for (int i = 0; i < 4; ++i)
        readers.emplace_back([&] {
            for (int last = 0; !done;) {
                const auto snapshot = published.snapshot();
                if (!isWhole(*snapshot) || snapshot->record.SessionNum < last)
                    ++wrong;
                last = snapshot->record.SessionNum;
            }
        });
    // The working record is changed in place between publishes, as the polls do.
    SessionData working;
    for (int k = 1; k <= 20000; ++k) {
        working = recordNumber(k);
        published.publish(working);
    }
    done = true;
    for (std::thread &t : readers)
        t.join();
    QCOMPARE(wrong.load(), 0);
    QCOMPARE(published.snapshot()->record.SessionNum, 20000);
}

QTEST_APPLESS_MAIN(tst_PublishedSession)
#include "tst_publishedsession.moc"
