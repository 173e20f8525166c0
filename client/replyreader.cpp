#include "replyreader.h"

#include "framehead.h"
#include "wiremessage.h"

void ReplyReader::feed(const QByteArray &bytes)
{
    buffer += bytes;
}

void ReplyReader::clear()
{
    buffer.clear();
    scanned = units = 0;
}

int ReplyReader::skipToHead()
{
    for (;;) {
        const int at = buffer.indexOf('@');
        if (at < 0) {
            buffer.clear();
            return 0;
        }
        buffer.remove(0, at);
        if (buffer.size() < FrameHead::size)
            return 0;
        const int body = FrameHead::bodySize(buffer);
        bool digits = true;
        for (int i = 1; i < FrameHead::size - 1; ++i)
            digits = digits && buffer.at(i) >= '0' && buffer.at(i) <= '9';
        if (body > 0 && digits)
            return body;
        buffer.remove(0, 1);
    }
}

bool ReplyReader::next(Reply &reply)
{
    const int wanted = skipToHead();
    if (wanted == 0)
        return false;
    // Continuation bytes count nothing, a four-byte sequence two units (a surrogate pair),
    // every other byte one; the frame ends with the byte that completes the count and the
    // continuation bytes of its character.
    int at = FrameHead::size + scanned;
    while (at < buffer.size() && units < wanted) {
        const auto byte = static_cast<unsigned char>(buffer.at(at++));
        if ((byte & 0xC0) != 0x80)
            units += byte >= 0xF0 ? 2 : 1;
    }
    while (at < buffer.size() && (static_cast<unsigned char>(buffer.at(at)) & 0xC0) == 0x80)
        ++at;
    scanned = at - FrameHead::size;
    if (units < wanted)
        return false;
    reply = parse(buffer.left(at));
    buffer.remove(0, at);
    scanned = units = 0;
    return true;
}

bool ReplyReader::takeCut(Reply &reply)
{
    if (skipToHead() == 0)
        return false;
    reply = parse(buffer, true);
    clear();
    return true;
}

Reply ReplyReader::parse(const QByteArray &frame, bool cut)
{
    Reply reply;
    reply.frame = frame;
    reply.cut = cut;
    // A frame under 19 bytes holds no fields; its head was checked already.
    const WireMessage message(frame);
    if (frame.size() >= 19) {
        reply.command = message.command;
        reply.id = message.id;
        reply.payload = message.payload;
        if (!cut && reply.payload.endsWith(QLatin1Char(';')))
            reply.payload.chop(1);
    }
    return reply;
}
