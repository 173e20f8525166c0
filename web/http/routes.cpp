#include "routes.h"

#include "phoneaddress.h"
#include "team.h"

#include <map>

namespace {
using Routes::Answer;
using Routes::Method;
using Routes::Request;

constexpr char json[] = "application/json";
constexpr char text[] = "text/plain; charset=utf-8";

Answer ok(std::string body)
{
    return {200, json, std::move(body), {}};
}

// What stands instead of a message not to be had: the state, which says why.
Answer unavailable(const WebContext &context)
{
    return {503, json, *context.hub.latest(Channel::State), {}};
}

// The documents are only worth reading while they move; otherwise the state says why not.
Answer document(const WebContext &context, Channel channel)
{
    const std::shared_ptr<const std::string> message = context.hub.latest(channel);
    return context.hub.isLive() && message ? ok(*message) : unavailable(context);
}

Answer latest(const WebContext &context, Channel channel)
{
    const std::shared_ptr<const std::string> message = context.hub.latest(channel);
    return message ? ok(*message) : unavailable(context);
}

Answer team(const WebContext &context)
{
    if (context.team)
        return ok(*context.team->table(Team::Clock::now()));
    return {503,
            json,
            R"({"type":"team","broker":"off","text":"Team sharing is off: start kvbeacon-web with --mqtt"})",
            {}};
}

std::optional<Answer> buttons(const WebContext &context)
{
    return context.buttons ? std::optional(ok(context.buttons->json())) : std::nullopt;
}

std::optional<Answer> phone(const WebContext &context)
{
    return context.phone ? std::optional(ok(context.phone->json())) : std::nullopt;
}

// A page's new button box. Only kvbeacon-web's own pages may change it: another site's page
// sends its own Origin, and its form cannot send JSON without asking first (which is never
// answered here).
Answer saveButtons(const Request &request, const WebContext &context)
{
    if (!context.access->originAllowed(request.origin, request.host))
        return {403, text, AccessRules::originRefusal, {}};
    if (request.contentType.substr(0, 16) != "application/json")
        return {415, text, "A button box is sent as application/json\n", {}};
    QString error;
    if (!context.buttons->replace(QByteArray(request.body.data(), int(request.body.size())), &error))
        return {400, json, Command::errorMessage(error, QJsonValue::Undefined), {}};
    return ok(context.buttons->json());
}

// The paths that are no page, each answering GET and HEAD; nothing where a path is served only
// with a part that is off.
using Handler = std::optional<Answer> (*)(const WebContext &);
const std::map<std::string, Handler> &table()
{
    static const std::map<std::string, Handler> handlers{
        {"/api/live", [](const WebContext &c) { return std::optional(document(c, Channel::Live)); }},
        {"/api/info", [](const WebContext &c) { return std::optional(document(c, Channel::Info)); }},
        {"/api/state", [](const WebContext &c) { return std::optional(latest(c, Channel::State)); }},
        {"/api/macros", [](const WebContext &c) { return std::optional(latest(c, Channel::Macros)); }},
        {"/api/team", [](const WebContext &c) { return std::optional(team(c)); }},
        {"/api/buttons", &buttons},
        {"/api/phone", &phone},
    };
    return handlers;
}
} // namespace

Answer Routes::answer(const Request &request, const WebContext &context)
{
    const bool buttonBox = request.path == "/api/buttons" && context.buttons;
    if (buttonBox && request.method == Method::Put)
        return saveButtons(request, context);
    if (request.method != Method::Get && request.method != Method::Head)
        return {405, text, "Only GET and HEAD are served\n",
                request.path == "/api/buttons" ? "GET, HEAD, PUT" : "GET, HEAD"};
    const auto route = table().find(request.path);
    if (route != table().end())
        if (std::optional<Answer> found = route->second(context))
            return *found;
    if (const Pages::Page *page = context.pages.find(request.path))
        return {200, page->contentType, page->body, {}};
    return {404, text, "Not found: " + request.path + "\n", {}};
}
