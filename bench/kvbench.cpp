// kvBeacon's benchmarks: round trips and throughput against a bare echo server, a thousand
// connections, the polls, and the footprint of the whole program beside the simulator
// stand-in. Prints Markdown tables; scripts/bench writes them to BENCHMARKS.md.
#include "benchkit.h"
#include "blockingclient.h"
#include "child.h"
#include "driverfeel.h"
#include "fakesimulator.h"
#include "framehead.h"
#include "pollnames.h"
#include "processfigures.h"
#include "protocol.h"
#include "replyreader.h"
#include "scenario.h"
#include "sessiondata.h"
#include "sessionpoll.h"
#include "telemetrypoll.h"
#include "variables.h"
#include "wiremessage.h"

#include <arpa/inet.h>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <random>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <mutex>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sstream>
#include <string>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>
#include <vector>

using Clock = std::chrono::steady_clock;
using Client = BlockingClient;
using benchkit::percentile;

namespace {
double microseconds(Clock::duration d)
{
    return std::chrono::duration<double, std::micro>(d).count();
}

struct Latencies
{
    double p50 = 0, p99 = 0;
    long count = 0, errors = 0;
};

// kvBeacon's whole reply to a request for its name with `id`.
QByteArray serverNameReply(int id)
{
    return WireMessage(Protocol::ServerName, id, QLatin1String(Protocol::serverName)).data;
}

// The members of the document that `command` asks for.
int documentKeys(int command)
{
    return command == Protocol::Live ? Protocol::liveKeyCount : Protocol::infoKeyCount;
}

// One connection, `requests` round trips after a warm-up.
Latencies roundTrips(std::uint16_t port, int command, bool echo, int requests)
{
    Client client;
    Latencies result;
    if (!client.connectTo(port)) {
        result.errors = requests;
        return result;
    }
    std::vector<double> times;
    times.reserve(static_cast<std::size_t>(requests));
    for (int i = -1000; i < requests; ++i) {
        const int id = (i + 1000) % 1000000;
        const QByteArray frame = WireMessage(command, id, QString()).data;
        const auto start = Clock::now();
        client.send(frame);
        const QByteArray reply = client.readFrame();
        const auto end = Clock::now();
        bool ok = echo ? reply == frame
                       : (command == Protocol::ServerName
                              ? reply == serverNameReply(id)
                              : benchkit::isDocumentReply(reply, command, id, documentKeys(command)));
        if (i < 0)
            continue;
        times.push_back(microseconds(end - start));
        result.errors += ok ? 0 : 1;
    }
    result.count = requests;
    result.p50 = percentile(times, 0.50);
    result.p99 = percentile(times, 0.99);
    return result;
}

// A whole frame answering `command` and `id` with a document, read from its bytes alone.
bool isReplyTo(const QByteArray &reply, int command, int id)
{
    char head[12];
    std::snprintf(head, sizeof head, "%03d;%06d;", command, id);
    return FrameHead::wholeFrameSize(reply) == reply.size() && reply.size() > 20 &&
           std::memcmp(reply.constData() + 8, head, 11) == 0 && reply.endsWith("}\n;");
}

struct Throughput
{
    double perSecond = 0;
    double serverCpuUs = 0; // the server process's CPU time per request
    double clientCpuUs = 0; // this process's, the clients': they share the cores with the server
    Latencies latency;
};

Throughput throughput(pid_t server, std::uint16_t port, bool echo, int clients, double seconds)
{
    std::vector<std::vector<double>> times(static_cast<std::size_t>(clients));
    std::atomic<long> errors{0};
    std::atomic<bool> go{false};
    const auto deadline = [&] {
        return Clock::now() +
               std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds));
    };
    Clock::time_point end;
    std::vector<std::thread> threads;
    for (int c = 0; c < clients; ++c) {
        threads.emplace_back([&, c] {
            Client client;
            const bool connected = client.connectTo(port);
            while (!go)
                std::this_thread::yield();
            if (!connected) {
                ++errors;
                return;
            }
            for (int id = 0; Clock::now() < end; id = (id + 1) % 1000000) {
                const QByteArray frame = WireMessage(Protocol::Live, id, QString()).data;
                const auto start = Clock::now();
                if (!client.send(frame)) {
                    ++errors;
                    return;
                }
                const QByteArray reply = client.readFrame();
                times[static_cast<std::size_t>(c)].push_back(microseconds(Clock::now() - start));
                // Every reply's head, command and id are checked; the document's members in every
                // 16th, as parsing each would cost the clients more for kvBeacon's 700-byte
                // replies than for the echo's 20 on the cores that the server shares.
                if (echo ? reply != frame
                         : (id % 16 == 0 ? !benchkit::isDocumentReply(reply, Protocol::Live, id,
                                                                      Protocol::liveKeyCount)
                                         : !isReplyTo(reply, Protocol::Live, id)))
                    ++errors;
            }
        });
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(500)); // every connection accepted
    end = deadline();
    const auto started = Clock::now();
    const long cpuBefore = ProcessFigures::of(server).cpuTicks, clientBefore = ProcessFigures::of().cpuTicks;
    go = true;
    for (std::thread &t : threads)
        t.join();
    const long cpuTicks = ProcessFigures::of(server).cpuTicks - cpuBefore;
    const long clientTicks = ProcessFigures::of().cpuTicks - clientBefore;
    const double elapsed = std::chrono::duration<double>(Clock::now() - started).count();
    std::vector<double> all;
    for (const auto &v : times)
        all.insert(all.end(), v.begin(), v.end());
    Throughput result;
    result.latency.count = static_cast<long>(all.size());
    result.latency.errors = errors;
    result.perSecond = static_cast<double>(all.size()) / elapsed;
    const auto perRequest = [&](long ticks) {
        return all.empty() ? 0
                           : 1e6 * static_cast<double>(ticks) / static_cast<double>(sysconf(_SC_CLK_TCK)) /
                                 static_cast<double>(all.size());
    };
    result.serverCpuUs = perRequest(cpuTicks);
    result.clientCpuUs = perRequest(clientTicks);
    result.latency.p50 = percentile(all, 0.50);
    result.latency.p99 = percentile(all, 0.99);
    return result;
}

