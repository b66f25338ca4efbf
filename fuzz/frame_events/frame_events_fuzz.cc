// Feeds HostValue trees of any shape, depth and size, built from the fuzz bytes, through the
// module's event delivery: resource events to typed, dynamic and pattern observers, remote
// platform messages to a typed handler, service proxy messages, and names nobody handles. Each
// must be converted or dropped; nothing may crash or leak.

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <deque>
#include <initializer_list>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "binding/record_builder.h"
#include "frame/app_module.h"
#include "frame/lcds_client.h"
#include "frame/plugin_export.h"
#include "frame/resource_events.h"
#include "host_value_tree.h"

namespace {

using namespace Tavix::Client;

struct Item {
    std::string name;
    std::int32_t count = 0;
    std::vector<double> weights;
    std::map<std::string, std::int64_t> scores;
    PluginResourceEventType kind = PluginResourceEventType::Create;
};

struct Holder {
    std::vector<Item> items;
    std::optional<Item> best;
    BindingValue extra;
    std::vector<std::uint8_t> blob;
};

// The module's host: subscriptions keep their callback, jobs wait in a list, requests fail.
class FuzzModule : public AppModule {
public:
    void RegisterApi() override {
        DeclareRecord<Item>(GetDispatcher(), "Item")
            .Field("name", &Item::name)
            .Field("count", &Item::count)
            .Field("weights", &Item::weights)
            .Field("scores", &Item::scores)
            .Field("kind", &Item::kind);
        DeclareRecord<Holder>(GetDispatcher(), "Holder")
            .Field("items", &Holder::items)
            .Field("best", &Holder::best)
            .Field("extra", &Holder::extra)
            .Field("blob", &Holder::blob);
    }
    void SendRequest(HostResponse& response, const HostRequest&) override {
        static const char kMissing[] = "not found";
        response.errorText = kMissing;
        response.status = 404;
    }
    void ReservedHostCall(std::uintptr_t, std::uintptr_t) override {}
    void SendEvent(const HostEvent&) override {}
    void SubscribeToEvent(const char* name, std::uint32_t, HostEventCallback callback,
                          void* context, std::uint32_t) override {
        subscriptions[name] = {callback, context};
    }
    void UnsubscribeFromEvent(const char* name, std::uint32_t) override {
        subscriptions.erase(name);
    }
    void ScheduleCallback(const char*, HostScheduledCallback callback, void* context, double,
                          std::uint32_t) override {
        jobs.emplace_back(callback, context);
    }
    void YieldToHost() override {}
    void BeginWait(const std::string&, std::uint32_t) override {}
    void EndWait() override {}

    void RunJobs() {
        while (!jobs.empty()) {
            const auto [callback, context] = jobs.front();
            jobs.pop_front();
            callback(context);
        }
    }

