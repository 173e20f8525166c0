#include "scenario.h"

#include <QtTest>

#include <sstream>

// The stand-in's scenarios: what a wrong one is told, and how phases move the values.
class tst_Scenario : public QObject
{
    Q_OBJECT
private slots:
    void errorsAndPhases();
};

// A ramp runs across its phase, a rate runs on into the next, a loop starts again from the top.
void tst_Scenario::errorsAndPhases()
{
    const auto error = [](const char *text) {
        std::istringstream in(text);
        std::string message;
        return QString::fromStdString(Scenario().parse(in, &message) ? "parsed" : message);
    };
    QCOMPARE(error("# nothing\n"), QStringLiteral("line 1: no phase"));
    QCOMPARE(error("phase A 1\nwobble X 1\n"), QStringLiteral("line 2: unknown keyword \"wobble\""));
    QCOMPARE(error("set X 1\n"), QStringLiteral("line 1: set before the first phase"));
    QCOMPARE(error("phase A 1\nramp X 1\n"), QStringLiteral("line 2: ramp needs a variable and two values"));
    QCOMPARE(error("phase A\n"),
             QStringLiteral("line 1: phase needs a name and a duration in seconds above 0"));
    QCOMPARE(error("session-text-begin\nA: 1\n"),
             QStringLiteral("line 2: session-text-begin without session-text-end"));
    std::istringstream in(
        "session-text-begin\r\nA: 1\r\nsession-text-end\r\nphase One 10\nset N 3\nramp F 100 50\n"
        "rate T 2\nphase Two 10\nset N 4\nrate T 1\nloop\n");
    Scenario scenario;
    QVERIFY(scenario.parse(in, nullptr) && scenario.sessionText == "A: 1\n");
    ScenarioPlayer player(scenario);
    const auto at = [&](double seconds, const char *name) { return player.valuesAt(seconds).at(name); };
    QVERIFY(at(5, "N") == 3 && at(5, "F") == 75 && at(5, "T") == 10 && player.phaseName() == "One");
    QVERIFY(at(14, "N") == 4 && at(14, "F") == 50 && at(14, "T") == 24 && player.phaseName() == "Two");
    QVERIFY(at(21, "N") == 3 && at(21, "F") == 95 && player.phaseName() == "One");
    player.restart();
    QCOMPARE(at(0, "T"), 0.0);
}

QTEST_APPLESS_MAIN(tst_Scenario)
#include "tst_scenario.moc"
