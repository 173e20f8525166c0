#include "scenario.h"

#include <QtTest>

#include <fstream>
#include <sstream>

class tst_Scenario : public QObject
{
    Q_OBJECT
private slots:
    void errors_data();
    void errors();
    void phasesMoveTheValues();
    void loopStartsAgain();
    void sampleScenarioParses();
};

void tst_Scenario::errors_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QString>("error");
    QTest::newRow("no phase") << QByteArray("# nothing\n") << "line 1: no phase";
    QTest::newRow("unknown keyword") << QByteArray("phase A 1\nwobble X 1\n")
                                     << "line 2: unknown keyword \"wobble\"";
    QTest::newRow("motion before a phase") << QByteArray("set X 1\n") << "line 1: set before the first phase";
    QTest::newRow("ramp with one value")
        << QByteArray("phase A 1\nramp X 1\n") << "line 2: ramp needs a variable and two values";
    QTest::newRow("phase without duration")
        << QByteArray("phase A\n") << "line 1: phase needs a name and a duration in seconds above 0";
    QTest::newRow("text not closed") << QByteArray("session-text-begin\nA: 1\n")
                                     << "line 2: session-text-begin without session-text-end";
}

void tst_Scenario::errors()
{
    QFETCH(QByteArray, text);
    QFETCH(QString, error);
    std::istringstream in(text.toStdString());
    Scenario scenario;
    std::string message;
    QVERIFY(!scenario.parse(in, &message));
    QCOMPARE(QString::fromStdString(message), error);
}

void tst_Scenario::phasesMoveTheValues()
{
    std::istringstream in("session-text-begin\r\n---\r\nA: 1\r\nsession-text-end\r\n"
                          "phase One 10\nset N 3\nramp F 100 50\nrate T 2\n"
                          "phase Two 10\nset N 4\nrate T 1\n");
    Scenario scenario;
    std::string error;
    QVERIFY2(scenario.parse(in, &error), error.c_str());
    QCOMPARE(scenario.sessionText, std::string("---\nA: 1\n"));
    ScenarioPlayer player(scenario);

    auto values = player.valuesAt(0);
    QCOMPARE(values["N"], 3.0);
    QCOMPARE(values["F"], 100.0);
    values = player.valuesAt(5);
    QCOMPARE(values["F"], 75.0);
    QCOMPARE(values["T"], 10.0);
    QCOMPARE(player.phaseName(), std::string("One"));
    // Phase two: F holds where the ramp ended, T runs on from 20 at its new rate.
    values = player.valuesAt(14);
    QCOMPARE(player.phaseName(), std::string("Two"));
    QCOMPARE(values["N"], 4.0);
    QCOMPARE(values["F"], 50.0);
    QCOMPARE(values["T"], 24.0);
    // After the last phase everything holds.
    values = player.valuesAt(100);
    QCOMPARE(player.phaseName(), std::string());
    QCOMPARE(values["T"], 30.0);

    player.restart();
    QCOMPARE(player.valuesAt(0).at("T"), 0.0);
}

void tst_Scenario::loopStartsAgain()
{
    std::istringstream in("phase A 2\nset N 1\nphase B 2\nset N 2\nloop\n");
    Scenario scenario;
    QVERIFY(scenario.parse(in, nullptr));
    ScenarioPlayer player(scenario);
    QCOMPARE(player.valuesAt(1).at("N"), 1.0);
    QCOMPARE(player.valuesAt(3).at("N"), 2.0);
    QCOMPARE(player.valuesAt(5).at("N"), 1.0);
    QCOMPARE(player.phaseName(), std::string("A"));
}

void tst_Scenario::sampleScenarioParses()
{
    std::ifstream file(KVB_SAMPLE_SCENARIO);
    Scenario scenario;
    std::string error;
    QVERIFY2(scenario.parse(file, &error), error.c_str());
    QCOMPARE(scenario.phases.size(), std::size_t(2));
    // Forty and more cars in the driver list.
    std::size_t cars = 0;
    for (std::size_t at = 0; (at = scenario.sessionText.find("CarIdx: ", at)) != std::string::npos; ++at)
        ++cars;
    QVERIFY(cars >= 40);
}

QTEST_APPLESS_MAIN(tst_Scenario)
#include "tst_scenario.moc"
