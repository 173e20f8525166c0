#pragma once

#include <optional>
#include <string>

// How kvbeacon-simulator is to run, as its command line says.
struct Options
{
    std::string scenarioPath;
    std::string replayPath;    // a recording of kvbeacon-cli record, played instead of the scenario
    std::string documentsPath; // the simulator's documents folder, whose app.ini names the chat macros
    double rate = 60;          // rows a second
    long startTick = 1;
    double duration = 0; // seconds until the stand-in ends by itself; 0 for never
    bool withWindow = true;
    int nesting = 0;
    bool stamp = false;
    double speed = 1; // of the replay, or of the scenario
    double from = 0;  // seconds into the recording or the scenario
    bool loop = false;

    bool replaying() const { return !replayPath.empty(); }

    // The options of `argv`, with `defaultScenario` unless one is named. Without them the program
    // ends at once with `*exitCode`: after the usage text when `*error` is empty (--help, or an
    // argument unknown or missing its value), else after reporting `*error`.
    static std::optional<Options> parse(int argc, char **argv, const std::string &defaultScenario,
                                        int *exitCode, std::string *error);
    // The options and the commands taken on standard input, on standard output.
    static void printUsage();
};
