#include "wiremessage.h"

namespace {
// The fill keeps every digit, so a value wider than its field widens the frame.
void appendZeroPadded(QByteArray &to, qint64 value, int width)
{
    const QByteArray digits = QByteArray::number(value);
    if (digits.size() < width)
        to.append(width - digits.size(), '0');
    to.append(digits);
}
} // namespace

WireMessage::WireMessage(int command, int id, const QString &payload)
    : command(command), id(id), payload(payload)
{
    // Built straight into bytes: a reply is made for every request, and a document's text
    // would otherwise be copied and converted several times over.
    QByteArray fields;
    appendZeroPadded(fields, command, 3);
    fields.append(';');
    appendZeroPadded(fields, id, 6);
    fields.append(';');
    // The length counts UTF-16 code units of the body, not its UTF-8 bytes; the fields are ASCII.
    const int bodyUnits = fields.size() + payload.size() + 1;
    const QByteArray text = payload.toUtf8();
    data.reserve(8 + fields.size() + text.size() + 1);
    data.append('@');
    appendZeroPadded(data, bodyUnits, 6);
    data.append(';');
    data.append(fields);
    data.append(text);
    data.append(';');
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
