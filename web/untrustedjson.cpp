#include "untrustedjson.h"

#include <nlohmann/json.hpp>

QJsonDocument UntrustedJson::parse(const QByteArray &text)
{
    // Writing the value back goes one call deeper for each level: 16 KB of "[" would be some
    // eight thousand, past what a thread's stack holds on Windows. No sender nests this deep.
    bool tooDeep = false;
    const auto depth = [&tooDeep](int level, nlohmann::json::parse_event_t, nlohmann::json &) {
        tooDeep = tooDeep || level > maxDepth;
        return true;
    };
    const nlohmann::json json = nlohmann::json::parse(text.constData(), text.constData() + text.size(), depth,
                                                      /*allow_exceptions=*/false);
    if (json.is_discarded() || tooDeep)
        return QJsonDocument();
    return QJsonDocument::fromJson(
        QByteArray::fromStdString(json.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace)));
}
