// A browser's press message, as any page or script may send it: a command read from it is in
// range, and its answer is JSON that carries the press's id back unchanged.
#include "command.h"
#include "protocol.h"

#include <QJsonDocument>
#include <QJsonObject>

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const std::string text(reinterpret_cast<const char *>(data), size);
    QString error;
    const std::optional<Command> command = Command::fromJson(text, &error);
    if (!command) {
        if (error.isEmpty())
            std::abort();
        return 0;
    }
    if (command->kind == Command::Macro ? command->value < 1 || command->value > Protocol::chatMacroCount
                                        : command->value < 1 || command->value > 254)
        std::abort();
    const QJsonObject answer =
        QJsonDocument::fromJson(QByteArray::fromStdString(command->result(false, QStringLiteral("too fast"))))
            .object();
    if (answer.value(QLatin1String("type")).toString() != QLatin1String("result") ||
        answer.value(QLatin1String("id")) != command->id)
        std::abort();
    return 0;
}
