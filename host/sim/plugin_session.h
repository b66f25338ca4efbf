#pragma once
// A plug-in library loaded into a host for one of arx-host's jobs, and its shutdown with the
// report a host author looks at: what it was still subscribed to and its memory counters.

#include <cstdio>
#include <memory>
#include <string>

#include "core/host.h"
#include "core/module.h"

namespace Tavix::TestHost {

// Loads and attaches the library; null after printing to `err` why it could not.
std::unique_ptr<Module> StartPlugin(Host& host, const std::string& library, CoreVersion core,
                                    std::FILE* out, std::FILE* err);

// Shuts the module down and prints what it left behind and its memory counters to `out`.
void StopPlugin(Module& module, std::FILE* out);

}  // namespace Tavix::TestHost
