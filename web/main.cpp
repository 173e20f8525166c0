// kvbeacon-web: kvBeacon in the browser. One connection to kvBeacon, fanned out to every
// browser: a dashboard, a chat-macro button box, a stream overlay, and a WebSocket and JSON
// documents for programs of one's own.
#include "beaconclient.h"
#include "beaconlink.h"
#include "hub.h"
#include "pages.h"
#include "webserver.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QNetworkInterface>

#include <cstdio>

namespace {
// The addresses a phone on the same network would type: the running interfaces' IPv4 ones.
QStringList lanAddresses()
{
    QStringList addresses;
    for (const QNetworkInterface &interface : QNetworkInterface::allInterfaces()) {
        const auto flags = interface.flags();
        if (!(flags & QNetworkInterface::IsRunning) || (flags & QNetworkInterface::IsLoopBack))
            continue;
        for (const QNetworkAddressEntry &entry : interface.addressEntries())
            if (entry.ip().protocol() == QAbstractSocket::IPv4Protocol)
                addresses.append(entry.ip().toString());
    }
    return addresses;
}
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

    Hub hub;
    const Pages pages;
    BeaconLink link(hub, host, beaconPort);
    WebServer server(WebContext{hub, pages, [&link](Command command) { link.enqueue(std::move(command)); }});
    std::string error;
    if (!server.listen(static_cast<unsigned short>(port), &error)) {
        std::fprintf(stderr, "kvbeacon-web: cannot listen on port %u: %s\n", port, error.c_str());
        return 1;
    }
    link.start();
    server.start();

    std::printf("kvbeacon-web: reading kvBeacon at %s:%u\n", qPrintable(host), beaconPort);
    std::printf("kvbeacon-web: serving on port %u, on every interface\n", server.port());
    std::printf("  dashboard  http://localhost:%u/\n", server.port());
    for (const QString &address : lanAddresses())
        std::printf("  on a phone http://%s:%u/   (buttons: /buttons, overlay: /overlay)\n",
                    qPrintable(address), server.port());
    std::printf("Anyone who reaches this port can run the driver's chat macros and press keys in the\n"
                "simulator: keep it on a trusted network.\n");
    std::fflush(stdout);

    const int status = app.exec();
    // The link first: it hands messages to sessions that the server owns.
    link.stop();
    link.wait();
    server.stop();
    return status;
}
