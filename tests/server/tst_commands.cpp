#include "appsettings.h"
#include "kvserverthread.h"
#include "serverfixture.h"

#include <QTemporaryDir>

class tst_Commands : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase() { QStandardPaths::setTestModeEnabled(true); }
    void init();
    void cleanup();

    void serverName();
    void clientIdAndName();
    void silence_data();
    void silence();
    void chatButton_data();
    void chatButton();
    void keyboardKey_data();
    void keyboardKey();
    void documentsBeforeAnyPublish();
    void documentsFollowThePublish();
    void documentWithNonAsciiText();
    void chatTexts();
    void chatTextsMissingKeysAndFile();
    void chatTextsEditedBetweenRequests();

private:
    void writeAppIni(const QByteArray &contents);
    QByteArray roundTrip(const QByteArray &frame, int replySize);

    QScopedPointer<DebugCapture> capture;
    QScopedPointer<QObject> settingsOwner;
    QScopedPointer<AppSettings> settingsHolder;
    AppSettings *settings = nullptr;
    QScopedPointer<QTemporaryDir> documents;
    QScopedPointer<kvServer> server;
    QScopedPointer<QSignalSpy> log;
    QScopedPointer<TestClient> client;
};

void tst_Commands::init()
{
    capture.reset(new DebugCapture);
    settingsOwner.reset(new QObject);
    settingsHolder.reset(new AppSettings(settingsOwner.data()));
    settings = settingsHolder.data();
    documents.reset(new QTemporaryDir);
    settings->setIracingDocumentPath(documents->path());
    server.reset(new kvServer(settings, nullptr));
    log.reset(new QSignalSpy(server.data(), &kvServer::sigDebugString));
    server->StartServer(QString(), 0);
    client.reset(new TestClient(server->serverPort()));
    QVERIFY(client->waitConnected());
    QTRY_VERIFY(server->currentThread && server->currentThread->isServing());
}

void tst_Commands::cleanup()
{
    client.reset();
    log.reset();
    server.reset();
    documents.reset();
    settingsHolder.reset();
    settingsOwner.reset();
    capture.reset();
}

void tst_Commands::writeAppIni(const QByteArray &contents)
{
    QFile file(documents->filePath(QStringLiteral("app.ini")));
    QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    file.write(contents);
}

QByteArray tst_Commands::roundTrip(const QByteArray &frame, int replySize)
{
    client->send(frame);
    return client->take(replySize);
}

void tst_Commands::serverName()
{
    QCOMPARE(roundTrip("@000012;202;000007;;", 29), QByteArray("@000021;202;000007;kv-Beacon;"));
    QTRY_COMPARE(log->last().at(0).toString(), QStringLiteral("(Server) - Get Server name: kvBeacon"));
    QCOMPARE(log->last().at(1).toInt(), 0);
}

void tst_Commands::clientIdAndName()
{
    const QByteArray id = QByteArray::number(server->currentThread->socketDescriptor);
    const QByteArray expected =
        "@" + QByteArray::number(12 + id.size()).rightJustified(6, '0') + ";203;000004;" + id + ";";
    QCOMPARE(roundTrip(request(203, 4), expected.size()), expected);
    QTRY_COMPARE(log->last().at(0).toString(), "(Server) - Get Client ID: " + QString::fromLatin1(id));

    client->send(request(201, 5, "Pit wall"));
    QTRY_COMPARE(log->last().at(0).toString(), QStringLiteral("(Server) - Client Name: Pit wall"));
    QCOMPARE(log->last().at(1).toInt(), 1);
    client->send(request(201, 6));
    QTRY_COMPARE(log->last().at(0).toString(), QStringLiteral("(Server) - Client Name: "));
    // 201 sends nothing: the next reply is the first thing on the wire.
    QCOMPARE(roundTrip(request(202, 7), 29), QByteArray("@000021;202;000007;kv-Beacon;"));
    QVERIFY(client->received.isEmpty());
}

void tst_Commands::silence_data()
{
    QTest::addColumn<QByteArray>("frame");
    QTest::newRow("204") << request(204, 1, "anything;");
    QTest::newRow("200") << request(200, 1);
    QTest::newRow("210") << request(210, 1);
    QTest::newRow("0") << request(0, 1);
    QTest::newRow("not a number") << QByteArray("@000012;abc;000001;;");
    QTest::newRow("refused: under 19 bytes") << QByteArray("@000010;202;000001");
}

