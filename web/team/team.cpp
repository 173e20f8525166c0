#include "team.h"

#include "protocol.h"

#include "untrustedjson.h"

#include <QJsonArray>
#include <QJsonDocument>

#include <algorithm>

namespace {
QJsonValue orNull(const QJsonValue &value)
{
    return value.isUndefined() ? QJsonValue() : value;
}

QJsonObject numbersOf(const QJsonObject &from, std::initializer_list<const char *> keys)
{
    QJsonObject kept;
    for (const char *key : keys)
        if (from.value(QLatin1String(key)).isDouble())
            kept.insert(QLatin1String(key), from.value(QLatin1String(key)));
    return kept;
}

// What the page shows of a car's message, and nothing else a stranger may have put in it.
QJsonObject shown(const QString &kind, const QJsonObject &message)
{
    if (message.isEmpty())
        return {};
    if (kind == QLatin1String("live")) {
        QJsonObject kept = numbersOf(message, {"fuelLapsLeft", "fuelPerLap"});
        kept.insert(QStringLiteral("live"),
                    numbersOf(message.value(QLatin1String("live")).toObject(),
                              {"DisplayUnits", "FuelLevel", "FuelLevelPct", "PlayerCarClassPosition",
                               "PlayerCarPosition", "RaceLaps", "SessionLapsRemain"}));
        return kept;
    }
    const QJsonObject info = message.value(QLatin1String("info")).toObject();
    QJsonObject texts;
    for (const char *key : {Protocol::InfoKey::SessionType, Protocol::InfoKey::TrackName})
        if (info.value(QLatin1String(key)).isString())
            texts.insert(QLatin1String(key),
                         info.value(QLatin1String(key)).toString().left(Team::maxTextLength));
    return {{QStringLiteral("info"), texts}};
}

// kvbeacon/<team>/<driver>: three levels, none empty.
bool isCar(const QString &prefix, const QString &car)
{
    const QStringList levels = (prefix + QLatin1Char('/') + car).split(QLatin1Char('/'));
    return levels.size() == 3 && !levels.contains(QString());
}
} // namespace

void Team::take(const QString &topic, const QByteArray &payload, Clock::time_point at)
{
    if (!topic.startsWith(prefix + QLatin1Char('/')))
        return;
    const int slash = topic.lastIndexOf(QLatin1Char('/'));
    if (slash <= prefix.size()) // <prefix>/live names no car
        return;
    const QString kind = topic.mid(slash + 1);
    const QString car = topic.mid(prefix.size() + 1, slash - prefix.size() - 1);
    if (!isCar(prefix, car) || car.size() > maxTextLength ||
        (kind != QLatin1String("live") && kind != QLatin1String("info") && kind != QLatin1String("status")))
        return;
    // Checked before anything is stored: a car of no listed driver takes no place in the table.
    if (!listed.isEmpty() && !listed.contains(topic.left(slash)))
        return;
    // A car's messages are a kilobyte or two; anything far larger is no car's.
    if (payload.size() > maxMessageBytes)
        return;
    QJsonObject message;
    if (kind != QLatin1String("status")) {
        message = UntrustedJson::parse(payload).object();
        // An empty retained message clears an info; anything else that is no message of ours is noise.
        if (!message.value(kind).isObject() && !(kind == QLatin1String("info") && payload.isEmpty()))
            return;
        message = shown(kind, message);
    } else if (payload != "online" && payload != "offline") {
        return;
    }

    std::lock_guard<std::mutex> lock(mutex);
    auto found = cars.find(car);
    if (found == cars.end()) {
        if (cars.size() >= maxCars) {
            // A league's broker keeps every car it ever saw (their retained info and status): the
            // one quiet longest makes room, so that a car driving now is never shut out.
            const auto quietest =
                std::min_element(cars.begin(), cars.end(), [](const auto &a, const auto &b) {
                    return std::make_pair(a.second.hasLive, a.second.lastLive) <
                           std::make_pair(b.second.hasLive, b.second.lastLive);
                });
            if (quietest->second.hasLive &&
                at - quietest->second.lastLive < std::chrono::milliseconds(staleMs))
                return;
            cars.erase(quietest);
        }
        found = cars.emplace(car, Car()).first;
    }
    Car &entry = found->second;
    if (kind == QLatin1String("live")) {
        entry.live = message;
        entry.lastLive = at;
        entry.hasLive = true;
        entry.liveSinceStatus = true;
    } else if (kind == QLatin1String("info")) {
        entry.info = message;
    } else {
        entry.status = QString::fromLatin1(payload);
        entry.liveSinceStatus = false;
    }
}

void Team::setBroker(const QString &state, const QString &text)
{
    std::lock_guard<std::mutex> lock(mutex);
    brokerState = state;
    brokerText = text;
}

std::shared_ptr<const std::string> Team::table(Clock::time_point now) const
{
    std::map<QString, Car> copy;
    QString state, text;
    {
        std::lock_guard<std::mutex> lock(mutex);
        if (built && now >= builtAt && now - builtAt < std::chrono::milliseconds(rebuildMs))
            return built;
        // The rows are a few small implicitly shared objects each: copied, not built, under the
        // lock that the MQTT thread waits on.
        copy = cars;
        state = brokerState;
        text = brokerText;
    }
    auto table = std::make_shared<const std::string>(build(copy, state, text, now));
    std::lock_guard<std::mutex> lock(mutex);
    built = table;
    builtAt = now;
    return table;
}

std::string Team::build(const std::map<QString, Car> &rows, const QString &state, const QString &text,
                        Clock::time_point now) const
{
    QJsonArray table;
    for (const auto &[name, car] : rows) {
        const double age = car.hasLive ? std::chrono::duration<double>(now - car.lastLive).count() : -1;
        const bool fresh = car.hasLive && age * 1000 < staleMs;
        const bool offline = car.status == QLatin1String("offline") && !car.liveSinceStatus;
        QJsonObject row{
            {QStringLiteral("car"), name},
            {QStringLiteral("state"), offline ? QStringLiteral("offline")
                                      : fresh ? QStringLiteral("live")
                                              : QStringLiteral("stale")},
            {QStringLiteral("online"), !offline && (car.status == QLatin1String("online") || fresh)},
            {QStringLiteral("age"), car.hasLive ? QJsonValue(age) : QJsonValue()},
            {QStringLiteral("info"), orNull(car.info.value(QLatin1String("info")))},
        };
        // A stale sample stays readable, but only the page's "stale" marks what it is worth.
        for (const char *key : {"live", "fuelPerLap", "fuelLapsLeft"})
            row.insert(QLatin1String(key), orNull(car.live.value(QLatin1String(key))));
        table.append(row);
    }
    const QJsonObject object{{QStringLiteral("type"), QStringLiteral("team")},
                             {QStringLiteral("watch"), prefix},
                             {QStringLiteral("broker"), state},
                             {QStringLiteral("text"), text},
                             {QStringLiteral("staleAfter"), staleMs / 1000.0},
                             {QStringLiteral("cars"), table}};
    return QJsonDocument(object).toJson(QJsonDocument::Compact).toStdString();
}
