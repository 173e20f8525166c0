#include "framereader.h"
#include "scriptedsource.h"

#include <QtTest>

Q_DECLARE_METATYPE(FrameReader::Outcome)

class tst_FrameReader : public QObject
{
    Q_OBJECT
private slots:
    void read_data();
    void read();
    void bodyStopsAfterTheLastPass();
};

void tst_FrameReader::read_data()
{
    QTest::addColumn<QByteArray>("stream");
    QTest::addColumn<QList<QByteArray>>("later");
    QTest::addColumn<FrameReader::Outcome>("outcome");
    QTest::addColumn<QByteArray>("frame");
    QTest::addColumn<QByteArray>("left");
    using O = FrameReader::Outcome;
    const QByteArray request("@000012;202;000007;;");
    const QList<QByteArray> none;
    QTest::newRow("frame in one piece") << request << none << O::Frame << request << QByteArray();
    QTest::newRow("garbage before") << "xyz" + request << none << O::Frame << request << QByteArray();
    // A rejected head's eight bytes are dropped, so the good frame starts at its marker.
    QTest::newRow("zero length head") << "@000000;" + request << none << O::Frame << request << QByteArray();
    QTest::newRow("head without separator")
        << "@000012:" + request << none << O::Frame << request << QByteArray();
    QTest::newRow("only the head: marker lost")
        << QByteArray("@000012;") << none << O::NoHead << QByteArray() << QByteArray();
    QTest::newRow("empty stream") << QByteArray() << none << O::NoHead << QByteArray() << QByteArray();
    QTest::newRow("lone markers") << QByteArray("@@@@") << none << O::NoHead << QByteArray() << QByteArray();
    QTest::newRow("marker eaten by a rejected head")
        << "@12" + request << none << O::NoHead << QByteArray() << QByteArray();
    QTest::newRow("head and one body byte")
        << QByteArray("@000001;x") << none << O::Frame << QByteArray("@000001;x") << QByteArray();
    QTest::newRow("second frame stays")
        << request + "@000012;203" << none << O::Frame << request << QByteArray("@000012;203");
    QTest::newRow("body in pieces, the next frame stays behind")
        << QByteArray("@000012;2") << QList<QByteArray>{"02;00", "", "0007;;@0"} << O::Frame << request
        << QByteArray("@0");
    QTest::newRow("stalled body") << QByteArray("@999999;202;") << none << O::Stalled << QByteArray()
                                  << QByteArray();
}

void tst_FrameReader::read()
{
    QFETCH(QByteArray, stream);
    QFETCH(QList<QByteArray>, later);
    QFETCH(FrameReader::Outcome, outcome);
    QFETCH(QByteArray, frame);
    QFETCH(QByteArray, left);
    ScriptedSource source;
    source.buffer = stream;
    source.later = later;
    const FrameReader::Result result = FrameReader::read(source);
    QCOMPARE(result.outcome, outcome);
    QCOMPARE(result.frame, frame);
    QCOMPARE(source.buffer, left);
    QCOMPARE(source.disconnected, outcome == FrameReader::Outcome::Stalled);
    // A client has ten seconds for each piece of a body.
    QCOMPARE(source.lastWaitMs, later.isEmpty() && outcome != FrameReader::Outcome::Stalled ? 0 : 10000);
}

void tst_FrameReader::bodyStopsAfterTheLastPass()
{
    ScriptedSource source;
    source.buffer = "@002000;x";
    for (int i = 0; i < 1500; ++i)
        source.later.append("y");
    const FrameReader::Result result = FrameReader::read(source);
    // One byte in each of the 1000 passes; the frame goes on as far as it came.
    QCOMPARE(result.frame, "@002000;x" + QByteArray(999, 'y'));
    QCOMPARE(source.buffer, QByteArray("y"));
    QVERIFY(!source.disconnected);
}

QTEST_APPLESS_MAIN(tst_FrameReader)
#include "tst_framereader.moc"