void tst_Commands::silence()
{
    QFETCH(QByteArray, frame);
    const int logged = log->count();
    client->send(frame);
    QTRY_VERIFY(capture->contains('"' + QString::fromLatin1(frame) + '"'));
    QCOMPARE(roundTrip(request(202, 2), 29), QByteArray("@000021;202;000002;kv-Beacon;"));
    QVERIFY(client->received.isEmpty());
    QCOMPARE(log->count(), logged + 1); // the 202 line only
}

void tst_Commands::chatButton_data()
{
    QTest::addColumn<QByteArray>("frame");
    QTest::addColumn<int>("emitted");
    QTest::newRow("3 is the third macro") << request(206, 42, "3") << 2;
    QTest::newRow("1") << request(206, 42, "1") << 0;
    QTest::newRow("0") << request(206, 42, "0") << -1;
    QTest::newRow("no number") << request(206, 42, "x") << -1;
    QTest::newRow("19-byte frame") << QByteArray("@000011;206;000042;") << -1;
}

void tst_Commands::chatButton()
{
    QFETCH(QByteArray, frame);
    QFETCH(int, emitted);
    QSignalSpy chat(server.data(), &kvServer::sigButtonChatClicked);
    QCOMPARE(roundTrip(frame, 29), QByteArray("@000021;206;000042;Button ok;"));
    QTRY_COMPARE(chat.count(), 1);
    QCOMPARE(chat.at(0).at(0).toInt(), emitted);
}

void tst_Commands::keyboardKey_data()
{
    QTest::addColumn<QByteArray>("frame");
    QTest::addColumn<int>("emitted");
    QTest::newRow("key 13") << request(209, 3, "13") << 13;
    QTest::newRow("missing trailing separator loses a digit") << QByteArray("@000013;209;000003;12") << 1;
    QTest::newRow("no number") << request(209, 3, "F1") << 0;
    QTest::newRow("19-byte frame") << QByteArray("@000011;209;000003;") << 0;
}

void tst_Commands::keyboardKey()
{
    QFETCH(QByteArray, frame);
    QFETCH(int, emitted);
    QSignalSpy keys(server.data(), &kvServer::sigKeyboardKey);
    QCOMPARE(roundTrip(frame, 26), QByteArray("@000018;209;000003;KEY OK;"));
    QTRY_COMPARE(keys.count(), 1);
    QCOMPARE(keys.at(0).at(0).toInt(), emitted);
}

void tst_Commands::documentsBeforeAnyPublish()
{
    // The exact text of the start values is pinned where the documents are built.
    const QByteArray info = SessionData::documentText(SessionData().InfoDocument()).toUtf8();
    QVERIFY(info.contains("    \"SI.SessionNum\": 1,\n"));
    const QByteArray infoFrame =
        "@" + QByteArray::number(12 + info.size()).rightJustified(6, '0') + ";208;000011;" + info + ";";
    QCOMPARE(roundTrip(request(208, 11), infoFrame.size()), infoFrame);

    client->send(request(207, 12));
    QVERIFY(QTest::qWaitFor([&] { return client->received.endsWith("}\n;"); }));
    const QByteArray live = client->received.mid(19, client->received.size() - 20);
    const QJsonObject doc = QJsonDocument::fromJson(live).object();
    QCOMPARE(doc.size(), 24);
    QCOMPARE(doc.value("SessionNum").toInt(), -1);
    QCOMPARE(doc.value("SessionTimeSinceStarted").toDouble(), -1.0);
    QCOMPARE(doc.value("IsOnTrack").toBool(true), false);
    QVERIFY(live.contains("\"SessionTimeSinceStarted\": -1,\n"));
    QVERIFY(client->received.startsWith("@" + QByteArray::number(live.size() + 12).rightJustified(6, '0') +
                                        ";207;000012;"));
}

