// The server's read loop on an arbitrary byte stream arriving in arbitrary pieces: the
// first byte of each piece gives its length. Every frame found starts with a valid head,
// is never longer than its head announces, and nothing is read that did not arrive. The
// reader also does exactly what the plain loop that takes one byte at a time would do.
#include "framehead.h"
#include "framereader.h"
#include "scriptedsource.h"
#include "wiremessage.h"

#include <cstdint>
#include <cstdlib>

namespace {
// Walks the input piece by piece.
struct Pieces
{
    const std::uint8_t *data;
    std::size_t size;
    std::size_t at = 0;

    bool done() const { return at >= size; }
    // Steps over the next piece: its bytes follow its length byte, as far as the input goes.
    const char *next(int &length)
    {
        const std::size_t start = at + 1;
        const std::size_t end = start + data[at] % 64 < size ? start + data[at] % 64 : size;
        at = end;
        length = static_cast<int>(end - start);
        return reinterpret_cast<const char *>(data) + start;
    }
};
// The read loop as first written: every byte of the scan taken with a read of its own.
FrameReader::Result readByteByByte(FrameReader::Source &source)
{
    QByteArray frame;
    int wanted = 0;
    for (qint64 available = source.bytesAvailable(); available > 0 && wanted <= 0;
         available = source.bytesAvailable()) {
        const QByteArray byte = source.read(1);
        if (byte.isEmpty())
            break;
        if (byte.at(0) == '@' && available >= FrameHead::size + 1) {
            frame = byte + source.read(FrameHead::size - 1);
            wanted = FrameHead::bodySize(frame);
        }
    }
    if (wanted <= 0)
        return {FrameReader::Outcome::NoHead, QByteArray()};
    qint64 received = 0, available = source.bytesAvailable();
    for (int passes = 0; passes < FrameReader::maxPasses; ++passes) {
        if (available != 0 && received < wanted) {
            const QByteArray piece = source.read(qMin(available, wanted - received));
            frame.append(piece);
            received += piece.size();
        }
        if (received == wanted)
            break;
        if (!source.waitForReadyRead(FrameReader::stallWaitMs)) {
            source.disconnectFromHost();
            return {FrameReader::Outcome::Stalled, QByteArray()};
        }
        available = source.bytesAvailable();
    }
    return {FrameReader::Outcome::Frame, frame};
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    ScriptedSource source;
    Pieces pieces{data, size};
    int length = 0;
    if (!pieces.done()) {
        const char *start = pieces.next(length);
        source.buffer = QByteArray(start, length);
    }
    // A second walk over the queued pieces keeps count of what is still to come as the reader
    // takes them; summing the queue before every call made long inputs quadratic.
    Pieces queue = pieces;
    int count = 0;
    for (Pieces counted = pieces; !counted.done(); ++count)
        counted.next(length);
    source.later.reserve(count);
    qint64 toCome = 0;
    while (!pieces.done()) {
        const char *start = pieces.next(length);
        source.later.append(QByteArray(start, length));
        toCome += length;
    }
    const qint64 total = source.buffer.size() + toCome;
    int queued = source.later.size();

    qint64 taken = 0;
    for (int calls = 0; calls < 10000 && (source.bytesAvailable() > 0 || !source.later.isEmpty()); ++calls) {
        if (source.bytesAvailable() == 0)
            source.waitForReadyRead(0);
        for (; queued > source.later.size(); --queued) {
            queue.next(length);
            toCome -= length;
        }
        const qint64 before = source.buffer.size() + toCome;
        ScriptedSource plain = source;
        const FrameReader::Result expected = readByteByByte(plain);
        const FrameReader::Result result = FrameReader::read(source);
        if (result.outcome != expected.outcome || result.frame != expected.frame ||
            source.buffer != plain.buffer || source.later.size() != plain.later.size() ||
            source.disconnected != plain.disconnected)
            std::abort();
        if (result.outcome != FrameReader::Outcome::Frame)
            continue;
        const QByteArray &frame = result.frame;
        const int wanted = frame.mid(1, 6).toInt();
        if (frame.size() < 9 || frame.at(0) != '@' || frame.at(7) != ';' || wanted <= 0 ||
            frame.size() > 8 + wanted || frame.size() > before)
            std::abort();
        taken += frame.size();
        WireMessage message(frame);
        (void)message;
    }
    if (taken > total)
        std::abort();
    return 0;
}
