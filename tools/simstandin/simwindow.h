#pragma once

// The simulator's top-level window, titled "iRacing.com Simulator". It reports every
// broadcast message and every key that reaches it. Runs on a thread of its own.
namespace SimWindow {

// False when there is no display to open the window on.
bool open();
// Takes the input focus to the window, or away from it.
void setFocus(bool focused);
void close();

} // namespace SimWindow
