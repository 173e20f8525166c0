#include "options.h"

#include <cstdio>
#include <cstdlib>

std::optional<Options> Options::parse(int argc, char **argv, const std::string &defaultScenario,
                                      int *exitCode, std::string *error)
{
    Options options;
    options.scenarioPath = defaultScenario;
    error->clear();
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        const bool hasValue = i + 1 < argc;
        if (arg == "--scenario" && hasValue)
            options.scenarioPath = argv[++i];
        else if (arg == "--rate" && hasValue)
            options.rate = std::atof(argv[++i]);
        else if (arg == "--start-tick" && hasValue)
            options.startTick = std::atol(argv[++i]);
        else if (arg == "--duration" && hasValue)
            options.duration = std::atof(argv[++i]);
        else if (arg == "--nest" && hasValue)
            options.nesting = std::atoi(argv[++i]);
        else if (arg == "--no-window")
            options.withWindow = false;
        else if (arg == "--stamp")
            options.stamp = true;
        else if (arg == "--replay" && hasValue)
            options.replayPath = argv[++i];
        else if (arg == "--documents" && hasValue)
            options.documentsPath = argv[++i];
        else if (arg == "--speed" && hasValue)
            options.speed = std::atof(argv[++i]);
        else if (arg == "--from" && hasValue)
            options.from = std::atof(argv[++i]);
        else if (arg == "--loop")
            options.loop = true;
        else {
            *exitCode = arg == "--help" ? 0 : 2;
            return std::nullopt;
        }
    }
    if (options.rate <= 0 || options.rate > 1000)
        *error = "the rate must lie above 0 and at most 1000 rows per second";
    else if (options.speed <= 0 || options.speed > 100 || options.from < 0)
        *error = "--speed takes a number above 0 and at most 100, --from seconds from 0 on";
    if (!error->empty()) {
        *exitCode = 2;
        return std::nullopt;
    }
    return options;
}

void Options::printUsage()
{
    std::puts(
        "usage: kvbeacon-simulator [--scenario FILE | --replay FILE] [--speed X] [--loop] [--from SECONDS]\n"
        "                          [--rate ROWS_PER_SECOND] [--start-tick N] [--duration SECONDS]\n"
        "                          [--nest N] [--no-window] [--stamp] [--documents FOLDER]\n"
        "--replay plays a recording of kvbeacon-cli record: its live values at their times and a\n"
        "session text made of its info values; --speed plays it faster or slower, --loop again\n"
        "from its start at its end, --from from that many seconds into it.\n"
        "Commands on standard input, one a line:\n"
        "  stop              clear the status bit: the simulator stops publishing\n"
        "  start             set the status bit and publish again\n"
        "  stall             keep the status bit but write no rows\n"
        "  resume            write rows again after a stall\n"
        "  restart [TICK]    start the ticks again from TICK (default 1) and the scenario from its start\n"
        "  rowlength N       change the row length in the header (rows move to match)\n"
        "  set NAME VALUE    pin a variable to a value, overriding the scenario\n"
        "  track NAME        put NAME as TrackName into the session text and mark it updated\n"
        "  unset NAME        give the variable back to the scenario\n"
        "  focus, unfocus    take the input focus to the window, or away from it\n"
        "  quit              remove the objects and end\n"
        "--no-window leaves out the window titled \"iRacing.com Simulator\", which otherwise\n"
        "opens on the display, reports the broadcast messages and keys that reach it and shows the\n"
        "last of them; a chat macro by its text in FOLDER/app.ini, the simulator's documents folder\n"
        "(sample-documents beside the program unless --documents names one).\n"
        "--nest N puts that window N levels inside plain windows, as a reparenting window\n"
        "manager frames its clients (X11).\n"
        "--stamp ends every line with at=SECONDS of the monotonic clock and writes the same clock\n"
        "into each row's SessionTime, so that a benchmark can time presses and the age of data.");
}
