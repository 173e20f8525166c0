#pragma once

#include <QByteArray>

// The head that opens every frame, "@", six digits of body length, ";": the one rule by which
// the server, its clients, the tests and the benchmarks tell where a frame ends.
namespace FrameHead {
constexpr int size = 8;

// The body length the head at the start of `bytes` announces; 0 when they open with no head.
int bodySize(const QByteArray &bytes);
// The size of the frame at the start of `bytes` once all of it has arrived; 0 until then.
int wholeFrameSize(const QByteArray &bytes);
} // namespace FrameHead
