#include "sessiontext.h"

#include <QtTest>

#include <cstring>

namespace {
const char *const example = "---\n"
                            "WeekendInfo:\n"
                            " TrackName: sample_speedway\n"
                            " NumCarTypes: 2\n"
                            " NumCarClasses: 1\n"
                            "SessionInfo:\n"
                            " NumSessions: 2\n"
                            " Sessions:\n"
                            " - SessionNum: 0\n"
                            "   SessionLaps: unlimited\n"
                            "   SessionTime: 600.0000 sec\n"
                            "   SessionType: Practice\n"
                            " - SessionNum: 1\n"
                            "   SessionLaps: 12\n"
                            "   SessionNumLapsToAvg: 3\n"
                            "   SessionType: Race\n"
                            "DriverInfo:\n"
                            " DriverCarFuelKgPerLtr: 0.750\n"
                            " DriverCarFuelMaxLtr: 110.000\n"
                            " DriverCarMaxFuelPct: 1.000\n"
                            "...\n";
} // namespace

class tst_SessionText : public QObject
{
    Q_OBJECT
private slots:
    void query_data();
    void query();
    void nullArguments();
    void boundedByTextSize();
};

void tst_SessionText::query_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QByteArray>("path");
    QTest::addColumn<bool>("found");
    QTest::addColumn<QByteArray>("value");

    const QByteArray ex(example);
    auto row = [&](const char *name, const char *path, bool found, const char *value) {
        QTest::newRow(name) << ex << QByteArray(path) << found << QByteArray(value);
    };
    row("track name", "WeekendInfo:TrackName:", true, "sample_speedway");
    row("car types", "WeekendInfo:NumCarTypes:", true, "2");
    row("sessions", "SessionInfo:NumSessions:", true, "2");
    row("race type", "SessionInfo:Sessions:SessionNum:{1}SessionType:", true, "Race");
    row("practice laps", "SessionInfo:Sessions:SessionNum:{0}SessionLaps:", true, "unlimited");
    row("practice time", "SessionInfo:Sessions:SessionNum:{0}SessionTime:", true, "600.0000 sec");
    row("fuel", "DriverInfo:DriverCarFuelMaxLtr:", true, "110.000");
    row("same depth as the match goes on", "WeekendInfo:DriverCarFuelMaxLtr:", true, "110.000");
    row("shallower line ends the search", "SessionInfo:Sessions:DriverInfo:", false, "");
    row("key before its parent", "SessionInfo:TrackName:", false, "");
    row("item scope runs on", "SessionInfo:Sessions:SessionNum:{0}SessionNumLapsToAvg:", true, "3");
    row("missing in the last item", "SessionInfo:Sessions:SessionNum:{1}SessionTime:", false, "");
    row("no such session", "SessionInfo:Sessions:SessionNum:{2}SessionType:", false, "");
    row("1 is not 10", "SessionInfo:Sessions:SessionNum:{10}SessionType:", false, "");
    row("parent key alone is empty", "WeekendInfo:", true, "");
    row("path ending in a value component", "SessionInfo:Sessions:SessionNum:{1}", true, "1");
    row("case matters", "weekendinfo:TrackName:", false, "");
    row("missing colon in the path", "WeekendInfo:TrackName", false, "");
    row("closing dots are a key", "...", true, "");
    row("unclosed brace matches nothing", "SessionInfo:Sessions:SessionNum:{1SessionType:", false, "");

    auto text = [](const char *name, const char *t, const char *path, bool found, const char *value) {
        QTest::newRow(name) << QByteArray(t) << QByteArray(path) << found << QByteArray(value);
    };
    text("deeper key ahead of a shallower one", "A:\n  X: deep\n X: shallow\n", "A:X:", true, "deep");
    text("repeated key gives the first", "A:\n X: 1\n X: 2\n", "A:X:", true, "1");
    text("spaces inside and behind belong to the value", "A: 12   \n", "A:", true, "12   ");
    text("no space needed after the colon", "A:12\n", "A:", true, "12");
    text("colons stay in the value", "A: 12:34:56\n", "A:", true, "12:34:56");
    text("leading dash belongs to the value", "A: -5\n", "A:", true, "-5");
    text("lone dash", "A: -\n", "A:", true, "-");
    text("lone colon", "A: :\n", "A:", true, ":");
    text("quotes and hash are plain bytes", "A: \"x\" # y\n", "A:", true, "\"x\" # y");
    text("key without value", "A:   \n", "A:", true, "");
    text("CR LF", "A:\r\n B: v\r\n", "A:B:", true, "v");
    text("CR alone", "A:\r B: v\r", "A:B:", true, "v");
    text("last line without line end", "A:\n B: v", "A:B:", false, "");
    text("empty text", "", "A:", false, "");
    text("tab is no indentation", "A:\n\tB: v\nC:\n B: w\n", "A:B:", true, "w");
    text("tab belongs to the key", "A:\n\tB: v\n", "A:\tB:", true, "v");
    text("colon in front of a key", "A:\n :B: v\n", "A:B:", true, "v");
    text("line without colon is a key", "A:\n B C\n", "A:B C", true, "");
    text("line without colon matches a prefix", "A\nB: v\n", "AB:", true, "v");
    text("keys with spaces and dashes", "Key With-Dash: v\n", "Key With-Dash:", true, "v");
    text("line of spaces below the match ends", "A:\n  B:\n \n  C: v\n", "A:B:C:", false, "");
    text("line of spaces at the match depth does not", "A:\n  B:\n  \n  C: v\n", "A:B:C:", true, "v");
    text("empty line has no effect", "A:\n  B:\n\n  C: v\n", "A:B:C:", true, "v");
    text("empty braces match an empty value", "L:\n - K:\n   V: x\n", "L:K:{}V:", true, "x");
    text("value compare is exact in length", "L:\n - K: 1 \n   V: x\n", "L:K:{1}V:", false, "");
    text("nested list passed over", "L:\n - N: 0\n   Sub:\n   - N: 1\n     V: inner\n - N: 1\n   V: outer\n",
         "L:N:{1}V:", true, "inner");
}

