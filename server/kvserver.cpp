#include "kvserver.h"

#include "kvserverthread.h"
#include "serverplatform.h"

#include <QDebug>

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

void kvServer::incomingConnection(qintptr socketDescriptor)
{
    qDebug() << socketDescriptor << " Connecting...";
    emit sigDebugString(QStringLiteral("(Server) - Connecting... %1").arg(socketDescriptor), 0);

    kvServerThread *thread = new kvServerThread(settings, socketDescriptor, this);
    currentThread = thread;
    threads.append(thread);

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
    if (currentThread == thread)
        currentThread = nullptr;
    setClientCount(threads.size());
    // A thread that never got its socket had no client to disconnect: the flag must not
    // claim one that is not there.
    if (threads.isEmpty())
        clientConnected = false;
}

void kvServer::setClientCount(int count)
{
    if (count == clientCountValue)
        return;
    clientCountValue = count;
    emit sigClientCountChanged(count);
}
