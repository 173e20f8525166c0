#pragma once

#include <cstddef>
#include <cstdint>

// Finds one value in the simulator's session text by a path such as
// "SessionInfo:Sessions:SessionNum:{1}SessionType:", in a single forward pass that knows
// only indentation, the colon, the list dash and the line end. The value is not copied:
// `valueStart` and `valueLength` tell where it lies in the text. The scan stops at the
// text's NUL or after `textSize` bytes, whichever comes first; a path whose "{" has no
// "}" matches nothing.
bool findSessionValue(const char *text, std::size_t textSize, const char *path, const char **valueStart,
                      std::int32_t *valueLength);
