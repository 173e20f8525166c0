#pragma once

#include <QProcess>
#include <QtTest>

// A program run by a test, its standard output gathered as it comes: the simulator stand-in
// reports what reaches it (rows, broadcast messages, keys, commands) there.
struct ProgramOutput
{
    int count(const QByteArray &text) { return (output += process.readAllStandardOutput()).count(text); }
    bool waitFor(const QByteArray &text, int ms = 5000)
    {
        return QTest::qWaitFor([&] { return count(text) > 0; }, ms);
    }
    // Writes a command and waits for the stand-in's report of it.
    bool send(const QByteArray &command)
    {
        process.write(command + "\n");
        return waitFor(command);
    }

    QProcess process;
    QByteArray output;
};
