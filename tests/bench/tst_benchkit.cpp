#include "benchkit.h"
#include "blockingclient.h"
#include "protocol.h"
#include "wiremessage.h"

#include <QtTest>

// What the benchmarks' figures rest on: the percentiles, the check of each reply, the echo.
class tst_BenchKit : public QObject
{
    Q_OBJECT
private slots:
    void figuresAndReplies();
};

void tst_BenchKit::figuresAndReplies()
{
    std::vector<double> none, ten = {5, 1, 9, 3, 7, 2, 8, 4, 6, 10}, hundred;
    for (int i = 100; i >= 1; --i)
        hundred.push_back(i);
    QCOMPARE(QList<double>({benchkit::percentile(none, 0.5), benchkit::percentile(hundred, 0.99),
                            benchkit::percentile(hundred, 0.001), benchkit::percentile(ten, 0.5),
                            benchkit::percentile(ten, 0.95)}),
             QList<double>({0, 99, 1, 5, 10}));
    using Protocol::Info, Protocol::Live;
    const QByteArray frame = WireMessage(Info, 3, "{\n    \"A\": 1,\n    \"B\": 2\n}\n").data;
    QVERIFY(benchkit::isDocumentReply(frame, Info, 3, 2) && !benchkit::isDocumentReply(frame, Info, 3, 3) &&
            !benchkit::isDocumentReply(frame, Live, 3, 2) && !benchkit::isDocumentReply(frame, Info, 4, 2) &&
            !benchkit::isDocumentReply(frame.chopped(1), Info, 3, 2));
    benchkit::EchoServer echo;
    const std::uint16_t port = echo.start();
    BlockingClient a, b;
    QVERIFY(port != 0 && a.connectTo(port) && b.connectTo(port));
    const QByteArray big = WireMessage(Live, 1, QString(99000, 'x')).data,
                     small = WireMessage(Protocol::ServerName, 2, "").data;
    QVERIFY(a.send(big + small) && b.send(small));
    QVERIFY(b.readFrame() == small && a.readFrame() == big && a.readFrame() == small);
}

QTEST_APPLESS_MAIN(tst_BenchKit)
#include "tst_benchkit.moc"
