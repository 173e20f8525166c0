#pragma once

#include <array>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

// The kinds of message a viewer gets. A viewer keeps only the newest unsent one of each kind but
// Result, of which every one counts (each answers one press).
enum class Channel { State, Info, Macros, Live, Result };

// A browser's end of the fan-out. `deliver` is called on the thread of whoever publishes and
// must not block: it hands the message over to the viewer's own thread.
class Viewer
{
public:
    virtual ~Viewer() = default;
    virtual void deliver(Channel channel, std::shared_ptr<const std::string> message) = 0;
};

// The newest message of each kind, kept once for every viewer, and the viewers to hand new ones
// to. The link to kvBeacon publishes; any thread may attach viewers or read the latest.
class Hub
{
public:
    // The viewer gets the latest state, info, macros and, while live, live message at once.
    void attach(const std::shared_ptr<Viewer> &viewer);
    // Stores the message and hands it to every viewer still there. A Result answers one viewer's
    // press and goes to that viewer alone, never through here.
    void publish(Channel channel, std::string message);
    std::shared_ptr<const std::string> latest(Channel channel) const;
    // True while the documents move: only then are the live message and the info current.
    bool isLive() const;
    void setLive(bool live);
    int viewerCount() const;

private:
    mutable std::mutex mutex;
    std::array<std::shared_ptr<const std::string>, 4> newest;
    std::vector<std::weak_ptr<Viewer>> viewers;
    bool live = false;
};
