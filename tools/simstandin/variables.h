#pragma once

#include "regionlayout.h"

#include <vector>

// The stand-in's telemetry variables: the 24 that kvBeacon reads, with the types a
// simulator gives them, among some three hundred others of every type code.
std::vector<RegionLayout::Variable> simulatorVariables();
