#pragma once

#include "frames.h"
#include "kvserver.h"

#include <QSignalSpy>
#include <QStringList>
#include <QTcpSocket>
#include <QtTest>

#include <mutex>

// Records the developer's debug lines of every thread, so that tests can wait for the
// server to have taken in a frame. Warnings and worse still reach QtTest's own output.
class DebugCapture
{
public:
    DebugCapture() { instance = this, previous = qInstallMessageHandler(&DebugCapture::handle); }
    ~DebugCapture() { qInstallMessageHandler(previous), instance = nullptr; }

    QStringList lines() const
    {
        std::lock_guard<std::mutex> lock(mutex);
        return recorded;
    }
    bool contains(const QString &text) const
    {
        for (const QString &line : lines())
            if (line.contains(text))
                return true;
        return false;
    }
    int count(const QString &text) const
    {
        int n = 0;
        for (const QString &line : lines())
            n += line.contains(text) ? 1 : 0;
        return n;
    }

private:
    static void handle(QtMsgType type, const QMessageLogContext &context, const QString &text)
    {
        if (type == QtDebugMsg && instance) {
            std::lock_guard<std::mutex> lock(instance->mutex);
            instance->recorded.append(text);
            return;
        }
        if (instance && instance->previous)
            instance->previous(type, context, text);
    }

    static inline DebugCapture *instance = nullptr;
    QtMessageHandler previous = nullptr;
    mutable std::mutex mutex;
    QStringList recorded;
};

// A client on loopback; everything it receives collects in `received`. Waits spin the event
// loop, so the server on the same thread keeps accepting.
class TestClient
{
public:
    explicit TestClient(quint16 port)
    {
        QObject::connect(&socket, &QTcpSocket::readyRead, [this] { received += socket.readAll(); });
        socket.connectToHost(QHostAddress::LocalHost, port);
    }

    bool waitConnected()
    {
        return QTest::qWaitFor([this] { return socket.state() == QTcpSocket::ConnectedState; });
    }
    void send(const QByteArray &bytes)
    {
        (void)waitConnected();
        socket.write(bytes);
        socket.flush();
    }
    // Waits until at least `size` bytes have come; gives them and keeps the rest.
    QByteArray take(int size, int timeoutMs = 5000)
    {
        (void)QTest::qWaitFor([&] { return received.size() >= size; }, timeoutMs);
        const QByteArray piece = received.left(size);
        received.remove(0, piece.size());
        return piece;
    }
    // Waits for one whole frame of ASCII payload, as its length field counts it.
    QByteArray takeFrame(int timeoutMs = 5000)
    {
        (void)QTest::qWaitFor(
            [&] { return received.size() >= 8 && received.size() >= 8 + received.mid(1, 6).toInt(); },
            timeoutMs);
        return take(received.size() >= 8 ? 8 + received.mid(1, 6).toInt() : 8, 0);
    }
    bool waitClosed(int timeoutMs = 5000)
    {
        return QTest::qWaitFor([this] { return socket.state() == QTcpSocket::UnconnectedState; }, timeoutMs);
    }

    QTcpSocket socket;
    QByteArray received;
};

// A started server on a free loopback port with its log lines recorded.
struct RunningServer
{
    RunningServer() : server(nullptr, nullptr), log(&server, &kvServer::sigDebugString)
    {
        server.StartServer(QString(), 0);
    }
    quint16 port() const { return server.serverPort(); }
    QStringList logTexts() const
    {
        QStringList texts;
        for (const QList<QVariant> &args : log)
            texts.append(args.at(0).toString());
        return texts;
    }

    kvServer server;
    QSignalSpy log;
};
