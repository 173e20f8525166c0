#include "httpsession.h"

#include "routes.h"
#include "weblog.h"
#include "websocketsession.h"

#include <chrono>

namespace {
// A request needs no body: anything larger is no browser of ours.
constexpr std::size_t bodyLimit = 16 * 1024;
// A browser sends its first request at once and the next while a page loads: a connection that
// keeps quiet longer gives its place to others.
constexpr auto firstRequestLimit = std::chrono::seconds(10);
constexpr auto keepAliveLimit = std::chrono::seconds(5);

// Every answer: no guessing of types by the browser; pages only framed by pages of this server.
template <class Response> void secure(Response &response, beast::string_view contentType)
{
    response.set(http::field::server, "kvbeacon-web");
    response.set("X-Content-Type-Options", "nosniff");
    if (contentType.starts_with("text/html"))
        response.set("Content-Security-Policy", "frame-ancestors 'self'");
}

std::string pathOf(beast::string_view target)
{
    const std::size_t query = target.find('?');
    return std::string(target.substr(0, query));
}

std::string_view view(beast::string_view text)
{
    return std::string_view(text.data(), text.size());
}

Routes::Method methodOf(http::verb verb)
{
    switch (verb) {
    case http::verb::get:
        return Routes::Method::Get;
    case http::verb::head:
        return Routes::Method::Head;
    case http::verb::put:
        return Routes::Method::Put;
    default:
        return Routes::Method::Other;
    }
}
} // namespace

Q_LOGGING_CATEGORY(webHttp, "kvbeacon.web.http", QtWarningMsg)

std::string HttpSession::peerOf(const tcp::socket &socket)
{
    beast::error_code error;
    const tcp::endpoint peer = socket.remote_endpoint(error);
    return error ? std::string("a vanished peer") : peer.address().to_string();
}

void HttpSession::ended(const char *when, const beast::error_code &error) const
{
    // A browser that closes its connection is no error worth a line.
    if (error == http::error::end_of_stream || error == net::error::operation_aborted)
        return;
    qCInfo(webHttp, "HTTP connection from %s ended %s: %s", peerOf(stream.socket()).c_str(), when,
           error.message().c_str());
}

void HttpSession::run()
{
    // On the session's own strand, as every later step.
    net::dispatch(stream.get_executor(), beast::bind_front_handler(&HttpSession::read, shared_from_this()));
}

void HttpSession::read()
{
    parser.emplace();
    parser->body_limit(bodyLimit);
    stream.expires_after(first ? firstRequestLimit : keepAliveLimit);
    first = false;
    http::async_read(stream, buffer, *parser,
                     beast::bind_front_handler(&HttpSession::onRead, shared_from_this()));
}

void HttpSession::onRead(beast::error_code error, std::size_t)
{
    if (error == http::error::end_of_stream) {
        stream.socket().shutdown(tcp::socket::shutdown_send, error);
        return;
    }
    if (error) {
        ended("while reading a request", error);
        // A request that is no HTTP gets told so; a connection that went away gets nothing.
        if (error.category() == http::make_error_code(http::error::bad_target).category())
            refuse(http::status::bad_request, ("Bad request: " + error.message() + "\n").c_str(), 11);
        return;
    }
    http::request<http::string_body> request = parser->release();
    const std::string_view host = view(request[http::field::host]);
    if (!context.access->hostAllowed(host)) {
        refuse(http::status::forbidden, AccessRules::hostRefusal, request.version());
        return;
    }
    if (websocket::is_upgrade(request) && pathOf(request.target()) == "/ws") {
        const beast::string_view origin = request[http::field::origin];
        if (!context.access->originAllowed(view(origin), host)) {
            refuse(http::status::forbidden, AccessRules::originRefusal, request.version());
            return;
        }
        stream.expires_never();
        std::make_shared<WebSocketSession>(stream.release_socket(), context, std::move(ticket))
            ->run(std::move(request));
        return;
    }
    respond(request);
}

// A refusal in a plain sentence, and the connection closed after it.
void HttpSession::refuse(http::status status, const char *why, unsigned version)
{
    http::response<http::string_body> response{status, version};
    secure(response, "text/plain");
    response.set(http::field::content_type, "text/plain; charset=utf-8");
    response.set(http::field::cache_control, "no-store");
    response.body() = why;
    response.keep_alive(false);
    response.prepare_payload();
    send(std::move(response));
}

void HttpSession::respond(const http::request<http::string_body> &request)
{
    Routes::Request asked{methodOf(request.method()),
                          pathOf(request.target()),
                          view(request[http::field::host]),
                          view(request[http::field::origin]),
                          view(request[http::field::content_type]),
                          request.body()};
    Routes::Answer answer = Routes::answer(asked, context);
    http::response<http::string_body> response{static_cast<http::status>(answer.status), request.version()};
    secure(response, answer.contentType);
    response.set(http::field::content_type, answer.contentType);
    // The documents change ten times a second and the pages with the program: never cache.
    response.set(http::field::cache_control, "no-store");
    response.keep_alive(request.keep_alive());
    if (!answer.allow.empty())
        response.set(http::field::allow, answer.allow);
    // HEAD tells the length that GET would send; preparing its empty body would say 0.
    if (request.method() != http::verb::head) {
        response.body() = std::move(answer.body);
        response.prepare_payload();
    } else {
        response.content_length(answer.body.size());
    }
    send(std::move(response));
}

void HttpSession::send(http::response<http::string_body> &&response)
{
    auto message = std::make_shared<http::response<http::string_body>>(std::move(response));
    http::async_write(stream, *message,
                      [self = shared_from_this(), message](beast::error_code error, std::size_t) {
                          if (error) {
                              self->ended("while writing an answer", error);
                              return;
                          }
                          if (message->need_eof()) {
                              self->stream.socket().shutdown(tcp::socket::shutdown_send, error);
                              return;
                          }
                          self->read();
                      });
}
