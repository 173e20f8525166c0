#include "connectionlimits.h"

#include <boost/asio/ip/address.hpp>

#include <algorithm>

namespace {
// The source an address counts for: an IPv4 address as it stands, an IPv6 address by its /64.
std::string sourceOf(const std::string &address)
{
    namespace ip = boost::asio::ip;
    boost::system::error_code error;
    const ip::address parsed = ip::make_address(address, error);
    if (error)
        return address;
    if (parsed.is_v4())
        return parsed.to_string();
    const ip::address_v6 v6 = parsed.to_v6();
    if (v6.is_v4_mapped())
        return ip::make_address_v4(ip::v4_mapped, v6).to_string();
    ip::address_v6::bytes_type bytes = v6.to_bytes();
    std::fill(bytes.begin() + 8, bytes.end(), 0);
    return ip::address_v6(bytes).to_string() + "/64";
}
} // namespace

std::unique_ptr<ConnectionLimits::Ticket> ConnectionLimits::admit(const std::string &address)
{
    const std::string source = sourceOf(address);
    std::lock_guard<std::mutex> lock(mutex);
    int &fromThere = bySource[source];
    const bool busy = fromThere >= fewConnections;
    if (count >= total || fromThere >= perSource || (busy && total - count <= reserve)) {
        if (fromThere == 0)
            bySource.erase(source);
        return nullptr;
    }
    ++fromThere;
    ++count;
    return std::make_unique<Ticket>(shared_from_this(), source);
}

int ConnectionLimits::open() const
{
    std::lock_guard<std::mutex> lock(mutex);
    return count;
}

void ConnectionLimits::release(const std::string &source)
{
    std::lock_guard<std::mutex> lock(mutex);
    --count;
    if (--bySource[source] <= 0)
        bySource.erase(source);
}
