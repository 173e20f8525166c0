// kvbeacon-cli: kvBeacon's protocol from a shell, for scripts, launchers and a quick look.
#include "beaconclient.h"
#include "doctor.h"
#include "keynames.h"
#include "protocol.h"
#include "record.h"
#include "terminaltext.h"
#include "watch.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTextStream>

#include <cstdio>

namespace {
struct Command
{
    const char *name;
    const char *arguments;
    const char *text;
};

const Command commands[] = {
    {"name", "", "Prints the server's name (kv-Beacon)."},
    {"id", "", "Prints the id the server gives this connection."},
    {"chat", "", "Prints the driver's 15 chat macro texts, one a line after its number."},
    {"live", "[--field KEY]", "Prints the live document as JSON, or with --field one of its values."},
    {"info", "[--field KEY]", "Prints the info document as JSON, or with --field one of its values."},
    {"macro", "N", "Runs the driver's chat macro N, 1 for the first."},
    {"key", "KEY",
     "Presses KEY in the simulator while it has the focus: a name (F1, A, ENTER, NUMPAD4, ...) "
     "or a Windows virtual-key code (112, 0x70)."},
    {"watch", "[--fields A,B,C] [--hz N] [--count N]",
     "Shows live values as they change: a table redrawn in place on a terminal, one JSON line per sample "
     "otherwise. Connects anew when the connection goes or the values stop moving."},
    {"record", "FILE [--hz N] [--duration SECONDS]",
     "Records both documents and the chat texts into FILE, one JSON line a sample, until Ctrl-C or the "
     "duration; the simulator stand-in replays it (kvbeacon-simulator --replay FILE)."},
    {"doctor", "", "Says in plain words what stands between a client and kvBeacon's data."},
};

// Errors may quote what the server sent.
int fail(Doctor::Code code, const QString &text)
{
    std::fprintf(stderr, "kvbeacon-cli: %s\n", qPrintable(TerminalText::escaped(text)));
    return code;
}

QString usage(const Command *only)
{
    QString text = QStringLiteral("Usage: kvbeacon-cli [--host H] [--port P] [--timeout MS] COMMAND\n\n");
    for (const Command &c : commands)
        if (!only || only == &c)
            text += QStringLiteral("  %1 %2\n      %3\n").arg(c.name, c.arguments, c.text);
    text += QStringLiteral(
        "\nExit codes: 0 done, 1 wrong arguments, 2 kvBeacon unreachable, 3 no or wrong reply, "
        "4 no simulator data, 5 no chat texts.\n");
    return text;
}

// A document's reply, or the value of one of its keys.
int printDocument(BeaconClient &client, int command, const QString &field, int timeoutMs)
{
    const std::optional<Reply> reply = client.request(command, QString(), timeoutMs);
    if (!reply)
        return fail(Doctor::BadReply, client.errorText());
    const QJsonDocument document = QJsonDocument::fromJson(reply->payload.toUtf8());
    if (!document.isObject())
        return fail(Doctor::NoSimulator, QStringLiteral("kvBeacon answered \"%1\"").arg(reply->payload));
    QTextStream out(stdout);
    if (field.isEmpty()) {
        out << TerminalText::escaped(reply->payload, true);
        return Doctor::Healthy;
    }
    const QJsonValue value = document.object().value(field);
    if (value.isUndefined())
        return fail(Doctor::Usage, QStringLiteral("the document has no key \"%1\"").arg(field));
    out << (value.isString() ? TerminalText::escaped(value.toString()) : Watch::valueText(value)) << '\n';
    return Doctor::Healthy;
}
} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    QCommandLineParser parser;
    const QCommandLineOption host("host", "kvBeacon's address.", "H", "127.0.0.1");
    const QCommandLineOption port("port", "kvBeacon's port.", "P",
                                  QString::number(BeaconClient::defaultPort));
    const QCommandLineOption timeout("timeout", "How long to wait for each answer.", "MS", "3000");
    const QCommandLineOption field("field", "One key of the document.", "KEY");
    const QCommandLineOption fields("fields", "The keys to watch.", "A,B,C");
    const QCommandLineOption hz("hz", "Samples a second, 1 to 10.", "N", "10");
    const QCommandLineOption count("count", "Stop after this many samples.", "N", "0");
    const QCommandLineOption duration("duration", "Stop recording after this many seconds.", "SECONDS", "0");
    const QCommandLineOption help({"h", "help"}, "This text.");
    parser.addOptions({host, port, timeout, field, fields, hz, count, duration, help});
    parser.addPositionalArgument("command", "The command.");
    if (!parser.parse(app.arguments()))
        return fail(Doctor::Usage, parser.errorText());
    const QStringList arguments = parser.positionalArguments();
    const Command *command = nullptr;
    for (const Command &c : commands)
        if (!arguments.isEmpty() && arguments.first() == QLatin1String(c.name))
            command = &c;
    if (parser.isSet(help)) {
        std::fputs(qPrintable(usage(command)), stdout);
        return Doctor::Healthy;
    }
    if (!command)
        return fail(Doctor::Usage,
                    arguments.isEmpty()
                        ? QStringLiteral("no command given; see --help")
                        : QStringLiteral("unknown command \"%1\"; see --help").arg(arguments.first()));
    const QString name = QLatin1String(command->name);
    const bool needsArgument =
        name == QLatin1String("macro") || name == QLatin1String("key") || name == QLatin1String("record");
    if (arguments.size() != (needsArgument ? 2 : 1))
        return fail(Doctor::Usage, QStringLiteral("usage: kvbeacon-cli %1 %2").arg(name, command->arguments));
    bool ok = false, portOk = false;
    const int timeoutMs = parser.value(timeout).toInt(&ok);
    const uint portNumber = parser.value(port).toUInt(&portOk);
    if (!ok || !portOk || timeoutMs <= 0 || portNumber == 0 || portNumber > 65535)
        return fail(Doctor::Usage, QStringLiteral("--port takes 1 to 65535 and --timeout a positive number"));

    if (name == QLatin1String("doctor")) {
        const Doctor::Report report = Doctor::examine(parser.value(host), quint16(portNumber), timeoutMs);
        for (const QString &line : report.lines)
            std::printf("%s\n", qPrintable(TerminalText::escaped(line)));
        return report.code;
    }
    BeaconClient client;
    if (!client.connectTo(parser.value(host), quint16(portNumber), timeoutMs))
        return fail(Doctor::Unreachable, QStringLiteral("kvBeacon is unreachable at %1:%2: %3")
                                             .arg(parser.value(host))
                                             .arg(portNumber)
                                             .arg(client.errorText()));
    if (name == QLatin1String("watch")) {
        Watch::Options options;
        options.fields = parser.value(fields).split(QLatin1Char(','), Qt::SkipEmptyParts);
        options.hz = parser.value(hz).toInt();
        options.count = parser.value(count).toInt();
        options.timeoutMs = timeoutMs;
        if (options.hz < 1 || options.hz > 10 || options.count < 0)
            return fail(Doctor::Usage, QStringLiteral("--hz takes 1 to 10 and --count 0 or more"));
        return Watch::run(client, options);
    }
    if (name == QLatin1String("record")) {
        Record::Options options;
        options.file = arguments.at(1);
        options.source = QStringLiteral("%1:%2").arg(parser.value(host)).arg(portNumber);
        options.hz = parser.value(hz).toInt();
        options.seconds = parser.value(duration).toDouble(&ok);
        options.timeoutMs = timeoutMs;
        if (options.hz < 1 || options.hz > 10 || !ok || options.seconds < 0)
            return fail(Doctor::Usage, QStringLiteral("--hz takes 1 to 10 and --duration 0 or more seconds"));
        return Record::run(client, options);
    }
    if (name == QLatin1String("live") || name == QLatin1String("info")) {
        if (name == QLatin1String("live"))
            client.waitForFreshDocuments();
        return printDocument(client, name == QLatin1String("live") ? Protocol::Live : Protocol::Info,
                             parser.value(field), timeoutMs);
    }
    if (name == QLatin1String("chat")) {
        const std::optional<ChatMacros> macros = client.chatMacros(timeoutMs);
        if (!macros)
            return fail(Doctor::BadReply, client.errorText());
        if (macros->status == ChatMacros::NoAppIni)
            return fail(Doctor::NoChatTexts,
                        QStringLiteral("kvBeacon finds no app.ini in its documents folder"));
        for (int i = 0; i < macros->texts.size(); ++i)
            std::printf("%d\t%s\n", i + 1, TerminalText::escaped(macros->texts.at(i)).toUtf8().constData());
        return Doctor::Healthy;
    }
    if (needsArgument) {
        const QString argument = arguments.at(1);
        const bool macro = name == QLatin1String("macro");
        const int number = argument.toInt(&ok);
        const std::optional<int> key = KeyNames::code(argument);
        if (macro ? !ok || number < 1 || number > Protocol::chatMacroCount : !key)
            return fail(
                Doctor::Usage,
                macro ? QStringLiteral("macro takes a number from 1 to %1").arg(Protocol::chatMacroCount)
                      : QStringLiteral("no key is named \"%1\"").arg(argument));
        if (macro ? !client.runMacro(number, timeoutMs) : !client.pressKey(*key, timeoutMs))
            return fail(Doctor::BadReply, client.errorText());
        return Doctor::Healthy;
    }
    const std::optional<Reply> reply = client.request(
        name == QLatin1String("name") ? Protocol::ServerName : Protocol::ClientId, QString(), timeoutMs);
    if (!reply)
        return fail(Doctor::BadReply, client.errorText());
    std::printf("%s\n", TerminalText::escaped(reply->payload).toUtf8().constData());
    return Doctor::Healthy;
}
