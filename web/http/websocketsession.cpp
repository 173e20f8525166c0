#include "websocketsession.h"

#include "httpsession.h"
#include "weblog.h"

#include <chrono>

void WebSocketSession::run(http::request<http::string_body> request)
{
    websocket::stream_base::timeout timeouts =
        websocket::stream_base::timeout::suggested(beast::role_type::server);
    timeouts.idle_timeout = std::chrono::seconds(idleSeconds);
    timeouts.keep_alive_pings = true;
    ws.set_option(timeouts);
    ws.set_option(websocket::stream_base::decorator([](websocket::response_type &response) {
        response.set(http::field::server, "kvbeacon-web");
        response.set("X-Content-Type-Options", "nosniff");
    }));
    // A press is a few bytes; a larger message is no browser of ours.
    ws.read_message_max(4096);
    // A small send buffer lets a stalled browser's socket fill within seconds, from when on
    // only the newest message of each kind waits for it, instead of megabytes in the kernel.
    beast::error_code ignored;
    beast::get_lowest_layer(ws).socket().set_option(net::socket_base::send_buffer_size(64 * 1024), ignored);
    auto self = shared_from_this();
    net::dispatch(ws.get_executor(), [self, request = std::move(request)]() mutable {
        self->ws.async_accept(request, beast::bind_front_handler(&WebSocketSession::onAccept, self));
    });
}

void WebSocketSession::close(const char *when, const beast::error_code &error)
{
    if (closed)
        return;
    closed = true;
    if (error != websocket::error::closed && error != net::error::operation_aborted)
        qCInfo(webHttp, "WebSocket from %s ended %s: %s",
               HttpSession::peerOf(beast::get_lowest_layer(ws).socket()).c_str(), when,
               error.message().c_str());
}

void WebSocketSession::onAccept(beast::error_code error)
{
    if (error) {
        close("at its handshake", error);
        return;
    }
    open = true;
    context.hub.attach(shared_from_this());
    read();
}

void WebSocketSession::deliver(Channel channel, std::shared_ptr<const std::string> message)
{
    net::post(ws.get_executor(),
              [self = shared_from_this(), channel, message = std::move(message)]() mutable {
                  self->take(channel, std::move(message));
              });
}

void WebSocketSession::take(Channel channel, std::shared_ptr<const std::string> message)
{
    if (closed)
        return;
    if (channel == Channel::Result) {
        if (results.size() < resultsKept)
            results.push_back(std::move(message));
    } else {
        waiting[static_cast<int>(channel)] = std::move(message);
    }
    if (!writing)
        writeNext();
}

void WebSocketSession::writeNext()
{
    writing.reset();
    if (closed || !open)
        return;
    // The state first, so a page never shows values under the wrong heading; results before
    // the documents, since a press is what a driver waits for.
    if (waiting[static_cast<int>(Channel::State)]) {
        writing = std::move(waiting[static_cast<int>(Channel::State)]);
    } else if (!results.empty()) {
        writing = std::move(results.front());
        results.pop_front();
    } else {
        for (Channel channel : {Channel::Info, Channel::Macros, Channel::Live}) {
            if (waiting[static_cast<int>(channel)]) {
                writing = std::move(waiting[static_cast<int>(channel)]);
                break;
            }
        }
    }
    if (!writing)
        return;
    ws.text(true);
    ws.async_write(net::buffer(*writing), [self = shared_from_this()](beast::error_code error, std::size_t) {
        if (error) {
            self->close("while writing", error);
            self->writing.reset();
            return;
        }
        self->writeNext();
    });
}

void WebSocketSession::read()
{
    ws.async_read(buffer, beast::bind_front_handler(&WebSocketSession::onRead, shared_from_this()));
}

void WebSocketSession::onRead(beast::error_code error, std::size_t)
{
    if (error) {
        close("while reading", error);
        return;
    }
    const std::string text = beast::buffers_to_string(buffer.data());
    buffer.consume(buffer.size());
    QString problem;
    QJsonValue id;
    if (std::optional<Command> command = Command::fromJson(text, &problem, &id)) {
        command->from = weak_from_this();
        const PressRate::Clock::time_point now = PressRate::Clock::now();
        if (pressRate.take(command->kind, now) && context.pressRate->take(command->kind, now))
            context.commands(std::move(*command));
        else
            command->answer(false, QStringLiteral("too fast"));
    } else {
        take(Channel::Result, std::make_shared<const std::string>(Command::errorMessage(problem, id)));
    }
    read();
}
