// The server side of the benchmarks, in a process of its own so that its memory and
// threads can be read apart from the clients': "kvbeacon" runs kvBeacon's server with a
// record published ten times a second, "echo" the bare echo server. kvBeacon's debug lines
// go wherever the caller sends standard error, as in the real program.
#include "appsettings.h"
#include "benchkit.h"
#include "kvserver.h"
#include "serverplatform.h"

#include <QCoreApplication>
#include <QStandardPaths>
#include <QTimer>

#include <cstdio>
#include <cstring>
#include <unistd.h>

int main(int argc, char **argv)
{
    benchkit::raiseDescriptorLimit();
    if (argc > 1 && std::strcmp(argv[1], "echo") == 0) {
        benchkit::EchoServer echo;
        std::printf("port %u\n", echo.start());
        std::fflush(stdout);
        for (;;)
            pause();
    }

    serverplatform::prepareProcess(); // as kvBeacon's own main() does
    QCoreApplication app(argc, argv);
    QStandardPaths::setTestModeEnabled(true); // no settings of the user's are touched
    AppSettings settings(&app);
    kvServer server(&settings, nullptr);
    server.StartServer(QString(), 0);
    std::printf("port %u\n", server.serverPort());
    std::fflush(stdout);

    // The documents change as often as the telemetry poll could publish them.
    SessionData record;
    record.TrackName = QStringLiteral("sample_speedway");
    record.SessionType = QStringLiteral("Race");
    QTimer publisher;
    QObject::connect(&publisher, &QTimer::timeout, [&] {
        record.SessionTimeSinceStarted += 0.1;
        record.FuelLevel -= 0.01f;
        server.publish(record);
    });
    publisher.start(100);
    return app.exec();
}
