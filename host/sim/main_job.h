#pragma once
// arx-host's main job: one whole search of the plug-in on the simulated platform, told as a
// timeline. The player logs in, joins a lobby, asks the plug-in for a search, waits in the queue,
// accepts the ready check (again, when a stranger declined one) and reaches the game.

#include <csignal>
#include <cstdint>
#include <cstdio>
#include <string>

#include "core/host.h"
#include "core/module.h"
#include "sim/platform_settings.h"

namespace Tavix::TestHost {

struct MainJobOptions {
    std::string library;
    CoreVersion core;
    PlatformSettings settings;
    std::int32_t queueId = 420;
    // Negative: stop once the game has started. Otherwise the host runs this long in all, the
    // walk ending early when it is shorter.
    double seconds = -1.0;
    ClockMode clock = ClockMode::Real;
    // Every log line of the plug-in on the timeline, not only its machine's.
    bool showLog = false;
};

// The process's exit code: 0 once the game started (or when the time given or a stop signal
// ended the walk first), 1 when the plug-in could not be loaded or the walk got stuck.
int RunMainJob(const MainJobOptions& options, const volatile std::sig_atomic_t* stop,
               std::FILE* out, std::FILE* err);

}  // namespace Tavix::TestHost
