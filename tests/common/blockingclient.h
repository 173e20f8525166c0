#pragma once

#include <QByteArray>
#include <QDir>
#include <QFile>

#include <arpa/inet.h>
#include <cstdint>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

// A plain blocking loopback client for threads of its own, with time limits on every wait.
class BlockingClient
{
public:
    ~BlockingClient() { close(); }

    bool connectTo(std::uint16_t port)
    {
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
        qint64 sent = 0;
        while (sent < bytes.size()) {
            const ssize_t n = ::send(fd, bytes.constData() + sent, size_t(bytes.size() - sent), MSG_NOSIGNAL);
            if (n <= 0)
                return false;
            sent += n;
        }
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
    // One whole reply frame (ASCII), within `ms`; empty otherwise.
    QByteArray readFrame(int ms = 5000)
    {
        QByteArray frame;
        for (int waited = 0; waited < ms; waited += 50) {
            frame += receive(50);
            if (frame.size() >= 8 && frame.size() >= 8 + frame.mid(1, 6).toInt())
                return frame;
        }
        return QByteArray();
    }
    // True when the server closes the connection within `ms`.
    bool closedWithin(int ms)
    {
        for (int waited = 0; waited < ms; waited += 50) {
            bool closed = false;
            receive(50, &closed);
            if (closed)
                return true;
        }
        return false;
    }
    void close()
    {
        if (fd >= 0)
            ::close(fd);
        fd = -1;
    }

private:
    int fd = -1;
};

// The process's threads and open descriptors, to see that nothing is left behind.
struct ProcessCounts
{
    int threads = 0;
    int descriptors = 0;
    bool operator==(const ProcessCounts &o) const
    {
        return threads == o.threads && descriptors == o.descriptors;
    }

    static ProcessCounts now()
    {
        ProcessCounts counts;
        QFile status(QStringLiteral("/proc/self/status"));
        if (status.open(QIODevice::ReadOnly))
            for (const QByteArray &line : status.readAll().split('\n'))
                if (line.startsWith("Threads:"))
                    counts.threads = line.mid(8).trimmed().toInt();
        counts.descriptors =
            QDir(QStringLiteral("/proc/self/fd")).entryList(QDir::NoDotAndDotDot | QDir::AllEntries).size();
        return counts;
    }
};
