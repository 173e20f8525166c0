#pragma once

#include <deque>
#include <optional>

// The fuel a lap takes, measured at the line: the fuel level each time the completed laps go
// up, averaged over the last few laps. A lap in which fuel went up (a pit stop) or that was
// not driven whole is left out, so a refuel does not read as a lap for free.
class FuelEstimate
{
public:
    static constexpr int lapsAveraged = 5;

    void add(int completedLaps, double fuelLevel);
    void reset();
    // Fuel per lap, in the unit of the levels given; nothing before a whole lap was seen.
    std::optional<double> perLap() const;
    // How many laps `fuelLevel` lasts at that rate.
    std::optional<double> lapsLeft(double fuelLevel) const;

private:
    std::deque<double> used;
    int lastLaps = -1;
    double levelAtLine = 0;
    bool lineSeen = false;
};