    std::map<std::string, std::pair<HostEventCallback, void*>> subscriptions;
    std::deque<std::pair<HostScheduledCallback, void*>> jobs;
    std::uint64_t delivered = 0;
};

void LoadFuzzModule(PluginLoadBlock* block) {
    ConstructPlugin<FuzzModule>(*block, "fuzz-module");
}

void WriteLogNowhere(HostOperations*, std::int32_t, const char*) {}

FuzzModule& Module() {
    static FuzzModule* module = [] {
        static PluginLoadBlock block{};
        static HostOperations operations{};
        static HostInterface hostInterface{};
        block.major = 18;
        LoadFuzzModule(&block);
        operations.WriteLog = &WriteLogNowhere;
        hostInterface.operations = &operations;
        hostInterface.clientId = 7;
        block.operations->Attach(block.module, &hostInterface);
        auto* fuzz = static_cast<FuzzModule*>(static_cast<AppModule*>(block.module));
        fuzz->ObserveResource<Holder>("/f/v1/items/holder",
                                      [fuzz](const ResourceEvent<Holder>& event) {
                                          fuzz->delivered += event.data.items.size() + 1;
                                      });
        fuzz->ObserveResource<std::vector<Item>>(
            "/f/v1/items/list", [fuzz](const ResourceEvent<std::vector<Item>>& event) {
                fuzz->delivered += event.data.size();
            });
        fuzz->ObserveResource<BindingValue>("/f/v1/items/*",
                                            [fuzz](const ResourceEvent<BindingValue>& event) {
                                                fuzz->delivered += event.data.Size();
                                            });
        fuzz->SubscribeToLcds<Holder>("com.fuzz.Holder", [fuzz](const Holder& holder) {
            fuzz->delivered += holder.items.size();
        });
        return fuzz;
    }();
    return *module;
}

// Words the payload records and observers know, so that trees reach deep into the conversions.
const char* const kWords[] = {
    "uri",
    "eventType",
    "data",
    "typeName",
    "body",
    "subtopic",
    "clientId",
    "uuid",
    "items",
    "best",
    "extra",
    "blob",
    "name",
    "count",
    "weights",
    "scores",
    "kind",
    "Create",
    "Update",
    "Delete",
    "/f/v1/items/holder",
    "/f/v1/items/list",
    "f/v1/items/other",
    "com.fuzz.Holder",
    "serviceName",
    "methodName",
    "payload",
    "status",
    "error",
};

// Wraps `inner` as the one field `key` beside fixed fields, so that most inputs reach the typed
// conversions behind the envelope.
HostValue Envelope(HostMapEntry* entries,
                   std::initializer_list<std::pair<const char*, const char*>> fixed,
                   const char* key, const HostValue& inner) {
    std::uint32_t count = 0;
    for (const auto& [name, text] : fixed) {
        HostMapEntry& entry = entries[count++];
        std::memset(static_cast<void*>(&entry), 0, sizeof entry);
        entry.key = name;
        entry.value.tag = kHostValueBorrowedString;
        entry.value.payload.text.data = text;
        entry.value.payload.text.length = static_cast<std::uint32_t>(std::strlen(text));
    }
    HostMapEntry& last = entries[count++];
    last.key = key;
    last.keyOwned = 0;
    last.value = inner;
    HostValue envelope;
    std::memset(static_cast<void*>(&envelope), 0, sizeof envelope);
    envelope.tag = kHostValueStructure;
    envelope.payload.structure.entries = entries;
    envelope.payload.structure.count = count;
    return envelope;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzModule& module = Module();
    if (size == 0) {
        return 0;
    }
    const std::uint8_t route = data[0];
    Tavix::Fuzzing::TreeBuilder builder(data + 1, size - 1, kWords);
    HostValue tree;
    builder.Build(tree, 0);

    HostMapEntry entries[3];
    HostValue payload = tree;
    std::string name;
    switch (route % 8) {
        case 0:
            name = "OnJsonApiEvent_f_v1_items";
            break;
        case 1:
            name = "OnJsonApiEvent_f_v1_items";
            payload = Envelope(entries, {{"uri", "/f/v1/items/holder"}, {"eventType", "Update"}},
                               "data", tree);
            break;
        case 2:
            name = "OnJsonApiEvent_f_v1_items";
            payload = Envelope(entries, {{"uri", "f/v1/items/list"}, {"eventType", "Create"}},
                               "data", tree);
            break;
        case 3:
            name = "OnLcdsEvent_com_fuzz_Holder";
            break;
        case 4:
            name = "OnLcdsEvent_com_fuzz_Holder";
            payload = Envelope(entries, {{"typeName", "com.fuzz.Holder"}}, "body", tree);
            break;
        case 5:
            name = "OnServiceProxyUuidEvent";
            break;
        case 6:
            name = "OnServiceProxyAsyncEvent";
            break;
        default:
            name = "OnSomethingNobodyHandles";
            break;
    }

    const auto found = module.subscriptions.find(name);
    if (found != module.subscriptions.end()) {
        HostEvent event{};
        event.name = name.c_str();
        event.payload = payload;
        event.context = found->second.second;
        found->second.first(&event);
        module.RunJobs();
    }
    return 0;
}
