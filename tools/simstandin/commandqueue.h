#pragma once

#include <mutex>
#include <string>
#include <vector>

// Lines from standard input, read on a thread of their own so that publishing never waits.
class CommandQueue
{
public:
    // Starts the reading thread; it runs until standard input ends or the program does.
    void start();
    // The lines that came since the last call, oldest first.
    std::vector<std::string> take();

private:
    std::mutex mutex;
    std::vector<std::string> lines;
};
