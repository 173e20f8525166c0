#pragma once

#include "webcontext.h"

#include <memory>
#include <string>
#include <thread>

// The companion's HTTP and WebSocket server, on every interface, run by one thread of its own:
// the sessions only hand messages over and never wait, so one thread serves many browsers.
class WebServer
{
public:
    explicit WebServer(WebContext context);
    ~WebServer();

    // False, and `error` in words, when the port cannot be had. Port 0 takes a free one.
    bool listen(unsigned short port, std::string *error);
    unsigned short port() const;
    // The connections held now, HTTP and WebSocket.
    int openConnections() const { return context.connections->open(); }
    // The page that shows a phone where to go, known once the port is: before start().
    void setPhoneAddress(const PhoneAddress *phone) { context.phone = phone; }
    void start();
    void stop();

private:
    struct Io;
    WebContext context;
    std::unique_ptr<Io> io;
    std::thread thread;
};
