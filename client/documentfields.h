#pragma once

#include <QJsonDocument>
#include <QJsonObject>
#include <QString>
#include <QVariant>

#include <type_traits>

// Reading a document's members into typed fields: false when the key is missing or of another
// JSON type, the field then left as it was.
namespace DocumentFields {
inline bool object(const QString &text, QJsonObject &into)
{
    const QJsonDocument document = QJsonDocument::fromJson(text.toUtf8());
    into = document.object();
    return document.isObject();
}
template <typename T> bool read(const QJsonObject &document, const char *key, T &field)
{
    const QJsonValue value = document.value(QLatin1String(key));
    const bool fits = std::is_same<T, bool>::value      ? value.isBool()
                      : std::is_same<T, QString>::value ? value.isString()
                                                        : value.isDouble();
    if (fits)
        field = value.toVariant().value<T>();
    return fits;
}
} // namespace DocumentFields
