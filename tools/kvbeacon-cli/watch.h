#pragma once

#include <QJsonObject>
#include <QJsonValue>
#include <QStringList>

class BeaconClient;

// kvbeacon-cli watch: samples the documents at a steady rate and shows the chosen values, as a
// table redrawn in place on a terminal or as one JSON line per sample for a pipe.
namespace Watch {
struct Options
{
    QStringList fields; // keys of either document; empty for a driver's usual few
    int hz = 10;
    int count = 0; // samples before it ends; 0 for no end
    int timeoutMs = 3000;
};

// A value as the JSON writer prints it, its control characters escaped.
QString valueText(const QJsonValue &value);
// One sample for a pipe: "t", seconds since the watch began, "stale", true while the values
// have not moved for a second, then the fields.
QByteArray jsonLine(double t, bool stale, const QStringList &fields, const QJsonObject &values);

// Runs until `count` samples are shown; gives the exit code.
int run(BeaconClient &client, const Options &options);
} // namespace Watch
