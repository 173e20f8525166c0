#include "mqttlink.h"

#include "homeassistant.h"
#include "team.h"

#include <QRandomGenerator>

#include <mosquitto.h>

namespace {
constexpr int keepAliveSeconds = 20;
// An attempt that has not been answered by then is given up, as a dropped SYN would hang it.
constexpr auto attemptLimit = std::chrono::seconds(10);
// A connection that lasted this long sets the back-off to its start again.
constexpr auto steadyConnection = std::chrono::seconds(30);
// Ten a second at the most, with room for the poll's jitter.
constexpr auto liveSpacing = std::chrono::milliseconds(90);

} // namespace

MqttLink::MqttLink(MqttSettings settings, Team &team, Say say)
    : settings(std::move(settings)), team(team), say(std::move(say)),
      publishing(!this->settings.driver.isEmpty()),
      liveTopic(this->settings.topic(QStringLiteral("live")).toUtf8()),
      infoTopic(this->settings.topic(QStringLiteral("info")).toUtf8()),
      statusTopic(this->settings.topic(QStringLiteral("status")).toUtf8())
{
    static std::once_flag libraryReady;
    std::call_once(libraryReady, [] { mosquitto_lib_init(); });
    // Random, so that a second companion of the same driver does not throw the first one off.
    const QString id =
        QStringLiteral("kvbweb-%1")
            .arg(QRandomGenerator::global()->generate64() & 0xffffffffffffULL, 12, 16, QLatin1Char('0'));
    client = mosquitto_new(id.toUtf8().constData(), true, this);
}

MqttLink::~MqttLink()
{
    stop();
    mosquitto_destroy(client);
}

bool MqttLink::start(QString *error)
{
    const auto refuse = [error](const char *what, int result) {
        *error =
            QStringLiteral("%1: %2").arg(QLatin1String(what), QString::fromUtf8(mosquitto_strerror(result)));
        return false;
    };
    if (!client)
        return refuse("cannot make an MQTT client", MOSQ_ERR_NOMEM);
    mosquitto_int_option(client, MOSQ_OPT_PROTOCOL_VERSION, MQTT_PROTOCOL_V311);
    // Samples are small and wanted at once: Nagle's wait for an ACK the broker delays costs 40 ms.
    mosquitto_int_option(client, MOSQ_OPT_TCP_NODELAY, 1);
    // Our own thread runs the loop: publishing from other threads must only queue.
    mosquitto_threaded_set(client, true);
    mosquitto_connect_callback_set(client, &MqttLink::onConnect);
    mosquitto_disconnect_callback_set(client, &MqttLink::onDisconnect);
    mosquitto_publish_callback_set(client, &MqttLink::onPublish);
    mosquitto_message_callback_set(client, &MqttLink::onMessage);
    mosquitto_log_callback_set(client, &MqttLink::onLog);
    if (!settings.username.isEmpty()) {
        const int result = mosquitto_username_pw_set(
            client, settings.username.toUtf8().constData(),
            settings.password.isEmpty() ? nullptr : settings.password.toUtf8().constData());
        if (result != MOSQ_ERR_SUCCESS)
            return refuse("the broker's user name", result);
    }
    if (settings.tls) {
        const QString caFile = settings.caFile.isEmpty() ? settings.systemCaFile : settings.caFile;
        if (caFile.isEmpty())
            mosquitto_int_option(client, MOSQ_OPT_TLS_USE_OS_CERTS, 1);
        if (!caFile.isEmpty() || !settings.certFile.isEmpty()) {
            const auto file = [](const QString &path) {
                return path.isEmpty() ? QByteArray() : path.toLocal8Bit();
            };
            const QByteArray ca = file(caFile), cert = file(settings.certFile), key = file(settings.keyFile);
            // libmosquitto takes a client certificate only beside a CA file or folder: without a
            // CA of one's own, that is the system's folder (OpenSSL's SSL_CERT_DIR where set).
            const QByteArray caFolder =
                ca.isEmpty()
                    ? qEnvironmentVariable("SSL_CERT_DIR", QStringLiteral("/etc/ssl/certs")).toLocal8Bit()
                    : QByteArray();
            const int result = mosquitto_tls_set(client, ca.isEmpty() ? nullptr : ca.constData(),
                                                 caFolder.isEmpty() ? nullptr : caFolder.constData(),
                                                 cert.isEmpty() ? nullptr : cert.constData(),
                                                 key.isEmpty() ? nullptr : key.constData(), nullptr);
            if (result != MOSQ_ERR_SUCCESS)
                return refuse("the TLS files", result);
        }
    }
    if (publishing) {
        const int result = mosquitto_will_set(client, statusTopic.constData(), 7, "offline", 1, true);
        if (result != MOSQ_ERR_SUCCESS)
            return refuse("the last will", result);
    }
    worker = std::thread(&MqttLink::run, this);
    return true;
}

void MqttLink::stop()
{
    {
        std::lock_guard<std::mutex> lock(mutex);
        stopping = true;
    }
    wake.notify_all();
    if (worker.joinable())
        worker.join();
}

