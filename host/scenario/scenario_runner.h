#pragma once
// Runs a scenario's steps, in order, against the plug-in on the simulated platform, and stops at
// the first step that does not hold: an unmet expectation, a route answering otherwise than
// expected, an action the platform cannot take at that moment.

#include <string>

#include "scenario/scenario.h"
#include "sim/simulation.h"

namespace Tavix::TestHost {

struct ScenarioOutcome {
    bool passed = false;
    int stepsRun = 0;
    // "FILE:LINE: step N (ACTION): what did not hold"
    std::string failure;
};

// The simulation drives a plug-in that is loaded and attached. Each step is told on the timeline.
ScenarioOutcome RunScenario(const Scenario& scenario, Simulation& simulation);

// Whether `actual` has what `expected` asks for: the fields a structure names, whole lists, and
// equal scalars, numbers compared as numbers.
bool ValueMatches(const Value& expected, const Value& actual);

}  // namespace Tavix::TestHost
