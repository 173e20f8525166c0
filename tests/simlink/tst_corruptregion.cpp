#include "fakesimulator.h"
#include "pollnames.h"
#include "sessiontext.h"
#include "variables.h"

#include <QRandomGenerator>
#include <QtTest>

namespace {
// Everything the two polls do with the link, three times over, checking what must hold
// whatever the region says.
void pollEverything()
{
    TelemetryClient &client = TelemetryClient::shared();
    char buffer[2048];
    for (int round = 0; round < 3; ++round) {
        client.awaitRow(16);
        // A cached row never outgrows the region it came from.
        if (client.hasRow())
            QVERIFY(std::size_t(client.rowLength()) <= TelemetryMap::state().regionSize);
        for (const char *name : pollVariableNames) {
            const std::int32_t index = client.variableIndex(name);
            client.readBool(index, 0);
            client.readInt(index, 0);
            client.readFloat(index, 0);
            client.readDouble(index, 0);
        }
        for (const char *path : pollSessionPaths) {
            buffer[sizeof buffer - 1] = 'x';
            const std::int32_t result = client.sessionValue(path, buffer, sizeof buffer);
            QVERIFY(result <= 1);
            if (result != 0)
                QVERIFY(std::memchr(buffer, '\0', sizeof buffer) != nullptr);
            if (result < 0)
                QCOMPARE(buffer[sizeof buffer - 1], '\0');
        }
        TelemetryMap::isLive();
    }
}
} // namespace

class tst_CorruptRegion : public QObject
{
    Q_OBJECT
private slots:
    void headerFieldsPastTheEnd_data();
    void headerFieldsPastTheEnd();
    void regionShorterThanItsHeader();
    void randomBytes();
};

void tst_CorruptRegion::headerFieldsPastTheEnd_data()
{
    QTest::addColumn<int>("offset");
    QTest::addColumn<int>("value");
    QTest::newRow("session text offset past the end") << 20 << 0x7FFFFFFF;
    QTest::newRow("negative session text offset") << 20 << -5;
    QTest::newRow("huge variable count") << 24 << 0x7FFFFFFF;
    QTest::newRow("variable table past the end") << 28 << 0x7FFFFF00;
    QTest::newRow("negative variable table") << 28 << -144;
    QTest::newRow("huge slot count") << 32 << 0x7FFFFFFF;
    QTest::newRow("negative slot count") << 32 << -3;
    QTest::newRow("huge row length") << 36 << 0x7FFFFFFF;
    QTest::newRow("negative row length") << 36 << -1;
    QTest::newRow("slot row offset past the end") << 48 + 16 * 2 + 4 << 0x7FFFFFF0;
    QTest::newRow("negative slot row offset") << 48 + 16 * 2 + 4 << -100000;
}

// One field broken at a time, after a good start: the broken part reads as nothing.
void tst_CorruptRegion::headerFieldsPastTheEnd()
{
    QFETCH(int, offset);
    QFETCH(int, value);
    FakeSimulator sim(simulatorVariables());
    sim.setText("WeekendInfo:\n TrackName: ok\n");
    std::int32_t tick = 0;
    for (std::int32_t slot = 0; slot < 3; ++slot)
        sim.setValue(slot, "FuelLevel", 12.5);
    TelemetryClient &client = TelemetryClient::shared();
    for (int i = 0; i < 3 && !client.awaitRow(16); ++i)
        sim.nextRow(++tick);

    sim.writeInt(std::size_t(offset), value);
    sim.nextRow(++tick);
    pollEverything();
    QVERIFY(!QTest::currentTestFailed());
    char buffer[64];
    switch (offset) {
    case 20:
        QCOMPARE(client.sessionValue("WeekendInfo:TrackName:", buffer, 64), 0);
        break;
    case 28:
        QCOMPARE(TelemetryMap::findVariable("FuelLevel"), -1);
        QCOMPARE(client.readFloat(TelemetryMap::findVariable("FuelLevel"), 0), 0.0f);
        break;
    case 36:
    case 48 + 16 * 2 + 4:
        // No row is taken from the broken slot or length.
        QVERIFY(!TelemetryMap::fetchRow(nullptr, 0));
        break;
    default:
        break;
    }
}

void tst_CorruptRegion::regionShorterThanItsHeader()
{
    FakeSimulator sim({{"Gear", 2, 1}});
    sim.nextRow(1);
    sim.region.resize(40);
    QVERIFY(TelemetryMap::attach());
    QCOMPARE(TelemetryMap::state().regionSize, std::size_t(40));
    QVERIFY(!TelemetryMap::fetchRow(nullptr, 0));
    QVERIFY(!TelemetryMap::isLive());
    QCOMPARE(TelemetryMap::sessionText(), nullptr);
    QCOMPARE(TelemetryMap::findVariable("Gear"), -1);
    QCOMPARE(TelemetryMap::rowLength(), -1);
    pollEverything();
    QVERIFY(!TelemetryClient::shared().hasRow());
}

// Random regions of random sizes, and random bytes over a good one: no crash, no read
// outside the block (the address sanitizer build checks the latter).
void tst_CorruptRegion::randomBytes()
{
    QRandomGenerator random(20261122);
    for (int round = 0; round < 300; ++round) {
        FakeSimulator sim(simulatorVariables());
        std::size_t size = sim.region.size();
        if (round % 3 == 0)
            size = random.bounded(4096u);
        sim.region.assign(size, 0);
        for (unsigned char &byte : sim.region)
            byte = static_cast<unsigned char>(random.bounded(256u));
        if (size >= 8)
            RegionLayout::writeInt(sim.base() + 4, 1); // publishing, so that the scan goes on
        for (int step = 0; step < 4; ++step) {
            pollEverything();
            if (QTest::currentTestFailed())
                return;
            if (size >= 56)
                RegionLayout::writeInt(sim.base() + 48, std::int32_t(random.generate()));
            sim.clock += 1;
        }
    }
    // A good region layout with random values in every header field.
    for (int round = 0; round < 300; ++round) {
        FakeSimulator sim(simulatorVariables());
        sim.setText("WeekendInfo:\n TrackName: ok\n");
        for (int step = 0; step < 6; ++step) {
            const std::size_t field = 4 * random.bounded(1u, 24u); // the header and the slots
            sim.writeInt(field, std::int32_t(random.generate()));
            RegionLayout::writeInt(sim.base() + 4, 1);
            sim.nextRow(step + 1);
            pollEverything();
            if (QTest::currentTestFailed())
                return;
        }
    }
}

QTEST_APPLESS_MAIN(tst_CorruptRegion)
#include "tst_corruptregion.moc"
