#pragma once

#include "fuelestimate.h"

#include <QString>

#include <optional>
#include <string>

struct InfoDocument;
struct LiveDocument;

// The live message that viewers get: kvBeacon's live document as it sent it, and beside it the
// fuel per lap, the laps the tank lasts and the fuel to the flag, measured over the laps seen.
// Fed every live document of a session whose documents move, on the link's thread.
class LiveMessage
{
public:
    // The message for this document; `text` is the document as kvBeacon sent it.
    std::string build(const LiveDocument &live, const QString &text, const InfoDocument &info);

private:
    // Fuel to the flag from the measured laps, the session's length and the tank's size.
    std::optional<FuelEstimate::Plan> fuelPlan(const LiveDocument &live, const InfoDocument &info) const;

    FuelEstimate fuel;
    int lastSessionNum = -2;
};
