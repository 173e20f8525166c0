#include "fakesimulator.h"

#include <QtTest>

using namespace TelemetryMap;

namespace {
std::vector<RegionLayout::Variable> fewVariables()
{
    return {{"SessionTime", 5, 1}, {"FuelLevel", 4, 1}, {"Gear", 2, 1}};
}
} // namespace

class tst_TelemetryMap : public QObject
{
    Q_OBJECT
private slots:
    void attachOpensInOrderAndGoesOnWhereItStopped();
    void detachClosesAndKeepsRowTime();
    void firstFetchOnlyLowersTheTick();
    void equalAndBackwardTicks();
    void newestSlotChoice();
    void nullDestinationAcceptsWithoutCopy();
    void copyAttempts();
    void copyIsBoundedByCapacity();
    void statusBitClear();
    void staleness();
    void waitRow();
    void findVariable();
    void regionBounds();
};

void tst_TelemetryMap::attachOpensInOrderAndGoesOnWhereItStopped()
{
    FakeSimulator sim(fewVariables());
    sim.eventPresent = false;
    QVERIFY(!attach());
    QVERIFY(!state().attached);
    QVERIFY(state().mappingHandle && state().regionBase && !state().dataEvent);
    QCOMPARE(header(), nullptr);
    QCOMPARE(sessionText(), nullptr);
    QCOMPARE(variableHeader(0), nullptr);

    sim.eventPresent = true;
    QVERIFY(attach());
    // The mapping and view were kept: only the event was opened again.
    QCOMPARE(sim.mappingOpens, 1);
    QCOMPARE(sim.viewMaps, 1);
    QCOMPARE(sim.eventOpens, 2);
    QCOMPARE(header(), sim.base());

    // A further call touches neither the objects nor the tick.
    QVERIFY(!fetchRow(nullptr, 0));
    QVERIFY(state().lastTick != noTick);
    QVERIFY(attach());
    QCOMPARE(sim.mappingOpens + sim.viewMaps + sim.eventOpens, 4);
    QVERIFY(state().lastTick != noTick);

    detach();
    sim.mappingPresent = false;
    QVERIFY(!attach());
    QCOMPARE(sim.viewMaps, 1);
    QCOMPARE(state().lastTick, noTick);
}

void tst_TelemetryMap::detachClosesAndKeepsRowTime()
{
    FakeSimulator sim(fewVariables());
    sim.nextRow(1);
    QVERIFY(!fetchRow(nullptr, 0));
    sim.nextRow(2);
    QVERIFY(fetchRow(nullptr, 0));
    const std::int64_t rowTime = state().lastRowTime;
    QCOMPARE(rowTime, sim.clock);

    detach();
    QCOMPARE(sim.closes, 2);
    QCOMPARE(sim.unmaps, 1);
    QVERIFY(!state().attached && !state().mappingHandle && !state().regionBase && !state().dataEvent);
    QCOMPARE(state().lastTick, noTick);
    QCOMPARE(state().lastRowTime, rowTime);
    detach();
    QCOMPARE(sim.closes, 2);

    // Attached again within 30 seconds, the link counts as alive before its first row.
    sim.clock += 10;
    QVERIFY(attach());
    QVERIFY(isLive());
}

void tst_TelemetryMap::firstFetchOnlyLowersTheTick()
{
    FakeSimulator sim(fewVariables());
    sim.nextRow(5, "Gear", 3);
    std::vector<unsigned char> row(size_t(sim.layout.naturalRowLength()));
    const std::int64_t rowTime = state().lastRowTime;
    QVERIFY(!fetchRow(row.data(), std::int32_t(row.size())));
    QCOMPARE(state().lastTick, 5);
    QCOMPARE(state().lastRowTime, rowTime);
    QCOMPARE(sim.copies, 0);
    sim.nextRow(6, "Gear", 4);
    QVERIFY(fetchRow(row.data(), std::int32_t(row.size())));
    QCOMPARE(state().lastTick, 6);
    QCOMPARE(RegionLayout::readInt(row.data() + sim.layout.valueOffset(2)), 4);
}

void tst_TelemetryMap::equalAndBackwardTicks()
{
    {
        FakeSimulator sim(fewVariables());
        sim.nextRow(100);
        QVERIFY(!fetchRow(nullptr, 0));
        QVERIFY(!fetchRow(nullptr, 0)); // equal: nothing changes
        QCOMPARE(state().lastTick, 100);

        // A restarted simulator: the lower tick is taken as the new mark, its row is not.
        sim.layout.initialise(sim.base());
        sim.layout.setPublishing(sim.base(), true);
        sim.nextRow(3);
        QVERIFY(!fetchRow(nullptr, 0));
        QCOMPARE(state().lastTick, 3);
        sim.nextRow(4);
        QVERIFY(fetchRow(nullptr, 0));
    }
    // The highest tick there is equals the mark of "no tick seen".
    FakeSimulator top(fewVariables());
    top.nextRow(noTick);
    QVERIFY(!fetchRow(nullptr, 0));
    QCOMPARE(state().lastTick, noTick);
}

