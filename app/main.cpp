#include "appsettings.h"
#include "kvserver.h"

#include <QCoreApplication>
#include <QDebug>

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    AppSettings settings(&app);
    kvServer server(&settings, nullptr);
    QObject::connect(&server, &kvServer::sigDebugString, [](const QString &line) { qInfo().noquote() << line; });
    server.StartServer(settings.ip(), settings.port());
    return app.exec();
}
