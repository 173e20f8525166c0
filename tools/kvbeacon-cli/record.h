#pragma once

#include <QString>

class BeaconClient;

// kvbeacon-cli record: both documents and the chat texts into a file of JSON lines, for a replay
// by the simulator stand-in. The first line names the format, its version and the rate; then a
// line a sample, {"t": seconds since the recording began, "live": the live document}, with
// "info" and "chat" in the first sample and whenever they change. Every line is written and
// flushed whole, so the file is complete after every sample.
namespace Record {
struct Options
{
    QString file;
    QString source; // host:port, for the first line
    int hz = 10;
    double seconds = 0; // how long; 0 until Ctrl-C
    int timeoutMs = 3000;
};

// Runs until Ctrl-C or `seconds`; gives the exit code.
int run(BeaconClient &client, const Options &options);
} // namespace Record
