#include "windowlines.h"

#include "report.h"

#include <cstdio>
#include <utility>

namespace {
// The simulator's broadcast message for chat commands, and its mode that runs a macro.
constexpr unsigned chatCommand = 8;
constexpr int macroMode = 0;
} // namespace

WindowLines::WindowLines(std::vector<std::string> macroTexts) : texts(std::move(macroTexts)) {}

void WindowLines::broadcast(unsigned message, int var1, int var2)
{
    char raw[80];
    std::snprintf(raw, sizeof raw, "broadcast msg=%u var1=%d var2=%d", message, var1, var2);
    report("%s", raw);
    if (message != chatCommand || var1 != macroMode) {
        add(raw);
        return;
    }
    std::string line = "chat macro " + std::to_string(var2 + 1);
    if (var2 >= 0 && static_cast<std::size_t>(var2) < texts.size() && !texts[var2].empty())
        line += ": " + texts[var2];
    report("%s", line.c_str());
    add(std::move(line));
}

void WindowLines::keyDown(const std::string &name)
{
    add("key " + name);
}

void WindowLines::add(std::string line)
{
    recent.push_front(std::move(line));
    if (recent.size() > shown)
        recent.pop_back();
}
