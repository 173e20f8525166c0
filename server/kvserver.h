#pragma once

#include "publishedsession.h"

#include <QList>
#include <QTcpServer>

class AppSettings;
class kvServerThread;

// The TCP listener. Lives on the main thread, owns its connection threads as children and
// the record that they publish to clients; passes their log lines and commands on.
class kvServer : public QTcpServer
{
    Q_OBJECT
public:
    kvServer(AppSettings *settings, QObject *parent);
    // Ends every connection thread before the children go.
    ~kvServer() override;

    void StartServer(const QString &ip, quint16 port);
    // Stops listening, ends every connection and waits for their threads.
    void StopServer();
    // Main thread: the telemetry poll hands over the whole working record.
    void publish(const SessionData &record) { sessionData.publish(record); }
    // Connections whose threads are serving a socket.
    int clientCount() const { return clientCountValue; }

    AppSettings *settings;
    bool clientConnected = false;
    kvServerThread *currentThread = nullptr;
    PublishedSession sessionData;

signals:
    void sigDebugString(QString str, int level);
    void sigButtonChatClicked(int id);
    void sigKeyboardKey(int key);
    void sigClientCountChanged(int count);

public slots:
    void OnDebugString(QString str, int level);
    void OnClientDisconnected();

protected:
    void incomingConnection(qintptr socketDescriptor) override;

private:
    void OnThreadFinished(kvServerThread *thread);
    void setClientCount(int count);

    QList<kvServerThread *> threads;
    int clientCountValue = 0;
};
