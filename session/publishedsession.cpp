#include "publishedsession.h"

PublishedSession::PublishedSession() : current(std::make_shared<const SessionData>()) {}

void PublishedSession::publish(const SessionData &record)
{
    std::shared_ptr<const SessionData> next = std::make_shared<const SessionData>(record);
    {
        std::lock_guard<std::mutex> lock(mutex);
        current.swap(next);
    }
    // `next` now holds the previous record; it goes here, outside the lock, unless a reader
    // still holds it.
}

std::shared_ptr<const SessionData> PublishedSession::snapshot() const
{
    std::lock_guard<std::mutex> lock(mutex);
    return current;
}
