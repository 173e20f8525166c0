#include "appsettings.h"
#include "serverfixture.h"

#include <QRegularExpression>

// Every exchange block of PROTOCOL.md replayed against a real server, byte for byte; the test
// plays the simulator and the telemetry poll's rule (publish only while no client has left).
class tst_Protocol : public QObject
{
    Q_OBJECT
private slots:
    void exchanges_data();
    void exchanges();
};

void tst_Protocol::exchanges_data()
{
    QTest::addColumn<QStringList>("lines");
    QFile file(QStringLiteral(KVB_PROTOCOL));
    QVERIFY(file.open(QIODevice::ReadOnly));
    const QString text = QString::fromUtf8(file.readAll());
    QRegularExpressionMatchIterator blocks =
        QRegularExpression("```exchange\n(.*?)```", QRegularExpression::DotMatchesEverythingOption)
            .globalMatch(text);
    int count = 0;
    while (blocks.hasNext()) {
        const QStringList lines = blocks.next().captured(1).split('\n');
        QTest::newRow(qPrintable(QStringLiteral("%1: %2").arg(++count).arg(lines.first()))) << lines;
    }
    QVERIFY(count >= 8);
}

void tst_Protocol::exchanges()
{
    QFETCH(QStringList, lines);
    QStandardPaths::setTestModeEnabled(true);
    QTemporaryDir folder;
    QFile ini(folder.filePath(QStringLiteral("app.ini")));
    QVERIFY(ini.open(QIODevice::WriteOnly));
    ini.write("[Autochat Messages]\nAutoChatStr1=Pitting this lap\nAutoChatStr3=Box,box\n");
    ini.close();
    QObject owner;
    AppSettings settings(&owner);
    settings.setIracingDocumentPath(folder.path());
    ServerWithClient f(&settings);
    SessionData simulator;

    // Each mark with the text that follows it, continuation lines joined by line breaks.
    QList<QPair<QChar, QString>> steps;
    for (const QString &line : lines) {
        if (line.size() >= 2 && QStringLiteral("<>-").contains(line.at(0)) && line.at(1) == ' ')
            steps.append({line.at(0), line.mid(2)});
        else if (!steps.isEmpty() && !(line.isEmpty() && &line == &lines.last()))
            steps.last().second += '\n' + line;
    }
    for (const auto &[mark, text] : steps) {
        if (mark == '>') {
            QVERIFY(f.client.write(text.toUtf8()));
        } else if (mark == '<') {
            QCOMPARE(nextFrame(f.client, text == QLatin1String("nothing") ? 300 : 5000),
                     text == QLatin1String("nothing") ? QByteArray() : text.toUtf8());
        } else if (text.startsWith(QLatin1String("simulator: track "))) {
            simulator.TrackName = text.mid(17);
        } else if (text == QLatin1String("poll")) {
            if (f.server.clientConnected)
                f.server.publish(simulator);
        } else if (text == QLatin1String("disconnect")) {
            f.client.close();
            QTRY_VERIFY(!f.server.clientConnected);
        } else {
            QCOMPARE(text, QStringLiteral("connect"));
            QVERIFY(f.client.reconnect());
            QTRY_VERIFY(f.server.clientConnected);
        }
    }
}

QTEST_MAIN(tst_Protocol)
#include "tst_protocol.moc"
