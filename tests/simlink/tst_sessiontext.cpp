#include "sessiontext.h"

#include <QtTest>

class tst_SessionText : public QObject
{
    Q_OBJECT
private slots:
    void query_data();
    void query();
    void textOfItsSize();
};

void tst_SessionText::query_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QByteArray>("path");
    QTest::addColumn<bool>("found");
    QTest::addColumn<QByteArray>("value");
    const char *example = "---\nWeekendInfo:\n TrackName: sample_speedway\nSessionInfo:\n Sessions:\n"
                          " - SessionNum: 0\n   SessionTime: 600.0000 sec\n   SessionType: Practice\n"
                          " - SessionNum: 1\n   SessionNumLapsToAvg: 3\n   SessionType: Race\n"
                          "DriverInfo:\n DriverCarFuelMaxLtr: 110.000\n...\n";
    const auto row = [](const char *name, const char *text, const char *path, bool found, const char *value) {
        QTest::newRow(name) << QByteArray(text) << QByteArray(path) << found << QByteArray(value);
    };
    row("track name", example, "WeekendInfo:TrackName:", true, "sample_speedway");
    row("race type", example, "SessionInfo:Sessions:SessionNum:{1}SessionType:", true, "Race");
    row("same depth as the match goes on", example, "WeekendInfo:DriverCarFuelMaxLtr:", true, "110.000");
    row("shallower line ends the search", example, "SessionInfo:Sessions:DriverInfo:", false, "");
    row("item scope runs on", example, "SessionInfo:Sessions:SessionNum:{0}SessionNumLapsToAvg:", true, "3");
    row("missing in the last item", example, "SessionInfo:Sessions:SessionNum:{1}SessionTime:", false, "");
    row("no such session", example, "SessionInfo:Sessions:SessionNum:{2}SessionType:", false, "");
    row("parent key alone is empty", example, "WeekendInfo:", true, "");
    row("path ending in a value component", example, "SessionInfo:Sessions:SessionNum:{1}", true, "1");
    row("missing colon in the path", example, "WeekendInfo:TrackName", false, "");
    row("deeper key ahead of a shallower one", "A:\n  X: deep\n X: shallow\n", "A:X:", true, "deep");
    row("spaces inside and behind belong", "A: 1 2   \n", "A:", true, "1 2   ");
    row("colons stay in the value", "A: 12:34:56\n", "A:", true, "12:34:56");
    row("CR LF", "A:\r\n B:\r\n  C: v\r\n", "A:B:C:", true, "v"); // the LF passed over as an empty line is
    row("last line without line end", "A:\n B: v", "A:B:", false, "");
    row("line of spaces below the match ends", "A:\n  B:\n \n  C: v\n", "A:B:C:", false, "");
    row("line of spaces at the match depth does not", "A:\n  B:\n  \n  C: v\n", "A:B:C:", true, "v");
    row("value compare is exact in length", "L:\n - K: 1 \n   V: x\n", "L:K:{1}V:", false, "");
    row("colon in front of a key", "A:\n :B: v\n", "A:B:", true, "v");
    row("empty braces match an empty value", "L:\n - K:\n   V: x\n", "L:K:{}V:", true, "x");
    row("unclosed brace matches nothing", "L:\n - K: 1\n   V: x\n", "L:K:{1V:", false, "");
    row("nested list passed over", "L:\n - N: 0\n   Sub:\n   - N: 1\n     V: in\n - N: 1\n   V: out\n",
        "L:N:{1}V:", true, "in");
}

void tst_SessionText::query()
{
    QFETCH(QByteArray, text);
    QFETCH(QByteArray, path);
    QFETCH(bool, found);
    QFETCH(QByteArray, value);
    const char *start = text.constData() - 1;
    std::int32_t length = -7;
    QCOMPARE(findSessionValue(text, std::size_t(text.size()) + 1, path, &start, &length), found);
    QVERIFY(length == value.size() && QByteArray(start, length) == value);
    QVERIFY(found ? length == 0 || (start >= text.constData() && start + length <= text.end()) : !start);
}

// Without a NUL first, the text stops at its size; null arguments give false.
void tst_SessionText::textOfItsSize()
{
    const char text[] = {'A', ':', ' ', '1', '\n', 'B', ':', ' ', '2', '\n'};
    const char *start = nullptr;
    std::int32_t length = 0;
    QVERIFY(findSessionValue(text, 5, "A:", &start, &length) &&
            !findSessionValue(text, 9, "B:", &start, &length));
    QVERIFY(findSessionValue(text, sizeof text, "B:", &start, &length) && QByteArray(start, length) == "2");
    QVERIFY(!findSessionValue(nullptr, 10, "A:", &start, &length) &&
            !findSessionValue(text, 10, nullptr, &start, &length) &&
            !findSessionValue(text, 10, "A:", nullptr, &length) &&
            !findSessionValue(text, 10, "A:", &start, nullptr));
}

QTEST_APPLESS_MAIN(tst_SessionText)
#include "tst_sessiontext.moc"
