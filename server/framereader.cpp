#include "framereader.h"

#include "framehead.h"

#include <QtGlobal>

namespace {
// Scans for a head. Returns the wanted body size, or 0 when the available bytes hold none.
// The bytes are looked at in place and only what the scan passes over is taken, as a scan
// that reads them one at a time would take it, without a read and an allocation per byte.
int findHead(FrameReader::Source &source, QByteArray &head)
{
    qint64 available = source.bytesAvailable();
    while (available > 0) {
        const QByteArray seen = source.peek(available);
        if (seen.isEmpty())
            return 0;
        // A marker counts when at least 9 bytes, itself included, were there before it was
        // taken: the head and one body byte.
        int at = 0;
        while (at < seen.size() && !(seen.at(at) == '@' && available - at >= FrameHead::size + 1))
            ++at;
        source.skip(at);
        if (at < seen.size()) {
            // A rejected head is dropped whole, so that a good frame behind it parses cleanly.
            const QByteArray candidate = source.read(FrameHead::size);
            const int wanted = FrameHead::bodySize(candidate);
            if (wanted > 0) {
                head = candidate;
                return wanted;
            }
        }
        available = source.bytesAvailable();
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
