#include "wiremessage.h"

namespace {
// The fill keeps every digit, so a value wider than its field widens the frame.
QString zeroPadded(qint64 value, int width)
{
    return QString::number(value).rightJustified(width, QLatin1Char('0'), false);
}
} // namespace

WireMessage::WireMessage(int command, int id, const QString &payload)
    : command(command), id(id), payload(payload)
{
    // The payload goes in last, so a "%1" inside it is carried unchanged.
    const QString body =
        QStringLiteral("%1;%2;%3;").arg(zeroPadded(command, 3)).arg(zeroPadded(id, 6)).arg(payload);
    // The length counts UTF-16 code units of the body, not its UTF-8 bytes.
    const QString frame = QStringLiteral("@%1;%2").arg(zeroPadded(body.size(), 6)).arg(body);
    data = frame.toUtf8();
}

WireMessage::WireMessage(const QByteArray &bytes)
{
    parse(bytes);
}

bool WireMessage::parse(const QByteArray &bytes)
{
    if (bytes.size() < 19 || bytes.at(0) != '@')
        return false;
    length = bytes.mid(1, 6).toInt(nullptr, 10);
    command = bytes.mid(8, 3).toInt(nullptr, 10);
    id = bytes.mid(12, 6).toInt(nullptr, 10);
    int end = bytes.indexOf('\0', 19);
    if (end < 0)
        end = bytes.size();
    payload = QString::fromUtf8(bytes.constData() + 19, end - 19);
    return true;
}
