#include "appsettings.h"

#include "protocol.h"

#include <QDebug>
#include <QSettings>
#include <QStandardPaths>
#include <QThread>

namespace {
const QString keyPort = QStringLiteral("main/port");
const QString keyIp = QStringLiteral("main/ip");
const QString keyNetInterface = QStringLiteral("main/netinterface");
const QString keyAutoStartServer = QStringLiteral("main/autostartserver");
const QString keyWindowState = QStringLiteral("main/windowstate");
const QString keyWindowGeometry = QStringLiteral("main/windowgeometry");
const QString keyIracingDocument = QStringLiteral("paths/iracingdocument");

QString settingsPath()
{
    return QStandardPaths::writableLocation(QStandardPaths::DataLocation) + QStringLiteral("/kvbeacon.ini");
}
} // namespace

AppSettings::AppSettings(QObject *parent)
    : settings(new QSettings(settingsPath(), QSettings::IniFormat, parent)), fileName(settings->fileName())
{
    qDebug() << "Expecting settings at" << settings->fileName();
}

quint16 AppSettings::port() const
{
    return quint16(settings->value(keyPort, int(Protocol::defaultPort)).toUInt() & 0xFFFF);
}

void AppSettings::setPort(quint16 port)
{
    settings->setValue(keyPort, int(port));
}

QString AppSettings::ip() const
{
    return settings->value(keyIp, QString()).toString();
}

void AppSettings::setIp(const QString &ip)
{
    settings->setValue(keyIp, ip);
}

QString AppSettings::netInterface() const
{
    return settings->value(keyNetInterface, QString()).toString();
}

void AppSettings::setNetInterface(const QString &netInterface)
{
    settings->setValue(keyNetInterface, netInterface);
}

bool AppSettings::autoStartServer() const
{
    return settings->value(keyAutoStartServer, false).toBool();
}

void AppSettings::setAutoStartServer(bool autoStart)
{
    settings->setValue(keyAutoStartServer, autoStart);
}

QByteArray AppSettings::windowState() const
{
    return settings->value(keyWindowState, QByteArray()).toByteArray();
}

void AppSettings::setWindowState(const QByteArray &state)
{
    settings->setValue(keyWindowState, state);
}

QByteArray AppSettings::windowGeometry() const
{
    return settings->value(keyWindowGeometry, QByteArray()).toByteArray();
}

void AppSettings::setWindowGeometry(const QByteArray &geometry)
{
    settings->setValue(keyWindowGeometry, geometry);
}

QString AppSettings::iracingDocumentPath() const
{
    if (QThread::currentThread() == settings->thread())
        return settings->value(keyIracingDocument, QString()).toString();
    // A QSettings object may not be shared between threads, but objects on the same file in
    // one process share their cache, so a private one sees the value stored a moment ago.
    QSettings own(fileName, QSettings::IniFormat);
    return own.value(keyIracingDocument, QString()).toString();
}

void AppSettings::setIracingDocumentPath(const QString &path)
{
    settings->setValue(keyIracingDocument, path);
}
