#include "qrcode.h"

#include <qrencode.h>

#include <memory>

namespace {
// Scanners want four modules of light around a code; two read well on a screen.
constexpr int quietZone = 2;
} // namespace

QrCode::QrCode(const QByteArray &text)
{
    const std::unique_ptr<QRcode, decltype(&QRcode_free)> code(
        QRcode_encodeString8bit(text.constData(), 0, QR_ECLEVEL_M), &QRcode_free);
    if (!code)
        return;
    for (int y = 0; y < code->width; ++y) {
        QString row(code->width, QLatin1Char('0'));
        for (int x = 0; x < code->width; ++x)
            if (code->data[y * code->width + x] & 1)
                row[x] = QLatin1Char('1');
        rows.append(row);
    }
}

QString QrCode::terminalText() const
{
    const int width = rows.size() + 2 * quietZone;
    const auto light = [&](int x, int y) {
        x -= quietZone;
        y -= quietZone;
        return x < 0 || y < 0 || x >= rows.size() || y >= rows.size() || rows[y][x] == QLatin1Char('0');
    };
    QString text;
    for (int y = 0; y < width; y += 2) {
        for (int x = 0; x < width; ++x) {
            const bool top = light(x, y), bottom = y + 1 < width ? light(x, y + 1) : false;
            text += top && bottom ? QChar(0x2588)
                    : top         ? QChar(0x2580)
                    : bottom      ? QChar(0x2584)
                                  : QLatin1Char(' ');
        }
        text += QLatin1Char('\n');
    }
    return text;
}
