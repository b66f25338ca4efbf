// The library's one export. The host calls it once with the load block; everything else it
// learns from the block that this writes back.

#include "arx/host_boundary.h"
#include "frame/plugin_export.h"
#include "log/tracing.h"
#include "matchmaking/matchmaking_plugin.h"

namespace {

// Platform tracing lives as long as the library is loaded. Where the platform offers none, the
// library loads and runs all the same, with tracing off.
struct TracingForTheLibrarysLife {
    TracingForTheLibrarysLife() {
        Tavix::Client::StartTracing(Tavix::Client::FindTracingLibrary());
    }
    ~TracingForTheLibrarysLife() { Tavix::Client::StopTracing(); }
} tracing;

}  // namespace

extern "C" __attribute__((visibility("default"))) void load_arx_matchmaking(
    Tavix::Client::PluginLoadBlock* block) {
    Tavix::Client::ConstructPlugin<Tavix::Client::Matchmaking::MatchmakingPlugin>(
        *block, "arx-matchmaking");
}
