#pragma once

#include <cstdint>

// What a client's chat and key commands do in the simulator, behind the gates of the
// session poll's flags. Main thread only; both are silent when a gate is shut.
namespace SimCommands {

// Runs chat macro `id` (0 to 14) while the simulator has been found.
void chat(bool simulatorFound, std::int32_t id);
// Presses and releases virtual key `key` (its low 16 bits) while the simulator has the foreground.
void key(bool simulatorForeground, std::int32_t key);

} // namespace SimCommands
