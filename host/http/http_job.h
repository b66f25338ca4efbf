#pragma once
// arx-host --http: the plug-in on the simulated platform, served over HTTP on a loopback address
// for a UI developer to build against: its routes, its events as Server-Sent Events, the
// platform's actions, its API document and the live page, until the time given or a stop signal.

#include <csignal>
#include <cstdint>
#include <cstdio>
#include <string>

#include "core/host.h"
#include "core/module.h"
#include "sim/platform_settings.h"

namespace Tavix::TestHost {

struct HttpJobOptions {
    std::string library;
    CoreVersion core;
    PlatformSettings settings;
    // The lobby the player is in when the page opens.
    std::int32_t queueId = 420;
    // "ADDR:PORT", as ParseListenAddress reads it.
    std::string address;
    bool allowRemote = false;
    // Negative: until a stop signal.
    double seconds = -1.0;
    ClockMode clock = ClockMode::Real;
    bool showLog = false;
};

// The process's exit code: 0 after serving until the end, 1 when the plug-in could not be loaded
// or the front could not listen, 2 for an address or queue it cannot take.
int RunHttpJob(const HttpJobOptions& options, const volatile std::sig_atomic_t* stop,
               std::FILE* out, std::FILE* err);

}  // namespace Tavix::TestHost
