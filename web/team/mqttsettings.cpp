#include "mqttsettings.h"

#include "platform.h"

#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QHostAddress>
#include <QHostInfo>
#include <QUrl>

bool MqttSettings::mergeFile(const QString &path, QString *error, QString *warning)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text)) {
        *error = QStringLiteral("cannot read the config file %1: %2").arg(path, file.errorString());
        return false;
    }
    // key=value lines, taken as they stand (a password may hold any character but a line break);
    // # or ; begins a comment line, and a value may be put in double quotes.
    QHash<QString, QString> values;
    const QStringList lines = QString::fromUtf8(file.readAll()).split(QLatin1Char('\n'));
    for (int number = 1; number <= lines.size(); ++number) {
        const QString line = lines[number - 1].trimmed();
        if (line.isEmpty() || line.startsWith(QLatin1Char('#')) || line.startsWith(QLatin1Char(';')) ||
            line.startsWith(QLatin1Char('[')))
            continue;
        const int equals = line.indexOf(QLatin1Char('='));
        if (equals <= 0) {
            // The line itself is not shown: it may be a password that lost its key.
            *error = QStringLiteral("%1, line %2: not key=value").arg(path).arg(number);
            return false;
        }
        QString value = line.mid(equals + 1).trimmed();
        if (value.size() >= 2 && value.startsWith(QLatin1Char('"')) && value.endsWith(QLatin1Char('"')))
            value = value.mid(1, value.size() - 2);
        values.insert(line.left(equals).trimmed(), value);
    }
    const auto take = [&values](QString &value, const char *key) {
        if (value.isEmpty())
            value = values.value(QLatin1String(key));
    };
    const auto yes = [&values](const char *key) {
        const QString value = values.value(QLatin1String(key)).toLower();
        return value == QLatin1String("true") || value == QLatin1String("yes") || value == QLatin1String("1");
    };
    take(url, "mqtt");
    take(team, "team");
    take(driver, "driver");
    take(watch, "watch");
    if (drivers.isEmpty())
        for (const QString &name :
             values.value(QStringLiteral("drivers")).split(QLatin1Char(','), Qt::SkipEmptyParts))
            drivers.append(name.trimmed());
    take(username, "username");
    take(password, "password");
    take(caFile, "ca");
    take(certFile, "cert");
    take(keyFile, "key");
    insecure = insecure || yes("insecure");
    homeAssistant = homeAssistant || yes("home-assistant");
    const bool holdsPassword = !values.value(QStringLiteral("password")).isEmpty() ||
                               !QUrl(values.value(QStringLiteral("mqtt"))).password().isEmpty();
    if (warning && holdsPassword && platform::othersMayRead(path))
        *warning =
            QStringLiteral("%1 holds a password that other users can read; chmod 600 %1 keeps it yours")
                .arg(path);
    return true;
}

