#include "record.h"

#include "beaconclient.h"
#include "doctor.h"
#include "pause.h"
#include "protocol.h"

#include <QDateTime>
#include <QElapsedTimer>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <atomic>
#include <csignal>
#include <cstdio>
#include <unistd.h>

namespace {
std::atomic<bool> stopRequested{false};

void onInterrupt(int)
{
    stopRequested = true;
}

QByteArray line(const QJsonObject &object)
{
    return QJsonDocument(object).toJson(QJsonDocument::Compact) + '\n';
}

QString size(qint64 bytes)
{
    return bytes < 1024 * 1024 ? QStringLiteral("%1 KB").arg(bytes / 1024.0, 0, 'f', 1)
                               : QStringLiteral("%1 MB").arg(bytes / 1048576.0, 0, 'f', 2);
}
} // namespace

int Record::run(BeaconClient &client, const Options &options)
{
    QFile file(options.file);
    // A recording is a race that cannot be driven again: never written over.
    if (file.exists() || !file.open(QIODevice::WriteOnly | QIODevice::NewOnly)) {
        std::fprintf(stderr, "kvbeacon-cli: %s: %s\n", qPrintable(options.file),
                     file.exists() ? "exists already; give the recording another name"
                                   : qPrintable(file.errorString()));
        return Doctor::Usage;
    }
    const QJsonObject head{
        {QStringLiteral("format"), QStringLiteral("kvbeacon-recording")},
        {QStringLiteral("version"), 1},
        {QStringLiteral("hz"), options.hz},
        {QStringLiteral("kvbeacon"), options.source},
        {QStringLiteral("started"), QDateTime::currentDateTimeUtc().toString(Qt::ISODate)}};
    const auto write = [&file](const QByteArray &text) {
        return file.write(text) == text.size() && file.flush();
    };
    if (!write(line(head))) {
        std::fprintf(stderr, "kvbeacon-cli: cannot write %s: %s\n", qPrintable(options.file),
                     qPrintable(file.errorString()));
        return Doctor::Usage;
    }
    std::signal(SIGINT, onInterrupt);
    std::signal(SIGTERM, onInterrupt);
    const bool terminal = isatty(fileno(stderr));
    QElapsedTimer clock, sinceMove, sinceChat;
    clock.start(), sinceMove.start();
    long samples = 0;
    double lastTime = -2;
    QJsonObject lastInfo;
    // The texts as last read, and as last written: read every two seconds, written with the next sample.
    QJsonValue chatNow = QJsonValue::Undefined, lastChat = QJsonValue::Undefined;
    qint64 lastDrawn = -1000;
    client.waitForFreshDocuments();
    while (!stopRequested && (options.seconds <= 0 || clock.elapsed() < options.seconds * 1000)) {
        const qint64 started = clock.elapsed();
        // The chat texts change rarely: read every two seconds, as kvbeacon-web does.
        const bool askChat = !sinceChat.isValid() || sinceChat.elapsed() >= 2000;
        const std::optional<Reply> live = client.request(Protocol::Live, QString(), options.timeoutMs);
        const std::optional<Reply> info =
            live ? client.request(Protocol::Info, QString(), options.timeoutMs) : std::nullopt;
        const std::optional<Reply> chat =
            info && askChat ? client.request(Protocol::ChatTexts, QString(), options.timeoutMs)
                            : std::nullopt;
        if (!info || (askChat && !chat)) {
            std::fprintf(stderr, "\nkvbeacon-cli: %s; connecting anew\n", qPrintable(client.errorText()));
            while (!stopRequested && !client.reconnect(options.timeoutMs))
                pauseFor(1000);
            client.waitForFreshDocuments();
            continue;
        }
        if (askChat) {
            sinceChat.start();
            const ChatMacros macros = ChatMacros::fromReply(chat->payload);
            chatNow = macros.status == ChatMacros::NoAppIni
                          ? QJsonValue()
                          : QJsonValue(QJsonArray::fromStringList(macros.texts));
        }
        const QJsonObject liveObject = QJsonDocument::fromJson(live->payload.toUtf8()).object();
        const double time = liveObject.value(QLatin1String("SessionTimeSinceStarted")).toDouble(-1);
        // The first read may be the last row of a simulator that has since gone (kvBeacon keeps it
        // until new rows come): the recording begins once the time moves.
        if (lastTime == -2)
            lastTime = time;
        if (time != lastTime && time >= 0) {
            // Only documents that moved are a sample: kvBeacon's publishing paused by another
            // client's leaving, or a simulator gone, is no part of the race.
            lastTime = time;
            sinceMove.start();
            QJsonObject sample{{QStringLiteral("t"), clock.elapsed() / 1000.0},
                               {QStringLiteral("live"), liveObject}};
            const QJsonObject infoObject = QJsonDocument::fromJson(info->payload.toUtf8()).object();
            if (samples == 0 || infoObject != lastInfo)
                sample.insert(QStringLiteral("info"), lastInfo = infoObject);
            if (chatNow != lastChat)
                sample.insert(QStringLiteral("chat"), lastChat = chatNow);
            if (!write(line(sample))) {
                std::fprintf(stderr, "\nkvbeacon-cli: cannot write %s: %s\n", qPrintable(options.file),
                             qPrintable(file.errorString()));
                return Doctor::Usage;
            }
            ++samples;
        } else if (sinceMove.elapsed() >= 1000) {
            // Standing still for a second: a new connection re-arms kvBeacon's publishing.
            if (client.reconnect(options.timeoutMs))
                client.waitForFreshDocuments();
            sinceMove.start();
        }
        if (terminal && clock.elapsed() - lastDrawn >= 250) {
            lastDrawn = clock.elapsed();
            const qint64 seconds = clock.elapsed() / 1000;
            std::fprintf(stderr, "\rrecording %s: %ld samples, %lld:%02lld, %s%s\x1b[K",
                         qPrintable(options.file), samples, seconds / 60, seconds % 60,
                         qPrintable(size(file.size())),
                         sinceMove.elapsed() >= 500 ? " (waiting for moving data)" : "");
        }
        pauseFor(1000 / options.hz - (clock.elapsed() - started));
    }
    std::fprintf(stderr, "%srecorded %ld samples in %.1f s to %s (%s)\n", terminal ? "\r\x1b[K" : "", samples,
                 clock.elapsed() / 1000.0, qPrintable(options.file), qPrintable(size(file.size())));
    return Doctor::Healthy;
}
