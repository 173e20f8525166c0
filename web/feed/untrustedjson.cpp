#include "untrustedjson.h"

#include <nlohmann/json.hpp>

QJsonDocument UntrustedJson::parse(const QByteArray &text)
{
    // Writing the value back goes one call deeper for each level: 16 KB of "[" is some eight
    // thousand, and thirty thousand overflowed the main thread's stack under Wine; other threads'
    // stacks may be smaller. No sender of ours nests beyond a few.
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
