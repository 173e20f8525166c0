#include "doctor.h"
#include "keynames.h"
#include "serverfixture.h"
#include "watch.h"

class tst_Cli : public QObject
{
    Q_OBJECT
private slots:
    void keyNames_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<int>("code"); // 0: no key
        const std::pair<const char *, int> keys[] = {
            {"F1", 0x70},    {"f24", 0x87},      {"a", 0x41},  {"5", 0x35},    {"numpad4", 0x64},
            {"Enter", 0x0D}, {"PageDown", 0x22}, {"112", 112}, {"0x1b", 0x1B}, {"F25", 0},
            {"256", 0},      {"-3", 0},          {"", 0}};
        for (const auto &[name, code] : keys)
            QTest::newRow(name) << QString::fromLatin1(name) << code;
    }
    void keyNames()
    {
        QFETCH(QString, name);
        QFETCH(int, code);
        QCOMPARE(KeyNames::code(name).value_or(0), code);
    }
    // The four things that stand between a client and data, each with a server that shows it; the
    // test publishes as the telemetry poll does, only while a client is connected.
    void doctorsVerdicts()
    {
        Doctor::Report report = Doctor::examine(loopback, freePort(), 2000);
        QVERIFY2(report.code == Doctor::Unreachable && report.lines.join("").contains("not running"),
                 qPrintable(report.lines.join('\n')));

        ServerWithClient noFolder; // no simulator data, no app.ini
        report = Doctor::examine(loopback, noFolder.server.serverPort(), 2000);
        QCOMPARE(report.code, Doctor::NoSimulator);
        QVERIFY(report.lines.join('\n').contains("start values") &&
                report.lines.last().contains("no app.ini"));
        SessionData record;
        record.SessionTimeSinceStarted = 50.0;
        noFolder.server.publish(record);
        report = Doctor::examine(loopback, noFolder.server.serverPort(), 2000);
        QVERIFY(report.code == Doctor::NoSimulator && report.lines.join("").contains("stopped delivering"));

        DocumentsSettings documents("");
        PollingServer running(&documents.settings);
        running.record = record;
        report = Doctor::examine(loopback, running.port, 2000);
        QCOMPARE(report.code, Doctor::Healthy);
        QVERIFY(report.lines.join('\n').contains("The first reply on this connection held the start values"));
        QCOMPARE(report.lines.last(), QStringLiteral("Chat texts: 0 of 15 set."));
    }
    // The program itself: its exit codes, its one-line errors, and watch's lines for a pipe.
    void theProgram()
    {
        ServerWithClient f;
        const auto run = [&](const QStringList &arguments) { return cli(f.server.serverPort(), arguments); };
        QCOMPARE(run({"name"}), 0);
        QCOMPARE(out, QByteArray(Protocol::serverName) + '\n');
        QCOMPARE(run({"chat"}), int(Doctor::NoChatTexts));
        QVERIFY(out.isEmpty() && err.count('\n') == 1);
        QCOMPARE(run({"key", "F13"}), 0);
        QCOMPARE(run({"macro", "16"}), int(Doctor::Usage));
        QCOMPARE(run({"info", "--field", "WI.Trackname"}), 0);
        QCOMPARE(out, QByteArray("n/a\n"));
        QCOMPARE(run({"--port", "1", "name"}), int(Doctor::Unreachable));
        QVERIFY(err.startsWith("kvbeacon-cli: kvBeacon is unreachable at 127.0.0.1:1: "));
        // A hostile server: a head that promises more than ever comes, then garbage.
        QTcpServer hostile;
        QVERIFY(hostile.listen(QHostAddress::LocalHost));
        connect(&hostile, &QTcpServer::newConnection,
                [&] { hostile.nextPendingConnection()->write("@999999;x\0@@;;"); });
        const QDeadlineTimer limit(10000);
        QCOMPARE(run({"--port", QString::number(hostile.serverPort()), "--timeout", "700", "live"}),
                 int(Doctor::BadReply));
        QVERIFY(!limit.hasExpired() && err.count('\n') == 1 && err.contains("no reply to command 207"));
        QCOMPARE(run({"watch", "--count", "3", "--hz", "10", "--fields", "FuelLevel,SI.SessionLaps"}), 0);
        const QList<QByteArray> lines = out.trimmed().split('\n');
        QCOMPARE(lines.size(), 3);
        for (const QByteArray &line : lines) {
            const QJsonObject sample = QJsonDocument::fromJson(line).object();
            QCOMPARE(sample.keys(), QStringList({"FuelLevel", "SI.SessionLaps", "stale", "t"}));
            QVERIFY(sample.value("SI.SessionLaps").toInt() == -1 && sample.value("FuelLevel").isDouble());
        }
    }
    // A hostile server's text reaches the terminal escaped, in every command that shows it; JSON
    // stays JSON, with the server's values.
    void serverTextEscaped_data()
    {
        QTest::addColumn<QString>("arguments");
        for (const char *arguments :
             {"name", "id", "chat", "live", "live --field X", "info", "watch --count 1 --fields X", "doctor"})
            QTest::newRow(arguments) << QString(arguments);
    }
    void serverTextEscaped()
    {
        QFETCH(QString, arguments);
        const QString hostile = QStringLiteral("\x1b]52;c;aGk=\a\x1b]0;t\a\x1b[2J\x7f\u009b");
        ScriptedServer server([&](int command) { // the JSON writer escapes C0 but not DEL and C1
            return command == Protocol::Live        ? QJsonDocument(QJsonObject{{"X", hostile}}).toJson()
                   : command == Protocol::ChatTexts ? (hostile + '|').repeated(15).chopped(1)
                                                    : hostile;
        });
        cli(server.serverPort(), arguments.split(' '));
        const QString shown = QString::fromUtf8(out + err);
        QVERIFY2(shown.contains("\\u009b") &&
                     !shown.contains(QRegularExpression("[\\x00-\\x08\\x0b-\\x1f\\x7f-\\x9f]")),
                 (out + err).toPercentEncoding(" ").constData()); // never raw into the test's log
        if (arguments == "live" || arguments.startsWith("watch"))
            QCOMPARE(json(out)["X"].toString(), hostile);
    }

private:
    // Runs the program against the server at `port`; its output lands in `out` and `err`.
    int cli(quint16 port, const QStringList &arguments)
    {
        QProcess cli;
        cli.start(QStringLiteral(KVB_CLI_DIR "/" KVB_CLI),
                  QStringList{"--port", QString::number(port)} + arguments);
        (void)QTest::qWaitFor([&] { return cli.state() == QProcess::NotRunning; }, 20000);
        // Windows writes a text stream's line breaks as CR LF.
        out = cli.readAllStandardOutput().replace("\r\n", "\n");
        err = cli.readAllStandardError().replace("\r\n", "\n");
        return cli.exitCode();
    }
    QByteArray out, err; // of the last run
};

QTEST_MAIN(tst_Cli)
#include "tst_cli.moc"
