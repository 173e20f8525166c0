#pragma once

#include <QList>
#include <QNetworkInterface>
#include <QString>
#include <QStringList>

class QComboBox;
class QLineEdit;

// The rows of the window's Network list: the machine's IPv4 addresses as "address - name".
// The rules work on plain data, so that they can be tested without the machine's interfaces.
namespace InterfaceList {
struct Address
{
    QString text;
    bool isIPv4;
};
struct Interface
{
    QNetworkInterface::InterfaceFlags flags;
    bool valid;
    QString name; // the human-readable name
    QList<Address> addresses;
};
struct Row
{
    QString text;
    QString address;
};

// The machine's interfaces as plain data.
QList<Interface> fromNetwork(const QList<QNetworkInterface> &interfaces);
// Running, valid, neither loopback nor point-to-point, with addresses: one row per IPv4 one.
QList<Row> rows(const QList<Interface> &interfaces);
// Fills the combo and `addresses` in parallel, selects the saved row, and puts the current
// row's address into `ip`; with no rows `ip` keeps its text.
void fill(QComboBox *combo, QStringList &addresses, QLineEdit *ip, const QList<Row> &rows,
          const QString &saved);
// Puts the address of row `index` into `ip`; an index outside the rows changes nothing.
void showAddressOfRow(const QStringList &addresses, int index, QLineEdit *ip);
} // namespace InterfaceList
