#include "driverfeel.h"

#include "benchkit.h"
#include "blockingclient.h"
#include "child.h"
#include "processfigures.h"
#include "protocol.h"
#include "simcommands.h"
#include "wiremessage.h"

#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>

#include <X11/Xlib.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <ctime>
#include <deque>
#include <fstream>
#include <memory>
#include <mutex>
#include <random>
#include <sys/stat.h>
#include <thread>

namespace driverfeel {
namespace {
using Clock = std::chrono::steady_clock;
using benchkit::percentile;

// The stand-in stamps its lines with this same clock.
double nowSeconds()
{
    return std::chrono::duration<double>(Clock::now().time_since_epoch()).count();
}

void sleepMs(double ms)
{
    std::this_thread::sleep_for(std::chrono::duration<double, std::milli>(ms));
}

// The stand-in's stamped lines, as they come.
class Stamps
{
public:
    void add(const std::string &line)
    {
        const std::size_t at = line.rfind(" at=");
        if (at == std::string::npos)
            return;
        std::lock_guard<std::mutex> lock(mutex);
        lines.emplace_back(line.substr(0, at), std::atof(line.c_str() + at + 4));
        arrived.notify_all();
    }
    // The stamp of the first line that starts with `prefix`, dropping it and every line before
    // it; -1 when none comes within `ms`.
    double take(const std::string &prefix, int ms)
    {
        std::unique_lock<std::mutex> lock(mutex);
        const auto deadline = Clock::now() + std::chrono::milliseconds(ms);
        for (;;) {
            while (!lines.empty()) {
                const auto line = lines.front();
                lines.pop_front();
                if (line.first.compare(0, prefix.size(), prefix) == 0)
                    return line.second;
            }
            if (arrived.wait_until(lock, deadline) == std::cv_status::timeout && lines.empty())
                return -1;
        }
    }

