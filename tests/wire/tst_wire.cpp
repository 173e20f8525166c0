#include "framehead.h"
#include "wiremessage.h"

#include <QtTest>

class tst_Wire : public QObject
{
    Q_OBJECT
private slots:
    void build_data();
    void build();
    void parse_data();
    void parse();
    void head_data();
    void head();
};

void tst_Wire::build_data()
{
    QTest::addColumn<int>("command");
    QTest::addColumn<int>("id");
    QTest::addColumn<QString>("payload");
    QTest::addColumn<QByteArray>("frame");
    QTest::newRow("server name") << 202 << 7 << "kv-Beacon" << QByteArray("@000021;202;000007;kv-Beacon;");
    QTest::newRow("empty payload") << 202 << 7 << "" << QByteArray("@000012;202;000007;;");
    QTest::newRow("id zero") << 3 << 0 << "5" << QByteArray("@000013;003;000000;5;");
    QTest::newRow("negative id keeps its sign")
        << 209 << -5 << "KEY OK" << QByteArray("@000018;209;0000-5;KEY OK;");
    QTest::newRow("percent markers unchanged")
        << 205 << 1 << "%1 and %2" << QByteArray("@000021;205;000001;%1 and %2;");
    QTest::newRow("line break and separator counted")
        << 207 << 3 << "a;\nb" << QByteArray("@000016;207;000003;a;\nb;");
    QTest::newRow("e acute: one code unit, two bytes")
        << 208 << 1 << QString(QChar(0x00E9)) << QByteArray("@000013;208;000001;\xc3\xa9;");
    QTest::newRow("above U+FFFF: two code units, four bytes")
        << 208 << 1 << QString::fromUcs4(U"\U0001F3C1") << QByteArray("@000014;208;000001;\xf0\x9f\x8f\x81;");
    QTest::newRow("wide id is not cut") << 202 << 1234567 << "" << QByteArray("@000013;202;1234567;;");
    QTest::newRow("long body") << 207 << 1 << QString(99987, 'x')
                               << "@099999;207;000001;" + QByteArray(99987, 'x') + ";";
}

void tst_Wire::build()
{
    QFETCH(int, command);
    QFETCH(int, id);
    QFETCH(QString, payload);
    QFETCH(QByteArray, frame);
    QCOMPARE(WireMessage(command, id, payload).data, frame);
}

void tst_Wire::parse_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<bool>("ok");
    QTest::addColumn<int>("length");
    QTest::addColumn<int>("command");
    QTest::addColumn<int>("id");
    QTest::addColumn<QString>("payload");
    QTest::newRow("request") << QByteArray("@000012;202;000007;;") << true << 12 << 202 << 7 << ";";
    QTest::newRow("19 bytes, empty payload")
        << QByteArray("@000011;201;000001;") << true << 11 << 201 << 1 << "";
    // A refused frame leaves a command that no dispatcher answers.
    QTest::newRow("18 bytes refused") << QByteArray("@000010;201;000001") << false << 0 << -1 << 0 << "";
    QTest::newRow("no marker refused") << QByteArray("#000012;202;000007;;") << false << 0 << -1 << 0 << "";
    QTest::newRow("nothing refused") << QByteArray() << false << 0 << -1 << 0 << "";
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

void tst_Wire::parse()
{
    QFETCH(QByteArray, bytes);
    QFETCH(bool, ok);
    QFETCH(int, length);
    QFETCH(int, command);
    QFETCH(int, id);
    QFETCH(QString, payload);
    WireMessage message(bytes);
    QCOMPARE(message.parse(bytes), ok);
    QCOMPARE(message.length, length);
    QCOMPARE(message.command, command);
    QCOMPARE(message.id, id);
    QCOMPARE(message.payload, payload);
}

void tst_Wire::head_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<int>("body");
    QTest::addColumn<int>("whole");
    QTest::newRow("frame") << QByteArray("@000012;202;000007;;") << 12 << 20;
    QTest::newRow("frame and more") << QByteArray("@000001;xy") << 1 << 9;
    QTest::newRow("body still coming") << QByteArray("@000012;202;000007;") << 12 << 0;
    QTest::newRow("head alone") << QByteArray("@000012;") << 12 << 0;
    QTest::newRow("seven bytes") << QByteArray("@000012") << 0 << 0;
    QTest::newRow("zero length") << QByteArray("@000000;x") << 0 << 0;
    QTest::newRow("no separator") << QByteArray("@000012:202;000007;;") << 0 << 0;
    QTest::newRow("no marker") << QByteArray("x000012;202;000007;;") << 0 << 0;
    QTest::newRow("length that is no number") << QByteArray("@abcdef;202;000007;;") << 0 << 0;
    QTest::newRow("negative length") << QByteArray("@-00001;x") << 0 << 0;
}

void tst_Wire::head()
{
    QFETCH(QByteArray, bytes);
    QFETCH(int, body);
    QFETCH(int, whole);
    QCOMPARE(FrameHead::bodySize(bytes), body);
    QCOMPARE(FrameHead::wholeFrameSize(bytes), whole);
}

QTEST_APPLESS_MAIN(tst_Wire)
#include "tst_wire.moc"