void waitForThreads(pid_t pid, int atLeast)
{
    for (int i = 0; i < 200 && ProcessFigures::of(pid).threads < atLeast; ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
}

std::string ratio(double a, double b)
{
    char text[32];
    std::snprintf(text, sizeof text, "%.2f", b > 0 ? a / b : 0.0);
    return text;
}

template <typename Work> double medianMicroseconds(int perBatch, Work work)
{
    std::vector<double> batches;
    for (int batch = 0; batch < 31; ++batch) {
        const auto start = Clock::now();
        for (int i = 0; i < perBatch; ++i)
            work();
        batches.push_back(microseconds(Clock::now() - start) / perBatch);
    }
    return percentile(batches, 0.5);
}

// The sample session text with its driver list grown to `drivers` cars.
std::string sessionTextWithDrivers(const std::string &text, int drivers)
{
    const std::size_t list = text.find(" Drivers:\n");
    std::string grown = text.substr(0, list == std::string::npos ? text.size() : list);
    grown += " Drivers:\n";
    for (int i = 0; i < drivers; ++i) {
        grown += " - CarIdx: " + std::to_string(i) + "\n   UserName: Driver " + std::to_string(i) +
                 "\n   UserID: " + std::to_string(100000 + i) + "\n   CarNumber: \"" + std::to_string(i + 1) +
                 "\"\n   CarScreenName: Sample GT3\n   CarClassShortName: GT3\n   IRating: " +
                 std::to_string(1500 + 37 * i) + "\n   LicString: B 3.41\n";
    }
    return grown + "...\n";
}

volatile double sink;

void polls(const std::string &scenarioPath)
{
    std::ifstream file(scenarioPath);
    Scenario scenario;
    std::string error;
    if (!scenario.parse(file, &error)) {
        std::printf("cannot read the scenario: %s\n", error.c_str());
        return;
    }
    FakeSimulator sim(simulatorVariables(), 3, 256 * 1024);
    const std::string text = sessionTextWithDrivers(scenario.sessionText, 60);
    sim.setText(text);
    std::int32_t tick = 0;
    TelemetryClient &client = TelemetryClient::shared();
    while (!client.awaitRow(16))
        sim.nextRow(++tick);
    SessionData record;
    record.SessionNum = 1;

    const double telemetry = medianMicroseconds(2000, [&] {
        sim.nextRow(++tick); // a new row is there: the poll never waits
        sink = TelemetryPoll::run(record);
    });
    const double session = medianMicroseconds(500, [&] { SessionPoll::readSessionText(record); });
    const double live =
        medianMicroseconds(2000, [&] { sink = SessionData::documentText(record.LiveDocument()).size(); });
    const double info =
        medianMicroseconds(2000, [&] { sink = SessionData::documentText(record.InfoDocument()).size(); });

    std::printf("\n### The polls (in process, %zu variables, session text of %zu bytes with 60 drivers)\n\n",
                sim.layout.variables().size(), text.size());
    std::printf("| Work | Median (us) | Goal |\n|---|---:|---|\n");
    std::printf("| Telemetry poll: new row, 24 lookups and reads | %.2f | under 20 us |\n", telemetry);
    std::printf("| Session poll: 11 queries and their parsing | %.2f | under 200 us |\n", session);
    std::printf("| Live document: build and serialise | %.2f | |\n", live);
    std::printf("| Info document: build and serialise | %.2f | |\n", info);
    std::printf("\nThe polls' own waits (up to 16 ms for a row) are left out: with a new row there, none is "
                "taken.\n");
}

// A TcpExt counter of the whole system from /proc/net/netstat; -1 when it is not there.
long tcpExtCounter(const std::string &name)
{
    std::ifstream file("/proc/net/netstat");
    std::string names, values;
    while (std::getline(file, names) && std::getline(file, values)) {
        std::istringstream n(names), v(values);
        std::string key, value;
        while (names.compare(0, 7, "TcpExt:") == 0 && n >> key && v >> value)
            if (key == name)
                return std::atol(value.c_str());
    }
    return -1;
}

// A burst of simultaneous connections, all begun from one thread before any reply is read:
// each asks for the server's name as soon as it is connected, and its time runs from its
// connect() to the whole reply. A listen queue shorter than the burst shows as the kernel's SYN
// retries, one after the first try, then three, then seven.
int burst(const std::string &host, int connections, double seconds)
{
    Child kv;
    if (!kv.start({host, "kvbeacon"})) {
        std::printf("cannot start the benchmark's server\n");
        return 1;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(300));

    struct Connection
    {
        int fd = -1;
        Clock::time_point start;
        ReplyReader reader;
        bool sent = false;
    };
    std::vector<Connection> all(static_cast<std::size_t>(connections));
    const long overflowsBefore = tcpExtCounter("ListenOverflows");
    const long synRetriesBefore = tcpExtCounter("TCPSynRetrans");
    const int events = epoll_create1(0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(kv.port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    // The sockets are made first so that only the connects fall in the burst.
    for (Connection &c : all) {
        c.fd = socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK, 0);
        const int on = 1;
        setsockopt(c.fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    }
    long failed = 0;
    for (std::size_t i = 0; i < all.size(); ++i) {
        Connection &c = all[i];
        c.start = Clock::now();
        epoll_event event{};
        event.events = EPOLLOUT;
        event.data.u64 = i;
        if (c.fd < 0 ||
            (::connect(c.fd, reinterpret_cast<sockaddr *>(&address), sizeof address) != 0 &&
             errno != EINPROGRESS) ||
            epoll_ctl(events, EPOLL_CTL_ADD, c.fd, &event) != 0)
            ++failed;
    }
    const auto deadline =
        Clock::now() + std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds));
    std::vector<double> times;
    long wrong = 0, pending = connections - failed;
    std::vector<epoll_event> ready(256);
    while (pending > 0 && Clock::now() < deadline) {
        const int n = epoll_wait(events, ready.data(), static_cast<int>(ready.size()), 50);
        for (int k = 0; k < n; ++k) {
            const std::size_t i = ready[static_cast<std::size_t>(k)].data.u64;
            Connection &c = all[i];
            int error = 0;
            socklen_t size = sizeof error;
            getsockopt(c.fd, SOL_SOCKET, SO_ERROR, &error, &size);
            if (error != 0) {
                ++failed;
            } else if (!c.sent) {
                const QByteArray frame =
                    WireMessage(Protocol::ServerName, static_cast<int>(i), QString()).data;
                c.sent = ::send(c.fd, frame.constData(), static_cast<std::size_t>(frame.size()),
                                MSG_NOSIGNAL) == frame.size();
                epoll_event event{};
                event.events = EPOLLIN;
                event.data.u64 = i;
                epoll_ctl(events, EPOLL_CTL_MOD, c.fd, &event);
                if (c.sent)
                    continue;
                ++failed;
            } else {
                char buffer[4096];
                const ssize_t got = ::recv(c.fd, buffer, sizeof buffer, 0);
                if (got > 0)
                    c.reader.feed(QByteArray(buffer, static_cast<int>(got)));
                Reply reply;
                if (c.reader.next(reply)) {
                    times.push_back(microseconds(Clock::now() - c.start) / 1000.0);
                    const int id = static_cast<int>(i);
                    wrong += reply.frame == serverNameReply(id) ? 0 : 1;
                } else if (got > 0 || (got < 0 && errno == EAGAIN)) {
                    continue;
                } else {
                    ++failed;
                }
            }
            epoll_ctl(events, EPOLL_CTL_DEL, c.fd, nullptr);
            --pending;
        }
    }
    const long overflows = tcpExtCounter("ListenOverflows") - overflowsBefore;
    const long synRetries = tcpExtCounter("TCPSynRetrans") - synRetriesBefore;
    long withinSecond = 0;
    for (double t : times)
        withinSecond += t <= 1000.0 ? 1 : 0;
    const long replied = static_cast<long>(times.size());
    const double p50 = percentile(times, 0.50), p99 = percentile(times, 0.99);
    const double slowest = times.empty() ? 0.0 : times.back();
    for (Connection &c : all)
        if (c.fd >= 0)
            ::close(c.fd);
    ::close(events);

    std::string somaxconn = "?";
    std::ifstream("/proc/sys/net/core/somaxconn") >> somaxconn;
    std::printf("### A burst of %d simultaneous connects, one %d each (net.core.somaxconn %s)\n\n",
                connections, int(Protocol::ServerName), somaxconn.c_str());
    std::printf(
        "| Replied | Within 1 s | p50 (ms) | p99 (ms) | Max (ms) | Wrong | Failed | No reply in %.0f s | "
        "Goal |\n",
        seconds);
    std::printf("|---:|---:|---:|---:|---:|---:|---:|---:|---|\n");
    std::printf("| %ld | %ld | %.1f | %.1f | %.1f | %ld | %ld | %ld | all within 1 s |\n", replied,
                withinSecond, p50, p99, slowest, wrong, failed, pending);
    std::printf("\nMeanwhile the system counted %ld listen queue overflows and %ld SYN retransmissions "
                "(/proc/net/netstat, every process's).\n",
                overflows, synRetries);
    return 0;
}
} // namespace

