#include "kvserverthread.h"

#include "appsettings.h"
#include "documentsfolder.h"
#include "framereader.h"
#include "httpguard.h"
#include "protocol.h"
#include "publishedsession.h"
#include "serverplatform.h"
#include "wiremessage.h"

#include <QDebug>
#include <QElapsedTimer>

namespace {
// Long waits are taken in slices so that a stop is not held back by a stalled client.
constexpr int waitSliceMs = 50;
// A whole frame of the largest size the length field allows (8 + 999,999 bytes) and a little
// more: beyond it a fast sender is held back by TCP rather than by this process's memory.
constexpr qint64 readBufferBytes = 1 << 20;

class SocketSource : public FrameReader::Source
{
public:
    SocketSource(QTcpSocket *socket, const std::atomic<bool> &stopping) : socket(socket), stopping(stopping)
    {
    }

    qint64 bytesAvailable() override { return socket->bytesAvailable(); }
    QByteArray read(qint64 maxSize) override { return socket->read(maxSize); }
    QByteArray peek(qint64 maxSize) override { return socket->peek(maxSize); }
    // Read and dropped rather than QIODevice::skip(), which Qt has only from 5.10 on.
    void skip(qint64 size) override
    {
        if (size > 0)
            socket->read(size);
    }
    void sleep(int msecs) override { QThread::msleep(static_cast<unsigned long>(msecs)); }
    void disconnectFromHost() override { socket->disconnectFromHost(); }

    bool waitForReadyRead(int msecs) override
    {
        QElapsedTimer clock;
        clock.start();
        while (!stopping) {
            const qint64 left = msecs - clock.elapsed();
            if (left <= 0)
                return false;
            if (socket->waitForReadyRead(int(qMin<qint64>(left, waitSliceMs))))
                return true;
            if (socket->state() != QAbstractSocket::ConnectedState)
                return false;
        }
        return false;
    }

private:
    QTcpSocket *socket;
    const std::atomic<bool> &stopping;
};
} // namespace

kvServerThread::kvServerThread(AppSettings *settings, qintptr socketDescriptor, QObject *parent)
    : QThread(parent), settings(settings), socketDescriptor(socketDescriptor)
{
}

void kvServerThread::stop()
{
    stopping = true;
    exit(0);
}

void kvServerThread::run()
{
    qDebug() << " Thread started";
    serverplatform::lowerThreadPriority();
    socket = new QTcpSocket();
    if (!socket->setSocketDescriptor(socketDescriptor, QAbstractSocket::ConnectedState,
                                     QIODevice::ReadWrite)) {
        emit error(socket->error());
        delete socket;
        socket = nullptr;
        return;
    }
    socket->setReadBufferSize(readBufferBytes);
    serving = true;
    connect(socket, &QTcpSocket::readyRead, this, &kvServerThread::readyRead, Qt::DirectConnection);
    connect(socket, &QTcpSocket::disconnected, this, &kvServerThread::disconnected);
    qDebug() << socketDescriptor << " Client connected";

    if (!stopping)
        exec();

    // The connection ends with its thread: the peer is told, and the descriptor released.
    serving = false;
    socket->close();
    delete socket;
    socket = nullptr;
}

void kvServerThread::readyRead()
{
    if (webRequest)
        return;
    if (checkingFirstBytes) {
        const HttpGuard::Verdict verdict = HttpGuard::firstBytes(socket->peek(HttpGuard::longestLine));
        if (verdict == HttpGuard::Verdict::Undecided)
            return;
        if (verdict != HttpGuard::Verdict::NotHttp) {
            webRequest = true;
            emit sigDebugString(QStringLiteral("(Server) - Closed a connection that sent %1 ID:%2")
                                    .arg(verdict == HttpGuard::Verdict::Http
                                             ? QStringLiteral("a web request (HTTP)")
                                             : QStringLiteral("a TLS handshake"))
                                    .arg(socketDescriptor),
                                0);
            socket->disconnectFromHost();
            return;
        }
        checkingFirstBytes = false;
    }
    SocketSource source(socket, stopping);
    const FrameReader::Result result = FrameReader::read(source);
    switch (result.outcome) {
    case FrameReader::Outcome::NoHead:
        emit sigDebugString(QStringLiteral("Client: Header not found."), 0);
        return;
    case FrameReader::Outcome::Stalled:
        return;
    case FrameReader::Outcome::Frame:
        break;
    }
    qDebug() << socketDescriptor << ":"
             << ": Data in: " << result.frame;
    ProcessMessage(WireMessage(result.frame));
}

void kvServerThread::disconnected()
{
    qDebug() << socketDescriptor << " Disconnected";
    emit sigDebugString(QStringLiteral("(Server) - Client disconnected ID:%1").arg(socketDescriptor), 0);
    emit sigDisconnected();
    exit(0);
}

void kvServerThread::ProcessMessage(const WireMessage &message)
{
    // Commands with an argument drop the frame's last character, the trailing ";".
    const QString argument = message.payload.left(message.payload.size() - 1);
    QString reply;
    switch (message.command) {
    case Protocol::ClientName:
        clientName = argument;
        emit sigDebugString(QStringLiteral("(Server) - Client Name: %1").arg(clientName), 1);
        return;
    case Protocol::ServerName:
        reply = QLatin1String(Protocol::serverName);
        emit sigDebugString(QStringLiteral("(Server) - Get Server name: %1").arg(QStringLiteral("kvBeacon")),
                            0);
        break;
    case Protocol::ClientId:
        reply = QString::number(socketDescriptor);
        emit sigDebugString(QStringLiteral("(Server) - Get Client ID: %1").arg(socketDescriptor), 0);
        break;
    case Protocol::ChatTexts:
        reply = DocumentsFolder::chatTexts(settings ? settings->iracingDocumentPath() : QString());
        break;
    case Protocol::ChatMacro:
        emit sigButtonChatClicked(argument.toInt(nullptr, 10) - 1);
        reply = QLatin1String(Protocol::macroDone);
        break;
    case Protocol::Live:
    case Protocol::Info:
        if (!sessionData) {
            reply = QLatin1String(Protocol::noData);
        } else {
            // Built once per publish and shared by every request until the next one.
            const std::shared_ptr<const PublishedSession::Snapshot> published = sessionData->snapshot();
            reply = message.command == Protocol::Live ? published->liveText() : published->infoText();
        }
        break;
    case Protocol::PressKey:
        emit sigKeyboardKey(argument.toInt(nullptr, 10));
        reply = QLatin1String(Protocol::keyDone);
        break;
    default:
        // The gap between the commands, any number outside them, and a refused frame: silence.
        return;
    }
    WriteMessage(WireMessage(message.command, message.id, reply).data);
}

void kvServerThread::WriteMessage(const QString &frame)
{
    WriteMessage(frame.toUtf8());
}

void kvServerThread::WriteMessage(const QByteArray &bytes)
{
    // Sent as a C string: a NUL in the payload ends the frame on the wire.
    socket->write(bytes.constData());
    // Most replies leave at once; only what the kernel would not take yet is waited for.
    socket->flush();
    QElapsedTimer clock;
    clock.start();
    while (!stopping && socket->bytesToWrite() > 0 && clock.elapsed() < 10000) {
        if (!socket->waitForBytesWritten(waitSliceMs) && socket->state() != QAbstractSocket::ConnectedState)
            break;
    }
}
