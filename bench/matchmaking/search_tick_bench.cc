// SearchTick: a tick of the search timer between two whole seconds, nine ticks in ten, from the
// host's callback to its return: the timer's job, the machine's dispatch to Searching's tick
// row, the clock read and compare that find no new second, and the next job handed to the host.
// Against Boost.MSM dispatching one event on a machine of the same shape (search_tick_msm.cc).

#include <benchmark/benchmark.h>

#include "core/bare_host.h"
#include "frame/plugin_export.h"
#include "matchmaking/matchmaking_plugin.h"
#include "platform/clock.h"

namespace {

using namespace Tavix::Client;

void LoadPlugin(PluginLoadBlock* block) {
    ConstructPlugin<Matchmaking::MatchmakingPlugin>(*block, "arx-matchmaking");
}

void SearchTick_ours(benchmark::State& state) {
    Tavix::TestHost::BareHost host;
    Tavix::Platform::SetClockSource(&Tavix::TestHost::BareHost::ReadClock, &host);
    auto* plugin = static_cast<Matchmaking::MatchmakingPlugin*>(
        static_cast<AppModule*>(host.Attach(&LoadPlugin)));
    // A search without a lobby, in a queue that needs none: the machine goes to Searching.
    Matchmaking::Api::MatchmakingSearchResource search;
    search.queueId = 700;
    plugin->AdoptSearch(search);
    if (plugin->GetStateMachine().GetCurrentState()->name != std::string("Searching")) {
        state.SkipWithError("not searching");
    }
    // The clock stands still, so every tick falls between the same two seconds.
    for (auto _ : state) {
        host.RunNext();
    }
    if (plugin->CurrentSearch() == nullptr || plugin->CurrentSearch()->timeInQueue != 0.0f) {
        state.SkipWithError("the ticks counted a second");
    }
    host.Shutdown();
    Tavix::Platform::ResetClockSource();
}
BENCHMARK(SearchTick_ours);

}  // namespace
