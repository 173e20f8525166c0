#include "accessrules.h"

#include "beast.h"

#include <QHostInfo>

#include <algorithm>
#include <cctype>

namespace {
std::string lower(std::string_view text)
{
    std::string result(text);
    std::transform(result.begin(), result.end(), result.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return result;
}

// The host of a Host header: "[::1]:47813" gives "::1", "pc.local.:47813" gives "pc.local".
std::string hostPart(std::string_view host)
{
    if (!host.empty() && host.front() == '[') {
        const std::size_t end = host.find(']');
        return end == std::string_view::npos ? std::string() : std::string(host.substr(1, end - 1));
    }
    const std::size_t colon = host.rfind(':');
    if (colon != std::string_view::npos)
        host = host.substr(0, colon);
    if (!host.empty() && host.back() == '.')
        host.remove_suffix(1);
    return lower(host);
}
} // namespace

AccessRules::AccessRules(const QStringList &allowedNames)
{
    names.insert("localhost");
    const QString machine = QHostInfo::localHostName();
    const QString domain = QHostInfo::localDomainName();
    QStringList own{machine};
    if (!domain.isEmpty())
        own.append(machine + QLatin1Char('.') + domain);
    // The names a LAN gives a machine by multicast DNS and NetBIOS.
    own.append(machine + QStringLiteral(".local"));
    for (const QString &name : own + allowedNames)
        if (!name.isEmpty())
            names.insert(hostPart(name.toLower().toStdString()));
}

bool AccessRules::hostAllowed(std::string_view host) const
{
    if (host.empty())
        return true;
    const std::string name = hostPart(host);
    beast::error_code error;
    net::ip::make_address(name, error);
    return !error || names.count(name) > 0;
}

bool AccessRules::originAllowed(std::string_view origin, std::string_view host) const
{
    return origin.empty() || lower(origin) == "http://" + lower(host);
}
