#pragma once

#include "mqttsettings.h"

#include <QCoreApplication>
#include <QString>
#include <QStringList>

// kvbeacon-web's command line and config file, read once at start: where kvBeacon is, the port
// to serve on, the broker's settings and the extra names the server answers to.
struct WebOptions
{
    QString beaconHost = QStringLiteral("127.0.0.1");
    quint16 beaconPort = 0;
    unsigned short port = 47813;
    MqttSettings mqtt;
    QStringList allowedHosts;
    bool openPhonePage = false;
    bool verbose = false;
    // Where the config file and the key buttons live.
    QString configFolder;

    // Reads the command line (exiting for --help, as Qt's parser does); false with the sentence
    // to print when an option or the config file is wrong. `warnings` gets what is worth saying
    // but does not stop the start.
    bool read(const QCoreApplication &app, QString *error, QStringList *warnings);
};
