#include "interfacelist.h"

#include <QtTest>
#include <QtWidgets>

using Flags = QNetworkInterface::InterfaceFlags;

class tst_InterfaceList : public QObject
{
    Q_OBJECT
private slots:
    void whichAddressesAreRows()
    {
        const Flags running(QNetworkInterface::IsUp | QNetworkInterface::IsRunning);
        const QList<InterfaceList::Interface> interfaces = {
            {running, true, "eth0", {{"192.168.1.10", true}, {"fe80::2", false}, {"192.168.1.11", true}}},
            {Flags(QNetworkInterface::IsUp), true, "up-not-running", {{"10.0.0.1", true}}},
            {Flags(QNetworkInterface::IsRunning), true, "running-not-up", {{"10.0.0.2", true}}},
            {running | QNetworkInterface::IsLoopBack, true, "lo", {{"127.0.0.1", true}}},
            {running | QNetworkInterface::IsPointToPoint, true, "tun0", {{"10.8.0.1", true}}},
            {running, false, "invalid", {{"10.0.0.3", true}}},
            {running, true, "empty", {}},
        };
        QStringList texts, addresses;
        for (const InterfaceList::Row &row : InterfaceList::rows(interfaces))
            texts.append(row.text), addresses.append(row.address);
        QCOMPARE(texts,
                 QStringList({"192.168.1.10 - eth0", "192.168.1.11 - eth0", "10.0.0.2 - running-not-up"}));
        QCOMPARE(addresses, QStringList({"192.168.1.10", "192.168.1.11", "10.0.0.2"}));
    }
    void savedChoice_data()
    {
        QTest::addColumn<int>("rows");
        QTest::addColumn<QString>("saved");
        QTest::addColumn<int>("index");
        QTest::addColumn<QString>("ip");
        const auto row = [](const char *name, int rows, const char *saved, int index, const char *ip) {
            QTest::newRow(name) << rows << QString(saved) << index << QString(ip);
        };
        row("matching row", 2, "10.0.0.2 - eth1", 1, "10.0.0.2");
        row("no match: first row", 2, "10.0.0.9 - eth1", 0, "10.0.0.1");
        row("address alone does not match", 2, "10.0.0.2", 0, "10.0.0.1");
        row("no rows: the stored address stays", 0, "10.0.0.1 - eth0", -1, "stored");
    }
    void savedChoice()
    {
        QFETCH(int, rows);
        QFETCH(QString, saved);
        QFETCH(int, index);
        QFETCH(QString, ip);
        QComboBox combo;
        QLineEdit field(QStringLiteral("stored"));
        QStringList addresses = {QStringLiteral("left over")};
        const QList<InterfaceList::Row> all = {{"10.0.0.1 - eth0", "10.0.0.1"},
                                               {"10.0.0.2 - eth1", "10.0.0.2"}};
        InterfaceList::fill(&combo, addresses, &field, all.mid(0, rows), saved);
        QCOMPARE(addresses, QStringList({"10.0.0.1", "10.0.0.2"}).mid(0, rows));
        QVERIFY(combo.count() == rows && combo.currentIndex() == index);
        QCOMPARE(field.text(), ip);
        // Rows outside the list change nothing.
        field.setText(QStringLiteral("typed"));
        InterfaceList::showAddressOfRow(addresses, -1, &field);
        InterfaceList::showAddressOfRow(addresses, rows, &field);
        QCOMPARE(field.text(), QStringLiteral("typed"));
        InterfaceList::showAddressOfRow(addresses, rows - 1, &field);
        QCOMPARE(field.text(), rows ? QStringLiteral("10.0.0.2") : QStringLiteral("typed"));
    }
};

QTEST_MAIN(tst_InterfaceList)
#include "tst_interfacelist.moc"
