#include "scenario/scenario_job.h"

#include "scenario/scenario_runner.h"
#include "sim/plugin_session.h"
#include "sim/simulation.h"

namespace Tavix::TestHost {

int RunScenarioJob(const ScenarioJobOptions& options, std::FILE* out, std::FILE* err) {
    // Every step is checked before the plug-in is even loaded.
    const ScenarioRead read = ReadScenarioFile(options.file);
    if (!read.scenario) {
        std::fprintf(err, "arx-host: %s\n", read.error.c_str());
        return 2;
    }
    Simulation simulation(ClockMode::Virtual, PlatformSettings{});
    std::unique_ptr<Module> module =
        StartPlugin(simulation.GetHost(), options.library, options.core, out, err);
    if (!module) {
        return 1;
    }
    Timeline& timeline = simulation.GetTimeline();
    if (options.showTimeline) {
        timeline.PrintTo(out);
        timeline.PrintHeader();
    }
    simulation.Drive(*module);
    // The plug-in's first reads of its neighbours are answered before the first step.
    simulation.Run(0.0);
    const ScenarioOutcome outcome = RunScenario(*read.scenario, simulation);
    timeline.Flush();
    timeline.PrintTo(nullptr);
    if (!outcome.passed && !options.showTimeline) {
        std::fprintf(out, "arx-host: the timeline's last lines:\n");
        for (const std::string& line : timeline.RecentLines()) {
            std::fprintf(out, "%s\n", line.c_str());
        }
    }
    StopPlugin(*module, out);
    if (!outcome.passed) {
        std::fprintf(err, "arx-host: %s\n", outcome.failure.c_str());
        return 1;
    }
    std::fprintf(out, "arx-host: %s: all %d steps held\n", options.file.c_str(), outcome.stepsRun);
    std::fflush(out);
    return 0;
}

}  // namespace Tavix::TestHost
