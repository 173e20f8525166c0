#include "fuelestimate.h"

#include <numeric>

void FuelEstimate::add(int completedLaps, double fuelLevel)
{
    if (completedLaps == lastLaps)
        return;
    // One more lap than at the last line crossing: that lap was driven whole.
    if (lineSeen && completedLaps == lastLaps + 1 && fuelLevel <= levelAtLine) {
        used.push_back(levelAtLine - fuelLevel);
        if (static_cast<int>(used.size()) > lapsAveraged)
            used.pop_front();
    }
    // The first sample is mid-lap, or the count jumped (a new session): start measuring here.
    lineSeen = lastLaps >= 0;
    lastLaps = completedLaps;
    levelAtLine = fuelLevel;
}

void FuelEstimate::reset()
{
    *this = FuelEstimate();
}

std::optional<double> FuelEstimate::perLap() const
{
    if (used.empty())
        return std::nullopt;
    return std::accumulate(used.begin(), used.end(), 0.0) / static_cast<double>(used.size());
}

std::optional<double> FuelEstimate::lapsLeft(double fuelLevel) const
{
    const std::optional<double> rate = perLap();
    if (!rate || *rate <= 0)
        return std::nullopt;
    return fuelLevel / *rate;
}
