#pragma once

#include <cstddef>
#include <deque>
#include <string>
#include <vector>

// What the simulator's window shows: the chat macros and keys that reached it, newest first,
// worded once for both backends, which report the broadcast messages through it. Lives on the
// window's thread.
class WindowLines
{
public:
    static constexpr std::size_t shown = 6;

    // `macroTexts` holds the texts of chat macros 1 to 15, or nothing when they are unknown.
    explicit WindowLines(std::vector<std::string> macroTexts = {});

    // A broadcast message: reported as it came, which tests read, and a chat macro also as a
    // person reads it, with its number from 1 as the driver counts them.
    void broadcast(unsigned message, int var1, int var2);
    // A key that went down, by its name; keys going up would only double the lines.
    void keyDown(const std::string &name);
    const std::deque<std::string> &lines() const { return recent; }

private:
    void add(std::string line);

    std::vector<std::string> texts;
    std::deque<std::string> recent;
};

// The chat macro texts of `folder`'s app.ini, 1 to 15, as kvBeacon reads them; none when the
// folder holds no app.ini, a text holds kvBeacon's separator, or the build has no Qt to read it.
std::vector<std::string> readMacroTexts(const std::string &folder);
