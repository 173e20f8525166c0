#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <string>

// How many connections kvbeacon-web keeps open, in all and from one address, so that one host
// that opens connections without end cannot take every descriptor and shut the others out.
// A connection holds a ticket while it lives; the ticket gives its place back when it goes,
// on whichever thread that is.
class ConnectionLimits : public std::enable_shared_from_this<ConnectionLimits>
{
public:
    static constexpr int defaultTotal = 512;
    static constexpr int defaultPerAddress = 48;

    explicit ConnectionLimits(int total = defaultTotal, int perAddress = defaultPerAddress)
        : total(total), perAddress(perAddress)
    {
    }

    class Ticket
    {
    public:
        Ticket(std::shared_ptr<ConnectionLimits> limits, std::string address)
            : limits(std::move(limits)), address(std::move(address))
        {
        }
        ~Ticket() { limits->release(address); }
        Ticket(const Ticket &) = delete;
        Ticket &operator=(const Ticket &) = delete;

    private:
        std::shared_ptr<ConnectionLimits> limits;
        std::string address;
    };

    // A ticket for a new connection from `address`, or null when it is one too many.
    std::unique_ptr<Ticket> admit(const std::string &address);
    int open() const;

private:
    void release(const std::string &address);

    const int total;
    const int perAddress;
    mutable std::mutex mutex;
    std::map<std::string, int> byAddress;
    int count = 0;
};
