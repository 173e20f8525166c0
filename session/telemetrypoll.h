#pragma once

#include "sessiondata.h"

// The fast poll: reads the 24 telemetry variables of the newest row into the working record.
// Main thread.
namespace TelemetryPoll {
// Waits up to 16 ms for a new row; false (and no field changed) when none came.
bool run(SessionData &record);
} // namespace TelemetryPoll
