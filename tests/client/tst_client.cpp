#include "serverfixture.h"

class tst_Client : public QObject
{
    Q_OBJECT
private slots:
    void readerFindsReplies_data();
    void readerFindsReplies();
    void documentsParse();
    void chatMacrosFromReply_data();
    void chatMacrosFromReply();
    void requestsAgainstTheServer();
    void cutRepliesAndLostServers();
};

void tst_Client::readerFindsReplies_data()
{
    QTest::addColumn<QByteArray>("stream");
    QTest::addColumn<QByteArrayList>("frames");
    QTest::addColumn<QStringList>("payloads");
    const QByteArray name("@000021;202;000007;kv-Beacon;");
    // U+00E9 counts one and takes two bytes; U+1F3C1 counts two and takes four.
    const QByteArray accent("@000013;205;000001;\xc3\xa9;"), flag("@000014;205;000002;\xf0\x9f\x8f\x81;");
    QTest::newRow("non-ASCII, then more")
        << accent + flag + name << QByteArrayList{accent, flag, name}
        << QStringList{"\u00e9", QString::fromUtf8("\xf0\x9f\x8f\x81"), "kv-Beacon"};
    // A payload may hold heads and separators; bytes outside a frame are passed over.
    const QByteArray heads("@000023;205;000003;@000012;x|;;");
    QTest::newRow("heads inside, junk between")
        << "junk@00x012;@000000;" + heads + "\n" + name << QByteArrayList{heads, name}
        << QStringList{"@000012;x|;", "kv-Beacon"};
    QTest::newRow("shorter than 19 bytes")
        << QByteArray("@000003;20;") << QByteArrayList{"@000003;20;"} << QStringList{QString()};
}

void tst_Client::readerFindsReplies()
{
    QFETCH(QByteArray, stream);
    QFETCH(QByteArrayList, frames);
    QFETCH(QStringList, payloads);
    for (const int piece : {1, 3, int(stream.size())}) {
        ReplyReader reader;
        QByteArrayList seen;
        QStringList texts;
        Reply reply;
        for (int at = 0; at < stream.size(); at += piece)
            for (reader.feed(stream.mid(at, piece)); reader.next(reply);)
                seen << reply.frame, texts << reply.payload;
        QCOMPARE(seen, frames);
        QCOMPARE(texts, payloads);
        QVERIFY(!reader.holdsPartial() && !reader.takeCut(reply));
    }
}

// The client's fields against the server's own documents, so that no key is misspelt.
void tst_Client::documentsParse()
{
    SessionData record;
    record.SessionFlags = -2147483647 - 1;
    record.FuelUsePerHour = 2.5f;
    record.IsOnTrack = true;
    record.Skies = -1;
    record.TrackName = QStringLiteral("N\u00fcrburgring");
    record.DriverCarMaxFuelPct = 0.75f;
    const std::optional<LiveDocument> live =
        LiveDocument::fromJson(SessionData::documentText(record.LiveDocument()));
    QVERIFY(live && live->SessionFlags == record.SessionFlags && live->FuelUsePerHour == 2.5 &&
            live->IsOnTrack && live->Skies == -1 && live->SessionNum == -1 &&
            live->SessionTimeSinceStarted == -1.0);
    const std::optional<InfoDocument> info =
        InfoDocument::fromJson(SessionData::documentText(record.InfoDocument()));
    QVERIFY(info && info->TrackName == record.TrackName && info->DriverCarMaxFuelPct == 0.75 &&
            info->SessionType == QLatin1String("n/a") && info->SessionLaps == -1 && info->SessionNum == 1);

    QJsonObject wrongType = record.LiveDocument(), missing = record.InfoDocument();
    wrongType.insert(QStringLiteral("IsOnTrack"), 1);
    missing.remove(QStringLiteral("WI.Trackname"));
    QVERIFY(!LiveDocument::fromJson(SessionData::documentText(wrongType)));
    QVERIFY(!InfoDocument::fromJson(SessionData::documentText(missing)));
    QVERIFY(!LiveDocument::fromJson(QLatin1String(Protocol::noData)) && !InfoDocument::fromJson(QString()));
}

