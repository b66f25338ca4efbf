// The two hot paths of resource events, each beside a reference doing comparable work:
//
// PublishSearch: a search-sized record published (record to value, value to HostValue, two
// SendEvent calls to a host that copies nothing), against writing the same record as JSON text
// with rapidjson's Writer.
//
// DispatchEvent: one incoming resource event delivered to a typed observer (HostValue to value,
// the event record, routing by URI, the record the observer receives), against parsing the JSON
// text of the same event into a value.

#include <benchmark/benchmark.h>

#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "binding/host_conversion.h"
#include "binding/json.h"
#include "binding/record_builder.h"
#include "frame/app_module.h"
#include "frame/host_value.h"
#include "frame/plugin_export.h"
#include "frame/resource_events.h"

namespace {

using namespace Tavix::Client;

struct ReadyCheck {
    std::string state;
    std::string playerResponse;
    double timer = 0.0;
    std::vector<std::int64_t> declinerIds;
    bool suppressUx = false;
};

struct SearchError {
    std::int32_t id = 0;
    std::string errorType;
    std::int64_t penalizedSummonerId = 0;
    double penaltyTimeRemaining = 0.0;
    std::string message;
};

struct Search {
    std::int32_t queueId = 0;
    bool isCurrentlyInQueue = false;
    std::string lobbyId;
    std::string searchState;
    double timeInQueue = 0.0;
    double estimatedQueueTime = 0.0;
    ReadyCheck readyCheck;
    std::vector<SearchError> errors;
    std::vector<std::string> dodgerIds;
};

Search MakeSearch() {
    Search search;
    search.queueId = 420;
    search.isCurrentlyInQueue = true;
    search.lobbyId = "6f1c2b8e-1d2a-4c3b-9e8f-0a1b2c3d4e5f";
    search.searchState = "Searching";
    search.timeInQueue = 37.0;
    search.estimatedQueueTime = 95.5;
    search.readyCheck = {"Invalid", "None", 0.0, {}, false};
    search.errors = {{1, "QUEUE_DODGER", 12345678, 300.0, "Dodged a ready check"},
                     {2, "LEAVER_BUSTED", 87654321, 1200.0, "Left a game"}};
    search.dodgerIds = {"12345678", "87654321"};
    return search;
}

void DeclareBenchRecords(BindingRegistry& registry) {
    DeclareRecord<ReadyCheck>(registry, "ReadyCheck")
        .Field("state", &ReadyCheck::state)
        .Field("playerResponse", &ReadyCheck::playerResponse)
        .Field("timer", &ReadyCheck::timer)
        .Field("declinerIds", &ReadyCheck::declinerIds)
        .Field("suppressUx", &ReadyCheck::suppressUx);
    DeclareRecord<SearchError>(registry, "SearchError")
        .Field("id", &SearchError::id)
        .Field("errorType", &SearchError::errorType)
        .Field("penalizedSummonerId", &SearchError::penalizedSummonerId)
        .Field("penaltyTimeRemaining", &SearchError::penaltyTimeRemaining)
        .Field("message", &SearchError::message);
    DeclareRecord<Search>(registry, "Search")
        .Field("queueId", &Search::queueId)
        .Field("isCurrentlyInQueue", &Search::isCurrentlyInQueue)
        .Field("lobbyId", &Search::lobbyId)
        .Field("searchState", &Search::searchState)
        .Field("timeInQueue", &Search::timeInQueue)
        .Field("estimatedQueueTime", &Search::estimatedQueueTime)
        .Field("readyCheck", &Search::readyCheck)
        .Field("errors", &Search::errors)
        .Field("dodgerIds", &Search::dodgerIds);
}

// A module whose host copies nothing: events vanish, subscriptions only keep their callback.
class BenchModule : public AppModule {
public:
    void RegisterApi() override { DeclareBenchRecords(GetDispatcher()); }
    void SendEvent(const HostEvent& event) override { benchmark::DoNotOptimize(&event); }
    void SubscribeToEvent(const char* name, std::uint32_t, HostEventCallback callback,
                          void* context, std::uint32_t) override {
        if (std::strncmp(name, "OnJsonApiEvent_", 15) == 0) {
            resourceCallback = callback;
            resourceContext = context;
        }
    }
    void UnsubscribeFromEvent(const char*, std::uint32_t) override {}
    void SendRequest(HostResponse& response, const HostRequest&) override {
        static const char kMissing[] = "not found";
        response.errorText = kMissing;
        response.status = 404;
    }

    HostEventCallback resourceCallback = nullptr;
    void* resourceContext = nullptr;
};

void LoadBenchModule(PluginLoadBlock* block) {
    ConstructPlugin<BenchModule>(*block, "bench-module");
}

void WriteLogNowhere(HostOperations*, std::int32_t, const char*) {}

struct Fixture {
    Fixture() {
        block.major = 18;
        LoadBenchModule(&block);
        module = static_cast<BenchModule*>(static_cast<AppModule*>(block.module));
        operations.WriteLog = &WriteLogNowhere;
        hostInterface.operations = &operations;
        hostInterface.clientId = 1;
        block.operations->Attach(block.module, &hostInterface);
    }
    ~Fixture() { block.operations->Shutdown(block.module); }

