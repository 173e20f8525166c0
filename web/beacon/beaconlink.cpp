#include "beaconlink.h"

#include "beaconclient.h"
#include "platform.h"
#include "protocol.h"

#include <QHostAddress>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace {
std::string compact(const QJsonObject &object)
{
    return QJsonDocument(object).toJson(QJsonDocument::Compact).toStdString();
}

// A fresh kvBeacon, or one that has not seen the simulator since it started.
bool hasStartValues(const LiveDocument &live)
{
    return live.SessionNum == -1 && live.SessionTimeSinceStarted == -1.0;
}

bool isThisMachine(const QString &host)
{
    return QHostAddress(host).isLoopback() ||
           host.compare(QLatin1String("localhost"), Qt::CaseInsensitive) == 0;
}
} // namespace

BeaconLink::BeaconLink(Hub &hub, const QString &host, quint16 port, Timing timing)
    : hub(hub), host(host), port(port), timing(timing), beaconHere(isThisMachine(host))
{
    // Before the thread runs, so that a page served at once finds a state.
    publishState(Connecting);
}

BeaconLink::~BeaconLink()
{
    stop();
    wait();
}

void BeaconLink::enqueue(Command command)
{
    {
        std::lock_guard<std::mutex> lock(mutex);
        if (commands.size() < maxWaitingPresses) {
            commands.push_back(std::move(command));
            wake.notify_one();
            return;
        }
    }
    // Answered outside the lock: a viewer's delivery takes locks of its own.
    command.answer(false, QStringLiteral("kvbeacon-web is busy: too many presses waiting"));
}

void BeaconLink::stop()
{
    {
        std::lock_guard<std::mutex> lock(mutex);
        stopping = true;
    }
    wake.notify_one();
}

QString BeaconLink::stateName(State state)
{
    switch (state) {
    case Connecting:
        return QStringLiteral("connecting");
    case Unreachable:
        return QStringLiteral("no-beacon");
    case NoSimulator:
        return QStringLiteral("no-simulator");
    case Live:
        break;
    }
    return QStringLiteral("live");
}

QString BeaconLink::stateText(State state) const
{
    switch (state) {
    case Connecting:
        return QStringLiteral("Waiting for fresh data from kvBeacon");
    case Unreachable:
        if (!beaconHere)
            return QStringLiteral("kvBeacon unreachable at %1:%2").arg(host).arg(port);
        if (!beaconRuns)
            return QStringLiteral("kvBeacon is not running");
        return QStringLiteral("kvBeacon's server is not started: nothing answers on port %1").arg(port);
    case NoSimulator:
        return QStringLiteral("Simulator not found: kvBeacon has no live data");
    case Live:
        break;
    }
    return QStringLiteral("Live");
}

QString BeaconLink::stateHint(State state) const
{
    switch (state) {
    case Unreachable:
        if (!beaconHere)
            return QStringLiteral("Check that kvBeacon runs on %1 with its server started on port %2, and "
                                  "that the firewall there lets this PC in.")
                .arg(host)
                .arg(port);
        if (!beaconRuns)
            return QStringLiteral("Start kvBeacon. If its server does not start by itself, click \"Start "
                                  "Server\" in its window.");
        return QStringLiteral("Click \"Start Server\" in kvBeacon's window, and tick \"Server starts at "
                              "startup\" so that it starts by itself.");
    case NoSimulator:
        return QStringLiteral("Start iRacing and join a session: the data comes once the session is loaded.");
    case Connecting:
    case Live:
        break;
    }
    return QString();
}

