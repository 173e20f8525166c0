#include "console.h"

#include "phoneaddress.h"
#include "platform.h"
#include "weboptions.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QTime>

void Console::deliver(Channel channel, std::shared_ptr<const std::string> message)
{
    if (channel != Channel::State)
        return;
    const QJsonObject state = QJsonDocument::fromJson(QByteArray::fromStdString(*message)).object();
    QString text = QStringLiteral("kvbeacon-web: %1  %2\n")
                       .arg(QTime::currentTime().toString(QStringLiteral("HH:mm:ss")),
                            state.value(QLatin1String("text")).toString());
    const QString hint = state.value(QLatin1String("hint")).toString();
    if (!hint.isEmpty())
        text += QStringLiteral("  %1\n").arg(hint);
    platform::writeOut(text);
}

void Console::greet(const WebOptions &options, unsigned short port, const PhoneAddress &phone, bool sharing)
{
    QString text =
        QStringLiteral("kvbeacon-web: reading kvBeacon at %1:%2\n"
                       "kvbeacon-web: serving on port %3, on every interface\n"
                       "  dashboard  http://localhost:%3/   (buttons: /buttons, overlay: /overlay)\n"
                       "  phone      http://localhost:%3/phone   "
                       "(open it on this PC: the code for the phone to scan)\n")
            .arg(options.beaconHost)
            .arg(options.beaconPort)
            .arg(port);
    text += phone.consoleText();
    if (sharing) {
        const MqttSettings &mqtt = options.mqtt;
        if (mqtt.driver.isEmpty())
            text += QStringLiteral("kvbeacon-web: watching %1/... on the broker (not sharing: no --driver)\n")
                        .arg(mqtt.watch);
        else
            text += QStringLiteral("kvbeacon-web: sharing as %1 through the broker, watching %2/...\n")
                        .arg(mqtt.topic(QString()).chopped(1), mqtt.watch);
        text += QStringLiteral("  team       http://localhost:%1/team\n").arg(port);
    }
    text +=
        QStringLiteral("Anyone who reaches this port can run the driver's chat macros and press keys in the\n"
                       "simulator: keep it on a trusted network.\n");
    platform::writeOut(text);
}

void Console::say(const QString &text)
{
    platform::writeOut(QStringLiteral("kvbeacon-web: %1\n").arg(text));
}

void Console::warn(const QString &text)
{
    platform::writeError(QStringLiteral("kvbeacon-web: warning: %1\n").arg(text));
}

void Console::fail(const QString &text)
{
    platform::writeError(QStringLiteral("kvbeacon-web: %1\n").arg(text));
}
