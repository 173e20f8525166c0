#pragma once

#include "platform.h"

#include <cstdint>
#include <vector>

// Plays the desktop for the link: a simulator window that can come and go and take the
// foreground, and a record of the broadcasts, keys and timer calls that were made.
class FakeWindows
{
public:
    struct Broadcast
    {
        std::uint32_t message;
        std::intptr_t wParam;
        std::intptr_t lParam;
    };
    struct Key
    {
        std::uint16_t virtualKey;
        bool up;
    };

    FakeWindows()
    {
        current = this;
        platform::setWindowOps(&ops);
    }
    ~FakeWindows()
    {
        platform::setWindowOps(nullptr);
        current = nullptr;
    }

    bool simulatorWindow = true;
    bool simulatorInForeground = false;
    std::uint32_t registeredNumber = 0xC0DE;
    int registrations = 0;
    int timerBegins = 0, timerEnds = 0;
    std::vector<Broadcast> broadcasts;
    std::vector<Key> keys;

private:
    static inline FakeWindows *current = nullptr;
    static inline int simulatorToken = 0, otherToken = 0;

    static platform::Handle find() { return current->simulatorWindow ? &simulatorToken : nullptr; }
    static platform::Handle foreground()
    {
        return current->simulatorInForeground ? &simulatorToken : &otherToken;
    }
    static std::uint32_t registerMessage()
    {
        ++current->registrations;
        return current->registeredNumber;
    }
    static void post(std::uint32_t message, std::intptr_t wParam, std::intptr_t lParam)
    {
        current->broadcasts.push_back({message, wParam, lParam});
    }
    static void sendKey(std::uint16_t virtualKey, bool up) { current->keys.push_back({virtualKey, up}); }
    static void begin() { ++current->timerBegins; }
    static void end() { ++current->timerEnds; }

    const platform::WindowOps ops = {find, foreground, registerMessage, post, sendKey, begin, end};
};
