#pragma once

// The simulator's top-level window, titled "iRacing.com Simulator". It reports every
// broadcast message and every key that reaches it. Runs on a thread of its own.
namespace SimWindow {

// False when there is no display to open the window on. On X11 `nesting` plain windows are
// put round it, one inside the other, as a reparenting window manager frames its clients.
bool open(int nesting = 0);
// Takes the input focus to the window, or away from it.
void setFocus(bool focused);
void close();

} // namespace SimWindow
