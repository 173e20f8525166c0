#include "simbroadcast.h"

#include "platform.h"

namespace SimBroadcast {

std::intptr_t packWParam(std::int32_t message, std::int32_t var1)
{
    const std::uint32_t low = static_cast<std::uint32_t>(message) & 0xFFFFu;
    const std::uint32_t high = (static_cast<std::uint32_t>(var1) & 0xFFFFu) << 16;
    return static_cast<std::intptr_t>(static_cast<std::int32_t>(low | high));
}

void post(std::int32_t message, std::int32_t var1, std::int32_t var2)
{
    // Made once, safely against other threads, and kept for the life of the process.
    static const std::uint32_t registered = platform::windowOps().registerBroadcastMessage();
    if (registered == 0 || static_cast<std::uint32_t>(message) >= 13)
        return;
    platform::windowOps().postBroadcast(registered, packWParam(message, var1),
                                        static_cast<std::intptr_t>(var2));
}

} // namespace SimBroadcast