bool MqttSettings::check(QString *error)
{
    const QUrl parsed(url, QUrl::StrictMode);
    const QString scheme = parsed.scheme();
    if (!parsed.isValid() || parsed.host().isEmpty() ||
        (scheme != QLatin1String("mqtt") && scheme != QLatin1String("mqtts"))) {
        *error = QStringLiteral("--mqtt wants mqtt://host[:port] or mqtts://[user:password@]host[:port], "
                                "not \"%1\"")
                     .arg(redacted(url));
        return false;
    }
    if (!isTopicLevel(team)) {
        *error = QStringLiteral("--team wants a name without /, + or # (it is a level of the topics)");
        return false;
    }
    if (!driver.isEmpty() && !isTopicLevel(driver)) {
        *error = QStringLiteral("--driver wants a name without /, + or # (it is a level of the topics)");
        return false;
    }
    for (const QString &name : drivers)
        if (!isTopicLevel(name)) {
            *error = QStringLiteral("drivers= wants names without /, + or #, separated by commas, not \"%1\"")
                         .arg(name);
            return false;
        }
    // A typo here would hide the car from the whole team, the driver's own page included.
    if (!drivers.isEmpty() && !driver.isEmpty() && !drivers.contains(driver)) {
        *error = QStringLiteral("the driver \"%1\" is not among drivers=%2")
                     .arg(driver, drivers.join(QLatin1Char(',')));
        return false;
    }
    if (watch.isEmpty())
        watch = QStringLiteral("kvbeacon/") + team;
    if (watch.contains(QLatin1Char('+')) || watch.contains(QLatin1Char('#')) ||
        watch.endsWith(QLatin1Char('/'))) {
        *error = QStringLiteral("--watch wants a topic prefix such as kvbeacon, without + or #");
        return false;
    }
    if (certFile.isEmpty() != keyFile.isEmpty()) {
        *error = QStringLiteral("a client certificate needs its key, and a key its certificate");
        return false;
    }
    for (const QString &file : {caFile, certFile, keyFile})
        if (!file.isEmpty() && !QFileInfo(file).isReadable()) {
            *error = QStringLiteral("cannot read %1").arg(file);
            return false;
        }
    if (username.isEmpty())
        username = parsed.userName(QUrl::FullyDecoded);
    if (password.isEmpty())
        password = parsed.password(QUrl::FullyDecoded);

    tls = scheme == QLatin1String("mqtts");
    port = parsed.port(tls ? 8883 : 1883);
    host = parsed.host(QUrl::FullyDecoded);
    if (tls || insecure)
        return true;
    // Checked once, and the checked address is the one connected to: a name cannot turn public later.
    QHostAddress address(host);
    if (address.isNull()) {
        const QHostInfo found = QHostInfo::fromName(host);
        if (found.addresses().isEmpty()) {
            *error = QStringLiteral("cannot find %1 to tell whether it is on a private network: %2")
                         .arg(host, found.errorString());
            return false;
        }
        address = found.addresses().constFirst();
        for (const QHostAddress &each : found.addresses())
            if (!isLocalOrPrivate(each))
                address = each;
    }
    if (!isLocalOrPrivate(address)) {
        *error = QStringLiteral("refusing plain mqtt:// to %1 (%2), which is not a local or private address: "
                                "the team's data would cross the internet unencrypted. Use mqtts://, or "
                                "--insecure if the network between is trusted")
                     .arg(host, address.toString());
        return false;
    }
    host = address.toString();
    return true;
}

QString MqttSettings::redacted(const QString &url)
{
    // A mistyped scheme still hides what comes before the host.
    const int scheme = url.indexOf(QLatin1String("://"));
    const int start = scheme >= 0 ? scheme + 3 : 0;
    const int end = url.lastIndexOf(QLatin1Char('@'));
    return end >= start ? url.left(start) + QStringLiteral("***") + url.mid(end) : url;
}

QString MqttSettings::topic(const QString &kind) const
{
    return QStringLiteral("kvbeacon/%1/%2/%3").arg(team, driver, kind);
}

QStringList MqttSettings::cars() const
{
    QStringList cars;
    for (const QString &name : drivers)
        cars.append(QStringLiteral("kvbeacon/%1/%2").arg(team, name));
    return cars;
}

bool MqttSettings::isLocalOrPrivate(const QHostAddress &address)
{
    bool isV4 = false;
    const QHostAddress v4(address.toIPv4Address(&isV4));
    const QHostAddress &plain = isV4 ? v4 : address;
    if (plain.isLoopback() || plain.isLinkLocal())
        return true;
    if (plain.protocol() == QAbstractSocket::IPv6Protocol)
        return plain.isInSubnet(QHostAddress::parseSubnet(QStringLiteral("fc00::/7")));
    for (const char *subnet : {"10.0.0.0/8", "172.16.0.0/12", "192.168.0.0/16"})
        if (plain.isInSubnet(QHostAddress::parseSubnet(QLatin1String(subnet))))
            return true;
    return false;
}

bool MqttSettings::isTopicLevel(const QString &name)
{
    return !name.isEmpty() && name.size() <= 64 && !name.contains(QLatin1Char('/')) &&
           !name.contains(QLatin1Char('+')) && !name.contains(QLatin1Char('#'));
}
