#pragma once

#include "sessiondata.h"

#include <QString>

// The one-second poll: finds the simulator's window, attaches the link, reads the session
// text into the working record and notes whether the simulator has the foreground. It works
// on the record and the two flags; the window shows what it returns. Main thread.
namespace SessionPoll {
// What the window is to show after a poll.
struct Report
{
    QString status;
    bool showLabels = false; // the four texts below are to be shown
    QString time, type, track, laps;
    bool startTelemetry = false; // the fast poll is to start now
};

Report run(SessionData &record, bool &simulatorFound, bool &simulatorForeground, bool telemetryRunning);

// "hh:mm:ss/hh:mm" of the elapsed time and the limit; an invalid time shows as nothing.
QString timeText(double elapsedSeconds, double limitSeconds);
// "race laps/limit", the limit "unlimited" at 32767.
QString lapsText(qint32 raceLaps, qint32 sessionLaps);
// The eleven session text queries; those of the current session wait for its number.
void readSessionText(SessionData &record);
} // namespace SessionPoll
