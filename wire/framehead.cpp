#include "framehead.h"

int FrameHead::bodySize(const QByteArray &bytes)
{
    if (bytes.size() < size || bytes.at(0) != '@' || bytes.at(size - 1) != ';')
        return 0;
    const int wanted = bytes.mid(1, 6).toInt(nullptr, 10);
    return wanted > 0 ? wanted : 0;
}

int FrameHead::wholeFrameSize(const QByteArray &bytes)
{
    const int body = bodySize(bytes);
    return body > 0 && bytes.size() >= size + body ? size + body : 0;
}
