// The listening socket on Linux (and other POSIX systems): Qt's own, its queue deepened; the
// event loop and the connection threads' priority.
#include "serverplatform.h"

#include <QHostAddress>
#include <QTcpServer>

#include <cerrno>
#include <climits>
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
    qputenv("QT_NO_GLIB", "1");
}

void lowerThreadPriority()
{
    // Linux gives every thread a nice value of its own; raising it needs no privilege. Ten
    // steps leave a connection thread about a tenth of a normal thread's share when both want
    // the core.
    const id_t thread = static_cast<id_t>(gettid());
    errno = 0;
    const int nice = getpriority(PRIO_PROCESS, thread);
    if (errno == 0)
        setpriority(PRIO_PROCESS, thread, nice + 10);
}

} // namespace serverplatform