// A churn of clients for the soak: connections that come and go, read both documents, send
// some garbage, and now and then leave in the middle of a frame. With a progress file, a line
// a second says how far it has come, so that the soak can read the counts while it runs.
int churn(std::uint16_t port, double seconds, const char *progressPath)
{
    const auto end =
        Clock::now() + std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds));
    // Garbage is counted apart: kvBeacon logs a line for it in its window but prints none
    // to its debug output, so the soak cannot count those lines there.
    std::atomic<long> cycles{0}, wrong{0}, headless{0}, refused{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 8; ++t)
        threads.emplace_back([&, t] {
            for (long n = 0; Clock::now() < end; ++n) {
                Client client;
                if (!client.connectTo(port)) {
                    ++refused;
                    std::this_thread::sleep_for(std::chrono::milliseconds(100));
                    continue;
                }
                for (int i = 0; i < 5; ++i) {
                    const int command = i % 2 ? Protocol::Live : Protocol::Info;
                    client.send(WireMessage(command, i, QString()).data);
                    if (!benchkit::isDocumentReply(client.readFrame(), command, i, documentKeys(command)))
                        ++wrong;
                }
                if ((n + t) % 7 == 0)
                    client.send("@000040;207;0000"); // gone in the middle of a body
                else if ((n + t) % 5 == 0 && client.send("garbage;@@;\n"))
                    ++headless;
                ++cycles;
                std::this_thread::sleep_for(std::chrono::milliseconds(20));
            }
        });
    // Two clients more: one names itself anew every few milliseconds, a name of random length
    // (a log line each, most of them shown cut; longer ones would fill the debug output that the
    // soak counts lines in by the gigabyte), the other asks for the server's name as often.
    for (const int command : {Protocol::ClientName, Protocol::ServerName})
        threads.emplace_back([&, command] {
            std::mt19937 random(static_cast<unsigned>(command));
            Client client;
            if (!client.connectTo(port)) {
                ++refused;
                return;
            }
            for (int id = 0; Clock::now() < end; id = (id + 1) % 1000000) {
                if (command == Protocol::ClientName) {
                    const int length = std::uniform_int_distribution<int>(1, 4000)(random);
                    client.send(WireMessage(command, id, QString(length, QLatin1Char('n'))).data);
                } else if (!client.send(WireMessage(command, id, QString()).data) ||
                           client.readFrame() !=
                               WireMessage(command, id, QLatin1String(Protocol::serverName)).data) {
                    ++wrong;
                }
                std::this_thread::sleep_for(std::chrono::milliseconds(5));
            }
        });
    std::FILE *progress = progressPath ? std::fopen(progressPath, "w") : nullptr;
    const auto start = Clock::now();
    const auto report = [&] {
        if (!progress)
            return;
        std::fprintf(progress,
                     "%.0f s: %ld connections, %ld wrong replies, %ld frames without a head, %ld refused\n",
                     std::chrono::duration<double>(Clock::now() - start).count(), cycles.load(), wrong.load(),
                     headless.load(), refused.load());
        std::fflush(progress);
    };
    for (auto next = start + std::chrono::seconds(1); next < end; next += std::chrono::seconds(1)) {
        std::this_thread::sleep_until(next);
        report();
    }
    for (std::thread &t : threads)
        t.join();
    report();
    if (progress)
        std::fclose(progress);
    std::printf("churn: %ld connections, %ld wrong replies\n", cycles.load(), wrong.load());
    return wrong == 0 ? 0 : 1;
}

