#pragma once

#include <QString>

// What kvbeacon-web asks of the system it runs on; one file a system (platform_posix.cpp,
// platform_win.cpp).
namespace platform {
// A PEM file of the certificate authorities the system trusts, for a broker's certificate when
// no CA of one's own is given; empty where OpenSSL finds the system's own by itself (Linux).
QString systemCaFile(QString *problem);
// Writes to standard output or error as the console there shows every character (the QR code's
// blocks among them): UTF-16 to a Windows console, UTF-8 to a pipe, a file or a terminal.
void writeOut(const QString &text);
void writeError(const QString &text);
// Opens a page in the desktop's default browser; false when none could be.
bool openInBrowser(const QString &url);
// Whether kvBeacon's window runs on this machine, for any user.
bool kvBeaconRunning();
// As many open connections as the system lets this process have: the soft limit on open files
// raised to the hard one. Returns the limit now in force, or 0 where there is none to raise.
long raiseFileLimit();
// Whether users other than the file's owner may read it; false where the system cannot tell
// (Windows reports every readable file as readable by all).
bool othersMayRead(const QString &path);
} // namespace platform
