// GameflowSessionUpdate: the gameflow plug-in publishes its session often, and most updates
// change nothing the plug-in cares about. One such update, from the host's event to the return
// of the plug-in's handler (the event converted from the host's value, routed to the observer,
// converted to the session record, compared with the mirror), against reading the JSON text of
// the same event into a value with ParseJson.

#include <benchmark/benchmark.h>

#include <cstring>
#include <string>

#include "binding/host_conversion.h"
#include "binding/json.h"
#include "core/bare_host.h"
#include "frame/host_value.h"
#include "frame/plugin_export.h"
#include "matchmaking/matchmaking_plugin.h"
#include "platform/clock.h"

namespace {

using namespace Tavix::Client;

void LoadPlugin(PluginLoadBlock* block) {
    ConstructPlugin<Matchmaking::MatchmakingPlugin>(*block, "arx-matchmaking");
}

// A session in the lobby as the gameflow plug-in sends it, with more than the plug-in reads.
const char kSessionEvent[] = R"({
  "uri": "/arx-gameflow/v1/session",
  "eventType": "Update",
  "data": {
    "phase": "Lobby",
    "gameClient": {"running": false, "serverIp": "", "serverPort": 0, "visible": false},
    "gameData": {
      "gameId": 0,
      "isCustomGame": false,
      "password": "",
      "queue": {
        "id": 420, "mapId": 11, "name": "Ranked Solo", "type": "RANKED_SOLO_5x5",
        "gameTypeConfig": {"reroll": false, "name": "GAME_CFG_DRAFT", "maxAllowableBans": 10},
        "isRanked": true, "minimumLevel": 30
      },
      "teamOne": [], "teamTwo": []
    },
    "gameDodge": {"state": "Invalid", "dodgeIds": []},
    "map": {"id": 11, "name": "The Rift", "isDefault": true}
  }
})";

constexpr const char* kChannel = "OnJsonApiEvent_arx-gameflow_v1_session";

void GameflowSessionUpdate_ours(benchmark::State& state) {
    Tavix::TestHost::BareHost host;
    Tavix::Platform::SetClockSource(&Tavix::TestHost::BareHost::ReadClock, &host);
    auto* plugin = static_cast<Matchmaking::MatchmakingPlugin*>(
        static_cast<AppModule*>(host.Attach(&LoadPlugin)));
    BindingResult event;
    ParseJson(event, kSessionEvent);
    HostValue payload;
    std::memset(static_cast<void*>(&payload), 0, sizeof payload);
    ToHostValue(event, payload, &plugin->GetDispatcher());
    // The first update moves the mirror to the lobby; every later one changes nothing.
    host.Deliver(kChannel, payload);
    if (plugin->GetGameflowPhase() != Matchmaking::Api::GameflowPhase::Lobby) {
        state.SkipWithError("the session did not reach the plug-in");
    }
    for (auto _ : state) {
        host.Deliver(kChannel, payload);
    }
    ReleaseHostValue(payload);
    host.Shutdown();
    Tavix::Platform::ResetClockSource();
}
BENCHMARK(GameflowSessionUpdate_ours);

void GameflowSessionUpdate_ParseJson(benchmark::State& state) {
    for (auto _ : state) {
        BindingResult event;
        ParseJson(event, kSessionEvent);
        benchmark::DoNotOptimize(event.Size());
    }
}
BENCHMARK(GameflowSessionUpdate_ParseJson);

}  // namespace

BENCHMARK_MAIN();
