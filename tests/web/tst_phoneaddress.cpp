#include "basics.h"
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
    for (const QString &line : lines)
        for (const QChar light : {QChar(0x2580), QChar(0x2584)}) {
            QString row;
            for (const QChar c : line.mid(quiet, size))
                row += c == QChar(0x2588) || c == light ? '0' : '1';
            rows.append(row);
        }
    return rows.mid(quiet, size);
}

// What a phone's camera would read: the modules as a picture, decoded by ZBar.
QByteArray scanned(const QStringList &modules)
{
    constexpr int quiet = 4;
    QImage image(modules.size() + 2 * quiet, modules.size() + 2 * quiet, QImage::Format_Grayscale8);
    image.fill(Qt::white);
    for (int y = 0; y < modules.size(); ++y)
        for (int x = 0; x < modules.size(); ++x)
            if (modules[y][x] == QLatin1Char('1'))
                image.setPixelColor(x + quiet, y + quiet, Qt::black);
    QProcess zbar;
    zbar.start(QStringLiteral("zbarimg"), {"--raw", "-q", "png:-"});
    image.scaled(image.size() * 6).save(&zbar, "PNG");
    zbar.closeWriteChannel();
    zbar.waitForFinished(20000);
    return zbar.readAllStandardOutput().trimmed();
}
} // namespace

// The address a phone opens, as the console and the /phone page show it.
class tst_PhoneAddress : public QObject
{
    Q_OBJECT
private slots:
    void codesReadBack_data()
    {
        QTest::addColumn<QByteArray>("text");
        QTest::newRow("LAN address") << QByteArray("http://192.168.1.20:47813/");
        QTest::newRow("long name") << QByteArray(
            "http://a-rather-long-host-name.home.arpa:65535/buttons?keys=Black%20box:F1");
    }
    void codesReadBack()
    {
        QFETCH(QByteArray, text);
        const QrCode code(text);
        QVERIFY(code.isValid());
        QCOMPARE(scanned(code.modules()), text);
        QCOMPARE(fromTerminal(code.terminalText(), code.modules().size()), code.modules());
    }
    void addressesAndDocument()
    {
        const PhoneAddress two(47813, {"192.168.1.20", "10.0.0.5"});
        QCOMPARE(two.urls(), QStringList({"http://192.168.1.20:47813/", "http://10.0.0.5:47813/"}));
        const QJsonObject document = json(two.json());
        QCOMPARE(document["type"].toString(), QStringLiteral("phone"));
        QCOMPARE(document["local"].toString(), QStringLiteral("http://localhost:47813/"));
        const QJsonArray urls = document["urls"].toArray();
        QCOMPARE(urls.size(), 2);
        for (int i = 0; i < 2; ++i) {
            QCOMPARE(urls[i]["url"].toString(), two.urls().at(i));
            QCOMPARE(scanned(urls[i]["qr"].toVariant().toStringList()), two.urls().at(i).toUtf8());
        }
        const QString console = two.consoleText();
        QVERIFY2(console.contains("scan the code or open http://192.168.1.20:47813/") &&
                     console.contains("(or http://10.0.0.5:47813/ on another of this PC's networks)"),
                 qPrintable(console));

        const PhoneAddress none(47813, {});
        QVERIFY(json(none.json())["urls"].toArray().isEmpty());
        QVERIFY2(none.consoleText().contains("No network for a phone") &&
                     !none.consoleText().contains(QChar(0x2588)),
                 qPrintable(none.consoleText()));
    }
};

QTEST_GUILESS_MAIN(tst_PhoneAddress)
#include "tst_phoneaddress.moc"
