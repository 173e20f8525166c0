#pragma once

#include "command.h"

#include <chrono>
#include <mutex>

// How fast presses may come: chat macros and keys each from a bucket that refills at a steady
// rate and holds a small burst, so a driver's double tap on "Thanks" gets two while a script
// cannot run macros in the driver's name a thousand times a second. One for each viewer, and
// one for the companion as a whole, which every viewer's press passes as well.
class PressRate
{
public:
    using Clock = std::chrono::steady_clock;
    struct Limit
    {
        double perSecond;
        double burst;
    };
    static constexpr Limit viewerMacros{2, 3}, viewerKeys{10, 5};
    static constexpr Limit companionMacros{4, 6}, companionKeys{20, 10};

    // A viewer's rate, or the companion's with `companion` set.
    explicit PressRate(bool companion = false);
    // Takes one press of the kind from the bucket: false when it is empty.
    bool take(Command::Kind kind, Clock::time_point now);

private:
    struct Bucket
    {
        Limit limit;
        double tokens;
        Clock::time_point filled;
        bool take(Clock::time_point now);
    };
    std::mutex mutex; // the companion's is shared by every viewer
    Bucket macros, keys;
};
