#include "sessiontext.h"

#include <cstring>

namespace {
enum class Scan { Indent, Key, AfterColon, Value, LineEnd };

enum class Byte { LineEnd, Space, Dash, Colon, Other };

Byte classify(char c)
{
    switch (c) {
    case '\n':
    case '\r':
        return Byte::LineEnd;
    case ' ':
        return Byte::Space;
    case '-':
        return Byte::Dash;
    case ':':
        return Byte::Colon;
    default:
        return Byte::Other;
    }
}
} // namespace

bool findSessionValue(const char *text, std::size_t textSize, const char *path, const char **valueStart,
                      std::int32_t *valueLength)
{
    if (!text || !path || !valueStart || !valueLength)
        return false;
    *valueStart = nullptr;
    *valueLength = 0;

    Scan state = Scan::Indent;
    std::int32_t depth = 0;
    const char *keyStart = nullptr;
    std::int32_t keyLength = 0;
    const char *lineValueStart = nullptr;
    std::int32_t lineValueLength = 0;
    const char *pathRest = path;
    std::int32_t matchedDepth = 0;

    for (std::size_t i = 0; i < textSize && text[i] != '\0'; ++i) {
        const char *at = text + i;
        const Byte kind = classify(*at);

        if (kind == Byte::LineEnd) {
            if (state == Scan::LineEnd)
                continue; // the LF of a CR LF pair, or an empty line
            if (depth < matchedDepth)
                return false;
            if (keyLength > 0 && std::strncmp(keyStart, pathRest, static_cast<std::size_t>(keyLength)) == 0) {
                const char *behind = pathRest + keyLength;
                bool matches = true;
                if (*behind == '{') {
                    const char *close = std::strchr(behind, '}');
                    const std::int32_t wantedLength =
                        close ? static_cast<std::int32_t>(close - behind - 1) : -1;
                    matches = close && wantedLength == lineValueLength &&
                              (wantedLength == 0 || std::memcmp(lineValueStart, behind + 1,
                                                                static_cast<std::size_t>(wantedLength)) == 0);
                    behind = close ? close + 1 : behind;
                }
                if (matches) {
                    pathRest = behind;
                    matchedDepth = depth;
                    if (*pathRest == '\0') {
                        *valueStart = lineValueStart;
                        *valueLength = lineValueLength;
                        return true;
                    }
                }
            }
            depth = 0;
            keyLength = 0;
            lineValueLength = 0;
            state = Scan::LineEnd;
            continue;
        }

        switch (state) {
        case Scan::Indent:
        case Scan::LineEnd:
            if (kind == Byte::Space || kind == Byte::Dash) {
                ++depth;
                state = Scan::Indent;
            } else if (kind == Byte::Other) {
                keyStart = at;
                keyLength = 1;
                state = Scan::Key;
            }
            break;
        case Scan::Key:
            ++keyLength;
            if (kind == Byte::Colon)
                state = Scan::AfterColon;
            break;
        case Scan::AfterColon:
            if (kind != Byte::Space) {
                lineValueStart = at;
                lineValueLength = 1;
                state = Scan::Value;
            }
            break;
        case Scan::Value:
            ++lineValueLength;
            break;
        }
    }
    return false;
}
