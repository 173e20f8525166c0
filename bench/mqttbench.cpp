// kvbench-mqtt: team sharing at a league's size. The publishing side of forty companions (the
// MqttLink that kvbeacon-web runs, each fed a live document ten times a second and a new info
// every five seconds) in a child process, one local Mosquitto, and two hundred subscribers to
// every car in this process. Prints, as Markdown: the latency from a companion's hub to each
// subscriber, what was lost, and what the broker and both sides cost.
#include "benchkit.h"
#include "child.h"
#include "hub.h"
#include "mqttlink.h"
#include "processfigures.h"
#include "team.h"

#include <QCoreApplication>
#include <QTemporaryDir>

#include <mosquitto.h>
#include <poll.h>

#include <atomic>
#include <cstdio>
#include <set>
#include <string_view>

namespace {
using Clock = std::chrono::steady_clock;
constexpr auto period = std::chrono::milliseconds(100);
constexpr int infoEveryTicks = 50;

long long nowNs()
{
    return std::chrono::duration_cast<std::chrono::nanoseconds>(Clock::now().time_since_epoch()).count();
}

// A live message as the hub carries it, the size of a real one, with the time it was handed over.
std::string liveMessage(long long sentNs, int seq)
{
    char text[1024];
    std::snprintf(text, sizeof text,
                  R"({"bench":%lld,"seq":%d,"fuelLapsLeft":11.4,"fuelPerLap":2.93,"live":{"AirDensity":1.17,)"
                  R"("AirPressure":29.6,"AirTemp":22.4,"DisplayUnits":1,"FogLevel":0,"FuelLevel":33.4,)"
                  R"("FuelLevelPct":0.3,"FuelUsePerHour":58.5,"IsOnTrack":true,"IsReplayPlaying":false,)"
                  R"("PlayerCarClassPosition":3,"PlayerCarIdx":12,"PlayerCarPosition":5,"RaceLaps":%d,)"
                  R"("RelativeHumidity":0.55,"SessionFlags":4,"SessionLapsRemain":22,"SessionNum":2,)"
                  R"("SessionTimeSinceStarted":%d.5,"Skies":1,"TrackTempCrew":31.2,"WeatherType":0,)"
                  R"("WindDir":2.3,"WindVel":4.2},"type":"live"})",
                  sentNs, seq, seq / 900, seq / 10);
    return text;
}

std::string infoMessage(long long sentNs, int seq)
{
    char text[512];
    std::snprintf(
        text, sizeof text,
        R"({"bench":%lld,"seq":%d,"info":{"DI.DriverCarFuelKgPerLtr":0.75,"DI.DriverCarFuelMaxLtr":110,)"
        R"("DI.DriverCarMaxFuelPct":1,"SI.SessionLaps":30,"SI.SessionNum":1,"SI.SessionTime":-1,)"
        R"("SI.SessionType":"Race","WI.Trackname":"spa"},"type":"info"})",
        sentNs, seq);
    return text;
}

long long numberAfter(std::string_view text, std::string_view key)
{
    const std::size_t at = text.find(key);
    return at == std::string_view::npos ? -1 : std::atoll(text.data() + at + key.size());
}

// The child: the companions' publishing, until the time is up; then what it sent.
int publish(int cars, int port, int seconds)
{
    std::vector<std::unique_ptr<Hub>> hubs;
    std::vector<std::unique_ptr<Team>> teams;
    std::vector<std::shared_ptr<MqttLink>> links;
    for (int i = 0; i < cars; ++i) {
        // One team each, as the cars of a league: every companion also watches its own team.
        MqttSettings settings;
        settings.url = QStringLiteral("mqtt://127.0.0.1:%1").arg(port);
        settings.team = QStringLiteral("team%1").arg(i, 2, 10, QLatin1Char('0'));
        settings.driver = QStringLiteral("driver");
        QString error;
        if (!settings.check(&error))
            return std::fprintf(stderr, "%s\n", qPrintable(error)), 1;
        hubs.push_back(std::make_unique<Hub>());
        teams.push_back(std::make_unique<Team>(settings.watch));
        links.push_back(std::make_shared<MqttLink>(settings, *teams.back()));
        if (!links.back()->start(&error))
            return std::fprintf(stderr, "%s\n", qPrintable(error)), 1;
        hubs.back()->attach(links.back());
    }
    for (const auto &link : links)
        while (!link->isConnected())
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
    std::printf("ready\n");
    std::fflush(stdout);

    // Spread over the period, as independent cars would be.
    const Clock::time_point start = Clock::now();
    long long offered = 0, infos = 0;
    for (int tick = 0; tick < seconds * 10; ++tick)
        for (int i = 0; i < cars; ++i) {
            std::this_thread::sleep_until(start + tick * period + i * period / cars);
            hubs[i]->publish(Channel::Live, liveMessage(nowNs(), tick));
            ++offered;
            if (tick % infoEveryTicks == 0) {
                hubs[i]->publish(Channel::Info, infoMessage(nowNs(), tick / infoEveryTicks));
                ++infos;
            }
        }
    long long published = 0, dropped = 0;
    for (const auto &link : links) {
        published += link->publishedLive();
        dropped += link->droppedLive();
    }
    std::printf("sent %lld %lld %lld %lld\n", offered, published, dropped, infos);
    std::fflush(stdout);
    for (const auto &link : links)
        link->stop();
    return 0;
}

// A league's overlay, say: one client that takes every car's messages.
struct Subscriber
{
    mosquitto *client = nullptr;
    std::vector<double> latenciesMs;
    long long live = 0;
    std::set<std::pair<std::string, long long>> infos;
    long long countFromNs = 0;
};

struct Usage
{
    std::vector<double> cpu;
    long maxResidentKb = 0;
    long lastTicks = -1;

