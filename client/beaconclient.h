#pragma once

#include "chatmacros.h"
#include "infodocument.h"
#include "livedocument.h"
#include "protocol.h"
#include "replyreader.h"

#include <QElapsedTimer>
#include <QStringList>
#include <QTcpSocket>

#include <functional>
#include <optional>

// A client of kvBeacon for one connection. Requests go out one at a time, each waiting for the
// reply with its id, because the server reads one frame per arrival of data: a request sent
// behind another unanswered one would wait for the next bytes. Every wait has a time limit and
// runs a local event loop, so the client works on the main thread beside a server in the same
// process as well as on any QThread. Owned and used by one thread.
class BeaconClient
{
public:
    static constexpr quint16 defaultPort = Protocol::defaultPort;
    // The server republishes the documents this often, but only while no client has left since
    // the last connect: a new connection re-arms it.
    static constexpr int pollPeriodMs = 100;

    // A connection closed and another opened at once can have its connect noted by the server
    // before the old one's disconnect, which pauses the documents again: a new connection waits
    // this long after the last one closed.
    static constexpr int reconnectPauseMs = 50;

    bool connectTo(const QString &host, quint16 port, int ms = 5000);
    // Connects anew to the last address, dropping whatever was unread, no sooner than
    // reconnectPauseMs after the last connection closed.
    bool reconnect(int ms = 5000);
    void close();
    bool isConnected() const { return socket.state() == QAbstractSocket::ConnectedState; }
    // Why the last connect or request failed, in words for a person.
    QString errorText() const { return error; }

    // Sends `command` with `argument` (the frame's trailing ";" is added) and waits for the
    // reply with the same id. Nothing on time-out or when the connection is gone.
    std::optional<Reply> request(int command, const QString &argument = QString(), int ms = 5000);
    // A request that gets no reply, such as Protocol::ClientName.
    bool tell(int command, const QString &argument, int ms = 5000);

    std::optional<LiveDocument> live(int ms = 5000);
    std::optional<InfoDocument> info(int ms = 5000);
    // The chat macro texts, read once; nothing when no reply came.
    std::optional<ChatMacros> chatMacros(int ms = 5000);
    // The fifteen chat macro texts; nothing when kvBeacon finds no app.ini. A text holding "|"
    // splits in two, as the reply does not escape it.
    std::optional<QStringList> chatTexts(int ms = 5000);
    // A chat macro (Protocol::ChatMacro) or a key (Protocol::PressKey): kvBeacon's reply as it
    // sent it, which says the request was taken; nothing when no reply came.
    std::optional<QString> press(Protocol::Command command, int value, int ms = 5000);
    // Runs the driver's chat macro `number`, 1 for the first.
    bool runMacro(int number, int ms = 5000);
    // Presses a key by its Windows virtual-key code, while the simulator has the focus.
    bool pressKey(int virtualKey, int ms = 5000);
    // Returns once the documents can show values published since this connection began: the
    // first reply on a fresh connection may carry values as old as the last disconnect.
    void waitForFreshDocuments();

    // The raw stream, for tests of the server's edges: bytes out as they are, and the next
    // reply of any id. A reply that stays short of its length once the bytes have stopped for
    // `cutAfterMs` (the server ends a reply at a NUL in it) comes marked cut.
    bool write(const QByteArray &bytes, int ms = 5000);
    std::optional<Reply> nextReply(int ms = 5000);
    // True when the server closes the connection within `ms`; what comes meanwhile is dropped.
    bool waitForClosed(int ms);

    static constexpr int cutAfterMs = 200;

    // A request's frame. The server reads a request's length field as a count of bytes, while
    // its own replies count UTF-16 code units: for a request the two differ with any non-ASCII
    // character in the argument.
    static QByteArray requestFrame(int command, int id, const QString &argument);

private:
    bool waitUntil(const std::function<bool()> &done, int ms);
    // Takes in what has arrived; true when it holds a reply, whole or cut.
    bool takeReply(Reply &reply);

    QTcpSocket socket;
    ReplyReader reader;
    QString host;
    quint16 port = 0;
    int lastId = 0;
    // A request without a reply went out and nothing came back since: the next request may
    // then sit behind it in the server until more bytes arrive.
    bool unanswered = false;
    QElapsedTimer connectedAt;
    QElapsedTimer closedAt;
    QElapsedTimer lastArrival;
    QString error;
};
