#pragma once

#include "command.h"
#include "hub.h"
#include "livemessage.h"

#include <QJsonObject>
#include <QString>
#include <QThread>

#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <optional>

class BeaconClient;
struct ChatMacros;
struct LiveDocument;

// The companion's one connection to kvBeacon, on a thread of its own: polls both documents
// every 100 ms and the chat macros every two seconds, runs the browsers' presses in between,
// and publishes what it reads to the hub. A press waits for at most the one request in flight.
//
// kvBeacon stops publishing for everyone when any client leaves, until the next connect; so
// documents that stop moving while the simulator should run are answered with a new connection,
// unseen by the pages unless it fails to bring them back. Only documents seen moving count as live.
class BeaconLink : public QThread
{
public:
    // The connection's states as the pages show them.
    enum State { Connecting, Unreachable, NoSimulator, Live };

    struct Timing
    {
        int pollMs = 100;
        int macrosMs = 2000;
        // Live documents standing still this long get a new connection, at the third poll that
        // finds them so: two equal polls in a row happen where kvBeacon's beat and ours meet. Half
        // a poll short of three, so that a poll's jitter cannot put it off to the fourth.
        int rearmMs = 250;
        // How long the pages stay live on documents standing still, for a new connection to bring
        // them back unseen: the tenth poll after the last fresh value decides, within a second.
        int staleMs = 950;
        // A new connection's documents standing still this long mean no simulator.
        int frozenMs = 400;
        // How often a link that sees no simulator, or no kvBeacon, tries a fresh connection.
        int retryMs = 3000;
        // How soon an unreachable kvBeacon is tried again.
        int reconnectMs = 1000;
        int requestMs = 1000;
        // Whether kvBeacon runs on this machine, when its port refuses: the system's process list
        // unless a test gives its own.
        std::function<bool()> beaconRunning;
    };

    // How long a closed connection is given to reach kvBeacon before the next connect.
    static constexpr unsigned long closeSettleMs = 150;
    // Presses waiting to be run; more are answered at once as refused, so that a flood of them
    // can neither grow memory nor hold the polls up for long.
    static constexpr std::size_t maxWaitingPresses = 32;

    BeaconLink(Hub &hub, const QString &host, quint16 port, Timing timing);
    BeaconLink(Hub &hub, const QString &host, quint16 port) : BeaconLink(hub, host, port, Timing()) {}
    ~BeaconLink() override;

    // Thread-safe; the press runs before the next poll, or is refused when too many wait.
    void enqueue(Command command);
    void stop();

    // What a state is called in messages, what the pages say of it, and what the driver can do
    // about it (empty when nothing). Of the link's thread, or of a link not started.
    static QString stateName(State state);
    QString stateText(State state) const;
    QString stateHint(State state) const;

protected:
    void run() override;

private:
    using Clock = std::chrono::steady_clock;

    void connectAnew(BeaconClient &client);
    void runCommands(BeaconClient &client);
    void poll(BeaconClient &client, bool withMacros);
    void onLive(BeaconClient &client, const std::optional<LiveDocument> &live, const QString &text,
                const QJsonObject &info);
    void publishMacros(const ChatMacros &macros);
    void publishState(State state);
    void lostBeacon(BeaconClient &client);
    void publishUnreachable();

    Hub &hub;
    const QString host;
    const quint16 port;
    const Timing timing;
    // Only on this machine can the process list tell a closed kvBeacon from a stopped server.
    const bool beaconHere;

    std::mutex mutex;
    std::condition_variable wake;
    std::deque<Command> commands;
    bool stopping = false;

    // Touched by the link's thread alone.
    State state = Connecting;
    bool beaconRuns = false;
    std::string lastState;
    Clock::time_point connectedAt;
    Clock::time_point lastMove;
    Clock::time_point lastAttempt;
    double lastSessionTime = 0;
    bool firstReply = false;
    std::string lastInfo;
    std::string lastMacros;
    LiveMessage liveMessage;
};
