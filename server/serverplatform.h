#pragma once

#include <QtGlobal>

class QTcpServer;

// The server's system calls, and nothing of its logic: one backend file per system
// (serverplatform_posix.cpp, serverplatform_win.cpp), chosen in CMake.
namespace serverplatform {

// Has `server` listen on every interface, IPv4 and IPv6, on `port` (0: any free port), with
// the deepest accept queue the system allows rather than Qt's 50, which a burst of clients
// overflows into the kernel's one-second SYN retries. False when the port cannot be had.
bool listenDeep(QTcpServer *server, quint16 port);

} // namespace serverplatform
