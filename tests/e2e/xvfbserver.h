#pragma once

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <spawn.h>
#include <string>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

extern char **environ;

// An X server of the test's own, started before the application object so that the window
// under test, the simulator stand-in and the injected keys all meet on it.
class XvfbServer
{
public:
    bool start()
    {
        for (int n = 140; n < 240; ++n) {
            const std::string socket = "/tmp/.X11-unix/X" + std::to_string(n);
            const std::string lock = "/tmp/.X" + std::to_string(n) + "-lock";
            struct stat info;
            if (stat(socket.c_str(), &info) == 0 || stat(lock.c_str(), &info) == 0)
                continue;
            display = ":" + std::to_string(n);
            const char *argv[] = {"Xvfb",        display.c_str(), "-screen", "0",
                                  "1280x800x24", "-nolisten",     "tcp",     nullptr};
            if (posix_spawnp(&pid, "Xvfb", nullptr, nullptr, const_cast<char **>(argv), environ) != 0) {
                std::fprintf(stderr, "cannot start Xvfb\n");
                return false;
            }
            for (int i = 0; i < 100; ++i) {
                if (stat(socket.c_str(), &info) == 0) {
                    setenv("DISPLAY", display.c_str(), 1);
                    return true;
                }
                usleep(50000);
            }
            stop();
            return false;
        }
        return false;
    }
    void stop()
    {
        if (pid > 0) {
            kill(pid, SIGTERM);
            waitpid(pid, nullptr, 0);
            pid = 0;
        }
    }
    ~XvfbServer() { stop(); }

    std::string display;

private:
    pid_t pid = 0;
};
