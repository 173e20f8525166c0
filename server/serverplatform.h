#pragma once

#include <QHostAddress>

class QTcpServer;

// The server's system calls, and nothing of its logic: one backend file per system
// (serverplatform_posix.cpp, serverplatform_win.cpp), chosen in CMake.
namespace serverplatform {

// Has `server` listen on every interface, IPv4 and IPv6, on `port` (0: any free port), with
// the deepest accept queue the system allows rather than Qt's 50, which a burst of clients
// overflows into the kernel's one-second SYN retries. False when the port cannot be had.
bool listenDeep(QTcpServer *server, quint16 port);

// Called once at the top of main(), before the toolkit starts. On Linux the connection
// threads then run Qt's own event loop instead of GLib's, which wakes its own thread each time
// a socket is written to: four system calls more on every request; and the soft limit of open
// files is raised to the hard one, since every connection holds a socket and its thread's
// wake-up descriptor. Elsewhere it does nothing.
void prepareProcess();

// The address at the other end of an accepted socket that no QTcpSocket holds yet; null when
// the system cannot tell.
QHostAddress peerAddress(qintptr descriptor);
// Closes an accepted socket that is refused before a thread takes it.
void closeDescriptor(qintptr descriptor);

// Puts the calling connection thread below the window's thread and the rest of the machine:
// document traffic yields to the simulator, to the presses the window carries out, and to
// the window itself when the machine is busy.
void lowerThreadPriority();

} // namespace serverplatform