// One client asks for its id `count` times, one request after the other: a line each in
// kvBeacon's log view and no other connection, by which the soak weighs a log line.
int askIds(std::uint16_t port, long count)
{
    Client client;
    if (!client.connectTo(port)) {
        std::printf("asked: no connection\n");
        return 1;
    }
    long wrong = 0;
    for (long i = 0; i < count; ++i) {
        const int id = int(i % 1000000);
        client.send(WireMessage(Protocol::ClientId, id, QString()).data);
        const WireMessage reply(client.readFrame());
        if (reply.command != Protocol::ClientId || reply.id != id || reply.payload.isEmpty())
            ++wrong;
    }
    std::printf("asked: %ld ids, %ld wrong replies\n", count, wrong);
    return wrong == 0 ? 0 : 1;
}

// What a driver feels: presses, freshness, start-up and footprint of the whole program.
void feel(bool quick)
{
    const driverfeel::Programs programs{KVB_KVBEACON, KVB_SIMULATOR, KVB_SAMPLE_DOCUMENTS, KVB_BARE_WINDOW,
                                        KVB_COMPANION};
    driverfeel::pressesAndFreshness(programs, quick);
    driverfeel::startUp(programs, quick);
    driverfeel::footprint(programs, quick ? 10 : 600);
}

