#pragma once

#include "hub.h"

#include <QString>

class PhoneAddress;
struct WebOptions;

// What the person at kvbeacon-web's console reads: where it serves and how to reach it at start,
// then a line each time the link to kvBeacon changes state, with what to do about it. Writes to
// stdout and stderr through the platform, which a Windows console shows whole; main's alone.
class Console : public Viewer
{
public:
    void deliver(Channel channel, std::shared_ptr<const std::string> message) override;

    static void greet(const WebOptions &options, unsigned short port, const PhoneAddress &phone,
                      bool sharing);
    static void say(const QString &text);
    static void warn(const QString &text);
    // Why kvbeacon-web cannot start.
    static void fail(const QString &text);
};
