// kvbeacon-web: kvBeacon in the browser. One connection to kvBeacon, fanned out to every
// browser: a dashboard, a chat-macro button box, a stream overlay, and a WebSocket and JSON
// documents for programs of one's own.
#include "beaconclient.h"
#include "beaconlink.h"
#include "hub.h"
#include "mqttlink.h"
#include "pages.h"
#include "phoneaddress.h"
#include "platform.h"
#include "team.h"
#include "webserver.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QStandardPaths>
#include <QTime>

#include <cstdio>
#include <memory>

namespace {
// Tells the person at the console how the link to kvBeacon stands, once per change.
class ConsoleState : public Viewer
{
public:
    void deliver(Channel channel, std::shared_ptr<const std::string> message) override
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
};
} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("kvbeacon-web"));
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "kvBeacon in the browser: a dashboard (/), chat-macro buttons (/buttons), a stream "
        "overlay (/overlay), a WebSocket (/ws) and the documents as JSON (/api/live, /api/info)."));
    parser.addHelpOption();
    parser.addOption(
        {QStringLiteral("beacon"),
         QStringLiteral("The kvBeacon to read (default 127.0.0.1:%1).").arg(BeaconClient::defaultPort),
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
    const QString defaultConfig = QStandardPaths::writableLocation(QStandardPaths::AppConfigLocation) +
                                  QStringLiteral("/kvbeacon-web.ini");
    parser.addOption(
        {QStringLiteral("config"),
         QStringLiteral("A file of key=value lines with the broker's settings (default %1, if it exists).")
             .arg(defaultConfig),
         QStringLiteral("file")});
    parser.process(app);

    QString host = QStringLiteral("127.0.0.1");
    quint16 beaconPort = BeaconClient::defaultPort;
    if (parser.isSet(QStringLiteral("beacon"))) {
        const QString value = parser.value(QStringLiteral("beacon"));
        const int colon = value.lastIndexOf(QLatin1Char(':'));
        bool ok = colon > 0;
        const uint number = ok ? value.mid(colon + 1).toUInt(&ok) : 0;
        if (!ok || number == 0 || number > 65535) {
            std::fprintf(stderr,
                         "kvbeacon-web: --beacon wants host:port, such as 192.168.1.20:47812, not \"%s\"\n",
                         qPrintable(value));
            return 2;
        }
        host = value.left(colon);
        // "[::1]:47812" for an IPv6 address
        if (host.startsWith(QLatin1Char('[')) && host.endsWith(QLatin1Char(']')))
            host = host.mid(1, host.size() - 2);
        beaconPort = static_cast<quint16>(number);
    }
    uint port = 47813;
    if (parser.isSet(QStringLiteral("port"))) {
        bool ok = false;
        port = parser.value(QStringLiteral("port")).toUInt(&ok);
        if (!ok || port > 65535) {
            std::fprintf(stderr, "kvbeacon-web: --port wants a number from 0 to 65535, not \"%s\"\n",
                         qPrintable(parser.value(QStringLiteral("port"))));
            return 2;
        }
    }

    MqttSettings mqtt;
    const auto option = [&parser](const char *name) { return parser.value(QLatin1String(name)); };
    mqtt.url = option("mqtt");
    mqtt.team = option("team");
    mqtt.driver = option("driver");
    mqtt.watch = option("watch");
    mqtt.caFile = option("mqtt-ca");
    mqtt.certFile = option("mqtt-cert");
    mqtt.keyFile = option("mqtt-key");
    mqtt.insecure = parser.isSet(QStringLiteral("insecure"));
    mqtt.homeAssistant = parser.isSet(QStringLiteral("home-assistant"));
    const QString config = parser.isSet(QStringLiteral("config")) ? option("config") : defaultConfig;
    QString problem, warning;
    if ((parser.isSet(QStringLiteral("config")) || QFileInfo::exists(config)) &&
        !mqtt.mergeFile(config, &problem, &warning)) {
        std::fprintf(stderr, "kvbeacon-web: %s\n", qPrintable(problem));
        return 2;
    }
    if (!warning.isEmpty())
        std::fprintf(stderr, "kvbeacon-web: warning: %s\n", qPrintable(warning));
    if (mqtt.enabled() && !mqtt.check(&problem)) {
        std::fprintf(stderr, "kvbeacon-web: %s\n", qPrintable(problem));
        return 2;
    }
    if (mqtt.enabled() && mqtt.tls && mqtt.caFile.isEmpty()) {
        mqtt.systemCaFile = platform::systemCaFile(&problem);
        if (!problem.isEmpty())
            std::fprintf(stderr, "kvbeacon-web: warning: %s\n", qPrintable(problem));
    }

    Hub hub;
    const Pages pages;
    BeaconLink link(hub, host, beaconPort);
    std::unique_ptr<Team> team;
    std::shared_ptr<MqttLink> broker;
    if (mqtt.enabled()) {
        team = std::make_unique<Team>(mqtt.watch);
        broker = std::make_shared<MqttLink>(mqtt, *team);
        if (!broker->start(&problem)) {
            std::fprintf(stderr, "kvbeacon-web: %s\n", qPrintable(problem));
            return 2;
        }
        hub.attach(broker);
    }
    platform::raiseFileLimit();
    warning.clear();
    ButtonBox buttons(QFileInfo(defaultConfig).absolutePath() + QStringLiteral("/buttons.json"), &warning);
    if (!warning.isEmpty())
        std::fprintf(stderr, "kvbeacon-web: warning: %s\n", qPrintable(warning));
    WebContext context{hub, pages, [&link](Command command) { link.enqueue(std::move(command)); },
                       team.get()};
    context.buttons = &buttons;
    context.access = std::make_shared<const AccessRules>(parser.values(QStringLiteral("allow-host")));
    WebServer server(std::move(context));
    std::string error;
    if (!server.listen(static_cast<unsigned short>(port), &error)) {
        std::fprintf(stderr, "kvbeacon-web: cannot listen on port %u: %s\n", port, error.c_str());
        return 1;
    }
    const PhoneAddress phone(server.port());
    server.setPhoneAddress(&phone);
    link.start();
    server.start();

    platform::prepareConsole();
    std::printf("kvbeacon-web: reading kvBeacon at %s:%u\n", qPrintable(host), beaconPort);
    std::printf("kvbeacon-web: serving on port %u, on every interface\n", server.port());
    std::printf("  dashboard  http://localhost:%u/   (buttons: /buttons, overlay: /overlay)\n",
                server.port());
    std::printf("%s", phone.consoleText().toUtf8().constData());
    if (broker) {
        if (mqtt.driver.isEmpty())
            std::printf("kvbeacon-web: watching %s/... on the broker (not sharing: no --driver)\n",
                        qPrintable(mqtt.watch));
        else
            std::printf("kvbeacon-web: sharing as %s through the broker, watching %s/...\n",
                        qPrintable(mqtt.topic(QString()).chopped(1)), qPrintable(mqtt.watch));
        std::printf("  team       http://localhost:%u/team\n", server.port());
    }
    std::printf("Anyone who reaches this port can run the driver's chat macros and press keys in the\n"
                "simulator: keep it on a trusted network.\n");
    std::fflush(stdout);
    const auto console = std::make_shared<ConsoleState>();
    hub.attach(console);
    if (parser.isSet(QStringLiteral("open"))) {
        const QString page = QStringLiteral("http://localhost:%1/phone").arg(server.port());
        if (!platform::openInBrowser(page))
            std::printf("kvbeacon-web: no browser could be opened: open %s yourself\n", qPrintable(page));
        std::fflush(stdout);
    }

    const int status = app.exec();
    // The link first: it hands messages to sessions that the server owns.
    link.stop();
    link.wait();
    // Then the broker, which says offline before it goes.
    if (broker)
        broker->stop();
    server.stop();
    return status;
}
