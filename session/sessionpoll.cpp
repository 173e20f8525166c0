#include "sessionpoll.h"

#include "platform.h"
#include "telemetryclient.h"
#include "telemetrymap.h"

#include <QTime>

namespace {
constexpr qint32 unlimitedLaps = 32767;

// One query into the poll's buffer; the value counts only when it stands there whole.
bool query(const QByteArray &path, QString *value)
{
    char buffer[2048];
    if (TelemetryClient::shared().sessionValue(path.constData(), buffer, sizeof buffer) != 1)
        return false;
    *value = QString(buffer);
    return true;
}

void queryText(const QByteArray &path, QString &field)
{
    QString value;
    if (query(path, &value))
        field = value;
}

void queryInt(const QByteArray &path, qint32 &field)
{
    QString value;
    if (query(path, &value))
        field = value.toInt(nullptr, 10);
}

void queryFloat(const QByteArray &path, float &field)
{
    QString value;
    if (query(path, &value))
        field = value.toFloat();
}

void queryLaps(const QByteArray &path, qint32 &field)
{
    QString value;
    if (query(path, &value))
        field = value == QLatin1String("unlimited") ? unlimitedLaps : value.toInt(nullptr, 10);
}

void queryTime(const QByteArray &path, double &field)
{
    QString value;
    if (query(path, &value))
        field = value == QLatin1String("unlimited") ? -1.0 : value.remove(QStringLiteral("sec")).toDouble();
}
} // namespace

QString SessionPoll::timeText(double elapsedSeconds, double limitSeconds)
{
    // Whole milliseconds, cut towards zero; outside one day there is no valid time.
    auto toTime = [](double seconds) {
        const double ms = seconds * 1000.0;
        if (!(ms > -2147483648.0 && ms < 2147483648.0))
            return QTime();
        return QTime::fromMSecsSinceStartOfDay(static_cast<qint32>(ms));
    };
    return toTime(elapsedSeconds).toString(QStringLiteral("hh:mm:ss")) + QLatin1Char('/') +
           toTime(limitSeconds).toString(QStringLiteral("hh:mm"));
}

QString SessionPoll::lapsText(qint32 raceLaps, qint32 sessionLaps)
{
    return QString::number(raceLaps) + QLatin1Char('/') +
           (sessionLaps == unlimitedLaps ? QStringLiteral("unlimited") : QString::number(sessionLaps));
}

void SessionPoll::readSessionText(SessionData &record)
{
    queryText("WeekendInfo:TrackName:", record.TrackName);
    queryInt("WeekendInfo:NumCarTypes:", record.NumCarTypes);
    queryInt("WeekendInfo:NumCarClasses:", record.NumCarClasses);
    queryInt("SessionInfo:NumSessions:", record.NumSessions);
    if (record.SessionNum == -1)
        return;
    const QByteArray session = QByteArray::number(record.SessionNum);
    const QByteArray item = "SessionInfo:Sessions:SessionNum:{" + session + "}";
    queryText(item + "SessionType:", record.SessionType);
    queryLaps(item + "SessionLaps:", record.SessionLaps);
    queryInt(item + "SessionNumLapsToAvg:", record.SessionNumLapsToAvg);
    queryTime(item + "SessionTime:", record.SessionTime);
    queryFloat("DriverInfo:DriverCarFuelKgPerLtr:", record.DriverCarFuelKgPerLtr);
    queryFloat("DriverInfo:DriverCarFuelMaxLtr:", record.DriverCarFuelMaxLtr);
    queryFloat("DriverInfo:DriverCarMaxFuelPct:", record.DriverCarMaxFuelPct);
}

SessionPoll::Report SessionPoll::run(SessionData &record, bool &simulatorFound, bool &simulatorForeground,
                                     bool telemetryRunning)
{
    Report report;
    const platform::WindowOps &windows = platform::windowOps();
    const platform::Handle window = windows.findSimulatorWindow();
    if (!window) {
        report.status = QStringLiteral("iRacing not found");
        simulatorFound = false;
        // No key goes to whatever window has the focus once the simulator has gone.
        simulatorForeground = false;
        return report;
    }
    report.status = QStringLiteral("iRacing founded");
    if (!simulatorFound && !TelemetryMap::attach()) {
        report.status = QStringLiteral("iRacing not startet");
        simulatorFound = false;
        return report;
    }
    // The labels show what the previous poll read.
    report.showLabels = true;
    report.time = timeText(record.SessionTimeSinceStarted, record.SessionTime);
    report.type = record.SessionType;
    report.track = record.TrackName;
    report.laps = lapsText(record.RaceLaps, record.SessionLaps);

    if (TelemetryClient::shared().awaitRow(16))
        readSessionText(record);

    simulatorForeground = windows.foregroundWindow() == window;
    simulatorFound = true;
    report.startTelemetry = !telemetryRunning;
    return report;
}
