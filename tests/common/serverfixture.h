#pragma once

#include "appsettings.h"
#include "basics.h"
#include "beaconclient.h"
#include "kvserver.h"
#include "kvserverthread.h"
#include "protocol.h"
#include "wiremessage.h"

#include <QSignalSpy>
#include <QTcpServer>
#include <QTcpSocket>
#include <QtTest>

#include <atomic>
#include <functional>
#include <memory>
#include <vector>

inline const QString loopback = QStringLiteral("127.0.0.1");

// The next reply's bytes, or none within `ms`; bytes behind it stay for the next call.
inline QByteArray nextFrame(BeaconClient &client, int ms = 5000)
{
    return client.nextReply(ms).value_or(Reply()).frame;
}

inline QByteArray ask(BeaconClient &client, const QByteArray &request)
{
    client.write(request);
    return nextFrame(client);
}

// A request as a client writes it (ASCII payload, the trailing ";" added).
inline QByteArray request(int command, int id, const QByteArray &payload = QByteArray())
{
    return WireMessage(command, id, QString::fromLatin1(payload)).data;
}

// The server's debug lines, one per request, would bury the test's own: they are counted as
// frames taken in, not printed.
inline std::atomic<int> framesIn{0};
inline void quietDebugLines()
{
    qInstallMessageHandler([](QtMsgType type, const QMessageLogContext &, const QString &text) {
        if (type != QtDebugMsg)
            fprintf(stderr, "%s\n", qPrintable(text));
        else if (text.contains(QLatin1String(": Data in: ")))
            ++framesIn;
    });
}

// A port that nothing listens on now, on any interface.
inline quint16 freePort()
{
    QTcpServer probe;
    probe.listen(QHostAddress::Any, 0);
    return probe.serverPort();
}

// A connection that writes bytes as they stand, as a page, a browser or a hostile client would,
// to a server on this machine (from another of its addresses if `from` names one).
struct RawConnection : QTcpSocket
{
    explicit RawConnection(quint16 port, const QString &host = loopback, const QString &from = QString())
    {
        if (!from.isEmpty())
            bind(QHostAddress(from));
        connectToHost(host, port);
    }
    // What comes back to `bytes` until the connection closes, an HTTP head is whole or `ms` pass.
    QByteArray exchange(const QByteArray &bytes, int ms = 3000)
    {
        if (!waitForConnected(3000))
            return "(no connection)";
        write(bytes);
        QByteArray answer;
        const QDeadlineTimer deadline(ms);
        while (!deadline.hasExpired() && state() == ConnectedState && !answer.contains("\r\n\r\n"))
            if (waitForReadyRead(100))
                answer += readAll();
        return answer + readAll();
    }
};

// Settings in QtTest's own location whose documents folder holds an app.ini of `appIni`.
struct DocumentsSettings
{
    explicit DocumentsSettings(const QByteArray &appIni)
    {
        settings.setIracingDocumentPath(documentsFolder(folder, appIni));
    }
    // Before the settings are made: they find their file as they are made.
    static QObject *inTestMode(QObject *owner) { return QStandardPaths::setTestModeEnabled(true), owner; }

    QTemporaryDir folder;
    QObject owner;
    AppSettings settings{inTestMode(&owner)};
};

// A started server on a free loopback port, its log lines recorded, and one connected
// client; the server's debug lines quiet.
struct ServerWithClient
{
    explicit ServerWithClient(AppSettings *settings = nullptr) : server(settings, nullptr)
    {
        framesIn = 0;
        quietDebugLines();
        QObject::connect(&server, &kvServer::sigDebugString, [this](const QString &text) { log << text; });
        server.StartServer(QString(), 0);
        client.connectTo(loopback, server.serverPort());
        (void)QTest::qWaitFor([this] { return server.currentThread && server.currentThread->isServing(); });
    }
    ~ServerWithClient() { qInstallMessageHandler(nullptr); }

    QStringList log; // before the server, so that it outlives the server's last line
    kvServer server;
    BeaconClient client;
};

// A server on a free loopback port that answers each request with `answer(command)`, as a
// hostile or broken kvBeacon might.
struct ScriptedServer : QTcpServer
{
    explicit ScriptedServer(const std::function<QString(int command)> &answer)
    {
        listen(QHostAddress::LocalHost);
        connect(this, &QTcpServer::newConnection, [this, answer] {
            QTcpSocket *peer = nextPendingConnection();
            connect(peer, &QIODevice::readyRead, [peer, answer] {
                const WireMessage asked(peer->readAll()); // one request at a time, as clients send them
                peer->write(WireMessage(asked.command, asked.id, answer(asked.command)).data);
            });
        });
    }
};

// kvBeacon's server with a simulator behind it, as its telemetry poll runs it: each poll the
// record moves on while the simulator runs, and is published while no client has left since
// the last connect.
struct PollingServer
{
    explicit PollingServer(AppSettings *settings = nullptr) : server(settings, nullptr)
    {
        server.StartServer(QString(), 0);
        port = server.serverPort();
        poll.callOnTimeout([this] {
            if (beforePoll)
                beforePoll();
            if (simulatorRuns)
                record.SessionTimeSinceStarted += 0.1;
            if (simulatorRuns && server.clientConnected)
                server.publish(record);
        });
        poll.start(BeaconClient::pollPeriodMs);
    }

    kvServer server;
    quint16 port = 0;
    SessionData record;
    QTimer poll;
    bool simulatorRuns = true;
    std::function<void()> beforePoll; // what each poll does first
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
