#include "framereader.h"
#include "scriptedsource.h"

#include <QtTest>

Q_DECLARE_METATYPE(FrameReader::Outcome)

class tst_FrameReader : public QObject
{
    Q_OBJECT
private slots:
    void read_data()
    {
        QTest::addColumn<QByteArray>("stream");
        QTest::addColumn<QList<QByteArray>>("later");
        QTest::addColumn<FrameReader::Outcome>("outcome");
        QTest::addColumn<QByteArray>("frame");
        QTest::addColumn<QByteArray>("left");
        using O = FrameReader::Outcome;
        const auto row = [](const char *name, const QByteArray &stream, O outcome, const QByteArray &frame,
                            const QByteArray &left = QByteArray(), const QList<QByteArray> &later = {}) {
            QTest::newRow(name) << stream << later << outcome << frame << left;
        };
        const QByteArray request("@000012;202;000007;;");
        row("garbage before", "xyz" + request, O::Frame, request);
        // A rejected head's eight bytes are dropped, so the good frame starts at its marker.
        row("zero length head", "@000000;" + request, O::Frame, request);
        row("head without separator", "@000012:" + request, O::Frame, request);
        row("only the head: marker lost", "@000012;", O::NoHead, "");
        row("marker eaten by a rejected head", "@12" + request, O::NoHead, "");
        row("head and one body byte", "@000001;x", O::Frame, "@000001;x");
        row("second frame stays", request + "@000012;203", O::Frame, request, "@000012;203");
        row("body in pieces, the next frame stays behind", "@000012;2", O::Frame, request, "@0",
            {"02;00", "", "0007;;@0"});
        row("stalled body", "@999999;202;", O::Stalled, "");
    }
    void read()
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
};

QTEST_APPLESS_MAIN(tst_FrameReader)
#include "tst_framereader.moc"
