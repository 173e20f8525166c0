#pragma once

#include <QString>
#include <QStringList>

// What stands between a client and kvBeacon's data, found the way a client meets it: the
// connection, the server's name, whether the documents move, the chat texts.
namespace Doctor {
// The exit codes of kvbeacon-cli, doctor's among them.
enum Code {
    Healthy = 0,
    Usage = 1,
    Unreachable = 2,
    BadReply = 3,    // no reply, a wrong one, or something other than kvBeacon
    NoSimulator = 4, // kvBeacon answers, but no simulator data comes
    NoChatTexts = 5, // kvBeacon finds no app.ini
};

struct Report
{
    Code code = Healthy; // the first problem found
    QStringList lines;   // what was found, in plain words
};

Report examine(const QString &host, quint16 port, int timeoutMs);
} // namespace Doctor
