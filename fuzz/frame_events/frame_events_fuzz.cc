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
constexpr std::size_t kWordCount = sizeof(kWords) / sizeof(kWords[0]);

// A HostValue tree read from the bytes, with its storage.
class TreeBuilder {
public:
    TreeBuilder(const std::uint8_t* data, std::size_t size) : data_(data), size_(size) {}

    void Build(HostValue& value, std::size_t depth) {
        std::memset(static_cast<void*>(&value), 0, sizeof value);
        const std::uint8_t selector = Byte();
        // Long runs of one selector make deep chains; the builder itself stops well past the
        // depth the module accepts.
        std::uint32_t tag = selector % 12;
        if (depth > 300 && tag >= kHostValueCollection) {
            tag = kHostValueNone;
        }
        value.tag = tag;
        switch (tag) {
            case kHostValueNone:
                break;
            case kHostValueBool:
                value.payload.boolean = Byte();
                break;
            case kHostValueSigned:
            case kHostValueUnsigned:
            case kHostValueFloat: {
                std::uint64_t bits = 0;
                for (int i = 0; i < 8; ++i) {
                    bits = (bits << 8) | Byte();
                }
                std::memcpy(value.payload.raw, &bits, sizeof bits);
                break;
            }
            case kHostValueBorrowedString:
            case kHostValueOwnedString: {
                const char* text = Text();
                value.payload.text.data = text;
                value.payload.text.length =
                    text == nullptr ? 0 : static_cast<std::uint32_t>(std::strlen(text));
                break;
            }
            case kHostValueBorrowedBlob:
            case kHostValueOwnedBlob: {
                const std::size_t length = Byte() % 24;
                auto& bytes = texts_.emplace_back();
                for (std::size_t i = 0; i < length; ++i) {
                    bytes.push_back(static_cast<char>(Byte()));
                }
                value.payload.blob.data = length == 0 && (selector & 0x80) ? nullptr : bytes.data();
                value.payload.blob.size = static_cast<std::uint32_t>(length);
                break;
            }
            case kHostValueCollection: {
                const std::uint32_t count = Byte() % 6;
                // A raw pointer: the recursion below grows the list of arrays.
                HostValue* items =
                    values_.emplace_back(std::make_unique<HostValue[]>(count + 1)).get();
                for (std::uint32_t i = 0; i < count; ++i) {
                    Build(items[i], depth + 1);
                }
                value.payload.collection.items = count == 0 && (selector & 0x80) ? nullptr : items;
                value.payload.collection.count = count;
                break;
            }
            case kHostValueStructure: {
                const std::uint32_t count = Byte() % 6;
                HostMapEntry* entries =
                    entries_.emplace_back(std::make_unique<HostMapEntry[]>(count + 1)).get();
                for (std::uint32_t i = 0; i < count; ++i) {
                    entries[i].key = Text();
                    entries[i].keyOwned = 0;
                    Build(entries[i].value, depth + 1);
                }
                value.payload.structure.entries = entries;
                value.payload.structure.count = count;
                break;
            }
            default:
                value.tag = 11 + Byte();
                break;
        }
    }

private:
    std::uint8_t Byte() {
        if (size_ == 0) {
            return 0;
        }
        --size_;
        return *data_++;
    }

    // A known word, a null text, or raw bytes up to the next zero.
    const char* Text() {
        const std::uint8_t selector = Byte();
        if (selector < 0x80) {
            return kWords[selector % kWordCount];
        }
        if (selector == 0xFF) {
            return nullptr;
        }
        const std::size_t length = selector % 32;
        auto& text = texts_.emplace_back();
        for (std::size_t i = 0; i < length; ++i) {
            text.push_back(static_cast<char>(Byte()));
        }
        return text.c_str();
    }

    const std::uint8_t* data_;
    std::size_t size_;
    std::deque<std::string> texts_;
    std::vector<std::unique_ptr<HostValue[]>> values_;
    std::vector<std::unique_ptr<HostMapEntry[]>> entries_;
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
    TreeBuilder builder(data + 1, size - 1);
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
