#include "doctor.h"

#include "beaconclient.h"
#include "pause.h"
#include "protocol.h"

namespace {
bool startValues(const LiveDocument &live)
{
    return live.SessionNum == -1 && live.SessionTimeSinceStarted == -1.0;
}
} // namespace

Doctor::Report Doctor::examine(const QString &host, quint16 port, int timeoutMs)
{
    Report report;
    const auto problem = [&](Code code, const QString &text) {
        if (report.code == Healthy)
            report.code = code;
        report.lines << text;
        return report;
    };
    const QString where = QStringLiteral("%1:%2").arg(host).arg(port);
    BeaconClient client;
    if (!client.connectTo(host, port, timeoutMs)) {
        const QString error = client.errorText();
        QString cause = QStringLiteral("the address may be wrong, or a firewall drops the connection.");
        if (error.contains(QLatin1String("refused"), Qt::CaseInsensitive))
            cause =
                QStringLiteral("nothing listens there: kvBeacon is not running, its server is not started "
                               "(\"Start Server\"), or it uses another port.");
        else if (error.contains(QLatin1String("not found"), Qt::CaseInsensitive))
            cause = QStringLiteral("the address is wrong.");
        return problem(Unreachable,
                       QStringLiteral("kvBeacon is unreachable at %1 (%2): %3").arg(where, error, cause));
    }
    const std::optional<Reply> name = client.request(Protocol::ServerName, QString(), timeoutMs);
    if (!name || name->payload != QLatin1String(Protocol::serverName))
        return problem(
            BadReply, QStringLiteral("Something at %1 takes connections but does not answer as kvBeacon: %2.")
                          .arg(where, name ? name->payload : client.errorText()));
    report.lines << QStringLiteral("kvBeacon answers at %1.").arg(where);

    const std::optional<LiveDocument> first = client.live(timeoutMs);
    if (!first)
        return problem(BadReply,
                       QStringLiteral("kvBeacon gives no live document: %1.").arg(client.errorText()));
    client.waitForFreshDocuments();
    // The simulator's clock moves with every row it delivers, ten times a second.
    std::optional<LiveDocument> fresh = client.live(timeoutMs), last = fresh;
    for (int sample = 0;
         sample < 15 && last && last->SessionTimeSinceStarted == fresh->SessionTimeSinceStarted; ++sample) {
        pauseFor(BeaconClient::pollPeriodMs);
        last = client.live(timeoutMs);
    }
    if (!fresh || !last)
        return problem(BadReply, QStringLiteral("kvBeacon stopped answering: %1.").arg(client.errorText()));
    if (last->SessionTimeSinceStarted == fresh->SessionTimeSinceStarted) {
        if (startValues(*last))
            problem(NoSimulator,
                    QStringLiteral("No data from the simulator: the documents hold their start values. The "
                                   "simulator is not running, or kvBeacon has not found it (its window says "
                                   "\"iRacing not found\")."));
        else
            problem(NoSimulator,
                    QStringLiteral("The simulator has stopped delivering data: the values stand as of its "
                                   "last row, at session time %1 s. It may be closed, loading or paused.")
                        .arg(last->SessionTimeSinceStarted));
    } else {
        const std::optional<InfoDocument> info = client.info(timeoutMs);
        report.lines << QStringLiteral("The simulator is live: %1 at %2, session time %3 s.")
                            .arg(info ? info->SessionType : QStringLiteral("a session"),
                                 info ? info->TrackName : QStringLiteral("a track"))
                            .arg(last->SessionTimeSinceStarted);
        // Rows come ten times a second, so a current first reply is a fraction of a second behind.
        if (startValues(*first) || fresh->SessionTimeSinceStarted - first->SessionTimeSinceStarted > 1.0)
            report.lines
                << QStringLiteral(
                       "The first reply on this connection held %1: kvBeacon stops publishing when any "
                       "client disconnects and starts again one poll (100 ms) after a client connects. "
                       "Read after that first poll, and connect anew when the values stop moving.")
                       .arg(startValues(*first)
                                ? QStringLiteral("the start values")
                                : QStringLiteral("values %1 s old")
                                      .arg(fresh->SessionTimeSinceStarted - first->SessionTimeSinceStarted, 0,
                                           'f', 1));
    }

    const std::optional<QStringList> chat = client.chatTexts(timeoutMs);
    if (!chat)
        return problem(
            NoChatTexts,
            QStringLiteral("The chat texts are missing: kvBeacon finds no app.ini in its documents folder. "
                           "Choose the simulator's documents folder, the one that holds app.ini, in "
                           "kvBeacon's window."));
    report.lines << QStringLiteral("Chat texts: %1 of %2 set.")
                        .arg(chat->size() - chat->count(QString()))
                        .arg(chat->size());
    return report;
}
