#include "benchkit.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sstream>
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

namespace {
std::string filled(long value, int width)
{
    std::string text = std::to_string(value);
    if (static_cast<int>(text.size()) < width)
        text.insert(0, static_cast<std::size_t>(width) - text.size(), '0');
    return text;
}

// "@LLLLLL;CCC;IIIIII;" and the payload behind it, with the frame's size checked.
bool frameParts(const std::string &reply, int command, int id, std::string *payload)
{
    if (reply.size() < 20 || reply[0] != '@' || reply[7] != ';' || reply.back() != ';')
        return false;
    const long length = std::strtol(reply.substr(1, 6).c_str(), nullptr, 10);
    if (static_cast<std::size_t>(length) + 8 != reply.size())
        return false;
    if (reply.compare(8, 4, filled(command, 3) + ";") != 0 || reply.compare(12, 7, filled(id, 6) + ";") != 0)
        return false;
    *payload = reply.substr(19, reply.size() - 20);
    return true;
}
} // namespace

std::string requestFrame(int command, int id)
{
    const std::string body = filled(command, 3) + ";" + filled(id, 6) + ";;";
    return "@" + filled(static_cast<long>(body.size()), 6) + ";" + body;
}

bool isReply(const std::string &reply, int command, int id, const std::string &payload)
{
    std::string got;
    return frameParts(reply, command, id, &got) && got == payload;
}

bool isDocumentReply(const std::string &reply, int command, int id, int members)
{
    std::string payload;
    if (!frameParts(reply, command, id, &payload))
        return false;
    if (payload.size() < 4 || payload.compare(0, 2, "{\n") != 0 ||
        payload.compare(payload.size() - 2, 2, "}\n") != 0)
        return false;
    int count = 0;
    for (std::size_t at = 0; (at = payload.find("\n    \"", at)) != std::string::npos; ++at)
        ++count;
    return count == members;
}

Client::~Client()
{
    close();
}

bool Client::connectTo(std::uint16_t port)
{
    close();
    fd = socket(AF_INET, SOCK_STREAM, 0);
    if (fd < 0)
        return false;
    const int on = 1;
    setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (connect(fd, reinterpret_cast<sockaddr *>(&address), sizeof address) != 0) {
        close();
        return false;
    }
    return true;
}

bool Client::send(const std::string &bytes)
{
    std::size_t sent = 0;
    while (sent < bytes.size()) {
        const ssize_t n = ::send(fd, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
        if (n <= 0)
            return false;
        sent += static_cast<std::size_t>(n);
    }
    return true;
}

std::string Client::readExactly(std::size_t size)
{
    std::string bytes(size, '\0');
    std::size_t got = 0;
    while (got < size) {
        const ssize_t n = ::recv(fd, &bytes[got], size - got, 0);
        if (n <= 0)
            return std::string();
        got += static_cast<std::size_t>(n);
    }
    return bytes;
}

std::string Client::readFrame()
{
    const std::string head = readExactly(8);
    if (head.size() != 8 || head[0] != '@')
        return std::string();
    const long length = std::strtol(head.substr(1, 6).c_str(), nullptr, 10);
    if (length <= 0)
        return std::string();
    const std::string body = readExactly(static_cast<std::size_t>(length));
    return body.empty() ? std::string() : head + body;
}

void Client::close()
{
    if (fd >= 0)
        ::close(fd);
    fd = -1;
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

ProcessFigures readProcess(int pid)
{
    ProcessFigures figures;
    std::ifstream status("/proc/" + std::to_string(pid) + "/status");
    std::string line;
    while (std::getline(status, line)) {
        if (line.compare(0, 6, "VmRSS:") == 0)
            figures.residentKb = std::strtol(line.c_str() + 6, nullptr, 10);
        else if (line.compare(0, 8, "Threads:") == 0)
            figures.threads = static_cast<int>(std::strtol(line.c_str() + 8, nullptr, 10));
    }
    std::ifstream stat("/proc/" + std::to_string(pid) + "/stat");
    std::string all((std::istreambuf_iterator<char>(stat)), std::istreambuf_iterator<char>());
    // Fields after the command's closing parenthesis; utime and stime are the 12th and 13th.
    const std::size_t close = all.rfind(')');
    if (close != std::string::npos) {
        std::istringstream fields(all.substr(close + 2));
        std::string field;
        long utime = 0, stime = 0;
        for (int i = 1; i <= 13 && fields >> field; ++i) {
            if (i == 12)
                utime = std::strtol(field.c_str(), nullptr, 10);
            if (i == 13)
                stime = std::strtol(field.c_str(), nullptr, 10);
        }
        figures.cpuTicks = utime + stime;
    }
    return figures;
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
