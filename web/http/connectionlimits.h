#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <string>

// How many connections kvbeacon-web keeps open, in all and from one source, so that hosts that
// open connections without end cannot take every descriptor and shut the others out. A source
// is an IPv4 address, or an IPv6 /64 (a machine picks addresses in its /64 at will); an
// IPv4-mapped address counts as its IPv4 address. A connection holds a ticket while it lives;
// the ticket gives its place back when it goes, on whichever thread that is.
class ConnectionLimits : public std::enable_shared_from_this<ConnectionLimits>
{
public:
    static constexpr int defaultTotal = 512;
    static constexpr int defaultPerSource = 48;
    // A browser opens up to six connections to a server and one for its WebSocket: a source
    // that holds fewer than eight is taken for a browser coming in.
    static constexpr int fewConnections = 8;
    // A source that holds eight or more takes a place only while more than these stay free, so
    // that a flood from several addresses leaves room for the driver's browser. Six sources fill
    // the first half (48 each), but the rest takes 32 more (eight each), where a home network's
    // browsers come from a handful; busy sources rarely need more than the first half.
    static constexpr int defaultReserve = 256;

    explicit ConnectionLimits(int total = defaultTotal, int perSource = defaultPerSource,
                              int reserve = defaultReserve)
        : total(total), perSource(perSource), reserve(reserve)
    {
    }

    class Ticket
    {
    public:
        Ticket(std::shared_ptr<ConnectionLimits> limits, std::string source)
            : limits(std::move(limits)), source(std::move(source))
        {
        }
        ~Ticket() { limits->release(source); }
        Ticket(const Ticket &) = delete;
        Ticket &operator=(const Ticket &) = delete;

    private:
        std::shared_ptr<ConnectionLimits> limits;
        std::string source;
    };

    // A ticket for a new connection from `address` (as text, IPv4 or IPv6), or null when it is
    // one too many.
    std::unique_ptr<Ticket> admit(const std::string &address);
    int open() const;

private:
    void release(const std::string &source);

    const int total;
    const int perSource;
    const int reserve;
    mutable std::mutex mutex;
    std::map<std::string, int> bySource;
    int count = 0;
};
