#include "team.h"

#include "untrustedjson.h"

#include <QJsonArray>
#include <QJsonDocument>

#include <algorithm>

namespace {
QJsonValue orNull(const QJsonValue &value)
{
    return value.isUndefined() ? QJsonValue() : value;
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
    if (car.isEmpty() ||
        (kind != QLatin1String("live") && kind != QLatin1String("info") && kind != QLatin1String("status")))
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
    } else if (kind == QLatin1String("info")) {
        entry.info = message;
    } else {
        entry.status = QString::fromLatin1(payload);
    }
}

void Team::setBroker(const QString &state, const QString &text)
{
    std::lock_guard<std::mutex> lock(mutex);
    brokerState = state;
    brokerText = text;
}

std::string Team::toJson(Clock::time_point now) const
{
    std::lock_guard<std::mutex> lock(mutex);
    QJsonArray table;
    for (const auto &[name, car] : cars) {
        const double age = car.hasLive ? std::chrono::duration<double>(now - car.lastLive).count() : -1;
        const bool fresh = car.hasLive && age * 1000 < staleMs;
        const bool offline = car.status == QLatin1String("offline");
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
    const QJsonObject object{
        {QStringLiteral("type"), QStringLiteral("team")}, {QStringLiteral("watch"), prefix},
        {QStringLiteral("broker"), brokerState},          {QStringLiteral("text"), brokerText},
        {QStringLiteral("staleAfter"), staleMs / 1000.0}, {QStringLiteral("cars"), table}};
    return QJsonDocument(object).toJson(QJsonDocument::Compact).toStdString();
}
