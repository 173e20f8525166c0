#include "webserver.h"

#include "beast.h"
#include "httpsession.h"

struct WebServer::Io
{
    net::io_context context{1};
    tcp::acceptor acceptor{context};
};

namespace {
void accept(tcp::acceptor &acceptor, WebContext &context)
{
    acceptor.async_accept(
        net::make_strand(acceptor.get_executor()),
        [&acceptor, &context](beast::error_code error, tcp::socket socket) {
            if (error == net::error::operation_aborted)
                return;
            if (!error) {
                // One too many is closed at once, unread.
                beast::error_code ignored;
                const net::ip::address from = socket.remote_endpoint(ignored).address();
                if (auto ticket = context.connections->admit(from.to_string()))
                    std::make_shared<HttpSession>(std::move(socket), context, std::move(ticket))->run();
                accept(acceptor, context);
                return;
            }
            // Out of descriptors, say: asking again at once would only spin.
            auto pause =
                std::make_shared<net::steady_timer>(acceptor.get_executor(), std::chrono::milliseconds(100));
            pause->async_wait([pause, &acceptor, &context](beast::error_code waited) {
                if (waited != net::error::operation_aborted)
                    accept(acceptor, context);
            });
        });
}

bool open(tcp::acceptor &acceptor, const tcp::endpoint &endpoint, beast::error_code &error)
{
    acceptor.open(endpoint.protocol(), error);
    if (!error && endpoint.protocol() == tcp::v6())
        acceptor.set_option(net::ip::v6_only(false), error); // IPv4 as well, on one socket
    if (!error)
        acceptor.set_option(net::socket_base::reuse_address(true), error);
    if (!error)
        acceptor.bind(endpoint, error);
    if (!error)
        acceptor.listen(net::socket_base::max_listen_connections, error);
    if (error && acceptor.is_open())
        acceptor.close();
    return !error;
}
} // namespace

WebServer::WebServer(WebContext context) : context(std::move(context)), io(std::make_unique<Io>()) {}

WebServer::~WebServer()
{
    stop();
}

bool WebServer::listen(unsigned short port, std::string *error)
{
    beast::error_code code;
    // Machines without IPv6 get IPv4 alone.
    if (open(io->acceptor, tcp::endpoint(tcp::v6(), port), code) ||
        open(io->acceptor, tcp::endpoint(tcp::v4(), port), code))
        return true;
    *error = code.message();
    return false;
}

unsigned short WebServer::port() const
{
    beast::error_code error;
    return io->acceptor.local_endpoint(error).port();
}

void WebServer::start()
{
    accept(io->acceptor, context);
    thread = std::thread([this] { io->context.run(); });
}

void WebServer::stop()
{
    io->context.stop();
    if (thread.joinable())
        thread.join();
}
