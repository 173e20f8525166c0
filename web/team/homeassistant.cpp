#include "homeassistant.h"

#include "mqttsettings.h"
#include "protocol.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <cstring>

namespace {
// Home Assistant's object ids allow letters, digits, _ and - only.
QString objectId(const QString &name)
{
    QString id;
    for (const QChar c : name)
        id += (c.isLetterOrNumber() && c.unicode() < 128) || c == QLatin1Char('-') ? c.toLower() : QChar('_');
    return id;
}

struct Sensor
{
    const char *key;
    const char *name;
    const char *topic;
    const char *value;
    const char *unit;
};
const Sensor sensors[] = {
    {"fuel", "Fuel", "live", "{{ value_json.live.FuelLevel | round(1) }}", "L"},
    {"position", "Position", "live", "{{ value_json.live.PlayerCarPosition }}", nullptr},
    {"laps_remaining", "Laps remaining", "live", "{{ value_json.live.SessionLapsRemain }}", nullptr},
    {"session", "Session", "info", nullptr, nullptr},
};

QString valueTemplate(const Sensor &sensor)
{
    if (sensor.value)
        return QLatin1String(sensor.value);
    return QStringLiteral("{{ value_json.info['%1'] }}").arg(QLatin1String(Protocol::InfoKey::SessionType));
}
} // namespace

std::vector<HomeAssistant::Announcement> HomeAssistant::discovery(const MqttSettings &settings)
{
    const QString node =
        QStringLiteral("kvbeacon_%1_%2").arg(objectId(settings.team), objectId(settings.driver));
    const QJsonObject device{{QStringLiteral("identifiers"), QJsonArray{node}},
                             {QStringLiteral("name"), QStringLiteral("kvBeacon %1").arg(settings.driver)},
                             {QStringLiteral("manufacturer"), QStringLiteral("kvBeacon")}};
    std::vector<Announcement> announcements;
    for (const Sensor &sensor : sensors) {
        QJsonObject config{{QStringLiteral("name"), QLatin1String(sensor.name)},
                           {QStringLiteral("unique_id"), node + QLatin1Char('_') + QLatin1String(sensor.key)},
                           {QStringLiteral("state_topic"), settings.topic(QLatin1String(sensor.topic))},
                           {QStringLiteral("value_template"), valueTemplate(sensor)},
                           {QStringLiteral("availability_topic"), settings.topic(QStringLiteral("status"))},
                           {QStringLiteral("device"), device}};
        if (sensor.unit)
            config.insert(QStringLiteral("unit_of_measurement"), QLatin1String(sensor.unit));
        // Live values are worth nothing once the samples stop.
        if (std::strcmp(sensor.topic, "live") == 0)
            config.insert(QStringLiteral("expire_after"), 10);
        announcements.push_back({QStringLiteral("homeassistant/sensor/%1/%2/config")
                                     .arg(node, QLatin1String(sensor.key))
                                     .toUtf8(),
                                 QJsonDocument(config).toJson(QJsonDocument::Compact).toStdString()});
    }
    return announcements;
}
