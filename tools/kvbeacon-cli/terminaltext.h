#pragma once

#include <QString>

// What the server sends, made safe to show: a hostile server's escape sequences could otherwise
// set the clipboard, retitle the window or clear the screen.
namespace TerminalText {
// `text` with its control characters (C0, DEL and C1) written as JSON escapes them (\n, \u001b),
// so that a JSON document keeps its values. `keepLayout` leaves tabs and line breaks, as in a
// document the server laid out over lines.
QString escaped(const QString &text, bool keepLayout = false);
} // namespace TerminalText
