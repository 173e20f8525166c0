#pragma once

#include <QByteArray>

#include <cstdint>
#include <string>
#include <vector>

// The parts of the benchmarks that could themselves be wrong, kept small and tested.
namespace benchkit {

// The nearest-rank percentile (0 < q <= 1) of `values`; 0 for none. Sorts `values`.
double percentile(std::vector<double> &values, double q);

// True when `reply` is one whole reply frame to `command` with request id `id` whose
// payload is a JSON document of `members` members, as kvBeacon's live and info replies are.
bool isDocumentReply(const QByteArray &reply, int command, int id, int members);

// A thread-per-connection echo server on loopback, written for the benchmark: the bare
// transport that kvBeacon's figures are set beside. Runs until the process ends.
class EchoServer
{
public:
    // Listens on a free loopback port and serves on background threads; 0 on failure.
    std::uint16_t start();
};

// A loopback port that was free a moment ago.
std::uint16_t freePort();

// A Mosquitto configuration for a benchmark's broker: anonymous, on loopback at `port`, silent,
// running as the current user (as root Mosquitto would otherwise drop to its own user).
std::string mosquittoConfig(std::uint16_t port, bool nodelay);

// Raises the limit of open descriptors as far as the hard limit allows; gives the new limit.
long raiseDescriptorLimit();

} // namespace benchkit
