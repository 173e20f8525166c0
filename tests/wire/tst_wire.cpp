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
    const auto row = [](const char *name, int command, int id, const QString &payload,
                        const QByteArray &frame) {
        QTest::newRow(name) << command << id << payload << frame;
    };
    row("server name", 202, 7, "kv-Beacon", "@000021;202;000007;kv-Beacon;");
    row("empty payload, id zero", 3, 0, "", "@000012;003;000000;;");
    row("negative id keeps its sign", 209, -5, "KEY OK", "@000018;209;0000-5;KEY OK;");
    row("percent markers unchanged", 205, 1, "%1 and %2", "@000021;205;000001;%1 and %2;");
    row("e acute: one code unit, two bytes", 208, 1, QString(QChar(0x00E9)), "@000013;208;000001;\xc3\xa9;");
    row("above U+FFFF: two code units, four bytes", 208, 1, QString::fromUcs4(U"\U0001F3C1"),
        "@000014;208;000001;\xf0\x9f\x8f\x81;");
    row("wide id is not cut", 202, 1234567, "", "@000013;202;1234567;;");
    row("long body", 207, 1, QString(99987, 'x'), "@099999;207;000001;" + QByteArray(99987, 'x') + ";");
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
    QTest::addColumn<QString>("fields"); // length command id payload
    const auto row = [](const char *name, const QByteArray &bytes, bool ok, const QString &fields) {
        QTest::newRow(name) << bytes << ok << fields;
    };
    row("request", "@000012;202;000007;;", true, "12 202 7 ;");
    // A refused frame leaves a command that no dispatcher answers.
    row("18 bytes refused", "@000010;201;000001", false, "0 -1 0 ");
    row("no marker refused", "#000012;202;000007;;", false, "0 -1 0 ");
    row("negative id", "@000012;209;-00005;;", true, "12 209 -5 ;");
    row("length not compared with size", "@999999;202;000007;;", true, "999999 202 7 ;");
    row("NUL ends the payload", QByteArray("@000016;201;000001;ab\0cd;", 25), true, "16 201 1 ab");
    row("UTF-8 payload", "@000013;201;000001;\xc3\xa9;", true, QString::fromUtf8("13 201 1 \xc3\xa9;"));
}

void tst_Wire::parse()
{
    QFETCH(QByteArray, bytes);
    QFETCH(bool, ok);
    QFETCH(QString, fields);
    WireMessage message(bytes);
    QCOMPARE(message.parse(bytes), ok);
    QCOMPARE(QStringLiteral("%1 %2 %3 ").arg(message.length).arg(message.command).arg(message.id) +
                 message.payload,
             fields);
}

void tst_Wire::head_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<int>("body");
    QTest::addColumn<int>("whole");
    const auto row = [](const char *name, const QByteArray &bytes, int body, int whole) {
        QTest::newRow(name) << bytes << body << whole;
    };
    row("frame", "@000012;202;000007;;", 12, 20);
    row("frame and more", "@000001;xy", 1, 9);
    row("body still coming", "@000012;202;000007;", 12, 0);
    row("head alone", "@000012;", 12, 0);
    row("seven bytes", "@000012", 0, 0);
    row("length that is no number", "@abcdef;202;000007;;", 0, 0);
    row("negative length", "@-00001;x", 0, 0);
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
