#pragma once
// What a plug-in's export does: build the module in counted memory and initialise it, which
// tests the core's version and writes the load block back.

#include <cstdlib>
#include <cstring>
#include <new>
#include <string>

#include "arx/host_boundary.h"
#include "log/log.h"
#include "log/memory.h"

namespace Tavix::Client {

template <typename Plugin>
void ConstructPlugin(PluginLoadBlock& block, const std::string& shortName) {
    void* memory = Allocate(sizeof(Plugin));
    if (memory == nullptr) {
        // Without the module there is nothing to hand back, and no way to tell the host.
        Log(LogLevel::Error, kLogGroupDbg, "%s: no memory for the module", shortName.c_str());
        std::abort();
    }
    // The module starts from zeroed memory, whatever its constructors leave alone.
    std::memset(memory, 0, sizeof(Plugin));
    auto* plugin = new (memory) Plugin();
    plugin->Initialize(block, shortName);
}

}  // namespace Tavix::Client
