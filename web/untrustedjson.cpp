#include "untrustedjson.h"

#include <nlohmann/json.hpp>

QJsonDocument UntrustedJson::parse(const QByteArray &text)
{
    const nlohmann::json json =
        nlohmann::json::parse(text.constData(), text.constData() + text.size(), nullptr,
                              /*allow_exceptions=*/false);
    if (json.is_discarded())
        return QJsonDocument();
    return QJsonDocument::fromJson(
        QByteArray::fromStdString(json.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace)));
}
