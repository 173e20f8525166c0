#pragma once

#include "basics.h"
#include "beast.h"

#include <QtTest>

#include <deque>
#include <mutex>
#include <thread>

// A browser's side of kvbeacon-web's WebSocket, on Beast in a thread of its own: the messages it
// receives, kept in order of arrival (or only counted) on the thread that made the client. A
// connection refused or lost just means no more messages.
class WebSocketClient : public QObject
{
    Q_OBJECT
public:
    explicit WebSocketClient(const QUrl &url, bool keep = true) : keep(keep)
    {
        const tcp::endpoint server(net::ip::make_address(url.host().toStdString()), url.port());
        const std::string host = url.authority().toStdString(), path = url.path().toStdString();
        beast::get_lowest_layer(ws).async_connect(server, [this, host, path](beast::error_code error) {
            if (!error)
                ws.async_handshake(host, path, [this](beast::error_code error) { opened(error); });
        });
        thread = std::thread([this] { io.run(); });
    }
    ~WebSocketClient() override
    {
        // A close handshake if the server still answers, given up on after a second.
        net::post(ws.get_executor(), [this] {
            timer.expires_after(std::chrono::seconds(1));
            timer.async_wait([this](beast::error_code) { io.stop(); });
            if (ws.is_open())
                ws.async_close(websocket::close_code::normal, [this](beast::error_code) { io.stop(); });
            else
                io.stop();
        });
        thread.join();
    }
    void send(const QByteArray &message)
    {
        net::post(ws.get_executor(), [this, text = message.toStdString()]() mutable {
            queue.push_back(std::move(text));
            if (queue.size() == 1 && ws.is_open())
                write();
        });
    }

    QList<QJsonObject> of(const QString &type) const
    {
        QList<QJsonObject> found;
        for (const QJsonObject &message : messages)
            if (message.value(QLatin1String("type")).toString() == type)
                found.append(message);
        return found;
    }
    QJsonObject last(const QString &type) const { return of(type).value(of(type).size() - 1); }
    QString state() const { return last(QStringLiteral("state")).value(QLatin1String("state")).toString(); }
    // `key` of the last document of that type.
    QJsonValue in(const QString &type, const QString &key) const
    {
        return last(type).value(type).toObject().value(key);
    }
    double sessionTime() const { return in("live", "SessionTimeSinceStarted").toDouble(); }
    // Every state the page passed through since message `from`, in order.
    QStringList statesSince(int from) const
    {
        QStringList states;
        for (const QJsonObject &message : messages.mid(from))
            if (message.value("type") == QStringLiteral("state"))
                states.append(message.value("state").toString());
        return states;
    }

    QList<QJsonObject> messages;
    QHash<QString, int> counts;

private slots:
    void drain()
    {
        std::unique_lock<std::mutex> lock(mutex);
        const std::deque<QByteArray> texts = std::exchange(inbox, {});
        lock.unlock();
        for (const QByteArray &text : texts) {
            const QJsonObject message = json(text);
            ++counts[message.value(QLatin1String("type")).toString()];
            if (keep)
                messages.append(message);
        }
    }

private:
    void opened(beast::error_code error)
    {
        if (error)
            return;
        read();
        if (!queue.empty())
            write();
    }
    void read()
    {
        ws.async_read(buffer, [this](beast::error_code error, std::size_t) {
            if (error)
                return;
            std::lock_guard<std::mutex> lock(mutex);
            inbox.emplace_back(static_cast<const char *>(buffer.cdata().data()), int(buffer.size()));
            buffer.consume(buffer.size());
            // By name, so that nothing of ours crosses inside Qt's queue, whose locks the sanitizer
            // cannot see; a call left queued when the client goes is dropped with it.
            QMetaObject::invokeMethod(this, "drain", Qt::QueuedConnection);
            read();
        });
    }
    // One write at a time, as the stream requires.
    void write()
    {
        ws.async_write(net::buffer(queue.front()), [this](beast::error_code error, std::size_t) {
            if (!error)
                queue.pop_front();
            if (!error && !queue.empty())
                write();
        });
    }

    const bool keep;
    std::mutex mutex;
    std::deque<QByteArray> inbox; // from the io thread to the client's, under the mutex
    net::io_context io;
    websocket::stream<beast::tcp_stream> ws{io};
    beast::flat_buffer buffer;
    std::deque<std::string> queue; // the io thread's own, like everything below
    net::steady_timer timer{io};
    std::thread thread;
};