void MqttLink::run()
{
    int delaySeconds = 1;
    bool first = true;
    bool attempt = true;
    bool wasUp = false;
    Clock::time_point upSince;
    while (true) {
        {
            std::lock_guard<std::mutex> lock(mutex);
            if (stopping)
                break;
        }
        if (attempt) {
            setBroker(
                QStringLiteral("connecting"),
                QStringLiteral("Connecting to the broker at %1:%2").arg(settings.host).arg(settings.port));
            attemptStarted = Clock::now();
            wasUp = false;
            const QByteArray host = settings.host.toUtf8();
            const int result =
                first ? mosquitto_connect_async(client, host.constData(), settings.port, keepAliveSeconds)
                      : mosquitto_reconnect_async(client);
            first = false;
            if (result != MOSQ_ERR_SUCCESS)
                failed(QString::fromUtf8(mosquitto_strerror(result)), false, delaySeconds);
            else
                attempt = false;
            continue;
        }
        const int result = mosquitto_loop(client, 100, 1);
        bool up;
        {
            std::lock_guard<std::mutex> lock(mutex);
            up = connectedNow;
        }
        if (up) {
            if (!wasUp)
                upSince = Clock::now();
            wasUp = true;
            // Only a connection that holds earns the quick retry: a broker that takes the connect
            // and then drops it keeps backing off.
            if (Clock::now() - upSince >= steadyConnection)
                delaySeconds = 1;
        }
        const bool hung = !up && Clock::now() - attemptStarted > attemptLimit;
        if (result != MOSQ_ERR_SUCCESS || hung) {
            QString reason = QStringLiteral("no answer");
            if (result != MOSQ_ERR_SUCCESS) {
                std::lock_guard<std::mutex> lock(mutex);
                reason = lastError.isEmpty() ? QString::fromUtf8(mosquitto_strerror(result)) : lastError;
            }
            mosquitto_disconnect(client);
            failed(reason, wasUp, delaySeconds);
            attempt = true;
        }
    }
    farewell();
}

void MqttLink::failed(const QString &reason, bool wasUp, int &delaySeconds)
{
    {
        std::lock_guard<std::mutex> lock(mutex);
        connectedNow = false;
        liveInFlight.clear();
        lastError.clear();
    }
    const char *sentence = reason.startsWith(QLatin1String("refused the connection"))
                               ? "The broker at %1:%2 %3: trying again in %4 s"
                           : wasUp ? "Lost the broker at %1:%2 (%3): trying again in %4 s"
                                   : "Broker %1:%2 unreachable (%3): trying again in %4 s";
    setBroker(
        QStringLiteral("away"),
        QString::fromLatin1(sentence).arg(settings.host).arg(settings.port).arg(reason).arg(delaySeconds));
    std::unique_lock<std::mutex> lock(mutex);
    wake.wait_for(lock, std::chrono::seconds(delaySeconds), [this] { return stopping; });
    delaySeconds = std::min(delaySeconds * 2, std::max(1, settings.reconnectMaxSeconds));
}

void MqttLink::farewell()
{
    bool up;
    {
        std::lock_guard<std::mutex> lock(mutex);
        up = connectedNow;
    }
    if (up && publishing) {
        // A clean goodbye cancels the will, so the offline is said here.
        int mid = -1;
        publishRetained(statusTopic, "offline", &mid);
        {
            std::lock_guard<std::mutex> lock(mutex);
            offlineMid = mid;
        }
        const auto until = Clock::now() + std::chrono::seconds(1);
        while (Clock::now() < until && mosquitto_loop(client, 50, 1) == MOSQ_ERR_SUCCESS) {
            std::lock_guard<std::mutex> lock(mutex);
            if (offlineMid < 0)
                break;
        }
    }
    mosquitto_disconnect(client);
    for (int i = 0; i < 4 && mosquitto_loop(client, 50, 1) == MOSQ_ERR_SUCCESS; ++i) {
    }
    std::lock_guard<std::mutex> lock(mutex);
    connectedNow = false;
}

void MqttLink::deliver(Channel channel, std::shared_ptr<const std::string> message)
{
    if (!publishing || message->size() < 2)
        return;
    if (channel == Channel::Info) {
        bool up;
        {
            std::lock_guard<std::mutex> lock(mutex);
            latestInfo = *message;
            up = connectedNow;
        }
        // While the broker is away only the newest info is kept; the connect sends it.
        if (up)
            publishRetained(infoTopic, stamped(*message));
        return;
    }
    if (channel != Channel::Live)
        return;
    {
        std::lock_guard<std::mutex> lock(mutex);
        const auto now = Clock::now();
        if (now - lastLiveSent < liveSpacing)
            return;
        if (!connectedNow || liveInFlight.size() >= liveInFlightLimit) {
            ++dropped;
            return;
        }
        lastLiveSent = now;
        livePending = true;
    }
    // Without the lock: the library calls back into this object while holding locks of its own.
    const std::string payload = stamped(*message);
    int mid = 0;
    const int result = mosquitto_publish(client, &mid, liveTopic.constData(),
                                         static_cast<int>(payload.size()), payload.data(), 0, false);
    std::lock_guard<std::mutex> lock(mutex);
    livePending = false;
    if (result != MOSQ_ERR_SUCCESS) {
        ++dropped;
    } else {
        ++published;
        if (!writtenEarly.count(mid))
            liveInFlight.insert(mid);
    }
    writtenEarly.clear();
}

