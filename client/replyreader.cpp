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
    // Continuation bytes count nothing but the second byte of a four-byte sequence, which makes
    // its second UTF-16 unit (a surrogate pair); every other byte counts one. So a count never
    // exceeds the bytes, whatever arrives.
    const auto byteAt = [this](int i) { return static_cast<unsigned char>(buffer.at(i)); };
    const auto continuation = [&](int i) { return (byteAt(i) & 0xC0) == 0x80; };
    int at = FrameHead::size + scanned;
    for (; at < buffer.size() && units < wanted; ++at)
        units += !continuation(at) || byteAt(at - 1) >= 0xF0 ? 1 : 0;
    scanned = at - FrameHead::size;
    if (units < wanted)
        return false;
    // The frame ends with the character that completes the count, as long as its lead byte says.
    int lead = at - 1;
    while (lead > FrameHead::size && continuation(lead))
        --lead;
    const int declared = byteAt(lead) >= 0xF0 ? 4 : byteAt(lead) >= 0xE0 ? 3 : byteAt(lead) >= 0xC0 ? 2 : 1;
    for (; at < lead + declared; ++at)
        if (at == buffer.size())
            return false; // the rest of the character is still to come
        else if (!continuation(at))
            break;
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
