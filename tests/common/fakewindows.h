#pragma once

#include "platform.h"

#include <cstdint>
#include <vector>

// Plays the desktop for the link: a simulator window that can come and go and take the
// foreground, and a record of the broadcasts and keys that were sent.
class FakeWindows
{
public:
    struct Broadcast
    {
        std::uint32_t message;
        std::intptr_t wParam, lParam;
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
    ~FakeWindows() { platform::setWindowOps(nullptr); }

    bool simulatorWindow = true, simulatorInForeground = false;
    std::uint32_t registeredNumber = 0xC0DE;
    std::vector<Broadcast> broadcasts;
    std::vector<Key> keys;

private:
    static inline FakeWindows *current = nullptr;
    static inline int simulator = 0, other = 0;

    static platform::Handle find() { return current->simulatorWindow ? &simulator : nullptr; }
    static platform::Handle foreground() { return current->simulatorInForeground ? &simulator : &other; }
    static std::uint32_t registerMessage() { return current->registeredNumber; }
    static void post(std::uint32_t message, std::intptr_t w, std::intptr_t l)
    {
        current->broadcasts.push_back({message, w, l});
    }
    static void key(std::uint16_t virtualKey, bool up) { current->keys.push_back({virtualKey, up}); }
    static void timer() {}
    const platform::WindowOps ops = {find, foreground, registerMessage, post, key, timer, timer};
};
