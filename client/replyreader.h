#pragma once

#include <QByteArray>
#include <QString>

// One reply frame as a client receives it.
struct Reply
{
    int command = -1; // -1 when the frame is too short to hold the fields
    int id = 0;
    QString payload;  // without the frame's trailing ";"
    QByteArray frame; // the bytes as they came, head included
    bool cut = false; // shorter than its head announced: the server stops a reply at a NUL
};

// Finds reply frames in a byte stream fed in pieces of any size. A reply's length field counts
// the UTF-16 code units of its body, not its bytes, so the end of a frame is found by decoding
// the UTF-8 as it comes. A plain value, used on one thread.
class ReplyReader
{
public:
    void feed(const QByteArray &bytes);
    // Takes the next whole reply; false while none has come in full.
    bool next(Reply &reply);
    // Takes a reply still short of its length as cut; false when no head has come.
    bool takeCut(Reply &reply);
    bool holdsPartial() const { return !buffer.isEmpty(); }
    void clear();

    // The fields of one frame.
    static Reply parse(const QByteArray &frame, bool cut = false);

private:
    // Drops bytes before the first valid head; the body size it announces, or 0 without one.
    int skipToHead();

    QByteArray buffer;
    int scanned = 0; // body bytes already counted, behind the head
    int units = 0;   // the UTF-16 code units among them
};
