#include "command.h"

#include "keynames.h"
#include "protocol.h"
#include "untrustedjson.h"

#include <QJsonDocument>
#include <QJsonObject>

#include <cmath>

namespace {
// A JSON number that is a whole number from `low` to `high`; the range is looked at before any
// conversion, since converting a double beyond int's range is undefined.
std::optional<int> wholeNumber(const QJsonValue &value, int low, int high)
{
    const double number = value.toDouble(-1);
    if (!value.isDouble() || !(number >= low && number <= high) || number != std::floor(number))
        return std::nullopt;
    return static_cast<int>(number);
}
} // namespace

std::optional<Command> Command::fromJson(const std::string &text, QString *error, QJsonValue *id)
{
    const QJsonDocument document = UntrustedJson::parse(QByteArray::fromStdString(text));
    if (!document.isObject()) {
        *error = QStringLiteral("not a JSON object");
        return std::nullopt;
    }
    const QJsonObject object = document.object();
    Command command;
    command.id = object.value(QLatin1String("id"));
    if (id)
        *id = command.id;
    const QJsonValue macro = object.value(QLatin1String("macro"));
    const QJsonValue key = object.value(QLatin1String("key"));
    if (!macro.isUndefined() && key.isUndefined()) {
        const std::optional<int> number = wholeNumber(macro, 1, Protocol::chatMacroCount);
        if (!number) {
            *error = QStringLiteral("\"macro\" must be a number from 1 to %1").arg(Protocol::chatMacroCount);
            return std::nullopt;
        }
        command.kind = Macro;
        command.value = *number;
        return command;
    }
    if (!key.isUndefined() && macro.isUndefined()) {
        const std::optional<int> code =
            key.isString() ? KeyNames::code(key.toString()) : wholeNumber(key, 1, 254);
        if (!code || *code < 1 || *code > 254) {
            *error = QStringLiteral("\"key\" must be a virtual-key code from 1 to 254 or a key name");
            return std::nullopt;
        }
        command.kind = Key;
        command.value = *code;
        return command;
    }
    *error = QStringLiteral("give either \"macro\" or \"key\"");
    return std::nullopt;
}

std::string Command::result(bool ok, const QString &replyOrError) const
{
    QJsonObject object{{QStringLiteral("type"), QStringLiteral("result")},
                       {kind == Macro ? QStringLiteral("macro") : QStringLiteral("key"), value},
                       {QStringLiteral("ok"), ok},
                       {ok ? QStringLiteral("reply") : QStringLiteral("error"), replyOrError}};
    if (!id.isUndefined())
        object.insert(QStringLiteral("id"), id);
    return QJsonDocument(object).toJson(QJsonDocument::Compact).toStdString();
}

std::string Command::errorMessage(const QString &error, const QJsonValue &id)
{
    QJsonObject object{{QStringLiteral("type"), QStringLiteral("error")}, {QStringLiteral("error"), error}};
    if (!id.isUndefined())
        object.insert(QStringLiteral("id"), id);
    return QJsonDocument(object).toJson(QJsonDocument::Compact).toStdString();
}

void Command::answer(bool ok, const QString &replyOrError) const
{
    if (const std::shared_ptr<Viewer> viewer = from.lock())
        viewer->deliver(Channel::Result, std::make_shared<const std::string>(result(ok, replyOrError)));
}
