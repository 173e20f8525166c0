// kvbeacon-web: kvBeacon in the browser. One connection to kvBeacon, fanned out to every
// browser: a dashboard, a chat-macro button box, a stream overlay, and a WebSocket and JSON
// documents for programs of one's own; the car shared with the team through an MQTT broker.
#include "beaconlink.h"
#include "console.h"
#include "hub.h"
#include "mqttlink.h"
#include "pages.h"
#include "phoneaddress.h"
#include "platform.h"
#include "team.h"
#include "weboptions.h"
#include "webserver.h"

#include <QCoreApplication>
#include <QLoggingCategory>

#include <memory>

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("kvbeacon-web"));
    WebOptions options;
    QString problem;
    QStringList warnings;
    const bool read = options.read(app, &problem, &warnings);
    for (const QString &warning : warnings)
        Console::warn(warning);
    if (!read) {
        Console::fail(problem);
        return 2;
    }
    if (options.verbose)
        QLoggingCategory::setFilterRules(QStringLiteral("kvbeacon.web.*.info=true"));

    Hub hub;
    const Pages pages;
    BeaconLink link(hub, options.beaconHost, options.beaconPort);
    std::unique_ptr<Team> team;
    std::shared_ptr<MqttLink> broker;
    if (options.mqtt.enabled()) {
        team = std::make_unique<Team>(options.mqtt.watch, options.mqtt.cars());
        broker = std::make_shared<MqttLink>(options.mqtt, *team, &Console::say);
        if (!broker->start(&problem)) {
            Console::fail(problem);
            return 2;
        }
        hub.attach(broker);
    }
    platform::raiseFileLimit();
    QString warning;
    ButtonBox buttons(options.configFolder + QStringLiteral("/buttons.json"), &warning);
    if (!warning.isEmpty())
        Console::warn(warning);
    WebContext context{hub, pages, [&link](Command command) { link.enqueue(std::move(command)); },
                       team.get()};
    context.buttons = &buttons;
    context.access = std::make_shared<const AccessRules>(options.allowedHosts);
    WebServer server(std::move(context));
    std::string error;
    if (!server.listen(options.port, &error)) {
        Console::fail(QStringLiteral("cannot listen on port %1: %2")
                          .arg(options.port)
                          .arg(QString::fromStdString(error)));
        return 1;
    }
    const PhoneAddress phone(server.port());
    server.setPhoneAddress(&phone);
    link.start();
    server.start();

    Console::greet(options, server.port(), phone, broker != nullptr);
    // The hub holds its viewers weakly: the console is kept here for as long as the program runs.
    const auto console = std::make_shared<Console>();
    hub.attach(console);
    if (options.openPhonePage) {
        const QString page = QStringLiteral("http://localhost:%1/phone").arg(server.port());
        if (!platform::openInBrowser(page))
            Console::say(
                QStringLiteral("this PC's browser could not be opened: open %1 in it yourself").arg(page));
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
