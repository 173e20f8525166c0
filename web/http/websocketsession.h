#pragma once

#include "beast.h"
#include "hub.h"
#include "webcontext.h"

#include <array>
#include <deque>
#include <memory>
#include <string>

// One browser's WebSocket: the hub's messages out, presses in. A browser that reads slowly, or
// not at all, never holds up the others nor grows a queue: of each kind of message only the
// newest unsent one waits, and of the presses' results at most a few.
class WebSocketSession : public Viewer, public std::enable_shared_from_this<WebSocketSession>
{
public:
    static constexpr std::size_t resultsKept = 16;
    // A browser that answers no ping for this long is gone (a phone put to sleep).
    static constexpr int idleSeconds = 20;

    WebSocketSession(tcp::socket &&socket, WebContext &context,
                     std::unique_ptr<ConnectionLimits::Ticket> ticket)
        : ws(std::move(socket)), context(context), ticket(std::move(ticket))
    {
    }
    void run(http::request<http::string_body> request);
    void deliver(Channel channel, std::shared_ptr<const std::string> message) override;

private:
    void onAccept(beast::error_code error);
    void read();
    void onRead(beast::error_code error, std::size_t);
    void take(Channel channel, std::shared_ptr<const std::string> message);
    void writeNext();
    // Marks the session closed, saying once why when it was no close of the browser's.
    void close(const char *when, const beast::error_code &error);

    websocket::stream<beast::tcp_stream> ws;
    WebContext &context;
    std::unique_ptr<ConnectionLimits::Ticket> ticket;
    PressRate pressRate;
    beast::flat_buffer buffer;
    // Unsent messages by kind (Result aside); the one being written is kept alive here too.
    std::array<std::shared_ptr<const std::string>, 4> waiting;
    std::deque<std::shared_ptr<const std::string>> results;
    std::shared_ptr<const std::string> writing;
    bool open = false;
    bool closed = false;
};
