#include "watch.h"

#include "beaconclient.h"
#include "doctor.h"
#include "pause.h"
#include "protocol.h"
#include "terminaltext.h"

#include <QElapsedTimer>
#include <QJsonArray>
#include <QJsonDocument>

#include <cstdio>
#include <unistd.h>

namespace {
QJsonObject document(BeaconClient &client, int command, int timeoutMs, bool &answered)
{
    const std::optional<Reply> reply = client.request(command, QString(), timeoutMs);
    answered = reply.has_value();
    return reply ? QJsonDocument::fromJson(reply->payload.toUtf8()).object() : QJsonObject();
}
} // namespace

QString Watch::valueText(const QJsonValue &value)
{
    const QByteArray array = QJsonDocument(QJsonArray{value}).toJson(QJsonDocument::Compact);
    // The writer leaves DEL and C1 controls as they are.
    return TerminalText::escaped(QString::fromUtf8(array.mid(1, array.size() - 2)));
}

QByteArray Watch::jsonLine(double t, bool stale, const QStringList &fields, const QJsonObject &values)
{
    QByteArray line = "{\"t\":" + QByteArray::number(t, 'f', 3) + ",\"stale\":" + (stale ? "true" : "false");
    // Built by hand only to keep the fields in the order asked; each value is JSON's own text.
    for (const QString &field : fields)
        line += ",\"" + field.toUtf8() + "\":" + valueText(values.value(field)).toUtf8();
    return line + "}\n";
}

int Watch::run(BeaconClient &client, const Options &options)
{
    const QStringList fields =
        options.fields.isEmpty()
            ? QStringList{"SessionTimeSinceStarted", "SessionLapsRemain", "RaceLaps",
                          "PlayerCarPosition",       "FuelLevel",         "FuelLevelPct",
                          "FuelUsePerHour",          "AirTemp",           "TrackTempCrew"}
            : options.fields;
    bool wantsInfo = false;
    for (const QString &field : fields)
        wantsInfo = wantsInfo || field.contains(QLatin1Char('.'));
    const bool terminal = isatty(fileno(stdout));
    QElapsedTimer clock, sinceMove, sinceInfo, sinceReconnect;
    clock.start(), sinceMove.start(), sinceReconnect.start();
    // A document that stops moving may be the publishing paused by another client's leaving: a
    // new connection re-arms it. Tried again after 10 s, then less often while nothing moves.
    qint64 reconnectAfterMs = 10000;
    double lastTime = -2.0;
    int drawn = 0;
    QJsonObject info;
    client.waitForFreshDocuments();
    for (int sample = 0; options.count == 0 || sample < options.count;) {
        const qint64 started = clock.elapsed();
        bool answered = false;
        QJsonObject values = document(client, Protocol::Live, options.timeoutMs, answered);
        if (answered && wantsInfo && (!sinceInfo.isValid() || sinceInfo.elapsed() >= 1000)) {
            info = document(client, Protocol::Info, options.timeoutMs, answered);
            sinceInfo.start();
        }
        if (!answered) {
            std::fprintf(stderr, "kvbeacon-cli: %s; connecting anew\n", qPrintable(client.errorText()));
            while (!client.reconnect(options.timeoutMs))
                pauseFor(1000);
            client.waitForFreshDocuments();
            continue;
        }
        for (auto it = info.constBegin(); it != info.constEnd(); ++it)
            values.insert(it.key(), it.value());
        const double time = values.value(QLatin1String("SessionTimeSinceStarted")).toDouble();
        if (time != lastTime)
            lastTime = time, sinceMove.start(), reconnectAfterMs = 10000;
        const bool stale = sinceMove.elapsed() >= 1000;
        if (stale && sinceMove.elapsed() >= 2000 && sinceReconnect.elapsed() >= reconnectAfterMs) {
            if (client.reconnect(options.timeoutMs))
                client.waitForFreshDocuments();
            sinceReconnect.start();
            reconnectAfterMs = qMin<qint64>(2 * reconnectAfterMs, 120000);
        }
        if (terminal) {
            QByteArray text = drawn ? "\x1b[" + QByteArray::number(drawn) + "A" : QByteArray();
            text += QByteArray(stale ? "kvBeacon: values not moving" : "kvBeacon: live") + "\x1b[K\n";
            for (const QString &field : fields)
                text +=
                    field.leftJustified(26).toUtf8() + valueText(values.value(field)).toUtf8() + "\x1b[K\n";
            drawn = int(fields.size()) + 1;
            std::fputs(text.constData(), stdout);
        } else {
            std::fputs(jsonLine(clock.elapsed() / 1000.0, stale, fields, values).constData(), stdout);
        }
        std::fflush(stdout);
        if (++sample != options.count)
            pauseFor(1000 / options.hz - (clock.elapsed() - started));
    }
    return Doctor::Healthy;
}
