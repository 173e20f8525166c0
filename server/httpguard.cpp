#include "httpguard.h"

#include <cstring>

namespace {
// The characters of an HTTP token (a method name).
bool isTokenChar(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
           (c != '\0' && std::strchr("!#$%&'*+-.^_`|~", c) != nullptr);
}
} // namespace

HttpGuard::Verdict HttpGuard::firstBytes(const QByteArray &bytes)
{
    // A handshake record: type 22, then version 3.0 to 3.4 (every TLS writes 3.1 to 3.3 here).
    if (bytes.startsWith('\x16')) {
        if (bytes.size() > 1 && bytes[1] != '\x03')
            return Verdict::NotHttp;
        if (bytes.size() < 3)
            return Verdict::Undecided;
        return bytes[2] >= '\x00' && bytes[2] <= '\x04' ? Verdict::Tls : Verdict::NotHttp;
    }
    int at = 0;
    while (at < bytes.size() && isTokenChar(bytes[at]))
        ++at;
    if (at == bytes.size())
        return at == 0 || at < 32 ? Verdict::Undecided : Verdict::NotHttp;
    if (at == 0 || at > 32 || bytes[at] != ' ')
        return Verdict::NotHttp;
    // A browser asks for a path; anything else after the space is a client's junk.
    const int targetStart = ++at;
    if (at < bytes.size() && bytes[at] != '/')
        return Verdict::NotHttp;
    while (at < bytes.size() && bytes[at] != ' ' && bytes[at] != '\r' && bytes[at] != '\n')
        ++at;
    if (at == bytes.size())
        return bytes.size() >= longestLine ? Verdict::Http : Verdict::Undecided;
    if (at == targetStart || bytes[at] != ' ')
        return Verdict::NotHttp;
    const QByteArray version = bytes.mid(at + 1, 5);
    if (QByteArray("HTTP/").startsWith(version))
        return version.size() == 5 ? Verdict::Http : Verdict::Undecided;
    return Verdict::NotHttp;
}
