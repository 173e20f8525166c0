#include "sessiondata.h"

#include "protocol.h"

#include <QJsonDocument>
#include <QJsonValue>

QJsonObject SessionData::LiveDocument() const
{
    // In the order of Protocol::liveKeys.
    const QJsonValue values[] = {
        QJsonValue(int(SessionNum)),
        QJsonValue(SessionTimeSinceStarted),
        QJsonValue(int(SessionLapsRemain)),
        QJsonValue(int(SessionFlags)),
        QJsonValue(int(DisplayUnits)),
        QJsonValue(IsOnTrack),
        QJsonValue(IsReplayPlaying),
        QJsonValue(int(PlayerCarPosition)),
        QJsonValue(int(PlayerCarClassPosition)),
        QJsonValue(int(PlayerCarIdx)),
        QJsonValue(int(RaceLaps)),
        QJsonValue(double(TrackTempCrew)),
        QJsonValue(double(AirTemp)),
        QJsonValue(int(WeatherType)),
        QJsonValue(int(Skies)),
        QJsonValue(double(AirDensity)),
        QJsonValue(double(AirPressure)),
        QJsonValue(double(WindVel)),
        QJsonValue(double(WindDir)),
        QJsonValue(double(RelativeHumidity)),
        QJsonValue(double(FogLevel)),
        QJsonValue(double(FuelLevel)),
        QJsonValue(double(FuelLevelPct)),
        QJsonValue(double(FuelUsePerHour)),
    };
    static_assert(sizeof values / sizeof values[0] == Protocol::liveKeyCount, "a value for every live key");
    QJsonObject o;
    for (int i = 0; i < Protocol::liveKeyCount; ++i)
        o.insert(QLatin1String(Protocol::liveKeys[i]), values[i]);
    return o;
}

QJsonObject SessionData::InfoDocument() const
{
    namespace Key = Protocol::InfoKey;
    QJsonObject o;
    o.insert(QLatin1String(Key::SessionType), QJsonValue(SessionType));
    o.insert(QLatin1String(Key::SessionTime), QJsonValue(SessionTime));
    o.insert(QLatin1String(Key::SessionNum), QJsonValue(int(SiSessionNum)));
    o.insert(QLatin1String(Key::SessionLaps), QJsonValue(int(SessionLaps)));
    o.insert(QLatin1String(Key::TrackName), QJsonValue(TrackName));
    o.insert(QLatin1String(Key::DriverCarFuelKgPerLtr), QJsonValue(double(DriverCarFuelKgPerLtr)));
    o.insert(QLatin1String(Key::DriverCarFuelMaxLtr), QJsonValue(double(DriverCarFuelMaxLtr)));
    o.insert(QLatin1String(Key::DriverCarMaxFuelPct), QJsonValue(double(DriverCarMaxFuelPct)));
    return o;
}

QString SessionData::documentText(const QJsonObject &document)
{
    return QString::fromUtf8(QJsonDocument(document).toJson());
}