int main(int argc, char **argv)
{
    benchkit::raiseDescriptorLimit();
    std::signal(SIGPIPE, SIG_IGN);
    if (argc > 3 && std::strcmp(argv[1], "--churn") == 0)
        return churn(static_cast<std::uint16_t>(std::atoi(argv[2])), std::atof(argv[3]),
                     argc > 4 ? argv[4] : nullptr);
    if (argc > 3 && std::strcmp(argv[1], "--ask-ids") == 0)
        return askIds(static_cast<std::uint16_t>(std::atoi(argv[2])), std::atol(argv[3]));
    const std::string host = KVB_BENCH_HOST;
    if (argc > 1 && std::strcmp(argv[1], "--burst") == 0)
        return burst(host, argc > 2 ? std::atoi(argv[2]) : 1000, 10.0);
    const bool quick = argc > 1 && std::strcmp(argv[argc - 1], "--quick") == 0;
    if (argc > 1 && std::strcmp(argv[1], "--feel") == 0) {
        feel(quick);
        return 0;
    }
    // --server: only the round trips and the throughput, for profiling the request path.
    const bool serverOnly = argc > 1 && std::strcmp(argv[1], "--server") == 0;
    const int requests = quick ? 2000 : 20000;
    const double seconds = quick ? 2.0 : 10.0;

    {
        Child kv, echo;
        if (!kv.start({host, "kvbeacon"}) || !echo.start({host, "echo"})) {
            std::printf("cannot start the benchmark's servers\n");
            return 1;
        }
        const Latencies echoTrip = roundTrips(echo.port, Protocol::Live, true, requests);
        const Latencies kvName = roundTrips(kv.port, Protocol::ServerName, false, requests);
        const Latencies kvLive = roundTrips(kv.port, Protocol::Live, false, requests);
        const Latencies kvInfo = roundTrips(kv.port, Protocol::Info, false, requests);
        std::printf("### Round trip on one connection, %d requests each (us)\n\n", requests);
        std::printf("| Request | p50 | p99 | p50 / echo | p99 / echo | Wrong replies | Goal |\n");
        std::printf("|---|---:|---:|---:|---:|---:|---|\n");
        std::printf("| Bare echo of a 20-byte frame | %.1f | %.1f | 1.00 | 1.00 | %ld | |\n", echoTrip.p50,
                    echoTrip.p99, echoTrip.errors);
        const Latencies *rows[] = {&kvName, &kvLive, &kvInfo};
        const int commands[] = {Protocol::ServerName, Protocol::Live, Protocol::Info};
        const char *names[] = {"server name", "live document", "info document"};
        for (int i = 0; i < 3; ++i)
            std::printf("| kvBeacon %d (%s) | %.1f | %.1f | %s | %s | %ld | %s |\n", commands[i], names[i],
                        rows[i]->p50, rows[i]->p99, ratio(rows[i]->p50, echoTrip.p50).c_str(),
                        ratio(rows[i]->p99, echoTrip.p99).c_str(), rows[i]->errors,
                        i == 1 ? "p50 at most 1.15 x echo" : "");

        const Throughput echoLoad = throughput(echo.pid, echo.port, true, 64, seconds);
        const Throughput kvLoad = throughput(kv.pid, kv.port, false, 64, seconds);
        std::printf("\n### Throughput: 64 clients in parallel, %.0f s each\n\n", seconds);
        std::printf("The clients run on the same two cores as the server; the CPU columns are each side's "
                    "time per request.\n\n");
        std::printf(
            "| Server | Requests/s | p50 (us) | p99 (us) | Server CPU per request (us) | Clients' CPU "
            "per request (us) | Errors | kvBeacon / echo | Goal |\n");
        std::printf("|---|---:|---:|---:|---:|---:|---:|---:|---|\n");
        std::printf("| Bare echo | %.0f | %.1f | %.1f | %.1f | %.1f | %ld | | |\n", echoLoad.perSecond,
                    echoLoad.latency.p50, echoLoad.latency.p99, echoLoad.serverCpuUs, echoLoad.clientCpuUs,
                    echoLoad.latency.errors);
        std::printf(
            "| kvBeacon %d | %.0f | %.1f | %.1f | %.1f | %.1f | %ld | %s | at least 0.8, no errors |\n",
            int(Protocol::Live), kvLoad.perSecond, kvLoad.latency.p50, kvLoad.latency.p99, kvLoad.serverCpuUs,
            kvLoad.clientCpuUs, kvLoad.latency.errors, ratio(kvLoad.perSecond, echoLoad.perSecond).c_str());
    }
    if (serverOnly)
        return 0;

    {
        Child kv;
        if (!kv.start({host, "kvbeacon"}))
            return 1;
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
        std::vector<ProcessFigures> figures;
        figures.push_back(ProcessFigures::of(kv.pid));
        const int base = figures.back().threads;
        std::vector<Client> idle(1000);
        int opened = 0;
        for (int target : {100, 1000}) {
            for (; opened < target; ++opened)
                idle[static_cast<std::size_t>(opened)].connectTo(kv.port);
            waitForThreads(kv.pid, base + target);
            std::this_thread::sleep_for(std::chrono::milliseconds(300));
            figures.push_back(ProcessFigures::of(kv.pid));
        }
        const Latencies probe = roundTrips(kv.port, Protocol::Live, false, quick ? 1000 : 5000);
        std::printf("\n### A thousand idle connections\n\n");
        std::printf("| Connections | Server resident (MB) | Server threads |\n|---:|---:|---:|\n");
        const int counts[] = {0, 100, 1000};
        for (int i = 0; i < 3; ++i)
            std::printf("| %d | %.1f | %d |\n", counts[i],
                        figures[static_cast<std::size_t>(i)].residentKb / 1024.0,
                        figures[static_cast<std::size_t>(i)].threads);
        std::printf("\nProbe client beside the 1,000 (%d, %ld requests): p50 %.1f us, p99 %.1f us, %ld wrong "
                    "replies. Goal: p99 under 5 ms, memory under 150 MB.\n",
                    int(Protocol::Live), probe.count, probe.p50, probe.p99, probe.errors);
    }

    polls(KVB_SAMPLE_SCENARIO);
    feel(quick);
    return 0;
}
