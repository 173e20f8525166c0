#include "beaconclient.h"

#include "framehead.h"

#include <QEventLoop>
#include <QTimer>

namespace {
// How long a wait sleeps at most before it looks again (for a cut reply or a stuck request).
constexpr int sliceMs = 50;
// A reply this late behind a request without one gets a nudge of one byte, which brings the
// server's next read; the byte is skipped by the scan for the next head without a log line.
constexpr int nudgeAfterMs = 100;
} // namespace

bool BeaconClient::connectTo(const QString &toHost, quint16 toPort, int ms)
{
    host = toHost;
    port = toPort;
    return reconnect(ms);
}

void BeaconClient::close()
{
    if (socket.state() != QAbstractSocket::UnconnectedState)
        closedAt.start();
    socket.abort();
}

bool BeaconClient::reconnect(int ms)
{
    close();
    if (closedAt.isValid() && closedAt.elapsed() < reconnectPauseMs)
        waitUntil([] { return false; }, int(reconnectPauseMs - closedAt.elapsed()));
    reader.clear();
    unanswered = false;
    socket.connectToHost(host, port);
    waitUntil(
        [this] {
            return socket.state() == QAbstractSocket::ConnectedState ||
                   socket.state() == QAbstractSocket::UnconnectedState;
        },
        ms);
    if (!isConnected()) {
        error = socket.state() == QAbstractSocket::UnconnectedState
                    ? socket.errorString()
                    : QStringLiteral("no answer from %1:%2 within %3 ms").arg(host).arg(port).arg(ms);
        socket.abort();
        return false;
    }
    socket.setSocketOption(QAbstractSocket::LowDelayOption, 1);
    connectedAt.start();
    lastArrival.start();
    return true;
}

bool BeaconClient::waitUntil(const std::function<bool()> &done, int ms)
{
    QElapsedTimer clock;
    clock.start();
    while (!done()) {
        const qint64 left = ms - clock.elapsed();
        if (left <= 0)
            return false;
        QEventLoop loop;
        QTimer timer;
        timer.setSingleShot(true);
        QObject::connect(&timer, &QTimer::timeout, &loop, &QEventLoop::quit);
        QObject::connect(&socket, &QIODevice::readyRead, &loop, &QEventLoop::quit);
        QObject::connect(&socket, &QIODevice::bytesWritten, &loop, &QEventLoop::quit);
        QObject::connect(&socket, &QAbstractSocket::stateChanged, &loop, &QEventLoop::quit);
        timer.start(int(qMin<qint64>(left, sliceMs)));
        loop.exec();
        // A slice that passed without a word from the socket looks at the socket itself: Windows
        // tells of a peer's close once only, and that one notice can be lost (under Wine, one run
        // in four), which would leave a dead connection taken for a quiet one.
        if (!timer.isActive() && socket.state() == QAbstractSocket::ConnectedState &&
            socket.bytesAvailable() == 0)
            socket.waitForReadyRead(0);
    }
    return true;
}

bool BeaconClient::write(const QByteArray &bytes, int ms)
{
    if (!isConnected()) {
        error = QStringLiteral("not connected");
        return false;
    }
    socket.write(bytes);
    socket.flush();
    if (!waitUntil([this] { return socket.bytesToWrite() == 0 || !isConnected(); }, ms) || !isConnected()) {
        error = QStringLiteral("the connection was lost while sending");
        return false;
    }
    return true;
}

bool BeaconClient::takeReply(Reply &reply)
{
    if (socket.bytesAvailable() > 0) {
        reader.feed(socket.readAll());
        lastArrival.start();
    }
    if (reader.next(reply))
        return true;
    return reader.holdsPartial() && lastArrival.elapsed() >= cutAfterMs && reader.takeCut(reply);
}

