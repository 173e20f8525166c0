// The client's reply reader on arbitrary bytes in arbitrary pieces: where the pieces fall never
// changes the replies found, no reply claims bytes that did not come, and a reply the server
// builds around any text is found whole behind any garbage.
#include "protocol.h"
#include "replyreader.h"
#include "wiremessage.h"

#include <QByteArrayList>

#include <cstdint>
#include <cstdlib>

namespace {
QByteArrayList frames(ReplyReader &reader)
{
    QByteArrayList found;
    for (Reply reply; reader.next(reply);)
        found << reply.frame;
    return found;
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char *>(data), static_cast<int>(size));
    ReplyReader whole, pieces;
    whole.feed(bytes);
    const QByteArrayList all = frames(whole);
    QByteArrayList inPieces;
    for (int at = 0; at < bytes.size();) {
        const int length = 1 + static_cast<unsigned char>(bytes.at(at)) % 7;
        pieces.feed(bytes.mid(at, length));
        inPieces += frames(pieces);
        at += length;
    }
    if (inPieces != all)
        std::abort();
    int taken = 0;
    for (const QByteArray &frame : all) {
        // A length counts UTF-16 code units, never more than the bytes that carry them.
        if (frame.at(0) != '@' || frame.at(7) != ';' || frame.size() < 8 + frame.mid(1, 6).toInt())
            std::abort();
        taken += frame.size();
    }
    if (taken > bytes.size())
        std::abort();

    const QString text = QString::fromUtf8(bytes).remove(QChar(0));
    const QByteArray reply = WireMessage(Protocol::Live, 42, text).data;
    if (reply.size() > 8 + 999999)
        return 0;
    ReplyReader behindGarbage;
    behindGarbage.feed(bytes.left(8).replace('@', '#') + reply);
    Reply found;
    if (!behindGarbage.next(found) || found.frame != reply || found.payload != text || found.id != 42 ||
        behindGarbage.holdsPartial())
        std::abort();
    return 0;
}
