#pragma once
// arx-host --http: the plug-in on the simulated platform, served over HTTP on a loopback address
// for a UI developer to build against: its routes, its events as Server-Sent Events, the
// platform's actions, its API document and the live page, until the time given or a stop signal.

#include <csignal>
#include <cstdio>
#include <string>

#include "sim/main_job.h"

namespace Tavix::TestHost {

struct HttpJobOptions {
    // The plug-in, the platform's settings, the lobby's queue the player is in when the page
    // opens, the clock and the log lines, as the walk takes them; negative seconds serve until a
    // stop signal.
    MainJobOptions run;
    // "ADDR:PORT", as ParseListenAddress reads it.
    std::string address;
    bool allowRemote = false;
};

// The process's exit code: 0 after serving until the end, 1 when the plug-in could not be loaded
// or the front could not listen, 2 for an address or queue it cannot take.
int RunHttpJob(const HttpJobOptions& options, const volatile std::sig_atomic_t* stop,
               std::FILE* out, std::FILE* err);

}  // namespace Tavix::TestHost
