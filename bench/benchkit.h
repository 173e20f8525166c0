#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

// The parts of the benchmarks that could themselves be wrong, kept small and tested.
namespace benchkit {

// The nearest-rank percentile (0 < q <= 1) of `values`; 0 for none. Sorts `values`.
double percentile(std::vector<double> &values, double q);

// True when `reply` is one whole reply frame to `command` with request id `id` whose
// payload is a JSON document of `members` members, as kvBeacon's 207 and 208 give them.
bool isDocumentReply(const std::string &reply, int command, int id, int members);
// True when `reply` is exactly the frame of `command`, `id` and the ASCII `payload`.
bool isReply(const std::string &reply, int command, int id, const std::string &payload);
// A request frame with an empty payload.
std::string requestFrame(int command, int id);

// A blocking loopback client: one socket, whole frames in and out.
class Client
{
public:
    ~Client();
    bool connectTo(std::uint16_t port);
    bool send(const std::string &bytes);
    // Reads one reply frame whose length field counts bytes (ASCII payloads); empty on error.
    std::string readFrame();
    // Reads exactly `size` bytes; empty on error.
    std::string readExactly(std::size_t size);
    void close();

private:
    int fd = -1;
};

// A thread-per-connection echo server on loopback, written for the benchmark: the bare
// transport that kvBeacon's figures are set beside. Runs until the process ends.
class EchoServer
{
public:
    // Listens on a free loopback port and serves on background threads; 0 on failure.
    std::uint16_t start();
};

// What /proc says of a process.
struct ProcessFigures
{
    long residentKb = 0;
    int threads = 0;
    long cpuTicks = 0; // user + system, in clock ticks
};
ProcessFigures readProcess(int pid);

// A loopback port that was free a moment ago.
std::uint16_t freePort();

// Raises the limit of open descriptors as far as the hard limit allows; gives the new limit.
long raiseDescriptorLimit();

} // namespace benchkit
