#pragma once

#include <QJsonObject>
#include <QSet>
#include <QString>
#include <QStringList>

#include <chrono>
#include <map>
#include <memory>
#include <mutex>
#include <string>

// Every car under the watched topic prefix (only the team's drivers' when they are listed) as
// the broker last told of it: what the team page shows of its live and info messages, its online
// state and when it last sent a sample. Fed on the MQTT client's thread, read on the web server's.
// Anyone allowed to publish under the prefix is a stranger here: what a car sends is cut down to
// the few values the page shows before it is stored, and the table is built at most once per
// `rebuildMs` however often it is asked for.
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
    // The page asks twice a second; a table this old is still current enough for it.
    static constexpr int rebuildMs = 250;
    // A car's, track's or session's name is far shorter: a longer text is cut, a car with a
    // longer name ignored.
    static constexpr int maxTextLength = 100;

    // With `cars` (as kvbeacon/<team>/<driver>) given, every other car is ignored.
    explicit Team(QString prefix, const QStringList &cars = {})
        : prefix(std::move(prefix)), listed(cars.begin(), cars.end())
    {
    }

    // A message on <prefix>/<car>/live, /info or /status, where the car is the <team>/<driver>
    // part of kvbeacon/<team>/<driver>: a broker's ACL gives each driver that one car to write.
    // Anything else is ignored.
    void take(const QString &topic, const QByteArray &payload, Clock::time_point at);
    // The broker connection as the page shows it: a state name and a sentence.
    void setBroker(const QString &state, const QString &text);
    // The table for /api/team, ages taken at `now` or at most `rebuildMs` before.
    std::shared_ptr<const std::string> table(Clock::time_point now) const;
    std::string toJson(Clock::time_point now) const { return *table(now); }

private:
    struct Car
    {
        // Only the values the page shows, checked for their kind.
        QJsonObject live;
        QJsonObject info;
        // Unknown until a status arrives: a car seen sending is taken to be online.
        QString status;
        Clock::time_point lastLive;
        bool hasLive = false;
        // A sample after an "offline" shows the car is back, whoever left that status.
        bool liveSinceStatus = false;
    };

    // The JSON of a copy of the rows, made outside the lock.
    std::string build(const std::map<QString, Car> &rows, const QString &state, const QString &text,
                      Clock::time_point now) const;

    const QString prefix;
    const QSet<QString> listed;
    mutable std::mutex mutex;
    std::map<QString, Car> cars;
    QString brokerState = QStringLiteral("connecting");
    QString brokerText = QStringLiteral("Connecting to the broker");
    mutable std::shared_ptr<const std::string> built;
    mutable Clock::time_point builtAt;
};