bool MqttLink::isConnected() const
{
    std::lock_guard<std::mutex> lock(mutex);
    return connectedNow;
}

long long MqttLink::publishedLive() const
{
    std::lock_guard<std::mutex> lock(mutex);
    return published;
}

long long MqttLink::droppedLive() const
{
    std::lock_guard<std::mutex> lock(mutex);
    return dropped;
}

std::string MqttLink::stamped(const std::string &message)
{
    // The hub's message is a JSON object: the time of sending goes in front of its first key.
    const long long ms = std::chrono::duration_cast<std::chrono::milliseconds>(
                             std::chrono::system_clock::now().time_since_epoch())
                             .count();
    return "{\"time\":" + std::to_string(ms) + "," + message.substr(1);
}

void MqttLink::onConnect(mosquitto *, void *self, int result)
{
    static_cast<MqttLink *>(self)->connected(result);
}

void MqttLink::onDisconnect(mosquitto *, void *self, int)
{
    auto *link = static_cast<MqttLink *>(self);
    std::lock_guard<std::mutex> lock(link->mutex);
    link->connectedNow = false;
    link->liveInFlight.clear();
}

void MqttLink::onPublish(mosquitto *, void *self, int mid)
{
    auto *link = static_cast<MqttLink *>(self);
    std::lock_guard<std::mutex> lock(link->mutex);
    // A sample may be written before its publisher has noted it as in flight.
    if (!link->liveInFlight.erase(mid) && link->livePending)
        link->writtenEarly.insert(mid);
    if (mid == link->offlineMid)
        link->offlineMid = -1;
}

void MqttLink::onMessage(mosquitto *, void *self, const mosquitto_message *message)
{
    auto *link = static_cast<MqttLink *>(self);
    // Read in place, not copied: the bytes are libmosquitto's for this call, nothing here keeps
    // them, and the table drops what is too long for a car before it reads a byte.
    const QByteArray payload =
        QByteArray::fromRawData(static_cast<const char *>(message->payload), message->payloadlen);
    if (link->publishing && link->statusTopic == message->topic && payload != "online") {
        // Someone else's word on this car: the will of an earlier connection of this driver that
        // the broker gave up on late, or a second companion's goodbye. While this one is here
        // the car is online, and the retained status must say so for whoever comes later.
        std::unique_lock<std::mutex> lock(link->mutex);
        if (link->connectedNow && !link->stopping) {
            lock.unlock();
            link->publishRetained(link->statusTopic, "online");
        }
    }
    link->team.take(QString::fromUtf8(message->topic), payload, Clock::now());
}

void MqttLink::onLog(mosquitto *, void *self, int level, const char *text)
{
    if (level != MOSQ_LOG_ERR)
        return;
    auto *link = static_cast<MqttLink *>(self);
    std::lock_guard<std::mutex> lock(link->mutex);
    link->lastError = QString::fromUtf8(text);
}

void MqttLink::connected(int result)
{
    if (result != 0) {
        std::lock_guard<std::mutex> lock(mutex);
        QString why = QString::fromUtf8(mosquitto_connack_string(result));
        if (why.endsWith(QLatin1Char('.')))
            why.chop(1);
        lastError = QStringLiteral("refused the connection: %1").arg(why);
        return;
    }
    std::string info;
    {
        std::lock_guard<std::mutex> lock(mutex);
        connectedNow = true;
        liveInFlight.clear();
        info = latestInfo;
    }
    const QByteArray watch = (settings.watch + QStringLiteral("/#")).toUtf8();
    mosquitto_subscribe(client, nullptr, watch.constData(), 1);
    if (publishing && !statusTopic.startsWith(watch.chopped(1)))
        mosquitto_subscribe(client, nullptr, statusTopic.constData(), 1);
    if (publishing) {
        publishRetained(statusTopic, "online");
        // A restarted broker may have lost the retained info: it is said again on every connect.
        if (!info.empty())
            publishRetained(infoTopic, stamped(info));
        if (settings.homeAssistant)
            announceToHomeAssistant();
    }
    setBroker(QStringLiteral("connected"),
              QStringLiteral("Connected to the broker at %1:%2").arg(settings.host).arg(settings.port));
}

void MqttLink::publishRetained(const QByteArray &topic, const std::string &payload, int *mid)
{
    mosquitto_publish(client, mid, topic.constData(), static_cast<int>(payload.size()), payload.data(), 1,
                      true);
}

void MqttLink::announceToHomeAssistant()
{
    for (const HomeAssistant::Announcement &announcement : HomeAssistant::discovery(settings))
        publishRetained(announcement.topic, announcement.config);
}

void MqttLink::setBroker(const QString &state, const QString &text)
{
    {
        std::lock_guard<std::mutex> lock(mutex);
        if (text == brokerText)
            return;
        brokerText = text;
    }
    team.setBroker(state, text);
    if (say)
        say(text);
}
