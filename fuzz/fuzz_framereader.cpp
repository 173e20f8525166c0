// The server's read loop on an arbitrary byte stream arriving in arbitrary pieces: the
// first byte of each piece gives its length. Every frame found starts with a valid head,
// is never longer than its head announces, and nothing is read that did not arrive.
#include "framereader.h"
#include "wiremessage.h"

#include <QList>

#include <cstdint>
#include <cstdlib>

namespace {
class PiecesSource : public FrameReader::Source
{
public:
    QByteArray buffer;
    QList<QByteArray> later;
    qint64 delivered = 0;

    qint64 bytesAvailable() override { return buffer.size(); }
    QByteArray read(qint64 maxSize) override
    {
        const QByteArray piece = buffer.left(static_cast<int>(maxSize));
        buffer.remove(0, piece.size());
        return piece;
    }
    bool waitForReadyRead(int) override
    {
        if (later.isEmpty())
            return false;
        buffer += later.takeFirst();
        return true;
    }
    void sleep(int) override {}
    void disconnectFromHost() override {}
};
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    PiecesSource source;
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
        const qint64 before = source.bytesAvailable() + [&] {
            qint64 n = 0;
            for (const QByteArray &p : source.later)
                n += p.size();
            return n;
        }();
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
