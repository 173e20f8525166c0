#pragma once

#include <QByteArray>

// Finds one frame in a connection's byte stream: scans for a head, then collects the body the
// head announces. Kept apart from the socket so that it can be fed bytes in tests; runs on
// the connection thread.
namespace FrameReader {
// What the reader needs of a connection.
class Source
{
public:
    virtual ~Source() = default;
    virtual qint64 bytesAvailable() = 0;
    virtual QByteArray read(qint64 maxSize) = 0;
    // Up to `maxSize` bytes from the front, left where they are.
    virtual QByteArray peek(qint64 maxSize) = 0;
    // Drops `size` bytes from the front.
    virtual void skip(qint64 size) = 0;
    // True when more bytes have arrived within `msecs`.
    virtual bool waitForReadyRead(int msecs) = 0;
    virtual void sleep(int msecs) = 0;
    virtual void disconnectFromHost() = 0;
};

enum class Outcome {
    Frame,   // `frame` holds a head and its body, or as much of the body as came
    NoHead,  // every available byte was looked at and no head was found
    Stalled, // the body stopped coming; the source has been told to disconnect
};

struct Result
{
    Outcome outcome;
    QByteArray frame;
};

constexpr int stallWaitMs = 10000;
constexpr int passSleepMs = 10;
constexpr int maxPasses = 1000;

// Reads at most one frame; bytes behind it stay in the source.
Result read(Source &source);
} // namespace FrameReader
