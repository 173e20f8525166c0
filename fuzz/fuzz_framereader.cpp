// The server's read loop on an arbitrary byte stream arriving in arbitrary pieces: the
// first byte of each piece gives its length. Every frame found starts with a valid head,
// is never longer than its head announces, and nothing is read that did not arrive.
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
        const FrameReader::Result result = FrameReader::read(source);
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
