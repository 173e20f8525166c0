#pragma once

#include "framehead.h"
#include "kvserver.h"
#include "kvserverthread.h"
#include "wiremessage.h"

#include <QSignalSpy>
#include <QTcpSocket>
#include <QThread>
#include <QtTest>

#include <atomic>
#include <functional>
#include <memory>
#include <vector>

// The next whole frame on `socket`, spinning the event loop; bytes behind it stay there.
inline QByteArray nextFrame(QTcpSocket &socket, int ms = 5000)
{
    int size = 0;
    (void)QTest::qWaitFor([&] { return (size = FrameHead::wholeFrameSize(socket.peek(1 << 20))) > 0; }, ms);
    return socket.read(size);
}

inline QByteArray ask(QTcpSocket &socket, const QByteArray &request)
{
    socket.write(request);
    return nextFrame(socket);
}

// A request as a client writes it (ASCII payload, the trailing ";" added).
inline QByteArray request(int command, int id, const QByteArray &payload = QByteArray())
{
    return WireMessage(command, id, QString::fromLatin1(payload)).data;
}

// A started server on a free loopback port, its log lines recorded, and one connected
// client. The server's debug lines are counted as frames taken in, not printed.
struct ServerWithClient
{
    explicit ServerWithClient(AppSettings *settings = nullptr)
        : server(settings, nullptr), log(&server, &kvServer::sigDebugString)
    {
        framesIn = 0;
        qInstallMessageHandler([](QtMsgType type, const QMessageLogContext &, const QString &text) {
            if (type != QtDebugMsg)
                fprintf(stderr, "%s\n", qPrintable(text));
            else if (text.contains(QLatin1String(": Data in: ")))
                ++framesIn;
        });
        server.StartServer(QString(), 0);
        client.connectToHost(QHostAddress::LocalHost, server.serverPort());
        (void)QTest::qWaitFor([this] { return server.currentThread && server.currentThread->isServing(); });
    }
    ~ServerWithClient() { qInstallMessageHandler(nullptr); }

    QStringList logTexts() const
    {
        QStringList texts;
        for (const QList<QVariant> &args : log)
            texts.append(args.at(0).toString());
        return texts;
    }

    static inline std::atomic<int> framesIn{0};
    kvServer server;
    QSignalSpy log;
    QTcpSocket client;
};

// A client for a thread of its own, without an event loop: Qt's blocking calls, each with a
// time limit. Bytes behind a frame wait for the next read.
struct ThreadClient
{
    bool connectTo(quint16 port)
    {
        socket.abort();
        socket.connectToHost(QHostAddress::LocalHost, port);
        return socket.waitForConnected(5000);
    }
    bool send(const QByteArray &bytes)
    {
        socket.write(bytes);
        while (socket.bytesToWrite() > 0)
            if (!socket.waitForBytesWritten(5000))
                return false;
        return true;
    }
    // One whole frame within `ms`; empty otherwise.
    QByteArray readFrame(int ms = 5000)
    {
        QElapsedTimer clock;
        clock.start();
        int size = 0;
        while ((size = FrameHead::wholeFrameSize(socket.peek(1 << 20))) == 0 &&
               socket.waitForReadyRead(int(qMax<qint64>(0, ms - clock.elapsed()))))
            ;
        return socket.read(size);
    }
    // Whatever came in is read away, so that a server's replies never back up.
    void drain() { socket.waitForReadyRead(0), socket.readAll(); }
    bool closedWithin(int ms)
    {
        QElapsedTimer clock;
        clock.start();
        while (socket.state() == QAbstractSocket::ConnectedState && clock.elapsed() < ms)
            socket.waitForReadyRead(int(ms - clock.elapsed())), socket.readAll();
        return socket.state() != QAbstractSocket::ConnectedState;
    }

    QTcpSocket socket;
};

// Runs `body(i)` for each i below `count` on threads of their own, QThreads so that sockets
// made there have an event dispatcher; joined when it goes.
struct ClientThreads
{
    ClientThreads(int count, const std::function<void(int)> &body)
    {
        for (int i = 0; i < count; ++i)
            threads.emplace_back(QThread::create(body, i))->start();
    }
    ~ClientThreads() { join(); }
    void join()
    {
        for (const std::unique_ptr<QThread> &thread : threads)
            thread->wait();
        threads.clear();
    }

    std::vector<std::unique_ptr<QThread>> threads;
};
