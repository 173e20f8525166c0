// The simulator link's Windows calls against the Windows build of the simulator stand-in,
// run under Wine: attach, rows, session values, the broadcast message reaching the
// stand-in's window, and a key reaching it while it has the focus. Plain C++: the Qt tests
// need the Linux stand-ins. Exits with the number of failed checks.
#include "platform.h"
#include "simbroadcast.h"
#include "simcommands.h"
#include "telemetryclient.h"
#include "telemetrymap.h"

#include <windows.h>

#include <chrono>
#include <cstdio>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace {
int failures = 0;

void check(bool ok, const char *what)
{
    std::printf("%s: %s\n", ok ? "PASS" : "FAIL", what);
    std::fflush(stdout);
    failures += ok ? 0 : 1;
}

// The stand-in as a child process, its output collected a line at a time.
class StandIn
{
public:
    bool start(const std::string &commandLine)
    {
        SECURITY_ATTRIBUTES inherit = {sizeof inherit, nullptr, TRUE};
        HANDLE outRead, outWrite, inRead;
        if (!CreatePipe(&outRead, &outWrite, &inherit, 0) || !CreatePipe(&inRead, &input, &inherit, 0))
            return false;
        SetHandleInformation(outRead, HANDLE_FLAG_INHERIT, 0);
        SetHandleInformation(input, HANDLE_FLAG_INHERIT, 0);
        STARTUPINFOA startup = {};
        startup.cb = sizeof startup;
        startup.dwFlags = STARTF_USESTDHANDLES;
        startup.hStdInput = inRead;
        startup.hStdOutput = outWrite;
        startup.hStdError = outWrite;
        std::string line = commandLine;
        if (!CreateProcessA(nullptr, &line[0], nullptr, nullptr, TRUE, 0, nullptr, nullptr, &startup, &process))
            return false;
        CloseHandle(outWrite);
        CloseHandle(inRead);
        reader = std::thread([this, outRead] {
            char buffer[4096];
            DWORD got = 0;
            std::string partial;
            while (ReadFile(outRead, buffer, sizeof buffer, &got, nullptr) && got > 0) {
                partial.append(buffer, got);
                std::size_t end;
                while ((end = partial.find('\n')) != std::string::npos) {
                    std::string text = partial.substr(0, end);
                    if (!text.empty() && text.back() == '\r')
                        text.pop_back();
                    std::lock_guard<std::mutex> lock(mutex);
                    lines.push_back(text);
                    partial.erase(0, end + 1);
                }
            }
            CloseHandle(outRead);
        });
        return true;
    }
    bool waitFor(const std::string &prefix, int ms = 10000)
    {
        for (int waited = 0; waited < ms; waited += 20) {
            {
                std::lock_guard<std::mutex> lock(mutex);
                for (const std::string &line : lines)
                    if (line.compare(0, prefix.size(), prefix) == 0)
                        return true;
            }
            Sleep(20);
        }
        return false;
    }
    void send(const std::string &command)
    {
        const std::string line = command + "\n";
        DWORD written = 0;
        WriteFile(input, line.data(), static_cast<DWORD>(line.size()), &written, nullptr);
    }
    void finish()
    {
        send("quit");
        if (WaitForSingleObject(process.hProcess, 10000) != WAIT_OBJECT_0)
            TerminateProcess(process.hProcess, 1);
        CloseHandle(input);
        if (reader.joinable())
            reader.join();
        CloseHandle(process.hProcess);
        CloseHandle(process.hThread);
    }
    void dump()
    {
        std::lock_guard<std::mutex> lock(mutex);
        for (const std::string &line : lines)
            if (line.compare(0, 5, "tick ") != 0)
                std::printf("  stand-in: %s\n", line.c_str());
    }

private:
    PROCESS_INFORMATION process = {};
    HANDLE input = nullptr;
    std::thread reader;
    std::mutex mutex;
    std::vector<std::string> lines;
};

bool rowWithin(int ms)
{
    for (int waited = 0; waited < ms; waited += 16)
        if (TelemetryClient::shared().awaitRow(16))
            return true;
    return false;
}
} // namespace

int main(int argc, char **argv)
{
    if (argc < 3) {
        std::printf("usage: wine_link STAND-IN.exe SCENARIO\n");
        return 2;
    }
    TelemetryClient &client = TelemetryClient::shared();
    check(!TelemetryMap::attach(), "no memory object before the simulator runs");

    StandIn standIn;
    check(standIn.start(std::string("\"") + argv[1] + "\" --scenario \"" + argv[2] + "\""), "stand-in started");
    check(standIn.waitFor("publishing"), "stand-in publishes");
    check(standIn.waitFor("window opened"), "stand-in's window opened");

    check(TelemetryMap::attach(), "attach: OpenFileMappingW, MapViewOfFile, OpenEventW");
    check(TelemetryMap::state().regionSize >= 330000, "VirtualQuery gives the view's size");
    check(!client.awaitRow(16), "the first wait never gives a row");
    check(rowWithin(3000), "a row within 3 s");
    check(TelemetryMap::isLive(), "link alive (_time64, _difftime64)");

    standIn.send("set FuelLevel 12.5");
    bool fuel = false;
    for (int i = 0; i < 200 && !fuel; ++i)
        fuel = rowWithin(100) && client.readFloat(client.variableIndex("FuelLevel"), 0) == 12.5f;
    check(fuel, "a pinned value arrives in the rows");
    check(client.readDouble(client.variableIndex("SessionTime"), 0) > 0.0, "session time runs");

    char buffer[2048];
    check(client.sessionValue("WeekendInfo:TrackName:", buffer, sizeof buffer) == 1 &&
              std::string(buffer) == "sample_speedway",
          "session value from the session text");

    check(platform::windowOps().findSimulatorWindow() != nullptr, "FindWindowW finds the simulator's window");
    SimBroadcast::post(8, 0, 2);
    check(standIn.waitFor("broadcast msg=8 var1=0 var2=2"), "SendNotifyMessageW reaches the window: macro 2");

    standIn.send("focus");
    check(standIn.waitFor("focused"), "the window takes the focus");
    bool foreground = false;
    for (int i = 0; i < 100 && !foreground; ++i) {
        foreground = platform::windowOps().foregroundWindow() == platform::windowOps().findSimulatorWindow();
        Sleep(20);
    }
    check(foreground, "GetForegroundWindow is the simulator's window");
    SimCommands::key(foreground, 0x41);
    check(standIn.waitFor("key down vk=0x41"), "SendInput reaches the window: key down");
    check(standIn.waitFor("key up vk=0x41"), "SendInput reaches the window: key up");

    platform::windowOps().beginTimerPeriod();
    platform::windowOps().endTimerPeriod();
    TelemetryMap::detach();
    standIn.finish();
    if (failures)
        standIn.dump();
    std::printf("%d failed\n", failures);
    return failures;
}