std::optional<Reply> BeaconClient::nextReply(int ms)
{
    Reply reply;
    if (!waitUntil([&] { return takeReply(reply) || !isConnected(); }, ms) || reply.command == -1) {
        error = isConnected() ? QStringLiteral("no reply within %1 ms").arg(ms)
                              : QStringLiteral("the connection was closed");
        return std::nullopt;
    }
    unanswered = false;
    return reply;
}

std::optional<Reply> BeaconClient::request(int command, const QString &argument, int ms)
{
    lastId = lastId % 999999 + 1;
    const int id = lastId;
    if (!write(requestFrame(command, id, argument), ms))
        return std::nullopt;
    QElapsedTimer clock;
    clock.start();
    Reply reply;
    const bool answered = waitUntil(
        [&] {
            // Replies to requests given up on before are passed over.
            while (takeReply(reply))
                if (reply.id == id)
                    return true;
            if (unanswered && clock.elapsed() >= nudgeAfterMs) {
                unanswered = false;
                socket.write(" ");
            }
            return !isConnected();
        },
        ms);
    if (!answered || reply.id != id) {
        error = isConnected() ? QStringLiteral("no reply to command %1 within %2 ms").arg(command).arg(ms)
                              : QStringLiteral("the connection was closed");
        return std::nullopt;
    }
    unanswered = false;
    return reply;
}

bool BeaconClient::tell(int command, const QString &argument, int ms)
{
    lastId = lastId % 999999 + 1;
    unanswered = write(requestFrame(command, lastId, argument), ms);
    return unanswered;
}

QByteArray BeaconClient::requestFrame(int command, int id, const QString &argument)
{
    const auto field = [](int value, int width) {
        return QByteArray::number(value).rightJustified(width, '0');
    };
    const QByteArray body = field(command, 3) + ';' + field(id, 6) + ';' + argument.toUtf8() + ';';
    return '@' + field(body.size(), FrameHead::size - 2) + ';' + body;
}

std::optional<LiveDocument> BeaconClient::live(int ms)
{
    const std::optional<Reply> reply = request(Protocol::Live, QString(), ms);
    return reply ? LiveDocument::fromJson(reply->payload) : std::nullopt;
}

std::optional<InfoDocument> BeaconClient::info(int ms)
{
    const std::optional<Reply> reply = request(Protocol::Info, QString(), ms);
    return reply ? InfoDocument::fromJson(reply->payload) : std::nullopt;
}

std::optional<ChatMacros> BeaconClient::chatMacros(int ms)
{
    const std::optional<Reply> reply = request(Protocol::ChatTexts, QString(), ms);
    return reply ? std::optional(ChatMacros::fromReply(reply->payload)) : std::nullopt;
}

std::optional<QStringList> BeaconClient::chatTexts(int ms)
{
    const std::optional<ChatMacros> macros = chatMacros(ms);
    if (!macros || macros->status == ChatMacros::NoAppIni)
        return std::nullopt;
    return macros->texts;
}

std::optional<QString> BeaconClient::press(Protocol::Command command, int value, int ms)
{
    const std::optional<Reply> reply = request(command, QString::number(value), ms);
    return reply ? std::optional(reply->payload) : std::nullopt;
}

bool BeaconClient::runMacro(int number, int ms)
{
    return press(Protocol::ChatMacro, number, ms) == QLatin1String(Protocol::macroDone);
}

bool BeaconClient::pressKey(int virtualKey, int ms)
{
    return press(Protocol::PressKey, virtualKey, ms) == QLatin1String(Protocol::keyDone);
}

void BeaconClient::waitForFreshDocuments()
{
    // One poll period and a margin for the poll's own wait for a row.
    const int fresh = pollPeriodMs + pollPeriodMs / 2;
    if (connectedAt.isValid())
        waitUntil([&] { return connectedAt.elapsed() >= fresh; }, fresh);
}

bool BeaconClient::waitForClosed(int ms)
{
    return waitUntil(
        [this] {
            socket.readAll();
            return socket.state() == QAbstractSocket::UnconnectedState;
        },
        ms);
}
