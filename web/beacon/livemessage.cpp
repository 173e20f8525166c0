#include "livemessage.h"

#include "infodocument.h"
#include "livedocument.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace {
// The simulator's count of laps for "unlimited".
constexpr int unlimitedLaps = 32767;

QJsonValue numberOrNull(const std::optional<double> &value)
{
    return value ? QJsonValue(*value) : QJsonValue(QJsonValue::Null);
}
} // namespace

std::string LiveMessage::build(const LiveDocument &live, const QString &text, const InfoDocument &info)
{
    if (live.SessionNum != lastSessionNum) {
        lastSessionNum = live.SessionNum;
        fuel.reset();
    }
    fuel.add(live.RaceLaps, live.FuelLevel, live.SessionTimeSinceStarted);
    const std::optional<FuelEstimate::Plan> plan = fuelPlan(live, info);
    QJsonArray laps;
    for (const double used : fuel.recentLaps())
        laps.append(used);
    const QJsonObject message{
        {QStringLiteral("type"), QStringLiteral("live")},
        {QStringLiteral("live"), QJsonDocument::fromJson(text.toUtf8()).object()},
        {QStringLiteral("fuelPerLap"), numberOrNull(fuel.perLap())},
        {QStringLiteral("fuelLapsLeft"), numberOrNull(fuel.lapsLeft(live.FuelLevel))},
        {QStringLiteral("fuelToFinish"), numberOrNull(plan ? std::optional(plan->toFinish) : std::nullopt)},
        {QStringLiteral("fuelToAdd"), numberOrNull(plan ? std::optional(plan->toAdd) : std::nullopt)},
        {QStringLiteral("fuelLastsToFinish"), plan ? QJsonValue(plan->withoutStop) : QJsonValue()},
        {QStringLiteral("fuelLaps"), laps}};
    return QJsonDocument(message).toJson(QJsonDocument::Compact).toStdString();
}

std::optional<FuelEstimate::Plan> LiveMessage::fuelPlan(const LiveDocument &live,
                                                        const InfoDocument &info) const
{
    // Unlimited laps, or -1 not read yet: then the clock decides.
    std::optional<int> lapsRemain;
    if (info.SessionLaps > 0 && info.SessionLaps < unlimitedLaps && live.SessionLapsRemain >= 0 &&
        live.SessionLapsRemain < unlimitedLaps)
        lapsRemain = live.SessionLapsRemain;
    std::optional<double> timeLeft;
    if (info.SessionTime > 0 && live.SessionTimeSinceStarted >= 0)
        timeLeft = info.SessionTime - live.SessionTimeSinceStarted;
    const double tank = info.DriverCarFuelMaxLtr * info.DriverCarMaxFuelPct;
    return fuel.plan(live.FuelLevel, lapsRemain, timeLeft, tank);
}
