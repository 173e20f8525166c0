#pragma once

#include "scenario.h"

#include <istream>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

// A recording made by `kvbeacon-cli record`, as the stand-in replays it: JSON lines, the first
// naming the format and its version, then one sample a line with its time, the live document
// and, when they changed, the info document and the chat texts.
class Recording
{
public:
    static constexpr const char *format = "kvbeacon-recording";
    static constexpr int version = 1;

    // False with a one-line error naming the line for a file that is no recording. A last line
    // cut in the middle (the recorder stopped while writing it) is left out, said in `warning`.
    // Live values of variables the stand-in does not know are left out.
    bool load(std::istream &in, const std::string &name, const std::set<std::string> &variables,
              std::string *error, std::string *warning);

    // One phase a sample, in which every recorded value holds until the next sample's time.
    Scenario scenario() const;
    // The session text from each time on, built from the info values recorded by then.
    const std::vector<std::pair<double, std::string>> &sessionTexts() const { return texts; }
    // The seconds from the first sample to the end of the last.
    double length() const;

private:
    struct Sample
    {
        double t = 0;
        std::map<std::string, double> values;
    };
    std::vector<Sample> samples;
    std::vector<std::pair<double, std::string>> texts;
    double period = 0.1;
};
