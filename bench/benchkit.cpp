#include "benchkit.h"

#include "framehead.h"
#include "wiremessage.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cmath>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <pwd.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

namespace benchkit {

double percentile(std::vector<double> &values, double q)
{
    if (values.empty())
        return 0;
    std::sort(values.begin(), values.end());
    std::size_t rank = static_cast<std::size_t>(std::ceil(q * static_cast<double>(values.size())));
    rank = std::min(std::max<std::size_t>(rank, 1), values.size());
    return values[rank - 1];
}

bool isDocumentReply(const QByteArray &reply, int command, int id, int members)
{
    const WireMessage message(reply);
    if (FrameHead::wholeFrameSize(reply) != reply.size() || message.command != command || message.id != id ||
        !reply.endsWith(";"))
        return false;
    const QByteArray payload = reply.mid(19, reply.size() - 20);
    if (!payload.startsWith("{\n") || !payload.endsWith("}\n"))
        return false;
    return payload.count("\n    \"") == members;
}

std::uint16_t EchoServer::start()
{
    const int listener = socket(AF_INET, SOCK_STREAM, 0);
    const int on = 1;
    setsockopt(listener, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    if (bind(listener, reinterpret_cast<sockaddr *>(&address), sizeof address) != 0 ||
        listen(listener, 4096) != 0 ||
        getsockname(listener, reinterpret_cast<sockaddr *>(&address), &size) != 0)
        return 0;
    std::thread([listener] {
        for (;;) {
            const int connection = accept(listener, nullptr, nullptr);
            if (connection < 0)
                continue;
            std::thread([connection] {
                char buffer[65536];
                for (;;) {
                    const ssize_t n = recv(connection, buffer, sizeof buffer, 0);
                    if (n <= 0)
                        break;
                    ssize_t sent = 0;
                    while (sent < n) {
                        const ssize_t w = ::send(connection, buffer + sent,
                                                 static_cast<std::size_t>(n - sent), MSG_NOSIGNAL);
                        if (w <= 0)
                            break;
                        sent += w;
                    }
                }
                ::close(connection);
            }).detach();
        }
    }).detach();
    return ntohs(address.sin_port);
}

std::uint16_t freePort()
{
    const int fd = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    std::uint16_t port = 0;
    if (bind(fd, reinterpret_cast<sockaddr *>(&address), sizeof address) == 0 &&
        getsockname(fd, reinterpret_cast<sockaddr *>(&address), &size) == 0)
        port = ntohs(address.sin_port);
    ::close(fd);
    return port;
}

std::string mosquittoConfig(std::uint16_t port, bool nodelay)
{
    const passwd *user = getpwuid(getuid());
    return "listener " + std::to_string(port) + " 127.0.0.1\nallow_anonymous true\nlog_dest none\n" +
           (nodelay ? "set_tcp_nodelay true\n" : "") + "user " + (user ? user->pw_name : "root") + "\n";
}

long raiseDescriptorLimit()
{
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
    getrlimit(RLIMIT_NOFILE, &limit);
    return static_cast<long>(limit.rlim_cur);
}

} // namespace benchkit
