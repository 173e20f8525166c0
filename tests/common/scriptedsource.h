#pragma once

#include "framereader.h"

#include <QByteArray>
#include <QList>

// Plays a connection for the read loop: `buffer` is what has arrived, `later` what each wait
// delivers next. Counts the waits and sleeps the loop asks for.
class ScriptedSource : public FrameReader::Source
{
public:
    QByteArray buffer;
    QList<QByteArray> later;
    int sleeps = 0;
    int sleptMs = 0;
    int waits = 0;
    int lastWaitMs = 0;
    bool disconnected = false;

    // Bytes that have arrived or are still to come.
    qint64 pending() const
    {
        qint64 n = buffer.size();
        for (const QByteArray &piece : later)
            n += piece.size();
        return n;
    }

    qint64 bytesAvailable() override { return buffer.size(); }
    QByteArray read(qint64 maxSize) override
    {
        const QByteArray piece = buffer.left(int(maxSize));
        buffer.remove(0, piece.size());
        return piece;
    }
    bool waitForReadyRead(int msecs) override
    {
        ++waits;
        lastWaitMs = msecs;
        if (later.isEmpty())
            return false;
        buffer += later.takeFirst();
        return true;
    }
    void sleep(int msecs) override
    {
        ++sleeps;
        sleptMs += msecs;
    }
    void disconnectFromHost() override { disconnected = true; }
};
