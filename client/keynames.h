#pragma once

#include <QString>
#include <QStringList>

#include <optional>

// Windows virtual-key codes by the names a button box or a script uses: the Windows names
// without their "VK_" ("F1", "A", "NUMPAD0", "RETURN") and the everyday ones ("ENTER", "ESC",
// "CTRL", "PAGEUP"), in any case; a number in decimal or with "0x" stands for itself.
namespace KeyNames {
std::optional<int> code(const QString &nameOrNumber);
// Every name known, for a help text.
QStringList names();
} // namespace KeyNames
