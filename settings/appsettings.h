#pragma once

#include <QByteArray>
#include <QObject>
#include <QString>

class QSettings;

// Typed access to kvbeacon.ini: one getter and one setter per key, no cached values.
// Owned by the window and used on the main thread; iracingDocumentPath() may also be
// called from connection threads.
class AppSettings
{
public:
    explicit AppSettings(QObject *parent);

    quint16 port() const;
    void setPort(quint16 port);
    QString ip() const;
    void setIp(const QString &ip);
    QString netInterface() const;
    void setNetInterface(const QString &netInterface);
    bool autoStartServer() const;
    void setAutoStartServer(bool autoStart);
    QByteArray windowState() const;
    void setWindowState(const QByteArray &state);
    QByteArray windowGeometry() const;
    void setWindowGeometry(const QByteArray &geometry);
    QString iracingDocumentPath() const;
    void setIracingDocumentPath(const QString &path);

private:
    QSettings *settings;
    // Fixed at construction, so that other threads can open the same file without touching
    // `settings`, which belongs to the main thread.
    const QString fileName;
};
