#include "weboptions.h"

#include "platform.h"
#include "protocol.h"

#include <QCommandLineParser>
#include <QFileInfo>
#include <QStandardPaths>

namespace {
void describe(QCommandLineParser &parser, const QString &defaultConfig)
{
    parser.setApplicationDescription(QStringLiteral(
        "kvBeacon in the browser: a dashboard (/), chat-macro buttons (/buttons), a stream "
        "overlay (/overlay), a WebSocket (/ws) and the documents as JSON (/api/live, /api/info)."));
    parser.addHelpOption();
    parser.addOption(
        {QStringLiteral("beacon"),
         QStringLiteral("The kvBeacon to read (default 127.0.0.1:%1).").arg(Protocol::defaultPort),
         QStringLiteral("host:port")});
    parser.addOption({QStringLiteral("port"),
                      QStringLiteral("The port to serve the pages on (default 47813)."),
                      QStringLiteral("port")});
    parser.addOption({QStringLiteral("mqtt"),
                      QStringLiteral("Share the car with the team through this MQTT broker: "
                                     "mqtts://[user:password@]host[:port], or mqtt:// on a private network."),
                      QStringLiteral("url")});
    parser.addOption({QStringLiteral("team"), QStringLiteral("The team's name in the broker's topics."),
                      QStringLiteral("name")});
    parser.addOption(
        {QStringLiteral("driver"),
         QStringLiteral("The driver's name in the broker's topics; without it the companion only "
                        "watches the team."),
         QStringLiteral("name")});
    parser.addOption({QStringLiteral("watch"),
                      QStringLiteral("The topic prefix the team page shows (default kvbeacon/<team>; "
                                     "kvbeacon for every team of a league)."),
                      QStringLiteral("prefix")});
    parser.addOption({QStringLiteral("mqtt-ca"), QStringLiteral("A CA certificate for the broker's own."),
                      QStringLiteral("file")});
    parser.addOption({QStringLiteral("mqtt-cert"), QStringLiteral("A client certificate for the broker."),
                      QStringLiteral("file")});
    parser.addOption({QStringLiteral("mqtt-key"), QStringLiteral("The client certificate's key."),
                      QStringLiteral("file")});
    parser.addOption({QStringLiteral("insecure"),
                      QStringLiteral("Allow plain mqtt:// to an address that is not local or private.")});
    parser.addOption(
        {QStringLiteral("home-assistant"),
         QStringLiteral("Announce fuel, position, laps remaining and session to Home Assistant.")});
    parser.addOption({QStringLiteral("allow-host"),
                      QStringLiteral("Also answer requests that name this server by NAME (a name of your own "
                                     "that points to this PC); may be given more than once."),
                      QStringLiteral("name")});
    parser.addOption({QStringLiteral("open"),
                      QStringLiteral("Open the page that shows a phone where to go (/phone) in this PC's "
                                     "browser once serving.")});
    parser.addOption({QStringLiteral("verbose"),
                      QStringLiteral("Also say why each browser's connection that ended early ended.")});
    parser.addOption(
        {QStringLiteral("config"),
         QStringLiteral("A file of key=value lines with the broker's settings (default %1, if it exists).")
             .arg(defaultConfig),
         QStringLiteral("file")});
}

// "192.168.1.20:47812", or "[::1]:47812" for an IPv6 address.
bool readBeacon(const QString &value, QString &host, quint16 &port)
{
    const int colon = value.lastIndexOf(QLatin1Char(':'));
    bool ok = colon > 0;
    const uint number = ok ? value.mid(colon + 1).toUInt(&ok) : 0;
    if (!ok || number == 0 || number > 65535)
        return false;
    host = value.left(colon);
    if (host.startsWith(QLatin1Char('[')) && host.endsWith(QLatin1Char(']')))
        host = host.mid(1, host.size() - 2);
    port = static_cast<quint16>(number);
    return true;
}
} // namespace

bool WebOptions::read(const QCoreApplication &app, QString *error, QStringList *warnings)
{
    const QString defaultConfig = QStandardPaths::writableLocation(QStandardPaths::AppConfigLocation) +
                                  QStringLiteral("/kvbeacon-web.ini");
    configFolder = QFileInfo(defaultConfig).absolutePath();
    QCommandLineParser parser;
    describe(parser, defaultConfig);
    parser.process(app);
    const auto option = [&parser](const char *name) { return parser.value(QLatin1String(name)); };
    const auto isSet = [&parser](const char *name) { return parser.isSet(QLatin1String(name)); };

    beaconPort = Protocol::defaultPort;
    if (isSet("beacon") && !readBeacon(option("beacon"), beaconHost, beaconPort)) {
        *error = QStringLiteral("--beacon wants host:port, such as 192.168.1.20:47812, not \"%1\"")
                     .arg(option("beacon"));
        return false;
    }
    if (isSet("port")) {
        bool ok = false;
        const uint number = option("port").toUInt(&ok);
        if (!ok || number > 65535) {
            *error = QStringLiteral("--port wants a number from 0 to 65535, not \"%1\"").arg(option("port"));
            return false;
        }
        port = static_cast<unsigned short>(number);
    }
    allowedHosts = parser.values(QStringLiteral("allow-host"));
    openPhonePage = isSet("open");
    verbose = isSet("verbose");

    mqtt.url = option("mqtt");
    mqtt.team = option("team");
    mqtt.driver = option("driver");
    mqtt.watch = option("watch");
    mqtt.caFile = option("mqtt-ca");
    mqtt.certFile = option("mqtt-cert");
    mqtt.keyFile = option("mqtt-key");
    mqtt.insecure = isSet("insecure");
    mqtt.homeAssistant = isSet("home-assistant");
    const QString config = isSet("config") ? option("config") : defaultConfig;
    QString warning;
    if ((isSet("config") || QFileInfo::exists(config)) && !mqtt.mergeFile(config, error, &warning))
        return false;
    if (!warning.isEmpty())
        warnings->append(warning);
    if (mqtt.enabled() && !mqtt.check(error))
        return false;
    if (mqtt.enabled() && mqtt.tls && mqtt.caFile.isEmpty()) {
        QString problem;
        mqtt.systemCaFile = platform::systemCaFile(&problem);
        if (!problem.isEmpty())
            warnings->append(problem);
    }
    return true;
}
