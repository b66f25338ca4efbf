#pragma once
// The matchmaking plug-in loaded into the test host among its scripted neighbours, with its
// clock on the host's virtual clock. A test arranges the neighbours, starts the plug-in, drives
// it through the neighbours and the host, and reads back what it published and sent.

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "binding/host_conversion.h"
#include "binding/json.h"
#include "core/event_injection.h"
#include "core/host.h"
#include "core/module.h"
#include "frame/native_conversion.h"
#include "frame/plugin_export.h"
#include "matchmaking/matchmaking_plugin.h"
#include "neighbours/neighbours.h"
#include "platform/clock.h"

namespace Tavix::Client::Matchmaking::Testing {

using TestHost::LobbyRecord;
using TestHost::Neighbourhood;
using TestHost::Value;

inline void LoadMatchmakingPlugin(PluginLoadBlock* block) {
    ConstructPlugin<MatchmakingPlugin>(*block, "arx-matchmaking");
}

// One resource event as the plug-in published it on the general channel.
struct Published {
    std::string uri;
    std::string eventType;
    std::string data;  // JSON; "null" for a Delete

    bool operator==(const Published&) const = default;
};

inline std::ostream& operator<<(std::ostream& out, const Published& published) {
    return out << published.eventType << " " << published.uri << " " << published.data;
}

// What a route answered: whether it succeeded, its status and text, and its value as JSON.
struct RouteAnswer {
    bool ok = true;
    std::uint32_t status = 0;
    std::string error;
    std::string json = "null";
};

inline std::ostream& operator<<(std::ostream& out, const RouteAnswer& answer) {
    return out << (answer.ok ? "ok " : "failed ") << answer.status << " " << answer.error << " "
               << answer.json;
}

class PluginTest : public ::testing::Test {
protected:
    void SetUp() override { Platform::SetClockSource(&TestHost::Host::ReadClock, &host); }
    void TearDown() override {
        module.reset();
        Platform::ResetClockSource();
    }

    // Loads and attaches the plug-in; its first reads are answered by the neighbours as they
    // stand. What the start sent and published is forgotten unless `keepCalls`.
    void Start(bool keepCalls = false) {
        TestHost::LoadResult loaded = TestHost::LoadModule(host, &LoadMatchmakingPlugin);
        ASSERT_TRUE(loaded.module) << loaded.error;
        module = std::move(loaded.module);
        ASSERT_TRUE(module->Attach());
        plugin = static_cast<MatchmakingPlugin*>(static_cast<AppModule*>(module->Block().module));
        host.RunUntilIdle();
        if (!keepCalls) {
            host.Calls().Clear();
        }
    }

    // Runs `work` as one call of the host into the module, as a route or a callback would.
    template <typename Work>
    auto InModule(Work&& work) {
        TestHost::Host::ModuleCall call(host, module->ClientId());
        return work();
    }

    // Calls one of the plug-in's routes as a host would, with `body` as the request's body.
    RouteAnswer Call(const std::string& method, const std::string& path,
                     const Value& body = Value::None()) {
        return InModule([&] { return Route(method, path, body); });
    }

    // Lets the host run what is due, without moving the clock.
    void Turns() { host.RunUntilIdle(); }

    std::string State() const {
        const auto* state = plugin->GetStateMachine().GetCurrentState();
        return state != nullptr ? state->name : "<stopped>";
    }

    // The resource events published since the calls were last cleared, in order.
    std::vector<Published> PublishedEvents() const {
        std::vector<Published> events;
        for (const TestHost::RecordedEvent& event : host.Calls().Events()) {
            if (event.name != "OnJsonApiEvent") {
                continue;
            }
            const Value* uri = event.payload.Find("uri");
            const Value* type = event.payload.Find("eventType");
            const Value* data = event.payload.Find("data");
            events.push_back({uri != nullptr ? uri->bytes : "", type != nullptr ? type->bytes : "",
                              data != nullptr ? data->ToJson() : "null"});
        }
        return events;
    }

    // The texts the plug-in logged since the calls were last cleared.
    std::vector<std::string> LogTexts() const {
        std::vector<std::string> texts;
        for (const auto& line : host.Calls().LogLines()) {
            texts.push_back(line.text);
        }
        return texts;
    }

    // Requests to one URL since the calls were last cleared, in order.
    std::vector<TestHost::RecordedRequest> RequestsTo(const std::string& url) const {
        std::vector<TestHost::RecordedRequest> requests;
        for (const auto& request : host.Calls().Requests()) {
            if (request.url == url) {
                requests.push_back(request);
            }
        }
        return requests;
    }

    template <typename T>
    RouteAnswer Answer(ResourceOf<T> resource) {
        RouteAnswer answer = Answer(Resource(std::move(resource)));
        if (answer.ok) {
            BindingResult value;
            NativeToValue(value, resource.value, &plugin->GetDispatcher());
            answer.json = WriteJson(value, &plugin->GetDispatcher(), nullptr);
        }
        return answer;
    }
    RouteAnswer Answer(Resource resource) {
        return {resource.ok, resource.status, resource.error, "null"};
    }

    RouteAnswer Route(const std::string& method, const std::string& path, const Value& body) {
        const std::string kErrors = "/arx-matchmaking/v1/search/errors/";
        if (path == "/arx-matchmaking/v1/search") {
            if (method == "GET")
                return Answer(plugin->GetSearch());
            if (method == "POST")
                return Answer(plugin->PostSearch());
            if (method == "DELETE")
                return Answer(plugin->DeleteSearch());
            if (method == "PUT") {
                TestHost::ValueArena arena;
                const HostValue hostValue = arena.Build(body);
                BindingResult read;
                BindingValue value;
                FromHostValue(read, value, hostValue, "search");
                Api::MatchmakingSearchResource search;
                ValueToNative(read, search, value, "search", &plugin->GetDispatcher(), 0);
                if (!read.Ok()) {
                    return {false, 0, std::string(read.ErrorText()), "null"};
                }
                return Answer(plugin->PutSearch(search));
            }
        }
        if (path == "/arx-matchmaking/v1/search/errors" && method == "GET") {
            return Answer(plugin->GetSearchErrors());
        }
        if (path.rfind(kErrors, 0) == 0 && method == "GET") {
            return Answer(plugin->GetSearchError(std::stoi(path.substr(kErrors.size()))));
        }
        if (path == "/arx-matchmaking/v1/ready-check" && method == "GET") {
            return Answer(plugin->GetReadyCheck());
        }
        if (path == "/arx-matchmaking/v1/ready-check/accept" && method == "POST") {
            return Answer(plugin->PostReadyCheckAccept());
        }
        if (path == "/arx-matchmaking/v1/ready-check/decline" && method == "POST") {
            return Answer(plugin->PostReadyCheckDecline());
        }
        return {false, 404, "Invalid function", "null"};
    }

    TestHost::Host host;
    Neighbourhood hood{host};
    std::unique_ptr<TestHost::Module> module;
    MatchmakingPlugin* plugin = nullptr;
};

}  // namespace Tavix::Client::Matchmaking::Testing
