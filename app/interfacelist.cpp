#include "interfacelist.h"

#include <QComboBox>
#include <QLineEdit>

QList<InterfaceList::Interface> InterfaceList::fromNetwork(const QList<QNetworkInterface> &interfaces)
{
    QList<Interface> described;
    for (const QNetworkInterface &netInterface : interfaces) {
        Interface entry{netInterface.flags(), netInterface.isValid(), netInterface.humanReadableName(), {}};
        for (const QNetworkAddressEntry &address : netInterface.addressEntries())
            entry.addresses.append(
                {address.ip().toString(), address.ip().protocol() == QAbstractSocket::IPv4Protocol});
        described.append(entry);
    }
    return described;
}

QList<InterfaceList::Row> InterfaceList::rows(const QList<Interface> &interfaces)
{
    QList<Row> result;
    for (const Interface &netInterface : interfaces) {
        // Being up is not enough: only a running interface can carry a client.
        if (!netInterface.flags.testFlag(QNetworkInterface::IsRunning) || !netInterface.valid ||
            netInterface.flags.testFlag(QNetworkInterface::IsLoopBack) ||
            netInterface.flags.testFlag(QNetworkInterface::IsPointToPoint) ||
            netInterface.addresses.isEmpty())
            continue;
        for (const Address &address : netInterface.addresses) {
            if (address.isIPv4)
                result.append({address.text + QStringLiteral(" - ") + netInterface.name, address.text});
        }
    }
    return result;
}

void InterfaceList::fill(QComboBox *combo, QStringList &addresses, QLineEdit *ip, const QList<Row> &rows,
                         const QString &saved)
{
    addresses.clear();
    for (const Row &row : rows) {
        combo->addItem(row.text);
        addresses.append(row.address);
    }
    // Selects the first row with exactly the saved text; otherwise row 0 stays selected.
    combo->setCurrentText(saved);
    showAddressOfRow(addresses, combo->currentIndex(), ip);
}

void InterfaceList::showAddressOfRow(const QStringList &addresses, int index, QLineEdit *ip)
{
    if (index >= 0 && index < addresses.size())
        ip->setText(addresses.at(index));
}
