#pragma once

#include "hub.h"

#include <QJsonValue>
#include <QString>

#include <memory>
#include <optional>
#include <string>

// A press asked for by a browser: a chat macro or a key, with the browser to answer.
struct Command
{
    enum Kind { Macro, Key } kind = Macro;
    int value = 0;                         // the macro's number from 1, or the virtual-key code
    QJsonValue id = QJsonValue::Undefined; // the request's "id", echoed in the result
    std::weak_ptr<Viewer> from;

    // Reads {"macro":N} or {"key":CODE}, CODE a number or a key name in any case, with an
    // optional "id". Nothing, and `error` in words, when the text is no such request. `id`, when
    // given, gets the message's "id" (undefined without one) so that an error can carry it too.
    static std::optional<Command> fromJson(const std::string &text, QString *error, QJsonValue *id = nullptr);
    // The answer to a message that is no press, carrying the id it came with.
    static std::string errorMessage(const QString &error, const QJsonValue &id);
    // The answer to this command as a Result message.
    std::string result(bool ok, const QString &replyOrError) const;
    // Hands that answer to the browser that pressed, if it is still there.
    void answer(bool ok, const QString &replyOrError) const;
};
