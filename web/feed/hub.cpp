#include "hub.h"

#include <algorithm>

void Hub::attach(const std::shared_ptr<Viewer> &viewer)
{
    std::lock_guard<std::mutex> lock(mutex);
    // Viewers gone while nothing was published (no simulator for hours) go here.
    viewers.erase(std::remove_if(viewers.begin(), viewers.end(),
                                 [](const std::weak_ptr<Viewer> &weak) { return weak.expired(); }),
                  viewers.end());
    viewers.push_back(viewer);
    for (Channel channel : {Channel::State, Channel::Info, Channel::Macros, Channel::Live}) {
        const std::shared_ptr<const std::string> &message = newest[static_cast<int>(channel)];
        if (message && (channel != Channel::Live || live))
            viewer->deliver(channel, message);
    }
}

void Hub::publish(Channel channel, std::string message)
{
    const auto shared = std::make_shared<const std::string>(std::move(message));
    std::lock_guard<std::mutex> lock(mutex);
    newest[static_cast<int>(channel)] = shared;
    // Viewers gone since the last publish are dropped here rather than by a call of their own.
    viewers.erase(std::remove_if(viewers.begin(), viewers.end(),
                                 [&](const std::weak_ptr<Viewer> &weak) {
                                     const std::shared_ptr<Viewer> viewer = weak.lock();
                                     if (viewer)
                                         viewer->deliver(channel, shared);
                                     return !viewer;
                                 }),
                  viewers.end());
}

std::shared_ptr<const std::string> Hub::latest(Channel channel) const
{
    std::lock_guard<std::mutex> lock(mutex);
    return newest[static_cast<int>(channel)];
}

bool Hub::isLive() const
{
    std::lock_guard<std::mutex> lock(mutex);
    return live;
}

void Hub::setLive(bool isLive)
{
    std::lock_guard<std::mutex> lock(mutex);
    live = isLive;
}

int Hub::viewerCount() const
{
    std::lock_guard<std::mutex> lock(mutex);
    return static_cast<int>(std::count_if(viewers.begin(), viewers.end(),
                                          [](const std::weak_ptr<Viewer> &weak) { return !weak.expired(); }));
}
