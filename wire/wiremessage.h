#pragma once

#include <QByteArray>
#include <QString>

// One protocol frame: "@" + six-digit body length + ";" + body, where the body is
// "ccc;iiiiii;payload;". Built from fields for a reply, or parsed from received bytes.
// A plain value owned by whoever made it.
class WireMessage
{
public:
    // Builds `data` from the three fields; cannot fail.
    WireMessage(int command, int id, const QString &payload);
    // Parses `bytes`; a refused frame leaves a command that no dispatcher answers.
    explicit WireMessage(const QByteArray &bytes);

    // Reads the fields of the frame that starts at the first byte of `bytes`.
    bool parse(const QByteArray &bytes);

    QByteArray data;
    qint32 length = 0;
    qint32 command = -1;
    qint32 id = 0;
    QString payload;
};
