#pragma once

#include "sessiondata.h"

#include <QString>

#include <memory>
#include <mutex>

// The record that clients read. The main thread publishes whole records; connection threads
// take snapshots. A snapshot is immutable and stays valid while held, so a reader never sees
// a record in the middle of an assignment. The lock guards only the swap of one pointer.
class PublishedSession
{
public:
    // One publish: the record, and its two documents' reply texts, built once on demand by
    // whichever connection thread asks first and then shared by all until the next publish.
    class Snapshot
    {
    public:
        explicit Snapshot(const SessionData &record) : record(record) {}
        const SessionData record;
        const QString &liveText() const;
        const QString &infoText() const;

    private:
        mutable std::once_flag liveOnce, infoOnce;
        mutable QString live, info;
    };

    PublishedSession();

    // Replaces the record with a copy of `record`; called on the main thread.
    void publish(const SessionData &record);
    // The last publish (start values before the first); any thread.
    std::shared_ptr<const Snapshot> snapshot() const;

private:
    mutable std::mutex mutex;
    std::shared_ptr<const Snapshot> current;
};
