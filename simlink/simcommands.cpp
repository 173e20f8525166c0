#include "simcommands.h"

#include "platform.h"
#include "simbroadcast.h"

namespace SimCommands {

namespace {
constexpr std::int32_t chatMacroMessage = 8;
}

void chat(bool simulatorFound, std::int32_t id)
{
    if (!simulatorFound || static_cast<std::uint32_t>(id) > 14)
        return;
    SimBroadcast::post(chatMacroMessage, 0, id);
}

void key(bool simulatorForeground, std::int32_t key)
{
    if (!simulatorForeground)
        return;
    const std::uint16_t virtualKey = static_cast<std::uint16_t>(key & 0xFFFF);
    platform::windowOps().sendKey(virtualKey, false);
    platform::windowOps().sendKey(virtualKey, true);
}

} // namespace SimCommands
