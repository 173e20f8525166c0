// The server's read loop on an arbitrary byte stream arriving in arbitrary pieces: the
// first byte of each piece gives its length. Every frame found starts with a valid head,
// is never longer than its head announces, and nothing is read that did not arrive.
#include "framereader.h"
#include "scriptedsource.h"
#include "wiremessage.h"

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    ScriptedSource source;
    qint64 total = 0;
    for (std::size_t at = 0; at < size;) {
        const std::size_t length = data[at] % 64;
        const std::size_t start = at + 1;
        const std::size_t end = start + length < size ? start + length : size;
        const QByteArray piece(reinterpret_cast<const char *>(data) + start, static_cast<int>(end - start));
        total += piece.size();
        if (at == 0)
            source.buffer = piece;
        else
            source.later.append(piece);
        at = end;
    }
    qint64 taken = 0;
    for (int calls = 0; calls < 10000 && (source.bytesAvailable() > 0 || !source.later.isEmpty()); ++calls) {
        if (source.bytesAvailable() == 0)
            source.waitForReadyRead(0);
        const qint64 before = source.pending();
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
