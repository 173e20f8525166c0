#include "sessiondata.h"

#include <QJsonDocument>
#include <QJsonValue>

QJsonObject SessionData::LiveDocument() const
{
    QJsonObject o;
    o.insert(QStringLiteral("SessionNum"), QJsonValue(int(SessionNum)));
    o.insert(QStringLiteral("SessionTimeSinceStarted"), QJsonValue(SessionTimeSinceStarted));
    o.insert(QStringLiteral("SessionLapsRemain"), QJsonValue(int(SessionLapsRemain)));
    o.insert(QStringLiteral("SessionFlags"), QJsonValue(int(SessionFlags)));
    o.insert(QStringLiteral("DisplayUnits"), QJsonValue(int(DisplayUnits)));
    o.insert(QStringLiteral("IsOnTrack"), QJsonValue(IsOnTrack));
    o.insert(QStringLiteral("IsReplayPlaying"), QJsonValue(IsReplayPlaying));
    o.insert(QStringLiteral("PlayerCarPosition"), QJsonValue(int(PlayerCarPosition)));
    o.insert(QStringLiteral("PlayerCarClassPosition"), QJsonValue(int(PlayerCarClassPosition)));
    o.insert(QStringLiteral("PlayerCarIdx"), QJsonValue(int(PlayerCarIdx)));
    o.insert(QStringLiteral("RaceLaps"), QJsonValue(int(RaceLaps)));
    o.insert(QStringLiteral("TrackTempCrew"), QJsonValue(double(TrackTempCrew)));
    o.insert(QStringLiteral("AirTemp"), QJsonValue(double(AirTemp)));
    o.insert(QStringLiteral("WeatherType"), QJsonValue(int(WeatherType)));
    o.insert(QStringLiteral("Skies"), QJsonValue(int(Skies)));
    o.insert(QStringLiteral("AirDensity"), QJsonValue(double(AirDensity)));
    o.insert(QStringLiteral("AirPressure"), QJsonValue(double(AirPressure)));
    o.insert(QStringLiteral("WindVel"), QJsonValue(double(WindVel)));
    o.insert(QStringLiteral("WindDir"), QJsonValue(double(WindDir)));
    o.insert(QStringLiteral("RelativeHumidity"), QJsonValue(double(RelativeHumidity)));
    o.insert(QStringLiteral("FogLevel"), QJsonValue(double(FogLevel)));
    o.insert(QStringLiteral("FuelLevel"), QJsonValue(double(FuelLevel)));
    o.insert(QStringLiteral("FuelLevelPct"), QJsonValue(double(FuelLevelPct)));
    o.insert(QStringLiteral("FuelUsePerHour"), QJsonValue(double(FuelUsePerHour)));
    return o;
}

QJsonObject SessionData::InfoDocument() const
{
    QJsonObject o;
    o.insert(QStringLiteral("SI.SessionType"), QJsonValue(SessionType));
    o.insert(QStringLiteral("SI.SessionTime"), QJsonValue(SessionTime));
    o.insert(QStringLiteral("SI.SessionNum"), QJsonValue(int(SiSessionNum)));
    o.insert(QStringLiteral("SI.SessionLaps"), QJsonValue(int(SessionLaps)));
    o.insert(QStringLiteral("WI.Trackname"), QJsonValue(TrackName));
    o.insert(QStringLiteral("DI.DriverCarFuelKgPerLtr"), QJsonValue(double(DriverCarFuelKgPerLtr)));
    o.insert(QStringLiteral("DI.DriverCarFuelMaxLtr"), QJsonValue(double(DriverCarFuelMaxLtr)));
    o.insert(QStringLiteral("DI.DriverCarMaxFuelPct"), QJsonValue(double(DriverCarMaxFuelPct)));
    return o;
}

QString SessionData::documentText(const QJsonObject &document)
{
    return QString::fromUtf8(QJsonDocument(document).toJson());
}
