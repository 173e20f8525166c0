// The session text scanner on arbitrary text and paths: the first byte splits the input.
// A value found always lies inside the text, and the scan never reads past its size.
#include "sessiontext.h"

#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    if (size < 1)
        return 0;
    const std::size_t split = 1 + data[0] % size;
    const std::size_t textEnd = split < size ? split : size;
    // The text in a block of its own, with no NUL behind it: the size alone must stop the scan.
    std::vector<char> text(data + 1, data + textEnd);
    const std::string path(reinterpret_cast<const char *>(data) + textEnd, size - textEnd);
    const char *start = nullptr;
    std::int32_t length = 0;
    if (findSessionValue(text.data(), text.size(), path.c_str(), &start, &length)) {
        if (length < 0 || (length > 0 && (start < text.data() || start + length > text.data() + text.size())))
            std::abort();
    } else if (start != nullptr || length != 0) {
        std::abort();
    }
    return 0;
}
