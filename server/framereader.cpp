#include "framereader.h"

#include "framehead.h"

#include <QtGlobal>

namespace {
// Scans for a head. Returns the wanted body size, or 0 when the available bytes hold none.
// The bytes are looked at in place, once, and only what the scan passes over is taken, as a
// scan that reads them one at a time would take it, without a read and an allocation per byte.
int findHead(FrameReader::Source &source, QByteArray &head)
{
    for (qint64 available = source.bytesAvailable(); available > 0; available = source.bytesAvailable()) {
        const QByteArray seen = source.peek(available);
        if (seen.isEmpty())
            return 0;
        // `from` counts the bytes of `seen` already taken. Nothing arrives while the scan runs,
        // so the count taken before byte `at` was read is `available - at`.
        qint64 from = 0;
        while (from < seen.size()) {
            // A marker counts when at least 9 bytes, itself included, were there before it was
            // taken: the head and one body byte.
            qint64 at = from;
            while (at < seen.size() && !(seen.at(int(at)) == '@' && available - at >= FrameHead::size + 1))
                ++at;
            source.skip(at - from);
            if (at == seen.size())
                break;
            // A rejected head is dropped whole, so that a good frame behind it parses cleanly.
            const QByteArray candidate = source.read(FrameHead::size);
            const int wanted = FrameHead::bodySize(candidate);
            if (wanted > 0) {
                head = candidate;
                return wanted;
            }
            from = at + candidate.size();
        }
    }
    return 0;
}
} // namespace

FrameReader::Result FrameReader::read(Source &source)
{
    QByteArray frame;
    const int wanted = findHead(source, frame);
    if (wanted <= 0)
        return {Outcome::NoHead, QByteArray()};

    qint64 received = 0;
    qint64 available = source.bytesAvailable();
    for (int passes = 0; passes < maxPasses; ++passes) {
        if (available != 0 && received < wanted) {
            const QByteArray piece = source.read(qMin(available, wanted - received));
            frame.append(piece);
            received += piece.size();
        }
        if (received == wanted)
            break;
        if (!source.waitForReadyRead(stallWaitMs)) {
            source.disconnectFromHost();
            return {Outcome::Stalled, QByteArray()};
        }
        source.sleep(passSleepMs);
        available = source.bytesAvailable();
    }
    // After the last pass the frame goes on as far as it has come.
    return {Outcome::Frame, frame};
}
