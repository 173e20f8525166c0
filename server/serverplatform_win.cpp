// The listening socket on Windows, and the connection threads' priority. Winsock ignores a
// second listen() on a listening socket, so the socket is made here, as Qt makes it for
// QHostAddress::Any, listened on with the deep queue and handed to the server.
#include "serverplatform.h"

#include <QTcpServer>

#include <winsock2.h>
#include <ws2tcpip.h>

// MinGW's headers lack it; Winsock reads a negative backlog as this hint.
#ifndef SOMAXCONN_HINT
#define SOMAXCONN_HINT(b) (-(b))
#endif

namespace serverplatform {

namespace {
// Qt starts Winsock when it first makes a socket engine, which on this path comes only with the
// hand-over; the starts are counted, so this one does not disturb Qt's.
struct Winsock
{
    Winsock()
    {
        WSADATA data;
        WSAStartup(MAKEWORD(2, 2), &data);
    }
    ~Winsock() { WSACleanup(); }
};

// A socket of `family` bound to every address on `port` and listening; INVALID_SOCKET with
// `error` set otherwise.
SOCKET listeningSocket(int family, quint16 port, int *error)
{
    SOCKET s = WSASocketW(family, SOCK_STREAM, IPPROTO_TCP, nullptr, 0,
                          WSA_FLAG_OVERLAPPED | WSA_FLAG_NO_HANDLE_INHERIT);
    if (s == INVALID_SOCKET) {
        *error = WSAGetLastError();
        return s;
    }
    sockaddr_storage address{}; // all zero: every address
    int size;
    if (family == AF_INET6) {
        // IPv4 as well, through mapped addresses: one socket for both, as Qt binds Any.
        const DWORD v6only = 0;
        setsockopt(s, IPPROTO_IPV6, IPV6_V6ONLY, reinterpret_cast<const char *>(&v6only), sizeof v6only);
        auto *a = reinterpret_cast<sockaddr_in6 *>(&address);
        a->sin6_family = AF_INET6;
        a->sin6_port = htons(port);
        size = sizeof *a;
    } else {
        auto *a = reinterpret_cast<sockaddr_in *>(&address);
        a->sin_family = AF_INET;
        a->sin_port = htons(port);
        size = sizeof *a;
    }
    // SOMAXCONN leaves the depth to the provider's idea of reasonable; the hint asks for 65535,
    // the most Winsock takes.
    if (bind(s, reinterpret_cast<const sockaddr *>(&address), size) != 0 ||
        ::listen(s, SOMAXCONN_HINT(65535)) != 0) {
        *error = WSAGetLastError();
        closesocket(s);
        return INVALID_SOCKET;
    }
    return s;
}
} // namespace

bool listenDeep(QTcpServer *server, quint16 port)
{
    static Winsock winsock;
    if (server->isListening())
        return false;
    int error = 0;
    SOCKET s = listeningSocket(AF_INET6, port, &error);
    // A system without IPv6 is served on IPv4 alone, as by Qt.
    if (s == INVALID_SOCKET && error == WSAEAFNOSUPPORT)
        s = listeningSocket(AF_INET, port, &error);
    if (s == INVALID_SOCKET)
        return false;
    // Qt reads the address and port back from the socket and owns it from here.
    if (!server->setSocketDescriptor(static_cast<qintptr>(s))) {
        closesocket(s);
        return false;
    }
    return true;
}

void prepareProcess() {}

QHostAddress peerAddress(qintptr descriptor)
{
    sockaddr_storage peer{};
    int size = sizeof peer;
    if (getpeername(static_cast<SOCKET>(descriptor), reinterpret_cast<sockaddr *>(&peer), &size) != 0)
        return QHostAddress();
    return QHostAddress(reinterpret_cast<const sockaddr *>(&peer));
}

void closeDescriptor(qintptr descriptor)
{
    closesocket(static_cast<SOCKET>(descriptor));
}

void lowerThreadPriority()
{
    SetThreadPriority(GetCurrentThread(), THREAD_PRIORITY_BELOW_NORMAL);
}

} // namespace serverplatform
