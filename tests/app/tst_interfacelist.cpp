#include "interfacelist.h"

#include <QComboBox>
#include <QLineEdit>
#include <QtTest>

using Flags = QNetworkInterface::InterfaceFlags;

namespace {
const Flags runningUp = Flags(QNetworkInterface::IsUp | QNetworkInterface::IsRunning);

InterfaceList::Interface iface(const QString &name, Flags flags, QList<InterfaceList::Address> addresses,
                               bool valid = true)
{
    return {flags, valid, name, addresses};
}

QStringList texts(const QList<InterfaceList::Row> &rows)
{
    QStringList result;
    for (const InterfaceList::Row &row : rows)
        result.append(row.text);
    return result;
}
} // namespace

class tst_InterfaceList : public QObject
{
    Q_OBJECT
private slots:
    void whichInterfacesCount();
    void everyIPv4AddressIsARow();
    void savedChoice_data();
    void savedChoice();
    void noRowsKeepsTheStoredAddress();
    void followingTheRow();
    void describesTheMachine();
};

void tst_InterfaceList::whichInterfacesCount()
{
    const QList<InterfaceList::Address> v4 = {{QStringLiteral("192.168.1.10"), true}};
    const QList<InterfaceList::Interface> interfaces = {
        iface("eth0", runningUp, v4),
        iface("up-not-running", Flags(QNetworkInterface::IsUp), {{"10.0.0.1", true}}),
        iface("running-not-up", Flags(QNetworkInterface::IsRunning), {{"10.0.0.2", true}}),
        iface("lo", runningUp | QNetworkInterface::IsLoopBack, {{"127.0.0.1", true}}),
        iface("tun0", runningUp | QNetworkInterface::IsPointToPoint, {{"10.8.0.1", true}}),
        iface("invalid", runningUp, {{"10.0.0.3", true}}, false),
        iface("v6only", runningUp, {{"fe80::1", false}}),
        iface("empty", runningUp, {}),
    };
    QCOMPARE(texts(InterfaceList::rows(interfaces)),
             QStringList({"192.168.1.10 - eth0", "10.0.0.2 - running-not-up"}));
}

void tst_InterfaceList::everyIPv4AddressIsARow()
{
    const QList<InterfaceList::Row> rows = InterfaceList::rows(
        {iface("wlan0", runningUp,
               {{"10.1.1.1", true}, {"fe80::2", false}, {"10.1.1.2", true}, {"10.1.1.3", true}})});
    QCOMPARE(texts(rows), QStringList({"10.1.1.1 - wlan0", "10.1.1.2 - wlan0", "10.1.1.3 - wlan0"}));
    QCOMPARE(rows.at(2).address, QStringLiteral("10.1.1.3"));
}

void tst_InterfaceList::savedChoice_data()
{
    QTest::addColumn<QString>("saved");
    QTest::addColumn<int>("index");
    QTest::addColumn<QString>("ip");
    QTest::newRow("matching row") << "10.0.0.2 - eth1" << 1 << "10.0.0.2";
    QTest::newRow("no match: first row") << "10.0.0.9 - eth1" << 0 << "10.0.0.1";
    QTest::newRow("nothing saved: first row") << "" << 0 << "10.0.0.1";
    QTest::newRow("address alone does not match") << "10.0.0.2" << 0 << "10.0.0.1";
}

void tst_InterfaceList::savedChoice()
{
    QFETCH(QString, saved);
    QFETCH(int, index);
    QFETCH(QString, ip);
    QComboBox combo;
    QLineEdit field(QStringLiteral("stored address"));
    QStringList addresses = {QStringLiteral("left over")};
    InterfaceList::fill(&combo, addresses, &field,
                        {{"10.0.0.1 - eth0", "10.0.0.1"}, {"10.0.0.2 - eth1", "10.0.0.2"}}, saved);
    QCOMPARE(addresses, QStringList({"10.0.0.1", "10.0.0.2"}));
    QCOMPARE(combo.count(), 2);
    QCOMPARE(combo.currentIndex(), index);
    QCOMPARE(field.text(), ip);
}

void tst_InterfaceList::noRowsKeepsTheStoredAddress()
{
    QComboBox combo;
    QLineEdit field(QStringLiteral("192.168.7.7"));
    QStringList addresses;
    InterfaceList::fill(&combo, addresses, &field, {}, QStringLiteral("10.0.0.1 - eth0"));
    QCOMPARE(combo.currentIndex(), -1);
    QVERIFY(addresses.isEmpty());
    QCOMPARE(field.text(), QStringLiteral("192.168.7.7"));
}

void tst_InterfaceList::followingTheRow()
{
    QLineEdit field(QStringLiteral("typed by hand"));
    const QStringList addresses = {QStringLiteral("10.0.0.1"), QStringLiteral("10.0.0.2")};
    InterfaceList::showAddressOfRow(addresses, -1, &field);
    InterfaceList::showAddressOfRow(addresses, 2, &field);
    QCOMPARE(field.text(), QStringLiteral("typed by hand"));
    InterfaceList::showAddressOfRow(addresses, 1, &field);
    QCOMPARE(field.text(), QStringLiteral("10.0.0.2"));
}

void tst_InterfaceList::describesTheMachine()
{
    const QList<QNetworkInterface> system = QNetworkInterface::allInterfaces();
    const QList<InterfaceList::Interface> described = InterfaceList::fromNetwork(system);
    QCOMPARE(described.size(), system.size());
    for (int i = 0; i < system.size(); ++i) {
        QCOMPARE(described.at(i).name, system.at(i).humanReadableName());
        QCOMPARE(described.at(i).addresses.size(), system.at(i).addressEntries().size());
        if (system.at(i).flags().testFlag(QNetworkInterface::IsLoopBack))
            QVERIFY(InterfaceList::rows({described.at(i)}).isEmpty());
    }
}

QTEST_MAIN(tst_InterfaceList)
#include "tst_interfacelist.moc"
