#include "wiremessage.h"

#include <QtTest>

class tst_WireMessage : public QObject
{
    Q_OBJECT
private slots:
    void build_data();
    void build();
    void parse_data();
    void parse();
    void refusedParseLeavesNoCommand();
};

void tst_WireMessage::build_data()
{
    QTest::addColumn<int>("command");
    QTest::addColumn<int>("id");
    QTest::addColumn<QString>("payload");
    QTest::addColumn<QByteArray>("frame");

    QTest::newRow("server name") << 202 << 7 << "kv-Beacon" << QByteArray("@000021;202;000007;kv-Beacon;");
    QTest::newRow("button ok") << 206 << 42 << "Button ok" << QByteArray("@000021;206;000042;Button ok;");
    QTest::newRow("empty payload") << 202 << 7 << "" << QByteArray("@000012;202;000007;;");
    QTest::newRow("id zero") << 203 << 0 << "5" << QByteArray("@000013;203;000000;5;");
    QTest::newRow("negative id keeps its sign")
        << 209 << -5 << "KEY OK" << QByteArray("@000018;209;0000-5;KEY OK;");
    QTest::newRow("percent markers unchanged")
        << 205 << 1 << "%1 and %2" << QByteArray("@000021;205;000001;%1 and %2;");
    QTest::newRow("line break and separator counted")
        << 207 << 3 << "a;\nb" << QByteArray("@000016;207;000003;a;\nb;");
    QTest::newRow("e acute counts one code unit, takes two bytes")
        << 208 << 1 << QString(QChar(0x00E9)) << QByteArray("@000013;208;000001;\xc3\xa9;");
    QTest::newRow("above U+FFFF counts two code units, takes four bytes")
        << 208 << 1 << QString::fromUcs4(U"\U0001F3C1") << QByteArray("@000014;208;000001;\xf0\x9f\x8f\x81;");
    QTest::newRow("wide id is not cut") << 202 << 1234567 << "" << QByteArray("@000013;202;1234567;;");
}

void tst_WireMessage::build()
{
    QFETCH(int, command);
    QFETCH(int, id);
    QFETCH(QString, payload);
    QFETCH(QByteArray, frame);

    const WireMessage message(command, id, payload);
    QCOMPARE(message.data, frame);
    QCOMPARE(message.command, command);
    QCOMPARE(message.id, id);
    QCOMPARE(message.payload, payload);
}

void tst_WireMessage::parse_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<bool>("ok");
    QTest::addColumn<int>("length");
    QTest::addColumn<int>("command");
    QTest::addColumn<int>("id");
    QTest::addColumn<QString>("payload");

    QTest::newRow("request") << QByteArray("@000012;202;000007;;") << true << 12 << 202 << 7 << ";";
    QTest::newRow("chat button") << QByteArray("@000013;206;000042;3;") << true << 13 << 206 << 42 << "3;";
    QTest::newRow("19 bytes, empty payload")
        << QByteArray("@000011;201;000001;") << true << 11 << 201 << 1 << "";
    QTest::newRow("18 bytes refused") << QByteArray("@000010;201;000001") << false << 0 << -1 << 0 << "";
    QTest::newRow("no marker refused") << QByteArray("#000012;202;000007;;") << false << 0 << -1 << 0 << "";
    QTest::newRow("negative id") << QByteArray("@000012;209;-00005;;") << true << 12 << 209 << -5 << ";";
    QTest::newRow("command that is no number reads 0")
        << QByteArray("@000012;abc;000007;;") << true << 12 << 0 << 7 << ";";
    QTest::newRow("separators are not looked at")
        << QByteArray("@000012x202x000007xx") << true << 12 << 202 << 7 << "x";
    QTest::newRow("length not compared with size")
        << QByteArray("@999999;202;000007;;") << true << 999999 << 202 << 7 << ";";
    QTest::newRow("NUL ends the payload")
        << QByteArray("@000016;201;000001;ab\0cd;", 25) << true << 16 << 201 << 1 << "ab";
    QTest::newRow("UTF-8 payload") << QByteArray("@000013;201;000001;\xc3\xa9;") << true << 13 << 201 << 1
                                   << QString(QChar(0x00E9)) + ";";
}

void tst_WireMessage::parse()
{
    QFETCH(QByteArray, bytes);
    QFETCH(bool, ok);
    QFETCH(int, length);
    QFETCH(int, command);
    QFETCH(int, id);
    QFETCH(QString, payload);

    WireMessage viaConstructor(bytes);
    QCOMPARE(viaConstructor.command, command);

    WireMessage message(0, 0, QString());
    message.length = 0;
    message.command = -1;
    message.id = 0;
    message.payload.clear();
    QCOMPARE(message.parse(bytes), ok);
    QCOMPARE(message.length, length);
    QCOMPARE(message.command, command);
    QCOMPARE(message.id, id);
    QCOMPARE(message.payload, payload);
    QVERIFY(viaConstructor.data.isEmpty());
}

// A refused frame must leave a command that the dispatcher answers with silence.
void tst_WireMessage::refusedParseLeavesNoCommand()
{
    for (const QByteArray &bytes : {QByteArray(), QByteArray("@"), QByteArray("x000012;202;000007;;")}) {
        const WireMessage message(bytes);
        QVERIFY2(message.command < 201 || message.command > 209, bytes.constData());
    }
}

QTEST_APPLESS_MAIN(tst_WireMessage)
#include "tst_wiremessage.moc"
