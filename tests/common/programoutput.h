#pragma once

#include <QtTest>

// A program run by a test, its standard output gathered as it comes: the simulator stand-in
// reports what reaches it (rows, broadcast messages, keys, commands) there.
struct ProgramOutput
{
    // Starts it anew and waits for `ready` on its output.
    bool start(const QString &program, const QStringList &arguments, const QByteArray &ready)
    {
        output.clear();
        process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        process.start(program, arguments);
        return process.waitForStarted() && waitFor(ready);
    }
    void stop()
    {
        process.kill();
        process.waitForFinished();
    }
    // Asks it to end, as a user would, and waits until it has.
    bool quit(int ms = 5000)
    {
        process.write("quit\n");
        return process.waitForFinished(ms);
    }
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
