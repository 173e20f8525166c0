// The listening socket on Linux (and other POSIX systems): Qt's own, its queue deepened.
#include "serverplatform.h"

#include <QHostAddress>
#include <QTcpServer>

#include <cerrno>
#include <climits>
#include <cstring>
#include <sys/socket.h>

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

} // namespace serverplatform