    PluginLoadBlock block{};
    HostOperations operations{};
    HostInterface hostInterface{};
    BenchModule* module = nullptr;
};

void WriteSearch(rapidjson::Writer<rapidjson::StringBuffer>& writer, const Search& search) {
    writer.StartObject();
    writer.Key("dodgerIds");
    writer.StartArray();
    for (const std::string& id : search.dodgerIds) {
        writer.String(id.c_str(), static_cast<rapidjson::SizeType>(id.size()));
    }
    writer.EndArray();
    writer.Key("errors");
    writer.StartArray();
    for (const SearchError& error : search.errors) {
        writer.StartObject();
        writer.Key("errorType");
        writer.String(error.errorType.c_str());
        writer.Key("id");
        writer.Int(error.id);
        writer.Key("message");
        writer.String(error.message.c_str());
        writer.Key("penaltyTimeRemaining");
        writer.Double(error.penaltyTimeRemaining);
        writer.Key("penalizedSummonerId");
        writer.Int64(error.penalizedSummonerId);
        writer.EndObject();
    }
    writer.EndArray();
    writer.Key("estimatedQueueTime");
    writer.Double(search.estimatedQueueTime);
    writer.Key("isCurrentlyInQueue");
    writer.Bool(search.isCurrentlyInQueue);
    writer.Key("lobbyId");
    writer.String(search.lobbyId.c_str());
    writer.Key("queueId");
    writer.Int(search.queueId);
    writer.Key("readyCheck");
    writer.StartObject();
    writer.Key("declinerIds");
    writer.StartArray();
    for (std::int64_t id : search.readyCheck.declinerIds) {
        writer.Int64(id);
    }
    writer.EndArray();
    writer.Key("playerResponse");
    writer.String(search.readyCheck.playerResponse.c_str());
    writer.Key("state");
    writer.String(search.readyCheck.state.c_str());
    writer.Key("suppressUx");
    writer.Bool(search.readyCheck.suppressUx);
    writer.Key("timer");
    writer.Double(search.readyCheck.timer);
    writer.EndObject();
    writer.Key("searchState");
    writer.String(search.searchState.c_str());
    writer.Key("timeInQueue");
    writer.Double(search.timeInQueue);
    writer.EndObject();
}

void PublishSearch_ours(benchmark::State& state) {
    Fixture fixture;
    const Search search = MakeSearch();
    for (auto _ : state) {
        fixture.module->PublishResource(PluginResourceEventType::Update,
                                        "/arx-matchmaking/v1/search", search);
    }
}
BENCHMARK(PublishSearch_ours);

void PublishSearch_rapidjson(benchmark::State& state) {
    const Search search = MakeSearch();
    for (auto _ : state) {
        rapidjson::StringBuffer buffer;
        rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
        writer.StartObject();
        writer.Key("data");
        WriteSearch(writer, search);
        writer.Key("eventType");
        writer.String("Update");
        writer.Key("uri");
        writer.String("/arx-matchmaking/v1/search");
        writer.EndObject();
        benchmark::DoNotOptimize(buffer.GetString());
    }
}
BENCHMARK(PublishSearch_rapidjson);

// The event as the host hands it over, and as JSON text.
struct IncomingEvent {
    explicit IncomingEvent(const BindingRegistry& registry) {
        BindingResult data;
        NativeToValue(data, MakeSearch(), &registry);
        BindingValue event;
        event.Field("uri").SetString("/arx-matchmaking/v1/search");
        event.Field("eventType").SetString("Update");
        event.Field("data") = data;
        std::memset(static_cast<void*>(&payload), 0, sizeof payload);
        ToHostValue(event, payload, &registry);
        json = WriteJson(event, &registry, nullptr);
    }
    ~IncomingEvent() { ReleaseHostValue(payload); }

    HostValue payload;
    std::string json;
};

void DispatchEvent_ours(benchmark::State& state) {
    Fixture fixture;
    std::int64_t received = 0;
    fixture.module->ObserveResource<Search>(
        "/arx-matchmaking/v1/search",
        [&](const ResourceEvent<Search>& event) { received += event.data.queueId; });
    const IncomingEvent incoming(fixture.module->GetDispatcher());
    HostEvent event{};
    event.name = "OnJsonApiEvent_arx-matchmaking_v1_search";
    event.payload = incoming.payload;
    event.context = fixture.module->resourceContext;
    for (auto _ : state) {
        fixture.module->resourceCallback(&event);
    }
    if (received != 420 * static_cast<std::int64_t>(state.iterations())) {
        state.SkipWithError("the observer missed events");
    }
}
BENCHMARK(DispatchEvent_ours);

void DispatchEvent_json(benchmark::State& state) {
    Fixture fixture;
    const IncomingEvent incoming(fixture.module->GetDispatcher());
    for (auto _ : state) {
        BindingResult result;
        ParseJson(result, incoming.json.c_str());
        benchmark::DoNotOptimize(result.Kind());
    }
}
BENCHMARK(DispatchEvent_json);

}  // namespace

BENCHMARK_MAIN();
