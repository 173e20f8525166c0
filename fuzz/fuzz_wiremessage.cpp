// The frame parser on arbitrary bytes; a parsed frame's fields must survive a rebuild.
#include "wiremessage.h"

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    // A message with fields of its own to parse over, built once: a copy shares its data.
    static const WireMessage earlier(7, 42, QStringLiteral("earlier"));
    const QByteArray bytes(reinterpret_cast<const char *>(data), static_cast<int>(size));
    WireMessage parsed(bytes);
    WireMessage again = earlier;
    if (!again.parse(bytes))
        return 0;
    if (again.command != parsed.command || again.id != parsed.id || again.payload != parsed.payload)
        std::abort();
    // Fields that fit their widths come back unchanged from a built frame.
    if (again.command >= 0 && again.command <= 999 && again.id >= 0 && again.id <= 999999 &&
        !again.payload.contains(QChar(0))) {
        const WireMessage built(again.command, again.id, again.payload);
        const WireMessage back(built.data);
        // The payload comes back with the body's closing separator.
        if (back.command != again.command || back.id != again.id ||
            back.payload.size() != again.payload.size() + 1 || !back.payload.startsWith(again.payload) ||
            !back.payload.endsWith(QLatin1Char(';')))
            std::abort();
    }
    return 0;
}
