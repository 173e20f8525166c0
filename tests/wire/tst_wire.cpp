#include "framehead.h"
#include "protocol.h"
#include "wiremessage.h"

#include <QtTest>

class tst_Wire : public QObject
{
    Q_OBJECT
private slots:
    void build_data()
    {
        QTest::addColumn<QByteArray>("built");
        QTest::addColumn<QByteArray>("frame");
        const auto row = [](const char *name, int command, int id, const QString &payload,
                            const QByteArray &frame) {
            QTest::newRow(name) << WireMessage(command, id, payload).data << frame;
        };
        row("empty payload, id zero", 3, 0, "", "@000012;003;000000;;");
        row("negative id keeps its sign", Protocol::PressKey, -5, Protocol::keyDone,
            "@000018;209;0000-5;KEY OK;");
        row("percent markers unchanged", Protocol::ChatTexts, 1, "%1 and %2",
            "@000021;205;000001;%1 and %2;");
        row("above U+FFFF: two code units, four bytes", Protocol::Info, 1, QString::fromUcs4(U"\U0001F3C1"),
            "@000014;208;000001;\xf0\x9f\x8f\x81;");
        row("wide id is not cut", Protocol::ServerName, 1234567, "", "@000013;202;1234567;;");
    }
    void build()
    {
        QFETCH(QByteArray, built);
        QFETCH(QByteArray, frame);
        QCOMPARE(built, frame);
    }
    // The head's body and whole frame sizes, then what parsing gives: accepted, length, command, id, payload.
    void read_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("read");
        const auto row = [](const char *name, const QByteArray &bytes, const char *read) {
            QTest::newRow(name) << bytes << QString::fromUtf8(read);
        };
        row("request", "@000012;202;000007;;", "12 20 | 1 12 202 7 ;");
        // A refused frame leaves a command that no dispatcher answers.
        row("18 bytes refused", "@000010;201;000001", "10 18 | 0 0 -1 0 ");
        row("no marker refused", "#000012;202;000007;;", "0 0 | 0 0 -1 0 ");
        row("negative id", "@000012;209;-00005;;", "12 20 | 1 12 209 -5 ;");
        row("length not compared with size", "@999999;202;000007;;", "999999 0 | 1 999999 202 7 ;");
        row("NUL ends the payload", QByteArray("@000016;201;000001;ab\0cd;", 25), "16 24 | 1 16 201 1 ab");
        row("UTF-8 payload", "@000013;201;000001;\xc3\xa9;", "13 21 | 1 13 201 1 \xc3\xa9;");
        row("body still coming", "@000012;202;000007;", "12 0 | 1 12 202 7 ");
        row("head alone", "@000012;", "12 0 | 0 0 -1 0 ");
        row("seven bytes", "@000012", "0 0 | 0 0 -1 0 ");
        row("length that is no number", "@abcdef;202;000007;;", "0 0 | 1 0 202 7 ;");
        row("negative length", "@-00001;x", "0 0 | 0 0 -1 0 ");
    }
    void read()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(QString, read);
        WireMessage m(bytes);
        const bool accepted = m.parse(bytes);
        const int body = FrameHead::bodySize(bytes), whole = FrameHead::wholeFrameSize(bytes);
        QCOMPARE(QString::asprintf("%d %d | %d %d %d %d ", body, whole, accepted, m.length, m.command, m.id) +
                     m.payload,
                 read);
    }
};

QTEST_APPLESS_MAIN(tst_Wire)
#include "tst_wire.moc"
