#pragma once

#include <cstdint>

// The X keysym of a Windows virtual-key code, or 0 for a code that has none.
std::uint32_t keysymOfVirtualKey(std::uint16_t virtualKey);
