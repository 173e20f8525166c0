#include "phoneaddress.h"

#include "qrcode.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkInterface>

PhoneAddress::PhoneAddress(unsigned short port, QStringList hosts)
{
    QJsonArray entries;
    for (const QString &host : hosts) {
        const QString url = QStringLiteral("http://%1:%2/").arg(host).arg(port);
        addresses.append(url);
        entries.append(
            QJsonObject{{QStringLiteral("url"), url},
                        {QStringLiteral("qr"), QJsonArray::fromStringList(QrCode(url.toUtf8()).modules())}});
    }
    const QJsonObject object{{QStringLiteral("type"), QStringLiteral("phone")},
                             {QStringLiteral("urls"), entries},
                             {QStringLiteral("local"), QStringLiteral("http://localhost:%1/").arg(port)}};
    document = QJsonDocument(object).toJson(QJsonDocument::Compact).toStdString();
}

QStringList PhoneAddress::lanHosts()
{
    QStringList hosts;
    for (const QNetworkInterface &interface : QNetworkInterface::allInterfaces()) {
        const auto flags = interface.flags();
        if (!(flags & QNetworkInterface::IsRunning) || (flags & QNetworkInterface::IsLoopBack))
            continue;
        for (const QNetworkAddressEntry &entry : interface.addressEntries())
            if (entry.ip().protocol() == QAbstractSocket::IPv4Protocol)
                hosts.append(entry.ip().toString());
    }
    return hosts;
}

QString PhoneAddress::consoleText() const
{
    if (addresses.isEmpty())
        return QStringLiteral("  No network for a phone: connect this PC to the network the phone is on.\n");
    QString text = QrCode(addresses.first().toUtf8()).terminalText();
    text +=
        QStringLiteral("  On a phone on the same network, scan the code or open %1\n").arg(addresses.first());
    for (const QString &other : addresses.mid(1))
        text += QStringLiteral("  (or %1 on another of this PC's networks)\n").arg(other);
    return text;
}
