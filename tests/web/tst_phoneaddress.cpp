#include "phoneaddress.h"
#include "qrcode.h"

#include <QImage>
#include <QtTest>

namespace {
// The modules read back from the console's half blocks, with the quiet zone cut away.
QStringList fromTerminal(const QString &text, int size)
{
    const QStringList lines = text.split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    const int quiet = (lines.value(0).size() - size) / 2;
    QStringList rows;
    for (int y = quiet; y < quiet + size; ++y) {
        QString row;
        for (int x = quiet; x < quiet + size; ++x) {
            const QChar c = lines.value(y / 2).at(x);
            const bool light = y % 2 == 0 ? (c == QChar(0x2588) || c == QChar(0x2580))
                                          : (c == QChar(0x2588) || c == QChar(0x2584));
            row += light ? QLatin1Char('0') : QLatin1Char('1');
        }
        rows.append(row);
    }
    return rows;
}

QJsonObject json(const std::string &text)
{
    return QJsonDocument::fromJson(QByteArray::fromStdString(text)).object();
}

// What a phone's camera would read: the modules as a picture, decoded by ZBar.
QByteArray scanned(const QStringList &modules)
{
    constexpr int scale = 6, quiet = 4;
    const int side = (modules.size() + 2 * quiet) * scale;
    QImage image(side, side, QImage::Format_Grayscale8);
    image.fill(Qt::white);
    for (int y = 0; y < modules.size(); ++y)
        for (int x = 0; x < modules.size(); ++x)
            if (modules[y][x] == QLatin1Char('1'))
                for (int dy = 0; dy < scale; ++dy)
                    for (int dx = 0; dx < scale; ++dx)
                        image.setPixelColor((x + quiet) * scale + dx, (y + quiet) * scale + dy, Qt::black);
    QTemporaryDir dir;
    const QString file = dir.filePath(QStringLiteral("code.png"));
    if (!image.save(file))
        return "(not saved)";
    QProcess zbar;
    zbar.start(QStringLiteral("zbarimg"), {"--raw", "-q", file});
    zbar.waitForFinished(20000);
    return zbar.readAllStandardOutput().trimmed();
}
} // namespace

// The address a phone opens, as the console and the /phone page show it.
class tst_PhoneAddress : public QObject
{
    Q_OBJECT
private slots:
    void codesReadBack_data();
    void codesReadBack();
    void addressesAndDocument();
};

void tst_PhoneAddress::codesReadBack_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::newRow("LAN address") << QByteArray("http://192.168.1.20:47813/");
    QTest::newRow("long name") << QByteArray(
        "http://a-rather-long-host-name.home.arpa:65535/buttons?keys=Black%20box:F1");
}

void tst_PhoneAddress::codesReadBack()
{
    QFETCH(QByteArray, text);
    const QrCode code(text);
    QVERIFY(code.isValid());
    const int size = code.modules().size();
    // Versions 1 to 40 are 21 to 177 modules a side, in steps of four.
    QVERIFY2(size >= 21 && size <= 177 && (size - 21) % 4 == 0, qPrintable(QString::number(size)));
    QCOMPARE(scanned(code.modules()), text);
    QCOMPARE(fromTerminal(code.terminalText(), size), code.modules());
}

void tst_PhoneAddress::addressesAndDocument()
{
    const PhoneAddress two(47813, {"192.168.1.20", "10.0.0.5"});
    QCOMPARE(two.urls(), QStringList({"http://192.168.1.20:47813/", "http://10.0.0.5:47813/"}));
    const QJsonObject document = json(two.json());
    QCOMPARE(document.value("type").toString(), QStringLiteral("phone"));
    QCOMPARE(document.value("local").toString(), QStringLiteral("http://localhost:47813/"));
    const QJsonArray urls = document.value("urls").toArray();
    QCOMPARE(urls.size(), 2);
    for (int i = 0; i < 2; ++i) {
        const QJsonObject entry = urls.at(i).toObject();
        QCOMPARE(entry.value("url").toString(), two.urls().at(i));
        QStringList rows;
        for (const QJsonValue &row : entry.value("qr").toArray())
            rows.append(row.toString());
        QCOMPARE(scanned(rows), two.urls().at(i).toUtf8());
    }
    const QString console = two.consoleText();
    QVERIFY2(console.contains("scan the code or open http://192.168.1.20:47813/") &&
                 console.contains("(or http://10.0.0.5:47813/ on another of this PC's networks)"),
             qPrintable(console));

    const PhoneAddress none(47813, {});
    QVERIFY(json(none.json()).value("urls").toArray().isEmpty());
    QVERIFY2(none.consoleText().contains("No network for a phone") &&
                 !none.consoleText().contains(QChar(0x2588)),
             qPrintable(none.consoleText()));
}

QTEST_GUILESS_MAIN(tst_PhoneAddress)
#include "tst_phoneaddress.moc"
