#include "benchkit.h"

#include <QtTest>

#include <thread>

class tst_BenchKit : public QObject
{
    Q_OBJECT
private slots:
    void percentiles();
    void replyChecks();
    void echoServerEchoes();
};

void tst_BenchKit::percentiles()
{
    std::vector<double> none;
    QCOMPARE(benchkit::percentile(none, 0.5), 0.0);
    std::vector<double> one = {7};
    QCOMPARE(benchkit::percentile(one, 0.99), 7.0);
    std::vector<double> hundred;
    for (int i = 100; i >= 1; --i)
        hundred.push_back(i);
    QCOMPARE(benchkit::percentile(hundred, 0.50), 50.0);
    QCOMPARE(benchkit::percentile(hundred, 0.99), 99.0);
    QCOMPARE(benchkit::percentile(hundred, 1.0), 100.0);
    QCOMPARE(benchkit::percentile(hundred, 0.001), 1.0);
    std::vector<double> ten = {5, 1, 9, 3, 7, 2, 8, 4, 6, 10};
    QCOMPARE(benchkit::percentile(ten, 0.5), 5.0);
    QCOMPARE(benchkit::percentile(ten, 0.95), 10.0);
}

void tst_BenchKit::replyChecks()
{
    QCOMPARE(benchkit::requestFrame(207, 12), std::string("@000012;207;000012;;"));
    QVERIFY(benchkit::isReply("@000021;202;000007;kv-Beacon;", 202, 7, "kv-Beacon"));
    QVERIFY(!benchkit::isReply("@000021;202;000008;kv-Beacon;", 202, 7, "kv-Beacon"));
    QVERIFY(!benchkit::isReply("@000021;203;000007;kv-Beacon;", 202, 7, "kv-Beacon"));
    QVERIFY(!benchkit::isReply("@000022;202;000007;kv-Beacon;", 202, 7, "kv-Beacon"));
    QVERIFY(!benchkit::isReply("@000021;202;000007;kv-Beacom;", 202, 7, "kv-Beacon"));
    const std::string document = "{\n    \"A\": 1,\n    \"B\": 2\n}\n";
    const std::string frame = "@" + std::string(6 - std::to_string(12 + document.size()).size(), '0') +
                              std::to_string(12 + document.size()) + ";208;000003;" + document + ";";
    QVERIFY(benchkit::isDocumentReply(frame, 208, 3, 2));
    QVERIFY(!benchkit::isDocumentReply(frame, 208, 3, 3));
    QVERIFY(!benchkit::isDocumentReply(frame, 207, 3, 2));
    QVERIFY(!benchkit::isDocumentReply(frame.substr(0, frame.size() - 1), 208, 3, 2));
    QVERIFY(!benchkit::isDocumentReply("@000019;208;000003;NO DATA;", 208, 3, 0));
}

void tst_BenchKit::echoServerEchoes()
{
    benchkit::EchoServer echo;
    const std::uint16_t port = echo.start();
    QVERIFY(port != 0);
    benchkit::Client a, b;
    QVERIFY(a.connectTo(port));
    QVERIFY(b.connectTo(port));
    const std::string big(100000, 'x');
    QVERIFY(a.send(big));
    QVERIFY(b.send("@000012;207;000001;;"));
    QCOMPARE(b.readExactly(20), std::string("@000012;207;000001;;"));
    QCOMPARE(a.readExactly(big.size()), big);
    // A reply frame is read whole by its length field.
    QVERIFY(a.send("@000021;202;000007;kv-Beacon;"));
    QCOMPARE(a.readFrame(), std::string("@000021;202;000007;kv-Beacon;"));
}

QTEST_APPLESS_MAIN(tst_BenchKit)
#include "tst_benchkit.moc"
