#include "connectionlimits.h"

std::unique_ptr<ConnectionLimits::Ticket> ConnectionLimits::admit(const std::string &address)
{
    std::lock_guard<std::mutex> lock(mutex);
    int &fromThere = byAddress[address];
    if (count >= total || fromThere >= perAddress) {
        if (fromThere == 0)
            byAddress.erase(address);
        return nullptr;
    }
    ++fromThere;
    ++count;
    return std::make_unique<Ticket>(shared_from_this(), address);
}

int ConnectionLimits::open() const
{
    std::lock_guard<std::mutex> lock(mutex);
    return count;
}

void ConnectionLimits::release(const std::string &address)
{
    std::lock_guard<std::mutex> lock(mutex);
    --count;
    if (--byAddress[address] <= 0)
        byAddress.erase(address);
}
