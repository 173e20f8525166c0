#include "framereader.h"
#include "scriptedsource.h"

#include <QtTest>

class tst_FrameReader : public QObject
{
    Q_OBJECT
private slots:
    void headScan_data();
    void headScan();
    void bodyArrivesInPieces();
    void secondFrameStaysInSource();
    void stalledBodyDisconnects();
    void shortFrameAfterLastPass();
};

void tst_FrameReader::headScan_data()
{
    QTest::addColumn<QByteArray>("stream");
    QTest::addColumn<bool>("found");
    QTest::addColumn<QByteArray>("frame");
    QTest::addColumn<QByteArray>("left");

    const QByteArray request("@000012;202;000007;;");
    QTest::newRow("frame in one piece") << request << true << request << QByteArray();
    QTest::newRow("garbage before") << QByteArray("xyz") + request << true << request << QByteArray();
    // The rejected head's eight bytes are dropped, so the good frame starts at its marker.
    QTest::newRow("zero length head, then frame")
        << QByteArray("@000000;") + request << true << request << QByteArray();
    QTest::newRow("head without separator, then frame")
        << QByteArray("@000012:") + request << true << request << QByteArray();
    QTest::newRow("length that is no number")
        << QByteArray("@abcdef;") + request << true << request << QByteArray();
    QTest::newRow("only the eight head bytes: marker lost")
        << QByteArray("@000012;") << false << QByteArray() << QByteArray();
    QTest::newRow("empty stream") << QByteArray() << false << QByteArray() << QByteArray();
    QTest::newRow("lone markers") << QByteArray("@@@@") << false << QByteArray() << QByteArray();
    // A marker inside a rejected head is consumed with it.
    QTest::newRow("marker eaten by a rejected head")
        << QByteArray("@12") + request << false << QByteArray() << QByteArray();
    QTest::newRow("head and one body byte, nothing more")
        << QByteArray("@000001;x") << true << QByteArray("@000001;x") << QByteArray();
}

void tst_FrameReader::headScan()
{
    QFETCH(QByteArray, stream);
    QFETCH(bool, found);
    QFETCH(QByteArray, frame);
    QFETCH(QByteArray, left);

    ScriptedSource source;
    source.buffer = stream;
    const FrameReader::Result result = FrameReader::read(source);
    QCOMPARE(result.outcome, found ? FrameReader::Outcome::Frame : FrameReader::Outcome::NoHead);
    QCOMPARE(result.frame, frame);
    QCOMPARE(source.buffer, left);
    QVERIFY(!source.disconnected);
}

void tst_FrameReader::bodyArrivesInPieces()
{
    ScriptedSource source;
    source.buffer = "@000012;2";
    source.later = {"02;00", "", "0007;", ";"};
    const FrameReader::Result result = FrameReader::read(source);
    QCOMPARE(result.outcome, FrameReader::Outcome::Frame);
    QCOMPARE(result.frame, QByteArray("@000012;202;000007;;"));
    QCOMPARE(source.waits, 4);
    QCOMPARE(source.lastWaitMs, 10000);
    QCOMPARE(source.sleptMs, 4 * 10);
}

void tst_FrameReader::secondFrameStaysInSource()
{
    ScriptedSource source;
    source.buffer = "@000012;202;000007;;@000012;203;000008;;";
    const FrameReader::Result first = FrameReader::read(source);
    QCOMPARE(first.frame, QByteArray("@000012;202;000007;;"));
    QCOMPARE(source.buffer, QByteArray("@000012;203;000008;;"));
    QCOMPARE(source.waits, 0);
    // The next arrival of data reads the next frame.
    QCOMPARE(FrameReader::read(source).frame, QByteArray("@000012;203;000008;;"));

    // A second frame that arrives while the first body is still coming stays behind it.
    source.buffer = "@000012;202;";
    source.later = {"000007;;@000012;2"};
    QCOMPARE(FrameReader::read(source).frame, QByteArray("@000012;202;000007;;"));
    QCOMPARE(source.buffer, QByteArray("@000012;2"));
}

void tst_FrameReader::stalledBodyDisconnects()
{
    ScriptedSource source;
    source.buffer = "@999999;202;";
    const FrameReader::Result result = FrameReader::read(source);
    QCOMPARE(result.outcome, FrameReader::Outcome::Stalled);
    QVERIFY(result.frame.isEmpty());
    QVERIFY(source.disconnected);
    QCOMPARE(source.waits, 1);
    QCOMPARE(source.lastWaitMs, 10000);
}

void tst_FrameReader::shortFrameAfterLastPass()
{
    ScriptedSource source;
    source.buffer = "@002000;x";
    for (int i = 0; i < 1500; ++i)
        source.later.append("y");
    const FrameReader::Result result = FrameReader::read(source);
    QCOMPARE(result.outcome, FrameReader::Outcome::Frame);
    // One byte read in each of the 1000 passes; the byte of the last wait stays unread.
    QCOMPARE(result.frame.size(), 8 + 1000);
    QCOMPARE(source.sleeps, 1000);
    QCOMPARE(source.waits, 1000);
    QCOMPARE(source.buffer, QByteArray("y"));
    QVERIFY(!source.disconnected);
}

QTEST_APPLESS_MAIN(tst_FrameReader)
#include "tst_framereader.moc"
