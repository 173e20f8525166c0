#pragma once

#include "sessiondata.h"

#include <memory>
#include <mutex>

// The record that clients read. The main thread publishes whole records; connection threads
// take snapshots. A snapshot is immutable and stays valid while held, so a reader never sees
// a record in the middle of an assignment. The lock guards only the swap of one pointer.
class PublishedSession
{
public:
    PublishedSession();

    // Replaces the record with a copy of `record`; called on the main thread.
    void publish(const SessionData &record);
    // The record of the last publish (start values before the first); any thread.
    std::shared_ptr<const SessionData> snapshot() const;

private:
    mutable std::mutex mutex;
    std::shared_ptr<const SessionData> current;
};
