#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

// A text as a QR code (libqrencode), for a phone's camera: the modules as rows of '1' (dark)
// and '0' (light), drawn by the page on a canvas and by the console in block characters.
class QrCode
{
public:
    // Medium error correction: a code on a glossy screen, photographed at an angle, still reads.
    explicit QrCode(const QByteArray &text);

    bool isValid() const { return !rows.isEmpty(); }
    const QStringList &modules() const { return rows; }
    // Two module rows a line in half blocks, light modules drawn, with the quiet zone around
    // the code that scanners need: a terminal's dark background gives the dark modules.
    QString terminalText() const;

private:
    QStringList rows;
};