void tst_Commands::documentsFollowThePublish()
{
    SessionData record;
    record.TrackName = QStringLiteral("Spa");
    record.SessionLaps = 32767;
    record.FuelLevel = 0.1f;
    record.Skies = qint8(-1);
    server->publish(record);

    client->send(request(208, 1));
    QVERIFY(QTest::qWaitFor([&] { return client->received.endsWith("}\n;"); }));
    QVERIFY(client->received.contains("    \"SI.SessionLaps\": 32767,\n"));
    QVERIFY(client->received.contains("    \"WI.Trackname\": \"Spa\"\n"));
    client->received.clear();

    client->send(request(207, 2));
    QVERIFY(QTest::qWaitFor([&] { return client->received.endsWith("}\n;"); }));
    QVERIFY(client->received.contains("    \"FuelLevel\": 0.10000000149011612,\n"));
    QVERIFY(client->received.contains("    \"Skies\": -1,\n"));
}

void tst_Commands::documentWithNonAsciiText()
{
    SessionData record;
    record.TrackName = QStringLiteral("N\u00FCrburgring");
    server->publish(record);
    client->send(request(208, 1));
    QVERIFY(QTest::qWaitFor([&] { return client->received.endsWith("}\n;"); }));
    const QByteArray frame = client->received;
    QVERIFY(frame.contains("\"WI.Trackname\": \"N\xc3\xbc"
                           "rburgring\""));
    // The length field counts characters: one fewer than the bytes of the body.
    QCOMPARE(frame.mid(1, 6).toInt(), frame.size() - 8 - 1);
}

void tst_Commands::chatTexts()
{
    writeAppIni("[Autochat Messages]\n"
                "AutoChatStr1=Pit this lap\n"
                "AutoChatStr2=a,b\n"
                "AutoChatStr3=\"quoted, kept\"\n"
                "AutoChatStr15=last\n");
    const QByteArray texts = "Pit this lap|a,b|quoted, kept||||||||||||last";
    const QByteArray frame =
        "@" + QByteArray::number(12 + texts.size()).rightJustified(6, '0') + ";205;000001;" + texts + ";";
    QCOMPARE(roundTrip(request(205, 1), frame.size()), frame);
    QVERIFY(capture->contains(QStringLiteral("Pit this lap|a,b|")));
}

void tst_Commands::chatTextsMissingKeysAndFile()
{
    writeAppIni("[Other]\nkey=value\n");
    const QByteArray empty = request(205, 1, "||||||||||||||");
    QCOMPARE(roundTrip(request(205, 1), empty.size()), empty);

    QVERIFY(QFile::remove(documents->filePath(QStringLiteral("app.ini"))));
    QCOMPARE(roundTrip(request(205, 2), 37), QByteArray("@000029;205;000002;iRacing not found;"));

    // A folder named app.ini is no file.
    QVERIFY(QDir(documents->path()).mkdir(QStringLiteral("app.ini")));
    QCOMPARE(roundTrip(request(205, 3), 37), QByteArray("@000029;205;000003;iRacing not found;"));
}

void tst_Commands::chatTextsEditedBetweenRequests()
{
    // Same size and the same time stamp, as a coarse file clock gives two quick edits.
    for (int round = 0; round < 20; ++round) {
        const QByteArray text = QByteArray(4, char('a' + round % 2));
        writeAppIni("[Autochat Messages]\nAutoChatStr1=" + text + "\n");
        QFile file(documents->filePath(QStringLiteral("app.ini")));
        QVERIFY(file.open(QIODevice::ReadWrite));
        QVERIFY(
            file.setFileTime(QDateTime(QDate(2026, 1, 1), QTime(12, 0)), QFileDevice::FileModificationTime));
        const QByteArray expected = request(205, round, text + "||||||||||||||");
        QCOMPARE(roundTrip(request(205, round), expected.size()), expected);
    }

    // A folder chosen since the last request counts at once.
    QTemporaryDir other;
    QFile file(other.filePath(QStringLiteral("app.ini")));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("[Autochat Messages]\nAutoChatStr2=cc\n");
    file.close();
    settings->setIracingDocumentPath(other.path());
    const QByteArray third = request(205, 3, "|cc|||||||||||||");
    QCOMPARE(roundTrip(request(205, 3), third.size()), third);
}

QTEST_MAIN(tst_Commands)
#include "tst_commands.moc"
