#include "pressrate.h"

#include <algorithm>

PressRate::PressRate(bool companion)
    : macros{companion ? companionMacros : viewerMacros, 0, {}}, keys{companion ? companionKeys : viewerKeys,
                                                                      0,
                                                                      {}}
{
    macros.tokens = macros.limit.burst;
    keys.tokens = keys.limit.burst;
}

bool PressRate::take(Command::Kind kind, Clock::time_point now)
{
    std::lock_guard<std::mutex> lock(mutex);
    return (kind == Command::Macro ? macros : keys).take(now);
}

bool PressRate::Bucket::take(Clock::time_point now)
{
    if (filled != Clock::time_point())
        tokens = std::min(limit.burst,
                          tokens + std::chrono::duration<double>(now - filled).count() * limit.perSecond);
    filled = now;
    if (tokens < 1)
        return false;
    tokens -= 1;
    return true;
}