    // Drops the lines so far: a late event of one press is never taken for the next one's.
    void clear()
    {
        std::lock_guard<std::mutex> lock(mutex);
        lines.clear();
    }

private:
    std::mutex mutex;
    std::condition_variable arrived;
    std::deque<std::pair<std::string, double>> lines;
};

// A settings folder of its own for one run of the program.
class AppHome
{
public:
    AppHome(std::uint16_t port, bool autoStart, const std::string &documents)
    {
        char name[] = "/tmp/kvbench-home-XXXXXX";
        if (mkdtemp(name))
            path = name;
        std::system(("mkdir -p '" + path + "/.local/share/kvbeacon'").c_str());
        std::ofstream ini(path + "/.local/share/kvbeacon/kvbeacon.ini");
        ini << "[main]\nautostartserver=" << (autoStart ? "true" : "false") << "\nport=" << port
            << "\n[paths]\niracingdocument=" << documents << "\n";
    }
    ~AppHome() { std::system(("rm -rf '" + path + "'").c_str()); }
    std::vector<std::string> environment() const { return {"HOME=" + path, "XDG_DATA_HOME="}; }

private:
    std::string path;
};

bool accepts(std::uint16_t port)
{
    BlockingClient probe;
    return probe.connectTo(port);
}

bool waitUntilAccepting(std::uint16_t port, int ms)
{
    for (int waited = 0; waited < ms; waited += 10, sleepMs(10))
        if (accepts(port))
            return true;
    return false;
}

struct Figures
{
    double p50 = 0, p99 = 0, max = 0, mean = 0;
    long count = 0, lost = 0;
};

Figures figuresOf(std::vector<double> values, long lost = 0)
{
    Figures f;
    f.count = static_cast<long>(values.size());
    f.lost = lost;
    for (double v : values)
        f.mean += v / static_cast<double>(values.size());
    f.p50 = percentile(values, 0.50);
    f.p99 = percentile(values, 0.99);
    f.max = values.empty() ? 0 : values.back();
    return f;
}

void printRow(const std::string &what, const Figures &f, const std::string &limit, const std::string &goal)
{
    std::printf("| %s | %ld | %.3f | %.3f | %.3f | %ld | %s | %s |\n", what.c_str(), f.count, f.p50, f.p99,
                f.max, f.lost, limit.c_str(), goal.c_str());
}

// One kind of press, `presses` times, with pauses of 1 to 5 ms between them so that they fall
// anywhere in the program's poll cycles. `press` sends it and gives the sending time; the time
// runs to the stand-in's stamp of what reached its window.
template <typename Press>
Figures pressTimes(Stamps &stamps, int presses, bool key, std::mt19937 &random, Press press)
{
    std::uniform_real_distribution<double> pause(1.0, 5.0);
    std::vector<double> times;
    long lost = 0;
    for (int i = 0; i < presses; ++i) {
        const int macro = i % Protocol::chatMacroCount;
        stamps.clear();
        const double sent = press(macro);
        const double arrived =
            stamps.take(key ? "key down" : "broadcast msg=8 var1=0 var2=" + std::to_string(macro), 1000);
        if (key)
            stamps.take("key up", 1000);
        if (arrived < sent) // none within a second, or one stamped before the press went out
            ++lost;
        else
            times.push_back((arrived - sent) * 1000.0);
        sleepMs(pause(random));
    }
    return figuresOf(times, lost);
}

// Presses through kvBeacon on one connection; the reply is read before the next press.
Figures pressesThroughServer(BlockingClient &client, Stamps &stamps, int command, int presses,
                             std::mt19937 &random)
{
    int id = 0;
    return pressTimes(stamps, presses, command == Protocol::PressKey, random, [&](int macro) {
        const QString argument =
            command == Protocol::ChatMacro ? QString::number(macro + 1) : QStringLiteral("112");
        const QByteArray frame = WireMessage(command, ++id, argument).data;
        const double sent = nowSeconds();
        client.send(frame);
        client.readFrame(1000);
        return sent;
    });
}

// The same events sent from this process, with kvBeacon's own simulator commands: no server,
// no connection thread, no hop to a main thread.
Figures pressesDirect(Stamps &stamps, int command, int presses, std::mt19937 &random)
{
    return pressTimes(stamps, presses, command == Protocol::PressKey, random, [&](int macro) {
        const double sent = nowSeconds();
        if (command == Protocol::ChatMacro) {
            SimCommands::chat(true, macro);
        } else {
            SimCommands::key(true, 112);
        }
        return sent;
    });
}

// The JSON document of a live or info reply frame.
QJsonObject documentOf(const QByteArray &frame)
{
    const int from = frame.indexOf('{'), to = frame.lastIndexOf('}');
    return from < 0 || to < from ? QJsonObject()
                                 : QJsonDocument::fromJson(frame.mid(from, to - from + 1)).object();
}

// Whether kvbeacon-web on `port` serves a live document whose session time moves.
bool movingLive(std::uint16_t port)
{
    const auto sessionTime = [port] {
        BlockingClient http;
        if (!http.connectTo(port) || !http.send("GET /api/live HTTP/1.0\r\n\r\n"))
            return -1.0;
        // Until the server closes, or 2 s of silence.
        QByteArray answer;
        for (QByteArray piece = http.receive(2000); !piece.isEmpty(); piece = http.receive(2000))
            answer += piece;
        return documentOf(answer)["live"].toObject()["SessionTimeSinceStarted"].toDouble(-1);
    };
    const double first = sessionTime();
    sleepMs(500);
    return first >= 0 && sessionTime() > first;
}

// The age of the live document's values when they arrive: the stand-in writes its clock into
// every row's SessionTime, which the document carries as SessionTimeSinceStarted.
Figures liveAges(BlockingClient &client, int samples, std::mt19937 &random)
{
    std::uniform_real_distribution<double> pause(0.0, 20.0);
    std::vector<double> ages;
    long wrong = 0;
    for (int id = 1; id <= samples; ++id) {
        client.send(WireMessage(Protocol::Live, id, QString()).data);
        const QByteArray frame = client.readFrame(1000);
        const double received = nowSeconds();
        const double written =
            documentOf(frame).value(QStringLiteral("SessionTimeSinceStarted")).toDouble(-1);
        if (written <= 0)
            ++wrong;
        else
            ages.push_back((received - written) * 1000.0);
        sleepMs(pause(random));
    }
    return figuresOf(ages, wrong);
}

// How long a change of the session text takes to reach a client's info document: the stand-in
// changes the track name at a random moment and stamps it; a client asks every 2 ms.
Figures infoAges(Child &standIn, Stamps &stamps, BlockingClient &client, int changes, std::mt19937 &random)
{
    std::uniform_real_distribution<double> pause(300.0, 1300.0);
    std::vector<double> ages;
    long lost = 0;
    int id = 0;
    for (int change = 1; change <= changes; ++change) {
        sleepMs(pause(random));
        const std::string track = "bench_track_" + std::to_string(change);
        standIn.send("track " + track);
        const double changed = stamps.take("track " + track, 1000);
        double seen = -1;
        const auto deadline = Clock::now() + std::chrono::seconds(3);
        while (seen < 0 && Clock::now() < deadline) {
            client.send(WireMessage(Protocol::Info, ++id, QString()).data);
            const QByteArray frame = client.readFrame(1000);
            const QJsonValue shown = documentOf(frame).value(QLatin1String(Protocol::InfoKey::TrackName));
            if (shown.toString().toStdString() == track)
                seen = nowSeconds();
            else
                sleepMs(2);
        }
        if (changed < 0 || seen < 0)
            ++lost;
        else
            ages.push_back((seen - changed) * 1000.0);
    }
    return figuresOf(ages, lost);
}

// 64 clients asking for the live document as fast as the server answers, until `stop`.
std::vector<std::thread> hammer(std::uint16_t port, std::atomic<bool> &stop, std::atomic<long> &requests)
{
    std::vector<std::thread> clients;
    for (int c = 0; c < 64; ++c)
        clients.emplace_back([&, port] {
            BlockingClient client;
            if (!client.connectTo(port))
                return;
            for (int id = 0; !stop; id = (id + 1) % 1000000) {
                client.send(WireMessage(Protocol::Live, id, QString()).data);
                if (!client.readFrame(2000).isEmpty())
                    ++requests;
            }
        });
    return clients;
}

// A viewable top-level window titled `title` on the display.
bool windowShown(Display *display, const char *title)
{
    Window root, parent, *children = nullptr;
    unsigned int count = 0;
    if (!XQueryTree(display, DefaultRootWindow(display), &root, &parent, &children, &count))
        return false;
    bool shown = false;
    for (unsigned int i = 0; i < count && !shown; ++i) {
        char *name = nullptr;
        XWindowAttributes attributes;
        if (XFetchName(display, children[i], &name) && name) {
            shown = std::string(name) == title && XGetWindowAttributes(display, children[i], &attributes) &&
                    attributes.map_state == IsViewable;
            XFree(name);
        }
    }
    if (children)
        XFree(children);
    return shown;
}

bool dropPageCache()
{
    sync();
    std::ofstream drop("/proc/sys/vm/drop_caches");
    drop << "3\n";
    drop.flush();
    return drop.good();
}

// CPU time of a process, all its threads together, those that have ended included, in
// nanoseconds; -1 when it cannot be read.
double cpuNanoseconds(pid_t pid)
{
    clockid_t clock;
    timespec t{};
    if (clock_getcpuclockid(pid, &clock) != 0 || clock_gettime(clock, &t) != 0)
        return -1;
    return static_cast<double>(t.tv_sec) * 1e9 + static_cast<double>(t.tv_nsec);
}

// The stand-in with stamped lines and its window, for the press and freshness figures.
bool startStandIn(Child &standIn, const std::shared_ptr<Stamps> &stamps, const Programs &programs)
{
    standIn.onLine = [stamps](const std::string &line) { stamps->add(line); };
    return standIn.start({programs.simulator, "--rate", "60", "--stamp"}, {}, false, true) &&
           stamps->take("window opened", 5000) >= 0;
}
} // namespace

void pressesAndFreshness(const Programs &programs, bool quick)
{
    std::printf("\n### What a driver feels: press to simulator and the age of the data\n\n");
    if (!std::getenv("DISPLAY")) {
        std::printf("No display: skipped (scripts/bench starts an Xvfb for it).\n");
        return;
    }
    const int presses = quick ? 100 : 1000;
    std::mt19937 random(7);
    auto stamps = std::make_shared<Stamps>();
    Child standIn;
    if (!startStandIn(standIn, stamps, programs)) {
        std::printf("cannot start the simulator stand-in with its window\n");
        return;
    }
    const std::uint16_t port = benchkit::freePort();
    AppHome home(port, true, programs.documents);
    Child app;
    app.start({programs.kvbeacon}, home.environment(), false);
    // The first session poll finds the simulator a second after start, the auto-start listens
    // after another; the focus is seen by the next session poll.
    standIn.send("focus");
    if (!waitUntilAccepting(port, 10000) || stamps->take("focused", 2000) < 0) {
        std::printf("kvBeacon did not start listening, or the stand-in's window took no focus\n");
        return;
    }
    sleepMs(1500);

    // Freshness first: every disconnect pauses publishing until the next connect.
    BlockingClient reader;
    reader.connectTo(port);
    sleepMs(300);
    const Figures live = liveAges(reader, quick ? 200 : 2000, random);
    const Figures info = infoAges(standIn, *stamps, reader, quick ? 4 : 30, random);

    BlockingClient presser;
    presser.connectTo(port);
    const Figures chatIdle = pressesThroughServer(presser, *stamps, Protocol::ChatMacro, presses, random);
    const Figures keyIdle = pressesThroughServer(presser, *stamps, Protocol::PressKey, presses, random);
    const Figures chatBare = pressesDirect(*stamps, Protocol::ChatMacro, presses, random);
    const Figures keyBare = pressesDirect(*stamps, Protocol::PressKey, presses, random);

    std::atomic<bool> stop{false};
    std::atomic<long> requests{0};
    std::vector<std::thread> load = hammer(port, stop, requests);
    sleepMs(500);
    const long before = requests;
    const auto loadStart = Clock::now();
    const Figures chatLoaded = pressesThroughServer(presser, *stamps, Protocol::ChatMacro, presses, random);
    const Figures keyLoaded = pressesThroughServer(presser, *stamps, Protocol::PressKey, presses, random);
    const double loadRate = static_cast<double>(requests - before) /
                            std::chrono::duration<double>(Clock::now() - loadStart).count();
    stop = true;
    for (std::thread &t : load)
        t.join();
    app.stop();
    standIn.stop();

    std::printf("kvBeacon (the whole program, release build) and the simulator stand-in at 60 rows a "
                "second under Xvfb. A press runs from the client's send to the stand-in's stamp of the "
                "event reaching its window; the stand-in stamps with the same monotonic clock. Times in "
                "ms.\n\n");
    // The rows name the requests by their numbers.
    const std::string chat = std::to_string(Protocol::ChatMacro), key = std::to_string(Protocol::PressKey);
    const std::string underLoad = ", 64 clients asking for " + std::to_string(Protocol::Live);
    std::printf("| What | Count | p50 | p99 | Max | Lost | Limit | Goal |\n");
    std::printf("|---|---:|---:|---:|---:|---:|---|---|\n");
    printRow("Bare X11 client: broadcast (no server between)", chatBare, "", "");
    printRow(chat + " to broadcast, idle", chatIdle, "the bare client's broadcast", "p99 under 2 ms");
    printRow("Bare X11 client: key (no server between)", keyBare, "", "");
    printRow(key + " to key down, idle", keyIdle, "the bare client's key", "p99 under 2 ms");
    char loadNote[96];
    std::snprintf(loadNote, sizeof loadNote, " (%.0f requests/s meanwhile)", loadRate);
    printRow(chat + " to broadcast" + underLoad + loadNote, chatLoaded, "", "p99 under 10 ms");
    printRow(key + " to key down" + underLoad, keyLoaded, "", "p99 under 10 ms");
    printRow("Live document: age of its values on arrival", live, "0 to 100 (one poll period)",
             "p99 under 120 ms");
    printRow("Info document: a session text change until a client sees it", info,
             "up to 1,100 (session poll 1 s, then a publish)", "");
    std::printf("\nLost counts presses whose event never reached the window within a second, and "
                "documents without the value looked for.\n");
}

void startUp(const Programs &programs, bool quick)
{
    std::printf("\n### Start-up: from process start to the server listening and the window shown\n\n");
    const char *displayName = std::getenv("DISPLAY");
    Display *display = displayName ? XOpenDisplay(nullptr) : nullptr;
    if (!display) {
        std::printf("No display: skipped (scripts/bench starts an Xvfb for it).\n");
        return;
    }
    // A window that goes while it is looked at is no reason to end the benchmark.
    XSetErrorHandler([](Display *, XErrorEvent *) { return 0; });
    auto stamps = std::make_shared<Stamps>();
    Child standIn;
    startStandIn(standIn, stamps, programs);

    struct Run
    {
        double listening = -1, shown = -1;
    };
    // One start of `program` until its window titled `title` is shown and, if it `listens`, its
    // server accepts.
    auto once = [&](const std::string &program, const char *title, bool listens, bool cold) {
        const std::uint16_t port = benchkit::freePort();
        AppHome home(port, true, programs.documents);
        if (cold)
            dropPageCache();
        Run run;
        if (!listens)
            run.listening = 0; // nothing to wait for
        Child app;
        const auto started = Clock::now();
        app.start({program}, home.environment(), false);
        while ((run.listening < 0 || run.shown < 0) && Clock::now() - started < std::chrono::seconds(10)) {
            const double at = std::chrono::duration<double, std::milli>(Clock::now() - started).count();
            if (run.shown < 0 && windowShown(display, title))
                run.shown = at;
            if (run.listening < 0 && accepts(port))
                run.listening = at;
            sleepMs(1);
        }
        app.stop();
        return run;
    };
    const bool canDrop = dropPageCache();
    // A start that neither listens nor shows within ten seconds counts as failed, not as a time.
    std::vector<double> coldListen, coldShown, warmListen, warmShown;
    long coldFailed = 0, warmFailed = 0;
    const auto add = [](const Run &run, std::vector<double> &listen, std::vector<double> &shown,
                        long &failed) {
        if (run.listening < 0 || run.shown < 0) {
            ++failed;
            return;
        }
        listen.push_back(run.listening);
        shown.push_back(run.shown);
    };
    if (canDrop)
        for (int i = 0; i < (quick ? 1 : 3); ++i)
            add(once(programs.kvbeacon, "kvBeacon", true, true), coldListen, coldShown, coldFailed);
    once(programs.kvbeacon, "kvBeacon", true,
         false); // what the cold runs left in the cache is the warm start's
    for (int i = 0; i < (quick ? 2 : 7); ++i)
        add(once(programs.kvbeacon, "kvBeacon", true, false), warmListen, warmShown, warmFailed);
    // The limit for the window: a bare Qt Widgets window started the same way, warm.
    std::vector<double> bareListen, bareShown;
    long bareFailed = 0;
    once(programs.bareWindow, "bare window", false, false); // the cache gets what it alone loads
    for (int i = 0; i < (quick ? 2 : 7); ++i)
        add(once(programs.bareWindow, "bare window", false, false), bareListen, bareShown, bareFailed);
    standIn.stop();
    XCloseDisplay(display);

    std::printf("Cold: the page cache dropped before each start (%s). Listening is the first accepted "
                "connect, tried every millisecond; shown is the window viewable on the X server. The "
                "auto-start waits one second after the window is made. Times in ms.\n\n",
                canDrop ? "as root" : "not possible here: no cold runs");
    std::printf(
        "| Start | Runs | Failed | Listening, median | Listening, max | Listening less the 1 s wait, max | "
        "Shown, median | Shown, max | Goal |\n");
    std::printf("|---|---:|---:|---:|---:|---:|---:|---:|---|\n");
    auto row = [](const char *what, std::vector<double> listen, std::vector<double> shown, long failed) {
        if (listen.empty() && failed == 0)
            return;
        const Figures l = figuresOf(listen), s = figuresOf(shown);
        std::printf(
            "| %s | %ld | %ld | %.0f | %.0f | %.0f | %.0f | %.0f | listening under 1.5 s after the 1 s "
            "wait, shown under 500 ms |\n",
            what, l.count + failed, failed, l.p50, l.max, l.max - 1000.0, s.p50, s.max);
    };
    row("Cold", coldListen, coldShown, coldFailed);
    row("Warm", warmListen, warmShown, warmFailed);
    const Figures bare = figuresOf(bareShown);
    std::printf("| The limit: a bare Qt Widgets window, warm | %ld | %ld | | | | %.0f | %.0f | |\n",
                bare.count + bareFailed, bareFailed, bare.p50, bare.max);
}

void footprint(const Programs &programs, int seconds)
{
    std::printf("\n### Footprint of the whole program beside the stand-in (60 rows/s)\n\n");
    if (!std::getenv("DISPLAY")) {
        std::printf("No display: skipped (scripts/bench starts an Xvfb for it).\n");
        return;
    }
    Child standIn;
    if (!standIn.start({programs.simulator, "--rate", "60"}, {}, false)) {
        std::printf("cannot start the simulator stand-in\n");
        return;
    }
    sleepMs(500);

    struct Sampled
    {
        Figures cpu, resident, anonymous;
        double cpuMean = 0;
        bool live = true; // for a companion: its documents moved, and it reached its broker
    };
    // With `companion` (kvbeacon-web and its options) the figures are the companion's, reading
    // the program that runs beside it; without, the program's own.
    auto measure = [&](const std::string &program, bool serverRunning, int span,
                       std::vector<std::string> companion = {}) {
        const std::uint16_t port = benchkit::freePort();
        AppHome home(port, serverRunning, programs.documents);
        Child app, web;
        std::atomic<bool> brokerConnected{false};
        app.start({program}, home.environment(), false);
        sleepMs(3000); // window up, simulator found, server started
        const std::uint16_t webPort = benchkit::freePort();
        if (!companion.empty()) {
            companion.insert(companion.end(), {"--beacon", "127.0.0.1:" + std::to_string(port), "--port",
                                               std::to_string(webPort)});
            web.onLine = [&](const std::string &line) {
                brokerConnected =
                    brokerConnected || line.find("Connected to the broker") != std::string::npos;
            };
            web.start(companion, home.environment(), false);
            sleepMs(2000);
        }
        const pid_t measured = companion.empty() ? app.pid : web.pid;

        std::atomic<bool> stop{false};
        std::atomic<long> errors{0};
        std::vector<std::thread> clients;
        for (int c = 0; serverRunning && c < 4; ++c)
            clients.emplace_back([&] {
                BlockingClient client;
                if (!client.connectTo(port)) {
                    ++errors;
                    return;
                }
                int id = 0;
                auto next = Clock::now();
                while (!stop) {
                    for (int command : {Protocol::Live, Protocol::Info}) {
                        client.send(WireMessage(command, ++id, QString()).data);
                        if (!benchkit::isDocumentReply(client.readFrame(), command, id,
                                                       command == Protocol::Live ? Protocol::liveKeyCount
                                                                                 : Protocol::infoKeyCount))
                            ++errors;
                    }
                    next += std::chrono::milliseconds(100);
                    std::this_thread::sleep_until(next);
                }
            });
        sleepMs(2000);
        std::vector<double> cpu, resident, anonymous;
        const double firstCpu = cpuNanoseconds(measured);
        double lastCpu = firstCpu;
        const auto started = Clock::now();
        auto lastAt = started;
        for (int s = 1; s <= span; ++s) {
            std::this_thread::sleep_until(started + std::chrono::seconds(s));
            const auto at = Clock::now();
            const double nowCpu = cpuNanoseconds(measured);
            cpu.push_back(100.0 * (nowCpu - lastCpu) /
                          std::chrono::duration<double, std::nano>(at - lastAt).count());
            const ProcessFigures figures = ProcessFigures::of(measured);
            resident.push_back(static_cast<double>(figures.residentKb) / 1024.0);
            anonymous.push_back(static_cast<double>(figures.anonymousKb) / 1024.0);
            lastCpu = nowCpu;
            lastAt = at;
        }
        Sampled result;
        // A companion that never went live would have been measured idle. Asked before the
        // clients leave, since a client's leaving pauses kvBeacon's publishing.
        const bool sharing = std::find(companion.begin(), companion.end(), "--mqtt") != companion.end();
        result.live = companion.empty() || (movingLive(webPort) && (!sharing || brokerConnected));
        result.cpuMean =
            100.0 * (lastCpu - firstCpu) / std::chrono::duration<double, std::nano>(lastAt - started).count();
        stop = true;
        for (std::thread &t : clients)
            t.join();
        result.cpu = figuresOf(cpu, errors);
        result.resident = figuresOf(resident);
        result.anonymous = figuresOf(anonymous);
        web.stop();
        app.stop();
        return result;
    };
    const Sampled serving = measure(programs.kvbeacon, true, seconds);
    const Sampled idle = measure(programs.kvbeacon, false, std::min(seconds, 60));
    const Sampled bare = measure(programs.bareWindow, false, std::min(seconds, 60));
    const Sampled reading = measure(programs.kvbeacon, true, std::min(seconds, 60), {programs.companion});
    Sampled sharing;
    QTemporaryDir brokerDir;
    const std::uint16_t brokerPort = benchkit::freePort();
    QFile brokerConfig(brokerDir.filePath(QStringLiteral("mosquitto.conf")));
    Child broker;
    const bool brokerUp =
        brokerConfig.open(QIODevice::WriteOnly) &&
        brokerConfig.write(QByteArray::fromStdString(benchkit::mosquittoConfig(brokerPort, false))) > 0 &&
        brokerConfig.flush() &&
        broker.start({"/usr/sbin/mosquitto", "-c", brokerConfig.fileName().toStdString()}, {}, false);
    if (brokerUp) {
        sleepMs(500);
        sharing = measure(programs.kvbeacon, true, std::min(seconds, 60),
                          {programs.companion, "--mqtt", "mqtt://127.0.0.1:" + std::to_string(brokerPort),
                           "--team", "bench", "--driver", "ann"});
        broker.stop();
    }
    standIn.stop();

    std::printf("CPU is the process's time on a core, all its threads (its CPU clock), per second, as a "
                "percentage of one core; resident memory is read each second, all of it and the "
                "anonymous part (the program's own heap, stacks and data, without the pages of the "
                "libraries it maps).\n\n");
    std::printf("| Situation | Seconds | CPU mean (%%) | CPU median | CPU max | Resident median (MB) | "
                "Resident max | Anonymous median | Anonymous max | Wrong replies | Goal |\n");
    std::printf("|---|---:|---:|---:|---:|---:|---:|---:|---:|---:|---|\n");
    std::printf("| Server running, 4 clients reading both documents 10 times a second | %ld | %.2f | %.2f | "
                "%.2f | %.1f | %.1f | %.1f | %.1f | %ld | under 0.5%% and 30 MB |\n",
                serving.cpu.count, serving.cpuMean, serving.cpu.p50, serving.cpu.max, serving.resident.p50,
                serving.resident.max, serving.anonymous.p50, serving.anonymous.max, serving.cpu.lost);
    std::printf("| Server stopped | %ld | %.2f | %.2f | %.2f | %.1f | %.1f | %.1f | %.1f | | |\n",
                idle.cpu.count, idle.cpuMean, idle.cpu.p50, idle.cpu.max, idle.resident.p50,
                idle.resident.max, idle.anonymous.p50, idle.anonymous.max);
    std::printf(
        "| The limit: a bare Qt Widgets window (labels and a log view; no server, no link) | %ld | %.2f "
        "| %.2f | %.2f | %.1f | %.1f | %.1f | %.1f | | |\n",
        bare.cpu.count, bare.cpuMean, bare.cpu.p50, bare.cpu.max, bare.resident.p50, bare.resident.max,
        bare.anonymous.p50, bare.anonymous.max);
    const auto companionRow = [](const char *what, const Sampled &s) {
        std::printf("| %s | %ld | %.2f | %.2f | %.2f | %.1f | %.1f | %.1f | %.1f | %s | |\n", what,
                    s.cpu.count, s.cpuMean, s.cpu.p50, s.cpu.max, s.resident.p50, s.resident.max,
                    s.anonymous.p50, s.anonymous.max,
                    s.live ? "" : "not live: no moving documents or no broker");
    };
    companionRow("kvbeacon-web's own, beside it, reading kvBeacon ten times a second (no browser)", reading);
    if (brokerUp)
        companionRow("kvbeacon-web's own, also sharing the car through a Mosquitto on loopback", sharing);
    else
        std::printf("| kvbeacon-web sharing through Mosquitto: skipped, /usr/sbin/mosquitto did not start "
                    "| | | | | | | | | | |\n");
}

} // namespace driverfeel
