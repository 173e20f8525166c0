// The session text scanner on arbitrary text and paths: the path runs to the first NUL, the
// text is everything behind it. A value found always lies inside the text, and the scan never
// reads past its size.
#include "sessiontext.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const auto *nul = static_cast<const std::uint8_t *>(std::memchr(data, 0, size));
    if (!nul)
        return 0;
    // The text ends where the input's own block ends, with no NUL behind it: the size alone must
    // stop the scan. Nothing is copied.
    const char *path = reinterpret_cast<const char *>(data);
    const char *text = reinterpret_cast<const char *>(nul + 1);
    const std::size_t textSize = size - static_cast<std::size_t>(nul + 1 - data);
    const char *start = nullptr;
    std::int32_t length = 0;
    if (findSessionValue(text, textSize, path, &start, &length)) {
        if (length < 0 || (length > 0 && (start < text || start + length > text + textSize)))
            std::abort();
    } else if (start != nullptr || length != 0) {
        std::abort();
    }
    return 0;
}
