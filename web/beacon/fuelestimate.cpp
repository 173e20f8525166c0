#include "fuelestimate.h"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace {
void keep(std::deque<double> &last, double value, int count = FuelEstimate::lapsAveraged)
{
    last.push_back(value);
    if (static_cast<int>(last.size()) > count)
        last.pop_front();
}

std::optional<double> average(const std::deque<double> &values)
{
    if (values.empty())
        return std::nullopt;
    return std::accumulate(values.begin(), values.end(), 0.0) / static_cast<double>(values.size());
}
} // namespace

void FuelEstimate::add(int completedLaps, double fuelLevel, double sessionTime)
{
    if (completedLaps == lastLaps)
        return;
    // One more lap than at the last line crossing: that lap was driven whole.
    if (lineSeen && completedLaps == lastLaps + 1 && fuelLevel <= levelAtLine) {
        keep(used, levelAtLine - fuelLevel);
        keep(history, levelAtLine - fuelLevel, lapsKept);
        if (timeAtLine >= 0 && sessionTime > timeAtLine)
            keep(times, sessionTime - timeAtLine);
    }
    // The first sample is mid-lap, or the count jumped (a new session): start measuring here.
    lineSeen = lastLaps >= 0;
    lastLaps = completedLaps;
    levelAtLine = fuelLevel;
    timeAtLine = sessionTime;
}

void FuelEstimate::reset()
{
    *this = FuelEstimate();
}

std::optional<double> FuelEstimate::perLap() const
{
    return average(used);
}

std::optional<double> FuelEstimate::lapsLeft(double fuelLevel) const
{
    const std::optional<double> rate = perLap();
    if (!rate || *rate <= 0)
        return std::nullopt;
    return fuelLevel / *rate;
}

std::optional<double> FuelEstimate::lapTime() const
{
    return average(times);
}

std::optional<int> FuelEstimate::lapsToGo(std::optional<int> lapsRemain, std::optional<double> timeLeft) const
{
    if (lapsRemain)
        return std::max(0, *lapsRemain);
    const std::optional<double> lap = lapTime();
    if (!timeLeft || !lap || *lap <= 0)
        return std::nullopt;
    // When the clock runs out the lap in progress is still driven to the line.
    return static_cast<int>(std::ceil(std::max(0.0, *timeLeft) / *lap));
}

std::optional<FuelEstimate::Plan> FuelEstimate::plan(double fuelLevel, std::optional<int> lapsRemain,
                                                     std::optional<double> timeLeft,
                                                     double tankCapacity) const
{
    const std::optional<double> rate = perLap();
    const std::optional<int> laps = lapsToGo(lapsRemain, timeLeft);
    if (!rate || !laps)
        return std::nullopt;
    Plan plan;
    plan.toFinish = *laps * *rate;
    plan.withoutStop = fuelLevel >= plan.toFinish;
    plan.toAdd = std::max(0.0, plan.toFinish + *rate - fuelLevel);
    if (tankCapacity > 0)
        plan.toAdd = std::min(plan.toAdd, tankCapacity);
    return plan;
}
