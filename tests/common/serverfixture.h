#pragma once

#include "appsettings.h"
#include "beaconclient.h"
#include "kvserver.h"
#include "kvserverthread.h"
#include "wiremessage.h"

#include <QSignalSpy>
#include <QStandardPaths>
#include <QTcpServer>
#include <QTemporaryDir>
#include <QThread>
#include <QtTest>

#include <atomic>
#include <functional>
#include <memory>
#include <vector>

inline const QString loopback = QStringLiteral("127.0.0.1");

// The next reply's bytes, or none within `ms`; bytes behind it stay for the next call.
inline QByteArray nextFrame(BeaconClient &client, int ms = 5000)
{
    const std::optional<Reply> reply = client.nextReply(ms);
    return reply ? reply->frame : QByteArray();
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

// The server's debug lines, one per request, would bury the test's own.
inline void quietDebugLines()
{
    qInstallMessageHandler([](QtMsgType type, const QMessageLogContext &, const QString &text) {
        if (type != QtDebugMsg)
            fprintf(stderr, "%s\n", qPrintable(text));
    });
}

// Writes `text` as the whole of the file at `path`.
inline bool writeFile(const QString &path, const QByteArray &text)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(text) == text.size();
}

// A port that nothing listens on now, on any interface.
inline quint16 freePort()
{
    QTcpServer probe;
    probe.listen(QHostAddress::Any, 0);
    return probe.serverPort();
}

// Settings in QtTest's own location whose documents folder holds an app.ini of `appIni`.
struct DocumentsSettings
{
    explicit DocumentsSettings(const QByteArray &appIni)
    {
        if (!writeFile(folder.filePath(QStringLiteral("app.ini")), appIni))
            qFatal("app.ini not written");
        settings.setIracingDocumentPath(folder.path());
    }
    // Before the settings are made: they find their file as they are made.
    static QObject *inTestMode(QObject *owner) { return QStandardPaths::setTestModeEnabled(true), owner; }

    QTemporaryDir folder;
    QObject owner;
    AppSettings settings{inTestMode(&owner)};
};

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
        client.connectTo(loopback, server.serverPort());
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
    BeaconClient client;
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
