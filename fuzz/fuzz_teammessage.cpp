// Messages under the watched prefix from any publisher on the broker: the first byte picks the
// car and the topic, the rest is the payload. Whatever comes, the team page's JSON stays JSON
// and the table and its rows stay within their sizes.
#include "team.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    static Team team(QStringLiteral("kvbeacon/red"));
    static const char *const kinds[] = {"live", "info", "status", "other"};
    // Each input a rebuild later than the one before, so that every table is built anew.
    static Team::Clock::time_point now = Team::Clock::now();
    now += std::chrono::milliseconds(Team::rebuildMs);
    for (std::size_t at = 0; at + 2 <= size;) {
        const std::uint8_t pick = data[at];
        const std::size_t length = std::min<std::size_t>(data[at + 1], size - at - 2);
        const QString topic =
            QStringLiteral("kvbeacon/red/car%1/%2").arg(pick >> 2).arg(QLatin1String(kinds[pick & 3]));
        team.take(topic, QByteArray(reinterpret_cast<const char *>(data + at + 2), int(length)), now);
        at += 2 + length;
    }
    QJsonParseError error;
    const QJsonDocument document =
        QJsonDocument::fromJson(QByteArray::fromStdString(team.toJson(now)), &error);
    if (error.error != QJsonParseError::NoError || !document.isObject())
        std::abort();
    const QJsonArray cars = document.object().value(QLatin1String("cars")).toArray();
    if (cars.size() > int(Team::maxCars))
        std::abort();
    // Whatever a sender put in its message, a row holds the page's few values and no more.
    for (const QJsonValue car : cars)
        if (QJsonDocument(car.toObject()).toJson(QJsonDocument::Compact).size() > 4096 ||
            car[QLatin1String("live")].toObject().size() > 7)
            std::abort();
    return 0;
}
