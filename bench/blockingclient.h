#pragma once

#include "replyreader.h"

#include <QByteArray>
#include <QElapsedTimer>

#include <arpa/inet.h>
#include <cstdint>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

// A plain blocking loopback client for threads of its own (the benchmarks), with a
// time limit on every wait. Bytes behind a frame wait for the next read.
class BlockingClient
{
public:
    ~BlockingClient() { close(); }

    bool connectTo(std::uint16_t port)
    {
        close();
        fd = socket(AF_INET, SOCK_STREAM, 0);
        const int on = 1;
        setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(port);
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        return fd >= 0 && ::connect(fd, reinterpret_cast<sockaddr *>(&address), sizeof address) == 0;
    }
    bool send(const QByteArray &bytes)
    {
        for (qint64 sent = 0, n = 0; sent < bytes.size(); sent += n)
            if ((n = ::send(fd, bytes.constData() + sent, size_t(bytes.size() - sent), MSG_NOSIGNAL)) <= 0)
                return false;
        return true;
    }
    // Whatever arrives within `ms`; empty on time-out, and `closed` set when the peer closed.
    QByteArray receive(int ms, bool *closed = nullptr)
    {
        pollfd p{fd, POLLIN, 0};
        if (poll(&p, 1, ms) <= 0)
            return QByteArray();
        char buffer[65536];
        const ssize_t n = ::recv(fd, buffer, sizeof buffer, 0);
        if (n <= 0 && closed)
            *closed = true;
        return n > 0 ? QByteArray(buffer, int(n)) : QByteArray();
    }
    // One whole frame within `ms`; empty otherwise.
    QByteArray readFrame(int ms = 5000)
    {
        QElapsedTimer clock;
        clock.start();
        Reply reply;
        while (!reader.next(reply) && clock.elapsed() < ms)
            reader.feed(receive(int(ms - clock.elapsed())));
        return reply.frame;
    }
    bool closedWithin(int ms)
    {
        bool closed = false;
        QElapsedTimer clock;
        clock.start();
        while (!closed && clock.elapsed() < ms)
            receive(50, &closed);
        return closed;
    }
    void close()
    {
        if (fd >= 0)
            ::close(fd);
        fd = -1;
    }

private:
    int fd = -1;
    ReplyReader reader;
};
