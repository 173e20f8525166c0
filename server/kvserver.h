#pragma once

#include "publishedsession.h"

#include <QElapsedTimer>
#include <QHash>
#include <QList>
#include <QTcpServer>

class AppSettings;
class QHostAddress;
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

    // Far above a dashboard, a deck and a few tools, and below what a desktop's usual limit of
    // 1,024 open files allows (a connection holds two): more connections are closed at once,
    // so that a flood of idle ones cannot end the process. The last places of all are kept for
    // addresses that hold fewer than a few connections, so that a flood from a few addresses
    // leaves the driver's own programs in.
    static constexpr int maxConnections = 256;
    static constexpr int maxPerAddress = 128;
    static constexpr int placesKept = 32;
    static constexpr int fewConnections = 4;
    // What connections are counted by: an IPv4 address (a mapped one too), or an IPv6 address
    // by its /64, which a host is given whole and picks addresses in at will.
    static QString addressKey(const QHostAddress &address);

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
    // Null when the connection may have a thread; otherwise why it is refused.
    QString refusal(const QString &address) const;
    void refuse(qintptr socketDescriptor, const QString &why);

    QList<kvServerThread *> threads;
    int clientCountValue = 0;
    // Each thread's address key and how many connections each holds.
    QHash<kvServerThread *, QString> addressOf;
    QHash<QString, int> connectionsFrom;
    // Refusals are logged at most once a second, with the number of those in between.
    QElapsedTimer lastRefusalLine;
    int refusalsUnlogged = 0;
};
