// GetSearch: GET /arx-matchmaking/v1/search as a host makes it, through the route's call entry
// (the route matched again, the handler's copy of the search, the record converted to the
// response's value, the response released), against writing the same record as JSON text with
// rapidjson's Writer.

#include <benchmark/benchmark.h>

#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <cstring>
#include <string>

#include "core/bare_host.h"
#include "core/function_records.h"
#include "frame/plugin_export.h"
#include "matchmaking/matchmaking_plugin.h"
#include "platform/clock.h"

namespace {

using namespace Tavix::Client;
using namespace Tavix::Client::Matchmaking;

void LoadPlugin(PluginLoadBlock* block) {
    ConstructPlugin<MatchmakingPlugin>(*block, "arx-matchmaking");
}

// A search with something in every part: a lobby, a penalty, a token and two errors.
Api::MatchmakingSearchResource MakeSearch() {
    Api::MatchmakingSearchResource search;
    search.queueId = 700;
    search.isCurrentlyInQueue = true;
    search.lobbyId = "6f1c2b8e-1d2a-4c3b-9e8f-0a1b2c3d4e5f";
    search.timeInQueue = 37.0f;
    search.estimatedQueueTime = 95.5f;
    search.lowPriorityData.penalizedAvatarIds = {12345678, 87654321};
    search.lowPriorityData.penaltyTime = 300.0;
    search.lowPriorityData.penaltyTimeRemaining = 120.0;
    search.lowPriorityData.wardenedQuitterAccessToken = "a1b2c3d4e5f6a1b2c3d4e5f6";
    search.errors = {{1, "QUEUE_DODGER", 12345678, 300.0, "Dodged a ready check"},
                     {2, "LEAVER_BUSTED", 87654321, 1200.0, "Left a game"}};
    return search;
}

void GetSearch_ours(benchmark::State& state) {
    Tavix::TestHost::BareHost host;
    Tavix::Platform::SetClockSource(&Tavix::TestHost::BareHost::ReadClock, &host);
    auto* plugin =
        static_cast<MatchmakingPlugin*>(static_cast<AppModule*>(host.Attach(&LoadPlugin)));
    plugin->AdoptSearch(MakeSearch());
    const ApiDescription& api = plugin->GetApiDescription();
    const HostFunctionRecord* record =
        Tavix::TestHost::FindFunctionRecord(api, kMethodGet, "GET", "/arx-matchmaking/v1/search");
    HostRequest request{};
    request.method = kMethodGet;
    request.url = "/arx-matchmaking/v1/search";
    request.callContext = record->head.callContext;
    for (auto _ : state) {
        HostResponse response{};
        record->callEntry(&response, &request);
        benchmark::DoNotOptimize(response.value.payload.structure.count);
        response.release(&response);
    }
    host.Shutdown();
    Tavix::Platform::ResetClockSource();
}
BENCHMARK(GetSearch_ours);

template <typename Writer>
void WriteSearch(Writer& writer, const Api::MatchmakingSearchResource& search) {
    const auto ids = [&](const std::vector<std::uint64_t>& list) {
        writer.StartArray();
        for (const std::uint64_t id : list) {
            writer.Uint64(id);
        }
        writer.EndArray();
    };
    writer.StartObject();
    writer.Key("dodgeData");
    writer.StartObject();
    writer.Key("dodgerId");
    writer.Uint64(search.dodgeData.dodgerId);
    writer.Key("state");
    writer.String("Invalid");
    writer.EndObject();
    writer.Key("errors");
    writer.StartArray();
    for (const Api::MatchmakingSearchErrorResource& error : search.errors) {
        writer.StartObject();
        writer.Key("errorType");
        writer.String(error.errorType.c_str());
        writer.Key("id");
        writer.Int(error.id);
        writer.Key("message");
        writer.String(error.message.c_str());
        writer.Key("penalizedAvatarId");
        writer.Uint64(error.penalizedAvatarId);
        writer.Key("penaltyTimeRemaining");
        writer.Double(error.penaltyTimeRemaining);
        writer.EndObject();
    }
    writer.EndArray();
    writer.Key("estimatedQueueTime");
    writer.Double(search.estimatedQueueTime);
    writer.Key("isCurrentlyInQueue");
    writer.Bool(search.isCurrentlyInQueue);
    writer.Key("lobbyId");
    writer.String(search.lobbyId.c_str());
    writer.Key("lowPriorityData");
    writer.StartObject();
    writer.Key("penalizedAvatarIds");
    ids(search.lowPriorityData.penalizedAvatarIds);
    writer.Key("penaltyTime");
    writer.Double(search.lowPriorityData.penaltyTime);
    writer.Key("penaltyTimeRemaining");
    writer.Double(search.lowPriorityData.penaltyTimeRemaining);
    writer.Key("wardenedQuitterAccessToken");
    writer.String(search.lowPriorityData.wardenedQuitterAccessToken.c_str());
    writer.EndObject();
    writer.Key("queueId");
    writer.Int(search.queueId);
    writer.Key("readyCheck");
    writer.StartObject();
    writer.Key("declinerIds");
    ids(search.readyCheck.declinerIds);
    writer.Key("dodgeWarning");
    writer.String("None");
    writer.Key("playerResponse");
    writer.String("None");
    writer.Key("state");
    writer.String("Invalid");
    writer.Key("suppressUx");
    writer.Bool(search.readyCheck.suppressUx);
    writer.Key("timer");
    writer.Double(search.readyCheck.timer);
    writer.EndObject();
    writer.Key("searchState");
    writer.String("Searching");
    writer.Key("timeInQueue");
    writer.Double(search.timeInQueue);
    writer.EndObject();
}

void GetSearch_rapidjson(benchmark::State& state) {
    const Api::MatchmakingSearchResource search = MakeSearch();
    for (auto _ : state) {
        rapidjson::StringBuffer buffer;
        rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
        WriteSearch(writer, search);
        benchmark::DoNotOptimize(buffer.GetString());
    }
}
BENCHMARK(GetSearch_rapidjson);

}  // namespace
