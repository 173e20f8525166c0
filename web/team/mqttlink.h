#pragma once

#include "hub.h"
#include "mqttsettings.h"

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <set>
#include <string>
#include <thread>

struct mosquitto;
struct mosquitto_message;
class Team;

// The companion's connection to an MQTT broker, driven by libmosquitto's own thread. As a viewer
// of the hub it publishes the live message (at most ten a second) and the info message (retained)
// under kvbeacon/<team>/<driver>, with a retained online/offline status whose offline the broker
// sends as the last will of a companion that dies. It also feeds the team table from the watched
// prefix. It reconnects with back-off by itself, and nothing here waits on the broker: a slow or
// absent one costs the dashboard and kvBeacon nothing.
class MqttLink : public Viewer
{
public:
    // Live samples written to a slow broker but not yet taken by it; past this, samples are dropped.
    static constexpr std::size_t liveInFlightLimit = 20;

    // Told each change of the broker's state in a sentence, on the link's thread.
    using Say = std::function<void(const QString &)>;

    MqttLink(MqttSettings settings, Team &team, Say say = Say());
    ~MqttLink() override;
    MqttLink(const MqttLink &) = delete;
    MqttLink &operator=(const MqttLink &) = delete;

    // Sets up TLS, the will and the first connection attempt; false with an error when the library
    // refuses the settings (an unreadable certificate, say). A broker that is away is no error.
    bool start(QString *error);
    // Says offline (waiting at most a second for the broker to take it) and disconnects.
    void stop();

    void deliver(Channel channel, std::shared_ptr<const std::string> message) override;

    bool isConnected() const;
    // Live samples handed to the broker, and those not sent because it was away or slow.
    long long publishedLive() const;
    long long droppedLive() const;

private:
    using Clock = std::chrono::steady_clock;

    static void onConnect(mosquitto *client, void *self, int result);
    static void onDisconnect(mosquitto *client, void *self, int result);
    static void onPublish(mosquitto *client, void *self, int mid);
    static void onMessage(mosquitto *client, void *self, const mosquitto_message *message);
    static void onLog(mosquitto *client, void *self, int level, const char *text);

    // The thread: attempts, the loop, back-off after a failure, and the goodbye.
    void run();
    void failed(const QString &reason, bool wasUp, int &delaySeconds);
    void farewell();
    void connected(int result);
    // The hub's message with the time of sending (ms since 1970) as its first key.
    static std::string stamped(const std::string &message);
    void publishRetained(const QByteArray &topic, const std::string &payload, int *mid = nullptr);
    void announceToHomeAssistant();
    void setBroker(const QString &state, const QString &text);

    const MqttSettings settings;
    Team &team;
    const Say say;
    mosquitto *client = nullptr;
    // Without a driver the link only watches.
    const bool publishing;
    // Made once: the live one is used ten times a second.
    const QByteArray liveTopic, infoTopic, statusTopic;

    std::thread worker;
    // Touched by the worker alone.
    Clock::time_point attemptStarted;

    mutable std::mutex mutex;
    std::condition_variable wake;
    bool stopping = false;
    bool connectedNow = false;
    QString brokerText;
    std::string latestInfo;
    Clock::time_point lastLiveSent;
    // Message ids of live samples written but not yet taken by the broker. Deliveries come one
    // at a time (the hub holds its lock around them), so at most one is pending.
    std::set<int> liveInFlight;
    std::set<int> writtenEarly;
    bool livePending = false;
    int offlineMid = -1;
    long long published = 0;
    long long dropped = 0;
    QString lastError;
};
