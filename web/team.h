#pragma once

#include <QJsonObject>
#include <QString>

#include <chrono>
#include <map>
#include <mutex>
#include <string>

// Every car under the watched topic prefix as the broker last told of it: its live and info
// messages, its online state and when it last sent a sample. Fed on the MQTT client's thread,
// read on the web server's.
class Team
{
public:
    using Clock = std::chrono::steady_clock;
    // A car with no live sample for this long shows as stale, whatever its status says.
    static constexpr int staleMs = 3000;
    // A league prefix on a busy broker must not grow the table without end; past this many, the
    // car quiet longest makes room for a new one, but no car that is live.
    static constexpr std::size_t maxCars = 200;
    // A car's live message is about 1 KB and its info half that: larger ones are dropped.
    static constexpr int maxMessageBytes = 16 * 1024;

    explicit Team(QString prefix) : prefix(std::move(prefix)) {}

    // A message on <prefix>/<car>/live, /info or /status; anything else is ignored.
    void take(const QString &topic, const QByteArray &payload, Clock::time_point at);
    // The broker connection as the page shows it: a state name and a sentence.
    void setBroker(const QString &state, const QString &text);
    // The table for /api/team, ages taken at `now`.
    std::string toJson(Clock::time_point now) const;

private:
    struct Car
    {
        QJsonObject live;
        QJsonObject info;
        // Unknown until a status arrives: a car seen sending is taken to be online.
        QString status;
        Clock::time_point lastLive;
        bool hasLive = false;
    };

    const QString prefix;
    mutable std::mutex mutex;
    std::map<QString, Car> cars;
    QString brokerState = QStringLiteral("connecting");
    QString brokerText = QStringLiteral("Connecting to the broker");
};
