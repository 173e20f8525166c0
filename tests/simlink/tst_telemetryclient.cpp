#include "fakesimulator.h"

#include <QtTest>

#include <cmath>
#include <limits>

namespace {
TelemetryClient &client()
{
    return TelemetryClient::shared();
}

// Takes the client from no cache to a filled one: three rows, as against a real simulator.
bool bringRow(FakeSimulator &sim, std::int32_t &tick)
{
    for (int i = 0; i < 3; ++i) {
        sim.nextRow(++tick);
        if (client().awaitRow(16))
            return true;
    }
    return false;
}
} // namespace

class tst_TelemetryClient : public QObject
{
    Q_OBJECT
private slots:
    void typedReads_data();
    void typedReads();
    void typeCodesOutOfRange();
    void entriesAndIndexes();
    void lookupGuards();
    void firstCallsAgainstARunningSimulator();
    void rowLengthChanges();
    void linkGoesStale();
    void sessionValueBuffer();
};

void tst_TelemetryClient::typedReads_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<double>("stored");
    QTest::addColumn<bool>("asBool");
    QTest::addColumn<int>("asInt");
    QTest::addColumn<float>("asFloat");
    QTest::addColumn<double>("asDouble");

    const double nan = std::numeric_limits<double>::quiet_NaN();
    QTest::newRow("float 0.5") << 4 << 0.5 << false << 0 << 0.5f << 0.5;
    QTest::newRow("float 1.0") << 4 << 1.0 << true << 1 << 1.0f << 1.0;
    QTest::newRow("float -3.0") << 4 << -3.0 << false << -3 << -3.0f << -3.0;
    QTest::newRow("float 2.9 cut") << 4 << 2.9 << true << 2 << 2.9f << double(2.9f);
    QTest::newRow("float -2.9 cut") << 4 << -2.9 << false << -2 << -2.9f << double(-2.9f);
    QTest::newRow("float NaN") << 4 << nan << false << 0 << float(nan) << nan;
    QTest::newRow("float beyond int") << 4 << 1e12 << true << 2147483647 << 1e12f << double(1e12f);
    QTest::newRow("int -1") << 2 << -1.0 << true << -1 << -1.0f << -1.0;
    QTest::newRow("int 0") << 2 << 0.0 << false << 0 << 0.0f << 0.0;
    QTest::newRow("int 2^24+1") << 2 << 16777217.0 << true << 16777217 << 16777216.0f << 16777217.0;
    QTest::newRow("bit field as int")
        << 3 << -2147483648.0 << true << int(-2147483647 - 1) << -2147483648.0f << -2147483648.0;
    QTest::newRow("byte 0xFF, code 0") << 0 << -1.0 << true << -1 << -1.0f << -1.0;
    QTest::newRow("byte 0xFF, code 1") << 1 << -1.0 << true << -1 << -1.0f << -1.0;
    QTest::newRow("byte 1") << 1 << 1.0 << true << 1 << 1.0f << 1.0;
    QTest::newRow("double 0.1") << 5 << 0.1 << false << 0 << 0.1f << 0.1;
    QTest::newRow("double 5400.75") << 5 << 5400.75 << true << 5400 << 5400.75f << 5400.75;
    QTest::newRow("double -0.99") << 5 << -0.99 << false << 0 << -0.99f << -0.99;
}

void tst_TelemetryClient::typedReads()
{
    QFETCH(int, type);
    QFETCH(double, stored);
    QFETCH(bool, asBool);
    QFETCH(int, asInt);
    QFETCH(float, asFloat);
    QFETCH(double, asDouble);

    FakeSimulator sim({{"Pad", 0, 3}, {"V", type, 2}});
    for (std::int32_t slot = 0; slot < 3; ++slot)
        sim.setValue(slot, "V", stored, 1);
    std::int32_t tick = 0;
    QVERIFY(bringRow(sim, tick));
    const std::int32_t index = client().variableIndex("V");
    QCOMPARE(index, 1);
    QCOMPARE(client().readBool(index, 1), asBool);
    QCOMPARE(client().readInt(index, 1), asInt);
    if (std::isnan(asDouble)) {
        QVERIFY(std::isnan(client().readFloat(index, 1)));
        QVERIFY(std::isnan(client().readDouble(index, 1)));
    } else {
        QCOMPARE(client().readFloat(index, 1), asFloat);
        QCOMPARE(client().readDouble(index, 1), asDouble);
    }
    // Entry 0 was never written: it reads as zero, not as entry 1.
    QCOMPARE(client().readInt(index, 0), 0);
}

