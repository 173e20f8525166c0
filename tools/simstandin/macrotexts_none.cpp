#include "windowlines.h"

// Without Qt there is no reading of app.ini as kvBeacon reads it: macros are shown by number.
std::vector<std::string> readMacroTexts(const std::string &)
{
    return {};
}
