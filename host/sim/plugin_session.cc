#include "sim/plugin_session.h"

namespace Tavix::TestHost {

namespace {

void PrintCounters(const Client::MemoryCounters& counters, std::FILE* out) {
    const auto row = [out](const char* name, std::uint64_t value) {
        std::fprintf(out, "  %-22s %llu\n", name, static_cast<unsigned long long>(value));
    };
    std::fprintf(out, "arx-host: memory counters at shutdown\n");
    row("peak live bytes", counters.peakLiveBytes);
    row("allocations at peak", counters.peakLiveAllocations);
    row("bytes allocated", counters.allocatedBytes);
    row("allocations", counters.allocations);
    row("bytes freed", counters.freedBytes);
    row("frees", counters.frees);
}

}  // namespace

std::unique_ptr<Module> StartPlugin(Host& host, const std::string& library, CoreVersion core,
                                    std::FILE* out, std::FILE* err) {
    LoadResult loaded = OpenModule(host, library, core);
    if (!loaded.module) {
        std::fprintf(err, "arx-host: %s\n", loaded.error.c_str());
        return nullptr;
    }
    std::fprintf(out, "arx-host: loaded %s from %s as client %u\n",
                 loaded.module->ShortName().c_str(), library.c_str(), loaded.module->ClientId());
    std::fflush(out);
    if (!loaded.module->Attach()) {
        std::fprintf(err, "arx-host: the plug-in refused to attach\n");
        StopPlugin(*loaded.module, out);
        return nullptr;
    }
    std::fprintf(out, "arx-host: attached\n");
    std::fflush(out);
    return std::move(loaded.module);
}

void StopPlugin(Module& module, std::FILE* out) {
    std::fprintf(out, "arx-host: shutting down\n");
    std::fflush(out);
    // The handle is dead once Shutdown returns, so the counters are read just before it.
    const Client::MemoryCounters counters = module.ReadMemoryCounters();
    const std::vector<std::string> leftovers = module.Shutdown();
    for (const std::string& name : leftovers) {
        std::fprintf(out, "arx-host: still subscribed at shutdown: %s\n", name.c_str());
    }
    PrintCounters(counters, out);
    std::fflush(out);
}

}  // namespace Tavix::TestHost
