#include "command.h"

#include "keynames.h"

#include <QJsonDocument>
#include <QJsonObject>

namespace {
constexpr int macroCount = 15;
}

std::optional<Command> Command::fromJson(const std::string &text, QString *error)
{
    QJsonParseError parseError;
    const QJsonDocument document = QJsonDocument::fromJson(QByteArray::fromStdString(text), &parseError);
    if (!document.isObject()) {
        *error = QStringLiteral("not a JSON object");
        return std::nullopt;
    }
    const QJsonObject object = document.object();
    Command command;
    command.id = object.value(QLatin1String("id"));
    const QJsonValue macro = object.value(QLatin1String("macro"));
    const QJsonValue key = object.value(QLatin1String("key"));
    if (!macro.isUndefined() && key.isUndefined()) {
        const double number = macro.toDouble(-1);
        if (!macro.isDouble() || number != static_cast<int>(number) || number < 1 || number > macroCount) {
            *error = QStringLiteral("\"macro\" must be a number from 1 to %1").arg(macroCount);
            return std::nullopt;
        }
        command.kind = Macro;
        command.value = static_cast<int>(number);
        return command;
    }
    if (!key.isUndefined() && macro.isUndefined()) {
        const std::optional<int> code = key.isString()   ? KeyNames::code(key.toString())
                                        : key.isDouble() ? std::optional<int>(key.toInt(-1))
                                                         : std::nullopt;
        if (!code || *code < 1 || *code > 254 || (key.isDouble() && key.toDouble() != *code)) {
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

void Command::answer(bool ok, const QString &replyOrError) const
{
    if (const std::shared_ptr<Viewer> viewer = from.lock())
        viewer->deliver(Channel::Result, std::make_shared<const std::string>(result(ok, replyOrError)));
}
