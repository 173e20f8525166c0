#pragma once

#include <QtGlobal>

#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <functional>
#include <spawn.h>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

extern char **environ;

// A child process of a benchmark. Its first line of output may be read for its port; the rest
// is drained, and handed line by line to `onLine` (on a thread of its own) when that is set.
// With `withInput` its standard input is a pipe that `send` writes lines to.
struct Child
{
    pid_t pid = 0;
    std::uint16_t port = 0;
    std::function<void(const std::string &)> onLine;

    bool start(const std::vector<std::string> &args, const std::vector<std::string> &extraEnv = {},
               bool readPort = true, bool withInput = false)
    {
        int out[2], in[2] = {-1, -1};
        // Close-on-exec, so that later children do not hold this one's pipes open.
        if (pipe2(out, O_CLOEXEC) != 0 || (withInput && pipe2(in, O_CLOEXEC) != 0))
            return false;
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, out[1], 1);
        posix_spawn_file_actions_addopen(&actions, 2, "/dev/null", O_WRONLY, 0);
        if (withInput) {
            posix_spawn_file_actions_adddup2(&actions, in[0], 0);
            posix_spawn_file_actions_addclose(&actions, in[1]);
        } else {
            posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
        }
        std::vector<char *> argv;
        for (const std::string &a : args)
            argv.push_back(const_cast<char *>(a.c_str()));
        argv.push_back(nullptr);
        // The extra settings replace those of the same name.
        std::vector<std::string> envStrings;
        for (char **e = environ; *e; ++e) {
            const std::string entry = *e;
            bool replaced = false;
            for (const std::string &extra : extraEnv)
                replaced =
                    replaced || entry.compare(0, extra.find('=') + 1, extra, 0, extra.find('=') + 1) == 0;
            if (!replaced)
                envStrings.push_back(entry);
        }
        for (const std::string &e : extraEnv)
            envStrings.push_back(e);
        std::vector<char *> env;
        for (const std::string &e : envStrings)
            env.push_back(const_cast<char *>(e.c_str()));
        env.push_back(nullptr);
        const int rc = posix_spawn(&pid, argv[0], &actions, nullptr, argv.data(), env.data());
        posix_spawn_file_actions_destroy(&actions);
        close(out[1]);
        if (withInput) {
            close(in[0]);
            input = in[1];
        }
        if (rc != 0) {
            close(out[0]);
            pid = 0;
            return false;
        }
        if (readPort) {
            std::string line;
            char c;
            while (read(out[0], &c, 1) == 1 && c != '\n')
                line += c;
            if (line.compare(0, 5, "port ") == 0)
                port = static_cast<std::uint16_t>(std::atoi(line.c_str() + 5));
        }
        // The rest of its output is drained so that it never blocks on a full pipe.
        const int fd = out[0];
        std::thread([fd, lines = onLine] {
            char buffer[4096];
            std::string line;
            ssize_t n;
            while ((n = read(fd, buffer, sizeof buffer)) > 0) {
                if (!lines)
                    continue;
                for (ssize_t i = 0; i < n; ++i) {
                    if (buffer[i] != '\n') {
                        line += buffer[i];
                        continue;
                    }
                    lines(line);
                    line.clear();
                }
            }
            close(fd);
        }).detach();
        return !readPort || port != 0;
    }
    void send(const std::string &line)
    {
        const std::string text = line + "\n";
        if (input >= 0 && write(input, text.data(), text.size()) < 0)
            return;
    }
    void stop()
    {
        if (input >= 0)
            close(input);
        input = -1;
        if (pid > 0) {
            kill(pid, SIGTERM);
            waitpid(pid, nullptr, 0);
            pid = 0;
        }
    }
    ~Child() { stop(); }

private:
    int input = -1;
};
