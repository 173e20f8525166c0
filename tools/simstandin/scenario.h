#pragma once

#include <istream>
#include <map>
#include <string>
#include <vector>

// A scenario for the simulator stand-in: the session text, and phases in which telemetry
// variables hold, ramp or run at a rate. The format is line based:
//
//   # a comment
//   session-text-begin
//   ...the session text, verbatim...
//   session-text-end
//   phase <name> <seconds>
//   set <Variable> <value>          holds the value through the phase
//   ramp <Variable> <from> <to>     moves linearly from one value to the other over the phase
//   rate <Variable> <per-second>    moves on from where the last phase left it
//   loop                            starts again after the last phase (otherwise values hold)
//
// A variable that a phase does not name keeps the value the last phase left it with.
class Scenario
{
public:
    struct Motion
    {
        enum Kind { Set, Ramp, Rate } kind;
        std::string variable;
        double a = 0;
        double b = 0;
    };
    struct Phase
    {
        std::string name;
        double seconds = 0;
        std::vector<Motion> motions;
    };

    // False with a message naming the line when the text is no scenario.
    bool parse(std::istream &in, std::string *error);

    std::string sessionText;
    std::vector<Phase> phases;
    bool loop = false;
};

// Plays a scenario forward in time.
class ScenarioPlayer
{
public:
    explicit ScenarioPlayer(const Scenario &scenario) : scenario(scenario) {}

    // The values at `seconds` since the start; time only moves forward between restarts.
    const std::map<std::string, double> &valuesAt(double seconds);
    // The name of the phase of the last valuesAt, empty after the last one.
    std::string phaseName() const;
    void restart();

private:
    void enterPhase(std::size_t index);
    // Sets the values of the phase's motions `u` seconds into it.
    void apply(const Scenario::Phase &phase, double u);

    const Scenario &scenario;
    std::map<std::string, double> values;
    std::map<std::string, double> atPhaseStart;
    std::size_t phase = 0;
    double phaseStart = 0;
    bool started = false;
};
