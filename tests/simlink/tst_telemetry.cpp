#include "fakesimulator.h"

#include <QtTest>

using namespace TelemetryMap;

// The link over a byte block: the region reader, and the typed reads and text query on top.
class tst_Telemetry : public QObject
{
    Q_OBJECT
private slots:
    // Attaching and detaching; the newest slot by tick, a row taken once and only when its tick
    // stayed during the copy; regions too short for anything but their header.
    void attachRowsAndShortRegions()
    {
        FakeSimulator sim({{"Gear", typeInt, 1}, {"Time", typeDouble, 1}});
        sim.eventPresent = false;
        QVERIFY(!isLive() && !waitRow(0, nullptr, 0) && !waitRow(16, nullptr, 0) && !attach() &&
                !state().attached && !header() && !variableHeader(0) && rowLength() == -1);
        sim.eventPresent = true;
        QVERIFY(attach() && attach() && header() == sim.base() && !variableHeader(2) && !variableHeader(-1));
        QVERIFY(findVariable("Gear") == 0 && findVariable("Gea") == -1 && findVariable(nullptr) == -1);
        QVERIFY(!fetchRow(nullptr, 0) && state().lastTick == 0); // the slots' first ticks set the mark
        detach(); // everything opened is closed, and the mark forgotten
        QVERIFY(!header() && sim.openObjects == 0 && state().lastTick == noTick);
        for (std::int32_t slot = 0; slot < 3; ++slot)
            sim.layout.setValue(sim.base(), slot, 0, 0, slot + 1); // Gear
        sim.publish(0, 7);
        QVERIFY(!fetchRow(row.data(), 64) && !fetchRow(row.data(), 64)); // the first only sets the mark
        sim.publish(1, 10);
        sim.publish(2, 10);
        // Never past the capacity; of equal ticks, the lower slot.
        QVERIFY(fetchRow(row.data(), 4) && row[4] == 0xAB && RegionLayout::readInt(row.data()) == 2);
        sim.publish(0, 11);
        sim.onWait = [&] { sim.publish(2, 12); };
        QVERIFY(waitRow(16, row.data(), 64) && RegionLayout::readInt(row.data()) == 1);
        QVERIFY(waitRow(16, row.data(), 64) && !waitRow(16, row.data(), 64));
        // The slot rewritten during the first copy: the second counts; during both: no row, the mark stays.
        sim.duringCopy = [&, copy = 0]() mutable {
            if (++copy == 1 || copy == 3 || copy == 4) // the slot being copied, with a newer tick
                sim.nextRow(13 + 3 * copy, "Gear", 16);
        };
        sim.nextRow(13, "Gear", 13);
        QVERIFY(fetchRow(row.data(), 64) && state().lastTick == 16 &&
                RegionLayout::readInt(row.data()) == 16);
        sim.nextRow(19);
        QVERIFY(!fetchRow(row.data(), 64) && state().lastTick == 16);
        sim.clock += 10;
        // A restarted simulator: the lower tick becomes the mark, its row is not taken.
        sim.writeInt(rowSlotCountField, 0); // and no slots counted: slot 0 still
        sim.publish(0, 3);
        QVERIFY(!fetchRow(nullptr, 0));
        sim.publish(0, 4);
        QVERIFY(fetchRow(nullptr, 0) && isLive());
        // The status bit clear: no row, and the next tick seen only sets the mark again.
        sim.layout.setPublishing(sim.base(), false);
        sim.publish(0, 5);
        QVERIFY(!isLive() && !fetchRow(nullptr, 0));
        sim.layout.setPublishing(sim.base(), true);
        QVERIFY(!fetchRow(nullptr, 0));
        sim.publish(0, noTick); // even the highest tick there is, once above the mark
        QVERIFY(fetchRow(nullptr, 0) && !fetchRow(nullptr, 0));
        sim.clock += 29;
        detach(); // alive for 30 seconds after the last row, attached again or not
        QVERIFY(attach() && isLive());
        sim.clock += 1;
        QVERIFY(!isLive());
        // A region as long as its header has a header and nothing else; a shorter one, nothing.
        detach();
        sim.region.resize(headerSize);
        QVERIFY(attach() && !fetchRow(nullptr, 0) && !fetchRow(nullptr, 0) &&
                rowLength() == sim.layout.naturalRowLength());
        detach();
        sim.region.resize(headerSize - 1);
        QVERIFY(attach() && !fetchRow(nullptr, 0) && !isLive() && !sessionText() && rowLength() == -1 &&
                findVariable("Gear") == -1);
    }
    void fieldsOutsideTheRegion_data()
    {
        QTest::addColumn<int>("field");
        QTest::addColumn<int>("value");
        const int end = int(FakeSimulator({{"Gear", typeInt, 1}}).region.size());
        // Every offset goes through one range check: one negative offset stands for all.
        QTest::newRow("session text at the end") << int(sessionTextOffsetField) << end - 1;
        QTest::newRow("session text past the end") << int(sessionTextOffsetField) << end;
        QTest::newRow("negative session text offset") << int(sessionTextOffsetField) << -1;
        QTest::newRow("variable table runs out") << int(variableTableOffsetField) << end - 143;
        QTest::newRow("huge variable count") << int(variableCountField) << 0x7FFFFFFF;
        QTest::newRow("more slots than the region holds") << int(rowSlotCountField) << 100000;
        QTest::newRow("row runs past the end") << int(slotOffset(2) + slotRowOffsetField) << end - 4;
        QTest::newRow("huge row length") << int(rowLengthField) << 0x7FFFFFFF;
        QTest::newRow("negative row length") << int(rowLengthField) << -1;
    }
    // One field broken after a good start: what it points to reads as nothing; the rest stays.
    void fieldsOutsideTheRegion()
    {
        QFETCH(int, field);
        QFETCH(int, value);
        FakeSimulator sim({{"Gear", typeInt, 1}});
        sim.nextRow(1);
        QVERIFY(!fetchRow(nullptr, 0));
        const int size = int(sim.region.size());
        sim.writeInt(std::size_t(field), value);
        // Only "at the end" leaves the text inside the region; the row fields lie behind the table's.
        const bool textGone = field == int(sessionTextOffsetField) && value != size - 1;
        const bool tableGone = field == int(variableTableOffsetField),
                   rowGone = field >= int(rowSlotCountField);
        std::size_t available = 0;
        QCOMPARE(sessionText(&available) == nullptr, textGone);
        QCOMPARE(int(available),
                 textGone ? 0 : size - RegionLayout::readInt(sim.base() + sessionTextOffsetField));
        QVERIFY(findVariable("Gear") == (tableGone ? -1 : 0) && findVariable("No") == -1 &&
                (variableHeader(0) == nullptr) == tableGone && variableHeader(0x7FFFFFFE) == nullptr);
        sim.nextRow(2);
        QVERIFY(fetchRow(nullptr, 0) == !rowGone && (sim.nextRow(5), fetchRow(row.data(), 64)) == !rowGone);
    }
    void typedReads_data()
    {
        QTest::addColumn<int>("type");
        QTest::addColumn<double>("stored");
        QTest::addColumn<bool>("asBool");
        QTest::addColumn<int>("asInt");
        QTest::addColumn<double>("asDouble");
        QTest::newRow("float 0.5") << int(typeFloat) << 0.5 << false << 0 << 0.5;
        QTest::newRow("float -2.9 cut") << int(typeFloat) << -2.9 << false << -2 << double(-2.9f);
        QTest::newRow("float NaN") << int(typeFloat) << qQNaN() << false << 0 << qQNaN();
        QTest::newRow("float above int") << int(typeFloat) << 1e12 << true << 2147483647 << double(1e12f);
        QTest::newRow("float below int")
            << int(typeFloat) << -1e12 << false << -2147483647 - 1 << double(-1e12f);
        QTest::newRow("int 2^24+1") << int(typeInt) << 16777217.0 << true << 16777217 << 16777217.0;
        QTest::newRow("bit field") << int(typeBitField) << -2147483648.0 << true << -2147483647 - 1
                                   << -2147483648.0;
        QTest::newRow("char 0xFF") << int(typeChar) << -1.0 << true << -1 << -1.0;
        QTest::newRow("bool 1") << int(typeBool) << 1.0 << true << 1 << 1.0;
        QTest::newRow("double 5400.75") << int(typeDouble) << 5400.75 << true << 5400 << 5400.75;
    }
    void typedReads()
    {
        QFETCH(int, type);
        QFETCH(double, stored);
        QFETCH(bool, asBool);
        QFETCH(int, asInt);
        QFETCH(double, asDouble);
        FakeSimulator sim({{"Pad", typeChar, 3}, {"V", type, 2}});
        sim.setEverywhere("V", stored, 1);
        QVERIFY(sim.bringRow());
        QVERIFY(client.readBool(1, 1) == asBool && client.readInt(1, 1) == asInt &&
                client.readInt(1, 0) == 0);
        QCOMPARE(client.readDouble(1, 1), asDouble); // a NaN equals a NaN here
        QCOMPARE(client.readFloat(1, 1), float(asDouble));
    }
    // What cannot be read reads as the default, never outside the cached row; the cache follows
    // the row length and goes 30 seconds after the last row. The session text query on top.
    void readGuardsAndCache()
    {
        FakeSimulator sim(
            {{"Lap", typeInt, 4}, {"Pad", typeInt, 2}, {"Tail", typeDouble, 1}}); // tail: last 8 bytes
        sim.setText("WeekendInfo:\n TrackName: 0123456789\n Empty:\n");
        const char *path = "WeekendInfo:TrackName:";
        char buffer[32] = "xxxxxxxxxxx";
        QVERIFY(client.variableIndex("NotThere") == 0 &&
                client.sessionValue(path, buffer, 32) == 0); // no cache
        sim.setEverywhere("Lap", 13, 3);
        sim.setEverywhere("Pad", 7);
        sim.setEverywhere("Tail", 2.5);
        QVERIFY(sim.bringRow());
        QVERIFY(client.variableIndex("NotThere") == -1 && client.variableIndex("Tail") == 2 &&
                client.readFloat(-1, 0) == 0.0f && client.readInt(3, 0) == 0);
        QVERIFY(client.readInt(0, 3) == 13 && client.readInt(0, 4) == 0 && client.readInt(0, -1) == 0);
        const std::size_t table = std::size_t(RegionLayout::readInt(sim.base() + variableTableOffsetField));
        for (std::int32_t code : {6, -1, int(typeBitField)})
            QCOMPARE(
                (sim.writeInt(table + variableTypeField, code), client.readInt(0, 3) + client.readBool(0, 3)),
                code == typeBitField ? 14 : 0);
        const std::size_t tail = table + 2 * variableHeaderSize;
        for (std::int32_t offset : {-8, client.rowLength() - 7, client.rowLength() - 8})
            QCOMPARE((sim.writeInt(tail + variableValueOffsetField, offset), client.readDouble(2, 0)),
                     offset == client.rowLength() - 8 ? 2.5 : 0.0);
        QCOMPARE((sim.writeInt(tail + variableEntryCountField, 1000000), client.readDouble(2, 999999)), 0.0);
        // Nothing written without a value to give; then a value cut short, then whole.
        QVERIFY(!client.sessionValue(nullptr, buffer, 32) && !client.sessionValue(path, nullptr, 32) &&
                !client.sessionValue(path, buffer, 0) &&
                !client.sessionValue("WeekendInfo:No:", buffer, 32) && buffer[0] == 'x');
        QVERIFY(client.sessionValue(path, buffer, 1) == -10 && buffer[0] == '\0');
        QVERIFY(client.sessionValue(path, buffer, 10) == -10 && QByteArray(buffer) == "012345678" &&
                buffer[10] == 'x');
        QVERIFY(client.sessionValue(path, buffer, 11) == 1 && QByteArray(buffer) == "0123456789");
        QVERIFY(client.sessionValue("WeekendInfo:Empty:", buffer, 1) == 1 && buffer[0] == '\0');
        QVERIFY(!client.awaitRow(16) && sim.layout.setRowLength(sim.base(), 512));
        sim.setEverywhere("Lap", 4);
        // A new length: a new cache, filled by the next row; one the region cannot hold keeps the cache.
        QVERIFY(!sim.awaitNext() && client.rowLength() == 512);
        QVERIFY(sim.awaitNext() && client.readInt(0, 0) == 4);
        sim.writeInt(rowLengthField, int(sim.region.size()) + 1);
        QVERIFY(!sim.awaitNext() && client.rowLength() == 512);
        sim.clock += 29;
        QVERIFY(!client.awaitRow(16) && client.readInt(0, 0) == 4);
        sim.clock += 1; // the row is still cached, but the link is no longer alive
        QVERIFY(client.hasRow() && client.readInt(0, 0) == 0 && client.variableIndex("NotThere") == 0 &&
                client.sessionValue(path, buffer, 32) == 0);
        QVERIFY(!client.awaitRow(16) && !client.hasRow());
    }

private:
    TelemetryClient &client = TelemetryClient::shared();
    std::vector<unsigned char> row = std::vector<unsigned char>(64, 0xAB);
};

QTEST_APPLESS_MAIN(tst_Telemetry)
#include "tst_telemetry.moc"
