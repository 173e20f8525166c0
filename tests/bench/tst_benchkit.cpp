#include "benchkit.h"
#include "blockingclient.h"
#include "wiremessage.h"

#include <QtTest>

class tst_BenchKit : public QObject
{
    Q_OBJECT
private slots:
    void percentiles();
    void documentReplies();
    void echoServerEchoes();
};

void tst_BenchKit::percentiles()
{
    std::vector<double> none, one = {7}, ten = {5, 1, 9, 3, 7, 2, 8, 4, 6, 10}, hundred;
    for (int i = 100; i >= 1; --i)
        hundred.push_back(i);
    QCOMPARE(benchkit::percentile(none, 0.5), 0.0);
    QCOMPARE(benchkit::percentile(one, 0.99), 7.0);
    QCOMPARE(benchkit::percentile(hundred, 0.99), 99.0);
    QCOMPARE(benchkit::percentile(hundred, 1.0), 100.0);
    QCOMPARE(benchkit::percentile(hundred, 0.001), 1.0);
    QCOMPARE(benchkit::percentile(ten, 0.5), 5.0);
    QCOMPARE(benchkit::percentile(ten, 0.95), 10.0);
}

void tst_BenchKit::documentReplies()
{
    const QByteArray frame = WireMessage(208, 3, "{\n    \"A\": 1,\n    \"B\": 2\n}\n").data;
    QVERIFY(benchkit::isDocumentReply(frame, 208, 3, 2));
    QVERIFY(!benchkit::isDocumentReply(frame, 208, 3, 3));
    QVERIFY(!benchkit::isDocumentReply(frame, 207, 3, 2));
    QVERIFY(!benchkit::isDocumentReply(frame, 208, 4, 2));
    QVERIFY(!benchkit::isDocumentReply(frame.chopped(1), 208, 3, 2));
    QVERIFY(!benchkit::isDocumentReply(frame + "x", 208, 3, 2));
    QVERIFY(!benchkit::isDocumentReply("@000019;208;000003;NO DATA;", 208, 3, 0));
}

void tst_BenchKit::echoServerEchoes()
{
    benchkit::EchoServer echo;
    const std::uint16_t port = echo.start();
    BlockingClient a, b;
    QVERIFY(port != 0 && a.connectTo(port) && b.connectTo(port));
    const QByteArray big = WireMessage(207, 1, QString(99000, 'x')).data,
                     small = WireMessage(202, 2, "").data;
    QVERIFY(a.send(big + small) && b.send(small));
    QCOMPARE(b.readFrame(), small);
    QCOMPARE(a.readFrame(), big);
    QCOMPARE(a.readFrame(), small);
}

QTEST_APPLESS_MAIN(tst_BenchKit)
#include "tst_benchkit.moc"
