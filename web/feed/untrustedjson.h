#pragma once

#include <QByteArray>
#include <QJsonDocument>

// JSON from senders who may be hostile (a page's presses, any publisher on the broker). Qt 5's
// QJsonDocument loses memory when a key repeats after an object or an array (some 150 bytes a
// message, measured), which a sender could repeat without end; so the text is read by
// nlohmann's parser first, which keeps one value a key, and Qt reads what that writes back.
namespace UntrustedJson {
constexpr int maxDepth = 32;
// Null when the text is no JSON, or nests deeper than maxDepth.
QJsonDocument parse(const QByteArray &text);
} // namespace UntrustedJson
