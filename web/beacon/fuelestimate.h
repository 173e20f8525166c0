#pragma once

#include <deque>
#include <optional>

// The fuel and the time a lap takes, measured at the line: the fuel level and the session time
// each time the completed laps go up, averaged over the last few laps. A lap in which fuel went
// up (a pit stop) or that was not driven whole is left out, so a refuel does not read as a lap
// for free nor a stop as a slow lap.
class FuelEstimate
{
public:
    static constexpr int lapsAveraged = 5;
    // The laps a chart of the fuel per lap shows.
    static constexpr int lapsKept = 10;

    // What the race still asks of the tank.
    struct Plan
    {
        // Fuel to the flag at the measured rate, counting the lap in progress whole.
        double toFinish = 0;
        // Fuel to add at the next stop: what is short of the flag and one lap more, at most a
        // tank (when the tank's size is known).
        double toAdd = 0;
        bool withoutStop = false;
    };

    void add(int completedLaps, double fuelLevel, double sessionTime = -1);
    void reset();
    // Fuel per lap, in the unit of the levels given; nothing before a whole lap was seen.
    std::optional<double> perLap() const;
    // How many laps `fuelLevel` lasts at that rate.
    std::optional<double> lapsLeft(double fuelLevel) const;
    // The fuel of each of the last laps driven whole, oldest first.
    const std::deque<double> &recentLaps() const { return history; }
    // Seconds per lap, over the same laps.
    std::optional<double> lapTime() const;
    // Laps to the flag: the simulator's count in a race of laps (`lapsRemain`, nothing when
    // unlimited), else in a timed session the time left over the lap time, rounded up.
    std::optional<int> lapsToGo(std::optional<int> lapsRemain, std::optional<double> timeLeft) const;
    // Nothing before a whole lap was measured, or when the laps to go are unknown.
    std::optional<Plan> plan(double fuelLevel, std::optional<int> lapsRemain, std::optional<double> timeLeft,
                             double tankCapacity) const;

private:
    std::deque<double> used;
    std::deque<double> times;
    std::deque<double> history;
    int lastLaps = -1;
    double levelAtLine = 0;
    double timeAtLine = -1;
    bool lineSeen = false;
};
