#include "console.h"

#include "phoneaddress.h"
#include "platform.h"
#include "weboptions.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QTime>

#include <cstdio>

void Console::deliver(Channel channel, std::shared_ptr<const std::string> message)
{
    if (channel != Channel::State)
        return;
    const QString text = QJsonDocument::fromJson(QByteArray::fromStdString(*message))
                             .object()
                             .value(QLatin1String("text"))
                             .toString();
    std::printf("kvbeacon-web: %s  %s\n",
                qPrintable(QTime::currentTime().toString(QStringLiteral("HH:mm:ss"))), qPrintable(text));
    std::fflush(stdout);
}

void Console::greet(const WebOptions &options, unsigned short port, const PhoneAddress &phone, bool sharing)
{
    platform::prepareConsole();
    std::printf("kvbeacon-web: reading kvBeacon at %s:%u\n", qPrintable(options.beaconHost),
                options.beaconPort);
    std::printf("kvbeacon-web: serving on port %u, on every interface\n", port);
    std::printf("  dashboard  http://localhost:%u/   (buttons: /buttons, overlay: /overlay)\n", port);
    std::printf("%s", phone.consoleText().toUtf8().constData());
    if (sharing) {
        const MqttSettings &mqtt = options.mqtt;
        if (mqtt.driver.isEmpty())
            std::printf("kvbeacon-web: watching %s/... on the broker (not sharing: no --driver)\n",
                        qPrintable(mqtt.watch));
        else
            std::printf("kvbeacon-web: sharing as %s through the broker, watching %s/...\n",
                        qPrintable(mqtt.topic(QString()).chopped(1)), qPrintable(mqtt.watch));
        std::printf("  team       http://localhost:%u/team\n", port);
    }
    std::printf("Anyone who reaches this port can run the driver's chat macros and press keys in the\n"
                "simulator: keep it on a trusted network.\n");
    std::fflush(stdout);
}

void Console::say(const QString &text)
{
    std::printf("kvbeacon-web: %s\n", qPrintable(text));
    std::fflush(stdout);
}

void Console::warn(const QString &text)
{
    std::fprintf(stderr, "kvbeacon-web: warning: %s\n", qPrintable(text));
}