void BeaconLink::run()
{
    BeaconClient client;
    auto nextPoll = Clock::now();
    auto nextMacros = nextPoll;
    for (;;) {
        {
            std::lock_guard<std::mutex> lock(mutex);
            if (stopping)
                break;
        }
        auto now = Clock::now();
        if (!client.isConnected() && now - lastAttempt >= std::chrono::milliseconds(timing.reconnectMs)) {
            connectAnew(client);
            nextMacros = now = Clock::now();
        }
        runCommands(client);
        if (client.isConnected() && now >= nextPoll) {
            const bool withMacros = now >= nextMacros;
            if (withMacros)
                nextMacros = now + std::chrono::milliseconds(timing.macrosMs);
            const bool first = firstReply;
            poll(client, withMacros);
            // Named after a connection's first poll, not before it: a request right behind the
            // name, which gets no reply, would wait in kvBeacon for a nudge.
            if (first && client.isConnected())
                client.tell(Protocol::ClientName, QStringLiteral("kvbeacon-web"), timing.requestMs);
            nextPoll += std::chrono::milliseconds(timing.pollMs);
            // A poll that ran late sets the beat anew instead of running the missed ones. A new
            // connection's first reply, which may be old, is taken at once: the poll after it
            // can then tell fresh documents a beat sooner.
            if (firstReply)
                nextPoll = Clock::now();
            else if (nextPoll < Clock::now())
                nextPoll = Clock::now() + std::chrono::milliseconds(timing.pollMs);
        }
        const auto until =
            client.isConnected() ? nextPoll : lastAttempt + std::chrono::milliseconds(timing.reconnectMs);
        std::unique_lock<std::mutex> lock(mutex);
        wake.wait_until(lock, until, [this] { return stopping || !commands.empty(); });
    }
    client.close();
}

void BeaconLink::connectAnew(BeaconClient &client)
{
    // Closed before the new connect, and given time to reach kvBeacon's window: a close that
    // it learns of after the connect would pause its publishing again.
    if (client.isConnected()) {
        client.close();
        QThread::msleep(closeSettleMs);
    }
    lastAttempt = Clock::now();
    if (!client.connectTo(host, port, timing.requestMs)) {
        publishUnreachable();
        return;
    }
    connectedAt = Clock::now();
    firstReply = true;
    if (state != NoSimulator && state != Live)
        publishState(Connecting);
}

void BeaconLink::lostBeacon(BeaconClient &client)
{
    client.close();
    lastAttempt = Clock::now();
    publishUnreachable();
}

void BeaconLink::publishUnreachable()
{
    if (beaconHere)
        beaconRuns = timing.beaconRunning ? timing.beaconRunning() : platform::kvBeaconRunning();
    publishState(Unreachable);
}

void BeaconLink::runCommands(BeaconClient &client)
{
    std::deque<Command> taken;
    {
        std::lock_guard<std::mutex> lock(mutex);
        taken.swap(commands);
    }
    for (const Command &command : taken) {
        std::optional<QString> reply;
        if (client.isConnected()) {
            reply = client.press(command.kind == Command::Macro ? Protocol::ChatMacro : Protocol::PressKey,
                                 command.value, timing.requestMs);
            if (!reply)
                lostBeacon(client);
        }
        const QLatin1String expected(command.kind == Command::Macro ? Protocol::macroDone
                                                                    : Protocol::keyDone);
        if (!reply)
            command.answer(false, stateText(Unreachable));
        else if (*reply != expected)
            command.answer(false, QStringLiteral("kvBeacon answered \"%1\"").arg(*reply));
        else
            command.answer(true, *reply);
    }
}

void BeaconLink::poll(BeaconClient &client, bool withMacros)
{
    const std::optional<Reply> live = client.request(Protocol::Live, QString(), timing.requestMs);
    const std::optional<Reply> info =
        live ? client.request(Protocol::Info, QString(), timing.requestMs) : std::nullopt;
    if (!info) {
        lostBeacon(client);
        return;
    }
    // Read once: for the live message's fuel plan and for the info message.
    const QJsonObject infoObject = QJsonDocument::fromJson(info->payload.toUtf8()).object();
    onLive(client, LiveDocument::fromJson(live->payload), live->payload, infoObject);
    if (!client.isConnected())
        return;

    std::string infoMessage =
        compact({{QStringLiteral("type"), QStringLiteral("info")}, {QStringLiteral("info"), infoObject}});
    if (infoMessage != lastInfo) {
        lastInfo = infoMessage;
        hub.publish(Channel::Info, std::move(infoMessage));
    }

    if (!withMacros)
        return;
    if (const std::optional<ChatMacros> macros = client.chatMacros(timing.requestMs))
        publishMacros(*macros);
    else
        lostBeacon(client);
}