// A "|" inside a text makes more than fifteen pieces, which belong to no macro number.
void tst_Client::chatMacrosFromReply_data()
{
    QTest::addColumn<QString>("reply");
    QTest::addColumn<int>("status");
    QTest::addColumn<int>("count");
    QTest::newRow("fifteen") << QString(14, '|') << int(ChatMacros::Listed) << 15;
    QTest::newRow("no app.ini") << QString(Protocol::noChatTexts) << int(ChatMacros::NoAppIni) << 0;
    QTest::newRow("a | in a text") << QString(15, '|') << int(ChatMacros::Ambiguous) << 16;
    QTest::newRow("too few") << QStringLiteral("one|two") << int(ChatMacros::Ambiguous) << 2;
}

void tst_Client::chatMacrosFromReply()
{
    QFETCH(QString, reply);
    QFETCH(int, status);
    QFETCH(int, count);
    const ChatMacros macros = ChatMacros::fromReply(reply);
    QCOMPARE(int(macros.status), status);
    QCOMPARE(macros.texts.size(), count);
}

void tst_Client::requestsAgainstTheServer()
{
    DocumentsSettings documents("[Autochat Messages]\nAutoChatStr2=Box,box\n");
    ServerWithClient f(&documents.settings);
    QSignalSpy chats(&f.server, &kvServer::sigButtonChatClicked), keys(&f.server, &kvServer::sigKeyboardKey);

    // A request right behind one without a reply would wait in the server for more bytes.
    QVERIFY(f.client.tell(Protocol::ClientName, QStringLiteral("J\u00fcrgen's dash")));
    const std::optional<Reply> name = f.client.request(Protocol::ServerName);
    QVERIFY(name && name->command == Protocol::ServerName &&
            name->payload == QLatin1String(Protocol::serverName));
    QTRY_VERIFY(f.log.contains(QStringLiteral("(Server) - Client Name: J\u00fcrgen's dash")));
    QCOMPARE(f.client.chatTexts().value_or(QStringList()), QString("|Box,box" + QString(13, '|')).split('|'));
    QVERIFY(f.client.runMacro(3) && f.client.pressKey(0x70));
    QCOMPARE(f.client.press(Protocol::ChatMacro, 4).value_or(QString()), QLatin1String(Protocol::macroDone));
    QTRY_VERIFY(chats.count() == 2 && keys.count() == 1);
    QVERIFY(chats.at(0).at(0) == 2 && chats.at(1).at(0) == 3 && keys.at(0).at(0) == 0x70);
    SessionData record;
    record.FuelLevel = 12.5f;
    f.server.publish(record);
    QVERIFY(f.client.live().value_or(LiveDocument()).FuelLevel == 12.5 && f.client.info());

    // A folder chosen while the client is connected counts at once.
    QTemporaryDir other;
    QVERIFY(writeFile(other.filePath(QStringLiteral("app.ini")), "[Autochat Messages]\nAutoChatStr1=one\n"));
    documents.settings.setIracingDocumentPath(other.path());
    QCOMPARE(f.client.chatTexts().value_or(QStringList()), QString("one" + QString(14, '|')).split('|'));
    documents.settings.setIracingDocumentPath(other.filePath(QStringLiteral("gone")));
    QVERIFY(!f.client.chatTexts() && f.client.isConnected());
}

// A reply that a NUL cut short on the wire, and a server that goes silent or away.
void tst_Client::cutRepliesAndLostServers()
{
    QTcpServer fake;
    QVERIFY(fake.listen(QHostAddress::LocalHost));
    BeaconClient client;
    QVERIFY(client.connectTo(loopback, fake.serverPort()));
    QTRY_VERIFY(fake.hasPendingConnections());
    QTcpSocket *peer = fake.nextPendingConnection();
    peer->write("@000030;205;000001;Box");
    const std::optional<Reply> cut = client.nextReply();
    QVERIFY(cut && cut->cut && cut->id == 1 && cut->payload == QLatin1String("Box"));
    QVERIFY(!client.request(Protocol::ServerName, QString(), 300) &&
            client.errorText().contains(QLatin1String("no reply")));
    peer->close();
    QVERIFY(!client.request(Protocol::ServerName, QString(), 3000) && !client.isConnected());
    QVERIFY(client.reconnect(1000));
    QTRY_VERIFY(fake.hasPendingConnections());
    fake.close();
    QVERIFY(!client.reconnect(1000) && client.errorText().contains(QLatin1String("refused")));
}

QTEST_MAIN(tst_Client)
#include "tst_client.moc"