void tst_TelemetryMap::newestSlotChoice()
{
    std::vector<unsigned char> row(1024);
    {
        FakeSimulator sim(fewVariables());
        for (std::int32_t slot = 0; slot < 3; ++slot)
            sim.setValue(slot, "Gear", slot + 1);
        sim.publish(0, 7);
        sim.publish(1, 9);
        sim.publish(2, 9);
        QVERIFY(!fetchRow(row.data(), 1024));
        sim.publish(1, 10);
        sim.publish(2, 10);
        QVERIFY(fetchRow(row.data(), 1024));
        // Equal ticks: the lower slot.
        QCOMPARE(RegionLayout::readInt(row.data() + sim.layout.valueOffset(2)), 2);
    }
    {
        FakeSimulator one(fewVariables(), 1);
        one.setValue(0, "Gear", 5);
        one.publish(0, 1);
        QVERIFY(!fetchRow(row.data(), 1024));
        one.publish(0, 2);
        QVERIFY(fetchRow(row.data(), 1024));
        QCOMPARE(RegionLayout::readInt(row.data() + one.layout.valueOffset(2)), 5);
    }
    // A slot count of 0 still uses slot 0.
    FakeSimulator none(fewVariables(), 1);
    none.writeInt(32, 0);
    none.publish(0, 1);
    QVERIFY(!fetchRow(nullptr, 0));
    none.publish(0, 2);
    QVERIFY(fetchRow(nullptr, 0));
}

void tst_TelemetryMap::nullDestinationAcceptsWithoutCopy()
{
    FakeSimulator sim(fewVariables());
    std::vector<unsigned char> row(1024);
    sim.nextRow(1);
    QVERIFY(!fetchRow(nullptr, 0));
    sim.nextRow(2);
    QVERIFY(fetchRow(nullptr, 0));
    QCOMPARE(sim.copies, 0);
    QCOMPARE(state().lastRowTime, sim.clock);
    // That row is taken; a destination gets nothing until a newer one.
    QVERIFY(!fetchRow(row.data(), 1024));
    sim.nextRow(3);
    QVERIFY(fetchRow(row.data(), 1024));
}

void tst_TelemetryMap::copyAttempts()
{
    FakeSimulator sim(fewVariables());
    std::vector<unsigned char> row(1024);
    sim.nextRow(1);
    QVERIFY(!fetchRow(nullptr, 0));
    sim.nextRow(2);

    // The slot is rewritten during the first copy only: the second copy counts.
    sim.duringCopy = [&](int copy) {
        if (copy == 1)
            sim.publish(2, 5);
    };
    QVERIFY(fetchRow(row.data(), 1024));
    QCOMPARE(state().lastTick, 5);
    QCOMPARE(sim.copies, 2);

    // Rewritten during both copies: no row, the tick state stays.
    sim.nextRow(6);
    const std::int64_t rowTime = state().lastRowTime;
    sim.clock += 1;
    sim.copies = 0;
    sim.duringCopy = [&](int copy) { sim.publish(0, 6 + copy); };
    QVERIFY(!fetchRow(row.data(), 1024));
    QCOMPARE(sim.copies, 2);
    QCOMPARE(state().lastTick, 5);
    QCOMPARE(state().lastRowTime, rowTime);
}

void tst_TelemetryMap::copyIsBoundedByCapacity()
{
    FakeSimulator sim(fewVariables());
    std::vector<unsigned char> row(64, 0xAB);
    sim.nextRow(1);
    QVERIFY(!fetchRow(row.data(), 8));
    sim.nextRow(2, "SessionTime", 1.0);
    QVERIFY(fetchRow(row.data(), 8));
    QCOMPARE(row[8], (unsigned char)0xAB);
    double time;
    std::memcpy(&time, row.data(), 8);
    QCOMPARE(time, 1.0);
}

void tst_TelemetryMap::statusBitClear()
{
    FakeSimulator sim(fewVariables());
    sim.nextRow(1);
    QVERIFY(!fetchRow(nullptr, 0));
    sim.nextRow(2);
    QVERIFY(fetchRow(nullptr, 0));
    QVERIFY(isLive());
    sim.layout.setPublishing(sim.base(), false);
    QVERIFY(!isLive());
    sim.nextRow(3);
    QVERIFY(!fetchRow(nullptr, 0));
    QCOMPARE(state().lastTick, noTick);
    sim.layout.setPublishing(sim.base(), true);
    QVERIFY(!fetchRow(nullptr, 0)); // the first fetch after publishing again moves the mark only
    sim.nextRow(4);
    QVERIFY(fetchRow(nullptr, 0));
}