void tst_SessionText::query()
{
    QFETCH(QByteArray, text);
    QFETCH(QByteArray, path);
    QFETCH(bool, found);
    QFETCH(QByteArray, value);
    const char *start = reinterpret_cast<const char *>(1);
    std::int32_t length = -7;
    QCOMPARE(
        findSessionValue(text.constData(), std::size_t(text.size()) + 1, path.constData(), &start, &length),
        found);
    if (!found) {
        QVERIFY(start == nullptr);
        QCOMPARE(length, 0);
        return;
    }
    QCOMPARE(QByteArray(start, length), value);
    QVERIFY(length == 0 || (start >= text.constData() && start + length <= text.constData() + text.size()));
}

void tst_SessionText::nullArguments()
{
    const char *start = reinterpret_cast<const char *>(1);
    std::int32_t length = 9;
    QVERIFY(!findSessionValue(nullptr, 10, "A:", &start, &length));
    QVERIFY(!findSessionValue("A: 1\n", 10, nullptr, &start, &length));
    QVERIFY(!findSessionValue("A: 1\n", 10, "A:", nullptr, &length));
    QVERIFY(!findSessionValue("A: 1\n", 10, "A:", &start, nullptr));
    QVERIFY(start == reinterpret_cast<const char *>(1));
    QCOMPARE(length, 9);
}

// A text with no NUL inside the region stops at the region's end.
void tst_SessionText::boundedByTextSize()
{
    const char text[] = {'A', ':', ' ', '1', '\n', 'B', ':', ' ', '2', '\n'};
    const char *start = nullptr;
    std::int32_t length = 0;
    QVERIFY(findSessionValue(text, 5, "A:", &start, &length));
    QVERIFY(!findSessionValue(text, 9, "B:", &start, &length));
    QVERIFY(findSessionValue(text, sizeof text, "B:", &start, &length));
    QCOMPARE(QByteArray(start, length), QByteArray("2"));
}

QTEST_APPLESS_MAIN(tst_SessionText)
#include "tst_sessiontext.moc"
