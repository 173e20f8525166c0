#include "keynames.h"

#include <QHash>

namespace {
QHash<QString, int> table()
{
    QHash<QString, int> keys{
        {"BACK", 0x08},     {"BACKSPACE", 0x08}, {"TAB", 0x09},      {"RETURN", 0x0D},   {"ENTER", 0x0D},
        {"SHIFT", 0x10},    {"CONTROL", 0x11},   {"CTRL", 0x11},     {"MENU", 0x12},     {"ALT", 0x12},
        {"PAUSE", 0x13},    {"CAPITAL", 0x14},   {"CAPSLOCK", 0x14}, {"ESCAPE", 0x1B},   {"ESC", 0x1B},
        {"SPACE", 0x20},    {"PRIOR", 0x21},     {"PAGEUP", 0x21},   {"NEXT", 0x22},     {"PAGEDOWN", 0x22},
        {"END", 0x23},      {"HOME", 0x24},      {"LEFT", 0x25},     {"UP", 0x26},       {"RIGHT", 0x27},
        {"DOWN", 0x28},     {"INSERT", 0x2D},    {"DELETE", 0x2E},   {"MULTIPLY", 0x6A}, {"ADD", 0x6B},
        {"SUBTRACT", 0x6D}, {"DECIMAL", 0x6E},   {"DIVIDE", 0x6F},
    };
    for (int i = 0; i < 26; ++i)
        keys.insert(QString(QChar('A' + i)), 0x41 + i);
    for (int i = 0; i < 10; ++i)
        keys.insert(QString::number(i), 0x30 + i), keys.insert("NUMPAD" + QString::number(i), 0x60 + i);
    for (int i = 1; i <= 24; ++i)
        keys.insert("F" + QString::number(i), 0x6F + i);
    return keys;
}
} // namespace

std::optional<int> KeyNames::code(const QString &nameOrNumber)
{
    static const QHash<QString, int> keys = table();
    const QString name = nameOrNumber.trimmed().toUpper();
    // A single digit is the digit's key, as on the keyboard; longer numbers are codes.
    if (keys.contains(name))
        return keys.value(name);
    bool number = false;
    const int value =
        name.startsWith(QLatin1String("0X")) ? name.mid(2).toInt(&number, 16) : name.toInt(&number, 10);
    if (number && value > 0 && value < 256)
        return value;
    return std::nullopt;
}

QStringList KeyNames::names()
{
    QStringList all = table().keys();
    std::sort(all.begin(), all.end());
    return all;
}