void tst_TelemetryClient::typeCodesOutOfRange()
{
    FakeSimulator sim({{"V", 2, 1}});
    for (std::int32_t slot = 0; slot < 3; ++slot)
        sim.setValue(slot, "V", 7);
    std::int32_t tick = 0;
    QVERIFY(bringRow(sim, tick));
    const std::size_t typeField = std::size_t(RegionLayout::readInt(sim.base() + 28));
    for (std::int32_t code : {6, -1, 0x7FFFFFFF}) {
        sim.writeInt(typeField, code);
        QCOMPARE(client().readInt(0, 0), 0);
        QCOMPARE(client().readBool(0, 0), false);
        QCOMPARE(client().readDouble(0, 0), 0.0);
    }
    sim.writeInt(typeField, 3);
    QCOMPARE(client().readInt(0, 0), 7);
}

void tst_TelemetryClient::entriesAndIndexes()
{
    FakeSimulator sim({{"Lap", 2, 4}, {"Tail", 5, 1}});
    for (std::int32_t slot = 0; slot < 3; ++slot)
        for (std::int32_t e = 0; e < 4; ++e)
            sim.setValue(slot, "Lap", 10 + e, e);
    std::int32_t tick = 0;
    QVERIFY(bringRow(sim, tick));
    QCOMPARE(client().readInt(0, 3), 13);
    QCOMPARE(client().readInt(0, 4), 0);
    QCOMPARE(client().readInt(0, -1), 0);
    QCOMPARE(client().readInt(-1, 0), 0);
    QCOMPARE(client().readInt(2, 0), 0);
    QCOMPARE(client().variableIndex("NotThere"), -1);
    QCOMPARE(client().readFloat(client().variableIndex("NotThere"), 0), 0.0f);

    // A value offset past the cached row reads as the default, never outside the block.
    const std::size_t tailHeader = std::size_t(RegionLayout::readInt(sim.base() + 28)) + 144;
    sim.writeInt(tailHeader + 4, client().rowLength() - 4);
    QCOMPARE(client().readDouble(1, 0), 0.0);
    sim.writeInt(tailHeader + 8, 1000000);
    sim.writeInt(tailHeader + 4, 0);
    QCOMPARE(client().readDouble(1, 999999), 0.0);
}

void tst_TelemetryClient::lookupGuards()
{
    FakeSimulator sim({{"Gear", 2, 1}});
    QCOMPARE(client().variableIndex("Gear"), 0);
    QCOMPARE(client().variableIndex("NotThere"), 0); // no cache: 0, not -1
    std::int32_t tick = 0;
    QVERIFY(bringRow(sim, tick));
    QCOMPARE(client().variableIndex("NotThere"), -1);
    sim.clock += 30;
    QCOMPARE(client().variableIndex("NotThere"), 0); // not alive
}

void tst_TelemetryClient::firstCallsAgainstARunningSimulator()
{
    FakeSimulator sim({{"Gear", 2, 1}});
    sim.nextRow(1);
    QVERIFY(!client().awaitRow(16));
    QVERIFY(!client().hasRow());
    const std::int32_t generation = client().rowGeneration();

    // The next row is accepted without a copy; the block it then allocates is not filled.
    sim.nextRow(2);
    QVERIFY(!client().awaitRow(16));
    QVERIFY(client().hasRow());
    QCOMPARE(client().rowGeneration(), generation + 1);
    sim.nextRow(4);
    QVERIFY(client().awaitRow(16));
    // No new tick: false, and the cache stays.
    QVERIFY(!client().awaitRow(16));
    QVERIFY(client().hasRow());
}

