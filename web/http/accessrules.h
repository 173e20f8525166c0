#pragma once

#include <QStringList>

#include <set>
#include <string>
#include <string_view>

// Who may ask: a request must name kvbeacon-web by an IP address, localhost, this machine's own
// names or a name given with --allow-host (a page of another site, reached through a name that
// points here, is refused: DNS rebinding), and a browser's WebSocket must come from a page that
// kvbeacon-web served itself (its Origin is this server as the request names it). A request
// without Origin is a program, not a page, and is let in.
class AccessRules
{
public:
    // This machine's names, and the extra names allowed.
    explicit AccessRules(const QStringList &allowedNames = {});

    // `host` is the Host header as sent, with or without a port; empty passes (HTTP/1.0).
    bool hostAllowed(std::string_view host) const;
    bool originAllowed(std::string_view origin, std::string_view host) const;

    static constexpr const char *hostRefusal =
        "kvbeacon-web answers only to this PC's IP addresses, localhost and its own names: open it "
        "by one of those, or start kvbeacon-web with --allow-host NAME for a name of your own.\n";
    static constexpr const char *originRefusal =
        "Only kvbeacon-web's own pages may open its WebSocket: this request came from a page of "
        "another site.\n";

private:
    std::set<std::string> names; // in lower case
};
