#include "commandqueue.h"

#include <iostream>
#include <thread>

void CommandQueue::start()
{
    std::thread([this] {
        std::string line;
        while (std::getline(std::cin, line)) {
            std::lock_guard<std::mutex> lock(mutex);
            lines.push_back(line);
        }
    }).detach();
}

std::vector<std::string> CommandQueue::take()
{
    std::lock_guard<std::mutex> lock(mutex);
    std::vector<std::string> taken;
    taken.swap(lines);
    return taken;
}