void tst_TelemetryMap::staleness()
{
    FakeSimulator sim(fewVariables());
    QVERIFY(!isLive()); // not attached
    QVERIFY(attach());
    QVERIFY(!isLive()); // attached, bit set, but no row yet
    sim.nextRow(1);
    fetchRow(nullptr, 0);
    sim.nextRow(2);
    QVERIFY(fetchRow(nullptr, 0));
    sim.clock += 29;
    QVERIFY(isLive());
    sim.clock += 1;
    QVERIFY(!isLive());
}

void tst_TelemetryMap::waitRow()
{
    FakeSimulator sim(fewVariables());
    sim.mappingPresent = false;
    QVERIFY(!TelemetryMap::waitRow(0, nullptr, 0));
    QVERIFY(sim.sleeps.empty());
    QVERIFY(!TelemetryMap::waitRow(16, nullptr, 0));
    QCOMPARE(sim.sleeps, std::vector<int>({16}));

    sim.mappingPresent = true;
    sim.nextRow(1);
    // The first fetch moves the mark; the simulator writes a row during the wait.
    sim.onWait = [&] { sim.nextRow(2); };
    QVERIFY(TelemetryMap::waitRow(16, nullptr, 0));
    QCOMPARE(sim.waits, std::vector<int>({16}));
    // A new row already there needs no wait.
    sim.nextRow(3);
    QVERIFY(TelemetryMap::waitRow(16, nullptr, 0));
    QCOMPARE(sim.waits.size(), size_t(1));
    sim.onWait = nullptr;
    QVERIFY(!TelemetryMap::waitRow(16, nullptr, 0));
    QCOMPARE(sim.waits.size(), size_t(2));
}

void tst_TelemetryMap::findVariable()
{
    const std::string longName(40, 'x');
    FakeSimulator sim({{"Gear", 2, 1}, {"FuelLevel", 4, 1}, {longName, 4, 1}, {"Gear", 2, 1}});
    QCOMPARE(TelemetryMap::findVariable("Gear"), -1); // not attached
    QVERIFY(attach());
    QCOMPARE(TelemetryMap::findVariable("Gear"), 0);
    QCOMPARE(TelemetryMap::findVariable("FuelLevel"), 1);
    QCOMPARE(TelemetryMap::findVariable("fuellevel"), -1);
    QCOMPARE(TelemetryMap::findVariable("Fuel"), -1);
    QCOMPARE(TelemetryMap::findVariable(nullptr), -1);
    // The name field holds 32 bytes; what differs behind them is not compared.
    QCOMPARE(TelemetryMap::findVariable((std::string(32, 'x') + "different").c_str()), 2);
    QCOMPARE(TelemetryMap::variableHeader(-1), nullptr);
    QCOMPARE(TelemetryMap::variableHeader(4), nullptr);
    QVERIFY(TelemetryMap::variableHeader(3) != nullptr);
    sim.writeInt(24, 0);
    QCOMPARE(TelemetryMap::findVariable("Gear"), -1);
}

// Offsets and counts that point outside the region read as nothing.
void tst_TelemetryMap::regionBounds()
{
    FakeSimulator sim(fewVariables());
    sim.nextRow(1);
    QVERIFY(!fetchRow(nullptr, 0));
    sim.nextRow(2);
    const std::int32_t size = std::int32_t(sim.region.size());

    sim.writeInt(48 + 16 * 2 + 4, size - 4); // the newest slot's row runs past the end
    QVERIFY(!fetchRow(nullptr, 0));
    std::vector<unsigned char> row(1024);
    QVERIFY(!fetchRow(row.data(), 1024));
    sim.writeInt(48 + 16 * 2 + 4, -16);
    QVERIFY(!fetchRow(row.data(), 1024));

    sim.writeInt(32, 100000); // more slots than the region holds
    QVERIFY(!fetchRow(nullptr, 0));
    sim.writeInt(32, 3);

    sim.writeInt(20, size); // session text behind the end
    QCOMPARE(sessionText(), nullptr);
    sim.writeInt(20, -1);
    QCOMPARE(sessionText(), nullptr);

    sim.writeInt(28, size - 100); // the variable table runs out of the region
    QCOMPARE(variableHeader(0), nullptr);
    QCOMPARE(TelemetryMap::findVariable("Gear"), -1);
    sim.writeInt(24, 0x7FFFFFFF);
    sim.writeInt(28, 0x7FFFFF00);
    QCOMPARE(variableHeader(0x7FFFFFFE), nullptr);
}

QTEST_APPLESS_MAIN(tst_TelemetryMap)
#include "tst_telemetrymap.moc"
