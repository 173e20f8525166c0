#include "kvserver.h"

#include "kvserverthread.h"
#include "serverplatform.h"

#include <QDebug>
#include <QTimer>

#include <algorithm>

kvServer::kvServer(AppSettings *settings, QObject *parent) : QTcpServer(parent), settings(settings) {}

kvServer::~kvServer()
{
    StopServer();
}

void kvServer::StartServer(const QString &ip, quint16 port)
{
    Q_UNUSED(ip) // every interface is served; the address field is for the user to read
    if (serverplatform::listenDeep(this, port)) {
        qDebug() << "Listening to port " << port << "...";
        emit sigDebugString(QStringLiteral("(Server) - Listening to port %1").arg(port), 0);
    } else {
        qDebug() << "Could not start server";
        emit sigDebugString(QStringLiteral("(Server) - Could not start server"), 0);
    }
}

void kvServer::StopServer()
{
    // A stopped server takes no one in while it waits for its deletion.
    close();
    // Every thread is ended, not only the newest: none may outlive this server.
    for (kvServerThread *thread : qAsConst(threads))
        thread->stop();
    for (kvServerThread *thread : qAsConst(threads))
        thread->wait();
}

QString kvServer::addressKey(const QHostAddress &address)
{
    bool isIPv4 = false;
    const quint32 ipv4 = address.toIPv4Address(&isIPv4);
    if (isIPv4)
        return QHostAddress(ipv4).toString();
    Q_IPV6ADDR bytes = address.toIPv6Address();
    std::fill(bytes.c + 8, bytes.c + 16, quint8(0));
    return QHostAddress(bytes).toString() + QStringLiteral("/64");
}

void kvServer::incomingConnection(qintptr socketDescriptor)
{
    const QString address = addressKey(serverplatform::peerAddress(socketDescriptor));
    const QString why = refusal(address);
    if (!why.isNull()) {
        refuse(socketDescriptor, why);
        return;
    }
    qDebug() << socketDescriptor << " Connecting...";
    emit sigDebugString(QStringLiteral("(Server) - Connecting... %1").arg(socketDescriptor), 0);

    kvServerThread *thread = new kvServerThread(settings, socketDescriptor, this);
    currentThread = thread;
    threads.append(thread);
    addressOf.insert(thread, address);
    ++connectionsFrom[address];

    connect(thread, &QThread::finished, thread, &QObject::deleteLater);
    connect(thread, &kvServerThread::sigDebugString, this, &kvServer::OnDebugString);
    connect(thread, &kvServerThread::sigDisconnected, this, &kvServer::OnClientDisconnected);
    connect(thread, &kvServerThread::sigButtonChatClicked, this, &kvServer::sigButtonChatClicked);
    connect(thread, &kvServerThread::sigKeyboardKey, this, &kvServer::sigKeyboardKey);
    connect(thread, &QThread::finished, this, [this, thread] { OnThreadFinished(thread); });

    thread->sessionData = &sessionData;
    thread->start(QThread::InheritPriority);
    clientConnected = true;
    setClientCount(clientCountValue + 1);
}

void kvServer::OnDebugString(QString str, int level)
{
    emit sigDebugString(str, level);
}

void kvServer::OnClientDisconnected()
{
    clientConnected = false;
}

// Runs queued on the main thread, before the thread object's own deleteLater takes effect.
void kvServer::OnThreadFinished(kvServerThread *thread)
{
    if (!threads.removeOne(thread))
        return;
    const QString address = addressOf.take(thread);
    if (--connectionsFrom[address] <= 0)
        connectionsFrom.remove(address);
    if (currentThread == thread)
        currentThread = nullptr;
    setClientCount(threads.size());
    // A thread that never got its socket had no client to disconnect: the flag must not
    // claim one that is not there.
    if (threads.isEmpty())
        clientConnected = false;
}

QString kvServer::refusal(const QString &address) const
{
    const int fromAddress = connectionsFrom.value(address);
    if (fromAddress >= maxPerAddress)
        return QStringLiteral("%1 connections from %2 already").arg(fromAddress).arg(address);
    const int openToAll = maxConnections - placesKept;
    if (threads.size() >= maxConnections || (fromAddress >= fewConnections && threads.size() >= openToAll))
        return QStringLiteral("%1 connections already").arg(threads.size());
    return QString();
}

void kvServer::refuse(qintptr socketDescriptor, const QString &why)
{
    serverplatform::closeDescriptor(socketDescriptor);
    if (lastRefusalLine.isValid() && lastRefusalLine.elapsed() < 1000) {
        // The first held back brings a line of them all a second later, so none goes unsaid.
        if (refusalsUnlogged++ == 0)
            QTimer::singleShot(1000, this, [this] {
                emit sigDebugString(
                    QStringLiteral("(Server) - Refused %1 more connections in the last second")
                        .arg(refusalsUnlogged),
                    0);
                refusalsUnlogged = 0;
                lastRefusalLine.start();
            });
        return;
    }
    lastRefusalLine.start();
    emit sigDebugString(QStringLiteral("(Server) - Refused a connection: %1").arg(why), 0);
}

void kvServer::setClientCount(int count)
{
    if (count == clientCountValue)
        return;
    clientCountValue = count;
    emit sigClientCountChanged(count);
}
