#include "httpsession.h"

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
} // namespace

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
        // A request that is no HTTP gets told so; a connection that went away gets nothing.
        if (error.category() == http::make_error_code(http::error::bad_target).category())
            refuse(http::status::bad_request, ("Bad request: " + error.message() + "\n").c_str(), 11);
        return;
    }
    http::request<http::string_body> request = parser->release();
    const std::string_view host(request[http::field::host].data(), request[http::field::host].size());
    if (!context.access->hostAllowed(host)) {
        refuse(http::status::forbidden, AccessRules::hostRefusal, request.version());
        return;
    }
    if (websocket::is_upgrade(request) && pathOf(request.target()) == "/ws") {
        const beast::string_view origin = request[http::field::origin];
        if (!context.access->originAllowed(std::string_view(origin.data(), origin.size()), host)) {
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
    const std::string path = pathOf(request.target());
    const Reply reply = [&](http::status status, std::string contentType, std::string body) {
        http::response<http::string_body> response{status, request.version()};
        secure(response, contentType);
        response.set(http::field::content_type, contentType);
        // The documents change ten times a second and the pages with the program: never cache.
        response.set(http::field::cache_control, "no-store");
        response.keep_alive(request.keep_alive());
        if (status == http::status::method_not_allowed)
            response.set(http::field::allow, path == "/api/buttons" ? "GET, HEAD, PUT" : "GET, HEAD");
        // HEAD tells the length that GET would send; preparing its empty body would say 0.
        if (request.method() != http::verb::head) {
            response.body() = std::move(body);
            response.prepare_payload();
        } else {
            response.content_length(body.size());
        }
        send(std::move(response));
    };
    if (path == "/api/buttons" && context.buttons && request.method() == http::verb::put) {
        saveButtons(request, reply);
        return;
    }
    if (request.method() != http::verb::get && request.method() != http::verb::head) {
        reply(http::status::method_not_allowed, "text/plain; charset=utf-8",
              "Only GET and HEAD are served\n");
        return;
    }
    if (path == "/api/live" || path == "/api/info") {
        const std::shared_ptr<const std::string> message =
            context.hub.latest(path == "/api/live" ? Channel::Live : Channel::Info);
        // Documents are only worth reading while they move; otherwise the state says why not.
        if (context.hub.isLive() && message)
            reply(http::status::ok, "application/json", *message);
        else
            reply(http::status::service_unavailable, "application/json", *context.hub.latest(Channel::State));
        return;
    }
    if (path == "/api/macros" || path == "/api/state") {
        const std::shared_ptr<const std::string> message =
            context.hub.latest(path == "/api/state" ? Channel::State : Channel::Macros);
        if (message)
            reply(http::status::ok, "application/json", *message);
        else
            reply(http::status::service_unavailable, "application/json", *context.hub.latest(Channel::State));
        return;
    }
    if (path == "/api/team") {
        if (context.team)
            reply(http::status::ok, "application/json", *context.team->table(Team::Clock::now()));
        else
            reply(
                http::status::service_unavailable, "application/json",
                R"({"type":"team","broker":"off","text":"Team sharing is off: start kvbeacon-web with --mqtt"})");
        return;
    }
    if (path == "/api/buttons" && context.buttons) {
        reply(http::status::ok, "application/json", context.buttons->json());
        return;
    }
    if (path == "/api/phone" && context.phone) {
        reply(http::status::ok, "application/json", context.phone->json());
        return;
    }
    if (const Pages::Page *page = context.pages.find(path)) {
        reply(http::status::ok, page->contentType, page->body);
        return;
    }
    reply(http::status::not_found, "text/plain; charset=utf-8", "Not found: " + path + "\n");
}

void HttpSession::send(http::response<http::string_body> &&response)
{
    auto message = std::make_shared<http::response<http::string_body>>(std::move(response));
    http::async_write(stream, *message,
                      [self = shared_from_this(), message](beast::error_code error, std::size_t) {
                          if (error)
                              return;
                          if (message->need_eof()) {
                              self->stream.socket().shutdown(tcp::socket::shutdown_send, error);
                              return;
                          }
                          self->read();
                      });
}

// A page's new button box. Only kvbeacon-web's own pages may change it: another site's page
// sends its own Origin, and its form cannot send JSON without asking first (which is never
// answered here).
void HttpSession::saveButtons(const http::request<http::string_body> &request, const Reply &reply)
{
    const beast::string_view origin = request[http::field::origin];
    const beast::string_view host = request[http::field::host];
    if (!context.access->originAllowed(std::string_view(origin.data(), origin.size()),
                                       std::string_view(host.data(), host.size()))) {
        reply(http::status::forbidden, "text/plain; charset=utf-8", AccessRules::originRefusal);
        return;
    }
    if (!request[http::field::content_type].starts_with("application/json")) {
        reply(http::status::unsupported_media_type, "text/plain; charset=utf-8",
              "A button box is sent as application/json\n");
        return;
    }
    QString error;
    if (!context.buttons->replace(QByteArray::fromStdString(request.body()), &error)) {
        reply(http::status::bad_request, "application/json",
              Command::errorMessage(error, QJsonValue::Undefined));
        return;
    }
    reply(http::status::ok, "application/json", context.buttons->json());
}
