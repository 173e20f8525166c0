#pragma once

#include <cstdint>

// Posts the simulator's broadcast message to every top-level window. The message number is
// registered on the first post, once per process; a failed registration stays failed.
namespace SimBroadcast {

void post(std::int32_t message, std::int32_t var1, std::int32_t var2);

// The packed parameters: bits 0-15 the message, bits 16-31 the low 16 bits of var1, the
// 32-bit value widened as a signed number; lParam is var2 widened.
std::intptr_t packWParam(std::int32_t message, std::int32_t var1);

} // namespace SimBroadcast
