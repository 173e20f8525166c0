#pragma once

#include <QByteArray>

// Tells a browser's request from a client: a page in a browser can make it send an ordinary HTTP
// request to kvBeacon's port (a fetch() needs no permission for that), or a TLS handshake (an
// https:// address of the page's own name, rebound to this machine), and the read loop, which
// skips whatever stands before a head, would find a frame put in its target, its body or the
// handshake's session id. Only the first bytes of a connection are looked at; runs on the
// connection thread.
namespace HttpGuard {
enum class Verdict {
    NotHttp,   // anything else: read as before
    Http,      // a method token, a space, a path and " HTTP/": close without reading a frame
    Tls,       // a TLS record header (handshake, SSL 3.0 to TLS 1.3): close without reading a frame
    Undecided, // the bytes so far begin such a line: wait for more
};

// Past this many bytes a token, a space and a target without an end are taken for a request
// line too, so that a long target cannot carry a frame past the check.
constexpr int longestLine = 8192;

Verdict firstBytes(const QByteArray &bytes);
} // namespace HttpGuard
