#pragma once

#include <string>
#include <vector>

// The simulator's top-level window, titled "iRacing.com Simulator". It reports every
// broadcast message and every key that reaches it and shows the last of them (WindowLines).
// Runs on a thread of its own.
namespace SimWindow {

// False when there is no display to open the window on. On X11 `nesting` plain windows are
// put round it, one inside the other, as a reparenting window manager frames its clients.
// `macroTexts` names chat macros 1 to 15, or is empty.
bool open(int nesting, std::vector<std::string> macroTexts);
// Takes the input focus to the window, or away from it.
void setFocus(bool focused);
void close();

} // namespace SimWindow
