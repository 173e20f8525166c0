#pragma once

#include <QJsonObject>
#include <QString>

#include <optional>

// The info document (Protocol::Info) as typed values; "n/a" and -1 stand until the simulator's
// session text has said otherwise.
struct InfoDocument
{
    QString SessionType = QStringLiteral("n/a");
    double SessionTime = -1.0; // seconds; -1 also for a session without a time limit
    int SessionNum = 1;
    int SessionLaps = -1; // 32767 for unlimited laps
    QString TrackName = QStringLiteral("n/a");
    double DriverCarFuelKgPerLtr = 0.0;
    double DriverCarFuelMaxLtr = 0.0;
    double DriverCarMaxFuelPct = 0.0;

    // Nothing unless `text` is a JSON object with all 8 keys, each of its type.
    static std::optional<InfoDocument> fromJson(const QString &text);
    // The same from a document already read as JSON.
    static std::optional<InfoDocument> fromObject(const QJsonObject &o);
};
