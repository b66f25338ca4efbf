#pragma once
// arx-host --scenario: one scenario file played headless against the plug-in on the simulated
// platform and the virtual clock.

#include <cstdio>
#include <string>

#include "core/module.h"

namespace Tavix::TestHost {

struct ScenarioJobOptions {
    std::string file;
    std::string library;
    CoreVersion core;
    // The timeline on `out` as the scenario runs; otherwise only the outcome, and the timeline's
    // last lines when a step fails.
    bool showTimeline = false;
};

// The process's exit code: 0 when every step held; 1 when one did not, or the plug-in could not
// be loaded; 2 when the file is not a scenario. What went wrong is one line on `err`, naming the
// file, the step and what is wrong.
int RunScenarioJob(const ScenarioJobOptions& options, std::FILE* out, std::FILE* err);

}  // namespace Tavix::TestHost
