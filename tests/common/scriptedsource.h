#pragma once

#include "framereader.h"

#include <QByteArray>
#include <QList>

// Plays a connection for the read loop: `buffer` is what has arrived, `later` what each wait
// delivers next.
class ScriptedSource : public FrameReader::Source
{
public:
    QByteArray buffer;
    QList<QByteArray> later;
    int lastWaitMs = 0;
    bool disconnected = false;

    qint64 bytesAvailable() override { return buffer.size(); }
    QByteArray read(qint64 maxSize) override
    {
        const QByteArray piece = buffer.left(int(maxSize));
        buffer.remove(0, piece.size());
        return piece;
    }
    QByteArray peek(qint64 maxSize) override { return buffer.left(int(maxSize)); }
    void skip(qint64 size) override { buffer.remove(0, int(size)); }
    bool waitForReadyRead(int msecs) override
    {
        lastWaitMs = msecs;
        if (later.isEmpty())
            return false;
        buffer += later.takeFirst();
        return true;
    }
    void sleep(int) override {}
    void disconnectFromHost() override { disconnected = true; }
};
