#include "publishedsession.h"

const QString &PublishedSession::Snapshot::liveText() const
{
    std::call_once(liveOnce, [this] { live = SessionData::documentText(record.LiveDocument()); });
    return live;
}

const QString &PublishedSession::Snapshot::infoText() const
{
    std::call_once(infoOnce, [this] { info = SessionData::documentText(record.InfoDocument()); });
    return info;
}

PublishedSession::PublishedSession() : current(std::make_shared<const Snapshot>(SessionData())) {}

void PublishedSession::publish(const SessionData &record)
{
    std::shared_ptr<const Snapshot> next = std::make_shared<const Snapshot>(record);
    {
        std::lock_guard<std::mutex> lock(mutex);
        current.swap(next);
    }
    // `next` now holds the previous publish; it goes here, outside the lock, unless a reader
    // still holds it.
}

std::shared_ptr<const PublishedSession::Snapshot> PublishedSession::snapshot() const
{
    std::lock_guard<std::mutex> lock(mutex);
    return current;
}