    void sample(int pid, double seconds)
    {
        const ProcessFigures figures = ProcessFigures::of(pid);
        if (lastTicks >= 0)
            cpu.push_back(100.0 * (figures.cpuTicks - lastTicks) / sysconf(_SC_CLK_TCK) / seconds);
        lastTicks = figures.cpuTicks;
        maxResidentKb = std::max(maxResidentKb, figures.residentKb);
    }
    QString row(const char *name, const QString &label, int per = 1)
    {
        std::vector<double> copy = cpu;
        const double median = benchkit::percentile(copy, 0.5), top = benchkit::percentile(copy, 1.0);
        return QStringLiteral("| %1 (%5) | %2 | %3 | %4 |")
            .arg(QLatin1String(name))
            .arg(median / per, 0, 'f', 1)
            .arg(top / per, 0, 'f', 1)
            .arg(maxResidentKb / 1024.0 / per, 0, 'f', 1)
            .arg(label);
    }
};

// One run's lines of the report's three tables; empty when the run could not be made.
struct Rows
{
    QString latency, messages, cost;
};

Rows measure(int cars, int subscribers, int seconds, bool nodelay)
{
    QTemporaryDir dir;
    const std::uint16_t port = benchkit::freePort();
    QFile config(dir.filePath(QStringLiteral("mosquitto.conf")));
    if (!config.open(QIODevice::WriteOnly) ||
        config.write(QByteArray::fromStdString(benchkit::mosquittoConfig(port, nodelay))) <= 0)
        return {};
    config.close();
    Child broker;
    if (!broker.start({"/usr/sbin/mosquitto", "-c", config.fileName().toStdString()}, {}, false))
        return std::fprintf(stderr, "kvbench-mqtt: cannot start /usr/sbin/mosquitto\n"), Rows();
    std::this_thread::sleep_for(std::chrono::milliseconds(500));

    mosquitto_lib_init();
    std::vector<Subscriber> subs(subscribers);
    const long long warmUpEnds = nowNs() + 2'000'000'000LL;
    for (Subscriber &sub : subs) {
        sub.latenciesMs.reserve(static_cast<std::size_t>(cars) * 10 * seconds);
        sub.countFromNs = warmUpEnds;
        sub.client = mosquitto_new(nullptr, true, &sub);
        mosquitto_message_callback_set(
            sub.client, [](mosquitto *, void *self, const mosquitto_message *message) {
                const long long at = nowNs();
                auto *me = static_cast<Subscriber *>(self);
                const std::string_view topic(message->topic);
                const std::string_view text(static_cast<const char *>(message->payload), message->payloadlen);
                const long long sent = numberAfter(text, "\"bench\":");
                if (sent < 0)
                    return;
                if (topic.size() > 5 && topic.substr(topic.size() - 5) == "/live") {
                    ++me->live;
                    if (sent >= me->countFromNs)
                        me->latenciesMs.push_back((at - sent) / 1e6);
                } else if (topic.size() > 5 && topic.substr(topic.size() - 5) == "/info") {
                    me->infos.emplace(std::string(topic), numberAfter(text, "\"seq\":"));
                }
            });
        if (mosquitto_connect(sub.client, "127.0.0.1", port, 60) != MOSQ_ERR_SUCCESS ||
            mosquitto_subscribe(sub.client, nullptr, "kvbeacon/#", 1) != MOSQ_ERR_SUCCESS)
            return std::fprintf(stderr, "kvbench-mqtt: a subscriber could not connect\n"), Rows();
    }
    // Two threads, one a core, serve all of them, as a process would that holds many clients: a
    // thread each would measure this machine's scheduler more than the broker.
    std::atomic<bool> stopping{false};
    std::vector<std::thread> loops;
    for (int part = 0; part < 2; ++part)
        loops.emplace_back([&, part] {
            std::vector<mosquitto *> clients;
            for (std::size_t i = part; i < subs.size(); i += 2)
                clients.push_back(subs[i].client);
            std::vector<pollfd> fds(clients.size());
            while (!stopping) {
                for (std::size_t i = 0; i < clients.size(); ++i)
                    fds[i] = {mosquitto_socket(clients[i]),
                              static_cast<short>(POLLIN | (mosquitto_want_write(clients[i]) ? POLLOUT : 0)),
                              0};
                if (poll(fds.data(), fds.size(), 100) <= 0)
                    continue;
                for (std::size_t i = 0; i < clients.size(); ++i) {
                    if (fds[i].revents & POLLIN)
                        mosquitto_loop_read(clients[i], 1);
                    if (fds[i].revents & POLLOUT)
                        mosquitto_loop_write(clients[i], 1);
                }
            }
        });
    // Time for every subscription to be taken.
    std::this_thread::sleep_for(std::chrono::seconds(1));

    std::atomic<bool> ready{false};
    std::mutex mutex;
    std::string totals;
    Child publishers;
    publishers.onLine = [&](const std::string &line) {
        if (line == "ready")
            ready = true;
        if (line.rfind("sent ", 0) == 0) {
            std::lock_guard<std::mutex> lock(mutex);
            totals = line;
        }
    };
    char self[4096] = {};
    if (readlink("/proc/self/exe", self, sizeof self - 1) <= 0 ||
        !publishers.start(
            {self, "--publish", std::to_string(cars), std::to_string(port), std::to_string(seconds)}, {},
            false))
        return {};
    const Clock::time_point deadline = Clock::now() + std::chrono::seconds(30);
    while (!ready && Clock::now() < deadline)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    if (!ready)
        return std::fprintf(stderr, "kvbench-mqtt: the companions did not reach the broker\n"), Rows();

    Usage brokerUse, publisherUse, subscriberUse;
    const auto sampleAll = [&] {
        brokerUse.sample(broker.pid, 1.0);
        publisherUse.sample(publishers.pid, 1.0);
        subscriberUse.sample(0, 1.0);
    };
    sampleAll();
    while (true) {
        std::this_thread::sleep_for(std::chrono::seconds(1));
        {
            std::lock_guard<std::mutex> lock(mutex);
            if (!totals.empty())
                break;
        }
        sampleAll();
    }
    // The last samples are still on their way.
    std::this_thread::sleep_for(std::chrono::seconds(1));
    stopping = true;
    for (std::thread &loop : loops)
        loop.join();
    for (Subscriber &sub : subs)
        mosquitto_destroy(sub.client);
    publishers.stop();
    broker.stop();

    long long offered = 0, published = 0, dropped = 0, infos = 0;
    std::sscanf(totals.c_str(), "sent %lld %lld %lld %lld", &offered, &published, &dropped, &infos);
    std::vector<double> latencies;
    long long liveReceived = 0, infoReceived = 0;
    for (Subscriber &sub : subs) {
        latencies.insert(latencies.end(), sub.latenciesMs.begin(), sub.latenciesMs.end());
        liveReceived += sub.live;
        infoReceived += static_cast<long long>(sub.infos.size());
    }
    const double p50 = benchkit::percentile(latencies, 0.5), p99 = benchkit::percentile(latencies, 0.99),
                 top = benchkit::percentile(latencies, 1.0);
    const QString label = QLatin1String(nodelay ? "set_tcp_nodelay true" : "Mosquitto as shipped");
    Rows rows;
    rows.latency = QStringLiteral("| %1 | %2 | %3 | %4 | %5 |")
                       .arg(label)
                       .arg(p50, 0, 'f', 2)
                       .arg(p99, 0, 'f', 2)
                       .arg(top, 0, 'f', 2)
                       .arg(latencies.size());
    rows.messages =
        QStringLiteral("| %1, live (QoS 0) | %2 (of %3 offered; %4 dropped by the links) | %5 | %6 | %7 |\n"
                       "| %1, info (QoS 1) | %8 | %9 | %10 | %11 |")
            .arg(label)
            .arg(published)
            .arg(offered)
            .arg(dropped)
            .arg(published * subscribers)
            .arg(liveReceived)
            .arg(published * subscribers - liveReceived)
            .arg(infos)
            .arg(infos * subscribers)
            .arg(infoReceived)
            .arg(infos * subscribers - infoReceived);
    rows.cost = QStringList{brokerUse.row("Mosquitto", label),
                            publisherUse.row("the 40 companions' publishing", label),
                            publisherUse.row("a fortieth of that, one companion's share", label, cars),
                            subscriberUse.row("the 200 subscribers", label)}
                    .join(QLatin1Char('\n'));
    return rows;
}
} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    const QStringList args = app.arguments();
    if (args.value(1) == QLatin1String("--publish"))
        return publish(args.value(2).toInt(), args.value(3).toInt(), args.value(4).toInt());
    benchkit::raiseDescriptorLimit();
    const int cars = 40, subscribers = 200, seconds = args.contains(QStringLiteral("--quick")) ? 8 : 60;
    const Rows shipped = measure(cars, subscribers, seconds, false);
    const Rows nodelay = measure(cars, subscribers, seconds, true);
    if (shipped.latency.isEmpty() || nodelay.latency.isEmpty())
        return 1;
    std::printf("### Team sharing through one Mosquitto: %d companions at 10 Hz to %d subscribers, %d s\n\n"
                "Plain MQTT on loopback, broker and both sides on this machine; live at QoS 0, info at\n"
                "QoS 1 and retained, every subscriber on `kvbeacon/#`, served by two threads. Latency runs\n"
                "from a companion's hub handing a sample to its MQTT link to a subscriber's callback, the\n"
                "first 2 s left out. Once with Mosquitto's settings as Debian ships them (Nagle's algorithm\n"
                "on towards the subscribers), once with `set_tcp_nodelay true`. With Nagle's algorithm the\n"
                "broker gathers a subscriber's messages into fewer segments, at the price of waits of up to\n"
                "40 ms for delayed ACKs; without it every message is a segment of its own, which costs the\n"
                "broker and the subscribers more CPU. Goal: p99 under 50 ms.\n\n",
                cars, subscribers, seconds);
    std::printf(
        "| Live, hub to subscriber (ms) | p50 | p99 | max | samples |\n|---|---|---|---|---|\n%s\n%s\n\n",
        qPrintable(shipped.latency), qPrintable(nodelay.latency));
    std::printf("| Messages | sent by the companions | due at the subscribers | received | lost (goal for "
                "info: none) |\n|---|---|---|---|---|\n%s\n%s\n\n",
                qPrintable(shipped.messages), qPrintable(nodelay.messages));
    std::printf("| Cost, 1 s samples | CPU median (%% of a core) | CPU max | resident max (MB) |\n"
                "|---|---|---|---|\n%s\n%s\n",
                qPrintable(shipped.cost), qPrintable(nodelay.cost));
    return 0;
}
