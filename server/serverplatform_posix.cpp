// The listening socket on Linux (and other POSIX systems): Qt's own, its queue deepened; the
// event loop and the connection threads' priority.
#include "serverplatform.h"

#include <QHostAddress>
#include <QTcpServer>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

namespace serverplatform {

bool listenDeep(QTcpServer *server, quint16 port)
{
    if (!server->listen(QHostAddress::Any, port))
        return false;
    // A second listen() on a listening socket only sets its queue's depth. INT_MAX is cut to
    // net.core.somaxconn when the call is made, so nothing is read from /proc (which a
    // container may hide) and no figure of ours goes stale.
    if (::listen(static_cast<int>(server->socketDescriptor()), INT_MAX) != 0)
        qWarning("The listen queue stays at Qt's depth: %s", std::strerror(errno));
    return true;
}

void prepareProcess()
{
    // Only threads other than the main one: the window keeps GLib's loop, which a desktop's
    // own file dialogs need. A value the user has set stands.
    setenv("QT_NO_THREADED_GLIB", "1", 0);
    // A desktop's usual soft limit (1,024) would end the process in Qt's fatal path at about
    // 500 connections, before the server's own cap; the hard limit is usually far above it.
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) == 0 && limit.rlim_cur < limit.rlim_max) {
        limit.rlim_cur = limit.rlim_max;
        setrlimit(RLIMIT_NOFILE, &limit);
    }
}

QHostAddress peerAddress(qintptr descriptor)
{
    sockaddr_storage peer{};
    socklen_t size = sizeof peer;
    if (getpeername(static_cast<int>(descriptor), reinterpret_cast<sockaddr *>(&peer), &size) != 0)
        return QHostAddress();
    return QHostAddress(reinterpret_cast<const sockaddr *>(&peer));
}

void closeDescriptor(qintptr descriptor)
{
    ::close(static_cast<int>(descriptor));
}

void lowerThreadPriority()
{
#ifdef __linux__
    // Linux keeps a nice value for each thread, and PRIO_PROCESS with 0 means the calling
    // thread alone; raising it needs no privilege. Ten steps leave a connection thread about a
    // tenth of a normal thread's share when both want the core. Elsewhere the value belongs to
    // the whole process, so it is left alone.
    errno = 0;
    const int nice = getpriority(PRIO_PROCESS, 0);
    if (errno == 0)
        setpriority(PRIO_PROCESS, 0, nice + 10);
#endif
}

} // namespace serverplatform
