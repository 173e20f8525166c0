#pragma once

#include <QStringList>

#include <string>

// The addresses a phone on the same network opens the dashboard at, with each one's QR code:
// for the console at start and for the page the PC's browser shows (/phone, /api/phone).
class PhoneAddress
{
public:
    // The running interfaces' IPv4 addresses, or the given ones (for tests).
    explicit PhoneAddress(unsigned short port, QStringList hosts = lanHosts());

    static QStringList lanHosts();
    const QStringList &urls() const { return addresses; }
    // {"type":"phone","urls":[{"url":..., "qr":[rows of '0' and '1']}], "local": url on this PC}
    const std::string &json() const { return document; }
    // The first address as a QR code in block characters, then every address in plain text.
    QString consoleText() const;

private:
    QStringList addresses;
    std::string document;
};