void BeaconLink::publishMacros(const ChatMacros &macros)
{
    QJsonObject message{{QStringLiteral("type"), QStringLiteral("macros")}};
    switch (macros.status) {
    case ChatMacros::Listed:
        message.insert(QStringLiteral("macros"), QJsonArray::fromStringList(macros.texts));
        break;
    case ChatMacros::NoAppIni:
        message.insert(QStringLiteral("macros"), QJsonValue::Null);
        message.insert(QStringLiteral("error"),
                       QStringLiteral("kvBeacon finds no app.ini in the simulator's documents folder"));
        break;
    case ChatMacros::Ambiguous:
        // A "|" inside a text shifts every later button onto the wrong macro, which would send
        // the wrong words in the driver's name.
        message.insert(QStringLiteral("macros"), QJsonValue::Null);
        message.insert(QStringLiteral("error"),
                       QStringLiteral("A chat macro's text in app.ini holds a \"|\", so the macros cannot "
                                      "be told apart: take it out of the text"));
        break;
    }
    std::string macrosMessage = compact(message);
    if (macrosMessage != lastMacros) {
        lastMacros = macrosMessage;
        hub.publish(Channel::Macros, std::move(macrosMessage));
    }
}

void BeaconLink::onLive(BeaconClient &client, const std::optional<LiveDocument> &live, const QString &text,
                        const QJsonObject &info)
{
    const auto now = Clock::now();
    const double sessionTime = live ? live->SessionTimeSinceStarted : -1.0;
    // The first reply on a new connection may still carry what was published before it.
    const bool moved = live && !hasStartValues(*live) && !firstReply && sessionTime != lastSessionTime;
    firstReply = false;
    lastSessionTime = sessionTime;
    if (moved) {
        lastMove = now;
        publishState(Live);
    } else if (state == Live && now - lastMove >= std::chrono::milliseconds(timing.rearmMs)) {
        // Maybe another client left, maybe the simulator stopped: a new connection tells, and in
        // the first case brings the documents back before the pages need to know. Each connection
        // gets as long to show them moving. Nothing standing still goes out meanwhile.
        if (now - connectedAt >= std::chrono::milliseconds(timing.rearmMs))
            connectAnew(client);
        if (state == Live && Clock::now() - lastMove >= std::chrono::milliseconds(timing.staleMs))
            publishState(Connecting);
        return;
    } else if (state != Live) {
        if (state == Connecting && now - connectedAt >= std::chrono::milliseconds(timing.frozenMs))
            publishState(NoSimulator);
        else if (state == NoSimulator && now - lastAttempt >= std::chrono::milliseconds(timing.retryMs))
            connectAnew(client);
        return;
    }
    hub.publish(Channel::Live,
                liveMessage.build(*live, text, InfoDocument::fromObject(info).value_or(InfoDocument())));
}

// Also when only the words change: kvBeacon started, but its server not yet.
void BeaconLink::publishState(State next)
{
    std::string message = compact({{QStringLiteral("type"), QStringLiteral("state")},
                                   {QStringLiteral("state"), stateName(next)},
                                   {QStringLiteral("text"), stateText(next)},
                                   {QStringLiteral("hint"), stateHint(next)},
                                   {QStringLiteral("beacon"), QStringLiteral("%1:%2").arg(host).arg(port)}});
    if (message == lastState)
        return;
    state = next;
    lastState = message;
    hub.setLive(state == Live);
    hub.publish(Channel::State, std::move(message));
}
