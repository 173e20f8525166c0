#include "scenario.h"

#include <sstream>

bool Scenario::parse(std::istream &in, std::string *error)
{
    std::string line;
    int number = 0;
    bool inText = false;
    auto fail = [&](const std::string &why) {
        if (error)
            *error = "line " + std::to_string(number) + ": " + why;
        return false;
    };
    while (std::getline(in, line)) {
        ++number;
        if (!line.empty() && line.back() == '\r')
            line.pop_back();
        if (inText) {
            if (line == "session-text-end")
                inText = false;
            else
                sessionText += line + "\n";
            continue;
        }
        std::istringstream words(line);
        std::string keyword;
        if (!(words >> keyword) || keyword[0] == '#')
            continue;
        if (keyword == "session-text-begin") {
            inText = true;
        } else if (keyword == "phase") {
            Phase p;
            if (!(words >> p.name >> p.seconds) || p.seconds <= 0)
                return fail("phase needs a name and a duration in seconds above 0");
            phases.push_back(p);
        } else if (keyword == "set" || keyword == "ramp" || keyword == "rate") {
            if (phases.empty())
                return fail(keyword + " before the first phase");
            Motion m;
            m.kind = keyword == "set" ? Motion::Set : keyword == "ramp" ? Motion::Ramp : Motion::Rate;
            if (!(words >> m.variable >> m.a) || (m.kind == Motion::Ramp && !(words >> m.b)))
                return fail(keyword + " needs a variable and " +
                            (m.kind == Motion::Ramp ? "two values" : "a value"));
            phases.back().motions.push_back(m);
        } else if (keyword == "loop") {
            loop = true;
        } else {
            return fail("unknown keyword \"" + keyword + "\"");
        }
    }
    if (inText)
        return fail("session-text-begin without session-text-end");
    if (phases.empty())
        return fail("no phase");
    return true;
}

void ScenarioPlayer::restart()
{
    values.clear();
    started = false;
}

void ScenarioPlayer::enterPhase(std::size_t index)
{
    phase = index;
    atPhaseStart = values;
}

std::string ScenarioPlayer::phaseName() const
{
    return phase < scenario.phases.size() ? scenario.phases[phase].name : std::string();
}

void ScenarioPlayer::apply(const Scenario::Phase &p, double u)
{
    for (const Scenario::Motion &m : p.motions) {
        double &v = values[m.variable];
        switch (m.kind) {
        case Scenario::Motion::Set:
            v = m.a;
            break;
        case Scenario::Motion::Ramp:
            v = m.a + (m.b - m.a) * (u / p.seconds);
            break;
        case Scenario::Motion::Rate:
            v = atPhaseStart[m.variable] + m.a * u;
            break;
        }
    }
}

const std::map<std::string, double> &ScenarioPlayer::valuesAt(double seconds)
{
    if (!started) {
        started = true;
        phaseStart = 0;
        enterPhase(0);
    }
    // Moving on through every phase that has ended, each leaving its final values.
    while (phase < scenario.phases.size() && seconds >= phaseStart + scenario.phases[phase].seconds) {
        const Scenario::Phase &p = scenario.phases[phase];
        apply(p, p.seconds);
        phaseStart += p.seconds;
        std::size_t next = phase + 1;
        if (next == scenario.phases.size() && scenario.loop)
            next = 0;
        enterPhase(next);
    }
    if (phase < scenario.phases.size())
        apply(scenario.phases[phase], seconds - phaseStart);
    return values;
}
