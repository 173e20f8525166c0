#include "appsettings.h"
#include "serverfixture.h"

#include <QTemporaryDir>

class tst_Commands : public QObject
{
    Q_OBJECT
private slots:
    void replies_data();
    void replies();
    void clientId();
    void documents();
    void chatTextsOfTheChosenFolder();
};

void tst_Commands::replies_data()
{
    QTest::addColumn<QByteArray>("frame");
    QTest::addColumn<QByteArray>("reply"); // empty: no reply
    QTest::addColumn<QString>("log");      // empty: no line
    QTest::addColumn<int>("chat");         // the macro index passed on; -9: none
    QTest::addColumn<int>("key");          // the key passed on; -9: none
    const QByteArray buttonOk("@000021;206;000042;Button ok;"), keyOk("@000018;209;000003;KEY OK;");
    QTest::newRow("202") << request(202, 7) << QByteArray("@000021;202;000007;kv-Beacon;")
                         << "(Server) - Get Server name: kvBeacon" << -9 << -9;
    QTest::newRow("201") << request(201, 5, "Pit wall") << QByteArray() << "(Server) - Client Name: Pit wall"
                         << -9 << -9;
    QTest::newRow("201, no name") << request(201, 5) << QByteArray() << "(Server) - Client Name: " << -9
                                  << -9;
    QTest::newRow("205 without a folder")
        << request(205, 2) << QByteArray("@000029;205;000002;iRacing not found;") << QString() << -9 << -9;
    QTest::newRow("206: 3 is the third macro") << request(206, 42, "3") << buttonOk << QString() << 2 << -9;
    QTest::newRow("206: 1") << request(206, 42, "1") << buttonOk << QString() << 0 << -9;
    QTest::newRow("206: no number") << request(206, 42, "x") << buttonOk << QString() << -1 << -9;
    QTest::newRow("206: 19-byte frame")
        << QByteArray("@000011;206;000042;") << buttonOk << QString() << -1 << -9;
    QTest::newRow("209: key 13") << request(209, 3, "13") << keyOk << QString() << -9 << 13;
    QTest::newRow("209: missing separator loses a digit")
        << QByteArray("@000013;209;000003;12") << keyOk << QString() << -9 << 1;
    QTest::newRow("209: no number") << request(209, 3, "F1") << keyOk << QString() << -9 << 0;
    QTest::newRow("209: 19-byte frame") << QByteArray("@000011;209;000003;") << keyOk << QString() << -9 << 0;
    QTest::newRow("204") << request(204, 1, "anything;") << QByteArray() << QString() << -9 << -9;
    QTest::newRow("200") << request(200, 1) << QByteArray() << QString() << -9 << -9;
    QTest::newRow("210") << request(210, 1) << QByteArray() << QString() << -9 << -9;
    QTest::newRow("command no number")
        << QByteArray("@000012;abc;000001;;") << QByteArray() << QString() << -9 << -9;
    QTest::newRow("refused: 18 bytes")
        << QByteArray("@000010;202;000001") << QByteArray() << QString() << -9 << -9;
}

void tst_Commands::replies()
{
    QFETCH(QByteArray, frame);
    QFETCH(QByteArray, reply);
    QFETCH(QString, log);
    QFETCH(int, chat);
    QFETCH(int, key);
    ServerWithClient f;
    QSignalSpy chats(&f.server, &kvServer::sigButtonChatClicked), keys(&f.server, &kvServer::sigKeyboardKey);
    f.client.write(frame);
    QTRY_COMPARE(ServerWithClient::framesIn.load(), 1);
    if (!reply.isEmpty())
        QCOMPARE(nextFrame(f.client), reply);
    // Nothing else came: the next reply is the next thing on the wire.
    QCOMPARE(ask(f.client, request(202, 9)), QByteArray("@000021;202;000009;kv-Beacon;"));
    QStringList lines = f.logTexts().mid(2);
    QCOMPARE(lines.takeLast(), QStringLiteral("(Server) - Get Server name: kvBeacon"));
    QCOMPARE(lines, log.isEmpty() ? QStringList() : QStringList(log));
    if (!log.isEmpty()) // a client's name is logged at level 1, everything else at 0
        QCOMPARE(f.log.at(2).at(1).toInt(), frame.mid(8, 3) == "201" ? 1 : 0);
    QCOMPARE(chats.count(), chat == -9 ? 0 : 1);
    QCOMPARE(keys.count(), key == -9 ? 0 : 1);
    if (chat != -9)
        QCOMPARE(chats.at(0).at(0).toInt(), chat);
    if (key != -9)
        QCOMPARE(keys.at(0).at(0).toInt(), key);
}

void tst_Commands::clientId()
{
    ServerWithClient f;
    const QByteArray id = QByteArray::number(f.server.currentThread->socketDescriptor);
    QCOMPARE(ask(f.client, request(203, 4)),
             "@" + QByteArray::number(12 + id.size()).rightJustified(6, '0') + ";203;000004;" + id + ";");
    QCOMPARE(f.logTexts().last(), "(Server) - Get Client ID: " + QString::fromLatin1(id));
}

void tst_Commands::documents()
{
    ServerWithClient f;
    // Before any publish, the start values; the texts themselves are pinned where they are built.
    QCOMPARE(ask(f.client, request(208, 11)),
             WireMessage(208, 11, SessionData::documentText(SessionData().InfoDocument())).data);
    QCOMPARE(ask(f.client, request(207, 12)),
             WireMessage(207, 12, SessionData::documentText(SessionData().LiveDocument())).data);

    SessionData record;
    record.TrackName = QStringLiteral("N\u00FCrburgring");
    record.SessionLaps = 32767;
    record.FuelLevel = 0.1f;
    f.server.publish(record);
    const QByteArray info = ask(f.client, request(208, 1));
    QVERIFY(info.contains("    \"SI.SessionLaps\": 32767,\n    \"SI.SessionNum\": 1,\n"));
    QVERIFY(info.endsWith("    \"WI.Trackname\": \"N\xc3\xbcrburgring\"\n}\n"));
    // The length field counts characters, one fewer than the bytes of this body: ";" is left over.
    QTRY_COMPARE(f.client.bytesAvailable(), qint64(1));
    QCOMPARE(f.client.readAll(), QByteArray(";"));
    QVERIFY(ask(f.client, request(207, 2)).contains("\n    \"FuelLevel\": 0.10000000149011612,\n"));
}

void tst_Commands::chatTextsOfTheChosenFolder()
{
    QStandardPaths::setTestModeEnabled(true);
    QTemporaryDir first, second;
    for (QTemporaryDir *dir : {&first, &second}) {
        QFile ini(dir->filePath(QStringLiteral("app.ini")));
        QVERIFY(ini.open(QIODevice::WriteOnly));
        ini.write(dir == &first ? "[Autochat Messages]\nAutoChatStr1=one\n"
                                : "[Autochat Messages]\nAutoChatStr2=two\n");
    }
    QObject owner;
    AppSettings settings(&owner);
    settings.setIracingDocumentPath(first.path());
    ServerWithClient f(&settings);
    QCOMPARE(ask(f.client, request(205, 1)), request(205, 1, "one||||||||||||||"));
    // A folder chosen while the client is connected counts at once.
    settings.setIracingDocumentPath(second.path());
    QCOMPARE(ask(f.client, request(205, 2)), request(205, 2, "|two|||||||||||||"));
}

QTEST_MAIN(tst_Commands)
#include "tst_commands.moc"
