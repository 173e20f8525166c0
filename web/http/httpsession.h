#pragma once

#include "beast.h"
#include "webcontext.h"

#include <memory>
#include <optional>

// One browser's HTTP connection: pages, the JSON documents, and the hand-over of an upgrade
// to "/ws" to a WebSocketSession. Requests are read one after another (keep-alive).
class HttpSession : public std::enable_shared_from_this<HttpSession>
{
public:
    HttpSession(tcp::socket &&socket, WebContext &context, std::unique_ptr<ConnectionLimits::Ticket> ticket)
        : stream(std::move(socket)), context(context), ticket(std::move(ticket))
    {
    }
    // The address a connection came from, for the log.
    static std::string peerOf(const tcp::socket &socket);
    void run();

private:
    void read();
    void onRead(beast::error_code error, std::size_t);
    void respond(const http::request<http::string_body> &request);
    void send(http::response<http::string_body> &&response);
    void refuse(http::status status, const char *why, unsigned version);
    // Says once why the connection ended early.
    void ended(const char *when, const beast::error_code &error) const;

    beast::tcp_stream stream;
    beast::flat_buffer buffer;
    std::optional<http::request_parser<http::string_body>> parser;
    WebContext &context;
    std::unique_ptr<ConnectionLimits::Ticket> ticket;
    bool first = true;
};
