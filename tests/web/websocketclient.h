#pragma once

#include "basics.h"
#include "beast.h"

#include <QtTest>

#include <deque>

// A browser's side of kvbeacon-web's WebSocket, on Beast, run by the test's own event loop: the
// messages it receives, kept in order of arrival (or only counted). A connection refused or lost
// just means no more messages.
class WebSocketClient
{
public:
    explicit WebSocketClient(const QUrl &url, bool keep = true) : keep(keep)
    {
        const tcp::endpoint server(net::ip::make_address(url.host().toStdString()), url.port());
        const std::string host = url.authority().toStdString(), path = url.path().toStdString();
        beast::get_lowest_layer(ws).async_connect(server, [this, host, path](beast::error_code error) {
            if (!error)
                ws.async_handshake(host, path, [this](beast::error_code error) {
                    if (!error)
                        read();
                    if (!error && !queue.empty())
                        write();
                });
        });
        // Handlers run here, on the test's thread, whenever it waits.
        pump.callOnTimeout([this] { io.poll(); });
        pump.start(5);
    }
    void send(const QByteArray &message)
    {
        queue.push_back(message.toStdString());
        if (queue.size() == 1 && ws.is_open())
            write();
    }

    QList<QJsonObject> of(const QString &type) const
    {
        QList<QJsonObject> found;
        std::copy_if(messages.begin(), messages.end(), std::back_inserter(found),
                     [&](const QJsonObject &message) { return message.value("type") == type; });
        return found;
    }
    // Const, for its [] to read: `last("live")["live"]["FuelLevel"]`.
    const QJsonObject last(const QString &type) const { return of(type).value(of(type).size() - 1); }
    // Every state the page passed through, in order.
    QStringList states() const
    {
        QStringList states;
        for (const QJsonObject &message : of("state"))
            states.append(message.value("state").toString());
        return states;
    }
    QString state() const { return states().value(states().size() - 1); }

    QList<QJsonObject> messages;
    QHash<QString, int> counts;

private:
    void read()
    {
        ws.async_read(buffer, [this](beast::error_code error, std::size_t) {
            if (error)
                return;
            const QJsonObject message = json(beast::buffers_to_string(buffer.data()));
            buffer.consume(buffer.size());
            ++counts[message.value("type").toString()];
            if (keep)
                messages.append(message);
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
    net::io_context io;
    websocket::stream<beast::tcp_stream> ws{io};
    beast::flat_buffer buffer;
    std::deque<std::string> queue;
    QTimer pump;
};