void tst_TelemetryClient::rowLengthChanges()
{
    FakeSimulator sim({{"Gear", 2, 1}, {"Speed", 4, 1}});
    std::int32_t tick = 0;
    QVERIFY(bringRow(sim, tick));
    const std::int32_t generation = client().rowGeneration();
    const std::int32_t length = client().rowLength();

    QVERIFY(sim.layout.setRowLength(sim.base(), 512));
    for (std::int32_t slot = 0; slot < 3; ++slot)
        sim.setValue(slot, "Gear", 4);
    sim.nextRow(++tick);
    QVERIFY(!client().awaitRow(16));
    QCOMPARE(client().rowGeneration(), generation + 1);
    QCOMPARE(client().rowLength(), 512);
    QVERIFY(length != 512);
    sim.nextRow(++tick);
    QVERIFY(client().awaitRow(16));
    QCOMPARE(client().readInt(client().variableIndex("Gear"), 0), 4);

    // A length the region cannot hold reads as no row and allocates nothing.
    sim.writeInt(36, 0x7FFFFFF0);
    sim.nextRow(++tick);
    QVERIFY(!client().awaitRow(16));
    QCOMPARE(client().rowLength(), 512);
    QCOMPARE(client().rowGeneration(), generation + 1);
}

void tst_TelemetryClient::linkGoesStale()
{
    FakeSimulator sim({{"Gear", 2, 1}});
    for (std::int32_t slot = 0; slot < 3; ++slot)
        sim.setValue(slot, "Gear", 3);
    std::int32_t tick = 0;
    QVERIFY(bringRow(sim, tick));
    const std::int32_t generation = client().rowGeneration();
    // Alive: a call without a new row keeps the old one readable.
    sim.clock += 29;
    QVERIFY(!client().awaitRow(16));
    QCOMPARE(client().readInt(0, 0), 3);
    sim.clock += 1;
    QVERIFY(!client().awaitRow(16));
    QVERIFY(!client().hasRow());
    QCOMPARE(client().readInt(0, 0), 0);
    QCOMPARE(client().rowGeneration(), generation);
    // Coming back at the same length allocates anew.
    QVERIFY(bringRow(sim, tick));
    QCOMPARE(client().rowGeneration(), generation + 1);
}

void tst_TelemetryClient::sessionValueBuffer()
{
    FakeSimulator sim({{"Gear", 2, 1}});
    sim.setText("WeekendInfo:\n TrackName: 0123456789\n Empty:\n");
    char buffer[32];
    std::memset(buffer, 'x', sizeof buffer);
    QCOMPARE(client().sessionValue("WeekendInfo:TrackName:", buffer, 32), 0); // no cache yet
    QCOMPARE(buffer[0], 'x');

    std::int32_t tick = 0;
    QVERIFY(bringRow(sim, tick));
    QCOMPARE(client().sessionValue("WeekendInfo:TrackName:", buffer, 11), 1);
    QCOMPARE(QByteArray(buffer), QByteArray("0123456789"));
    std::memset(buffer, 'x', sizeof buffer);
    QCOMPARE(client().sessionValue("WeekendInfo:TrackName:", buffer, 10), -10);
    QCOMPARE(QByteArray(buffer), QByteArray("012345678"));
    QCOMPARE(buffer[10], 'x');
    QCOMPARE(client().sessionValue("WeekendInfo:TrackName:", buffer, 1), -10);
    QCOMPARE(buffer[0], '\0');
    QCOMPARE(client().sessionValue("WeekendInfo:Empty:", buffer, 1), 1);
    QCOMPARE(buffer[0], '\0');
    std::memset(buffer, 'x', sizeof buffer);
    QCOMPARE(client().sessionValue("WeekendInfo:TrackName:", buffer, 0), 0);
    QCOMPARE(client().sessionValue("WeekendInfo:Missing:", buffer, 32), 0);
    QCOMPARE(client().sessionValue(nullptr, buffer, 32), 0);
    QCOMPARE(client().sessionValue("WeekendInfo:TrackName:", nullptr, 32), 0);
    QCOMPARE(buffer[0], 'x');
    sim.clock += 30;
    QCOMPARE(client().sessionValue("WeekendInfo:TrackName:", buffer, 32), 0);
}

QTEST_APPLESS_MAIN(tst_TelemetryClient)
#include "tst_telemetryclient.moc"
