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

    // Calls one of the plug-in's routes as a host would: the function record that fits method
    // and URL, its call entry, `body` as a JSON body, and the response released.
    RouteAnswer Call(const std::string& method, const std::string& url,
                     const Value& body = Value::None()) {
        const std::uint32_t code = MethodCode(method);
        const Client::ApiDescription* api = module->Block().apiDescription;
        const Client::HostFunctionRecord* record =
            api != nullptr ? TestHost::FindFunctionRecord(*api, code, method, url) : nullptr;
        if (record == nullptr) {
            return {false, 404, "no function record for " + method + " " + url, "null"};
        }
        TestHost::ApiCall call;
        call.method = code;
        call.url = url;
        call.clientId = module->ClientId();
        if (body.tag != Client::kHostValueNone) {
            call.contentType = "application/json";
            call.body = body.ToJson();
        }
        const TestHost::ApiAnswer answer =
            InModule([&] { return TestHost::CallFunctionRecord(*record, call); });
        EXPECT_TRUE(answer.released) << method << " " << url << ": response not released";
        return {!answer.error.has_value(), answer.status, answer.error.value_or(""),
                answer.value.ToJson()};
    }

    static std::uint32_t MethodCode(const std::string& method) {
        if (method == "GET")
            return Client::kMethodGet;
        if (method == "POST")
            return Client::kMethodPost;
        if (method == "PUT")
            return Client::kMethodPut;
        if (method == "DELETE")
            return Client::kMethodDelete;
        return Client::kMethodNamed;
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

    TestHost::Host host;
    Neighbourhood hood{host};
    std::unique_ptr<TestHost::Module> module;
    MatchmakingPlugin* plugin = nullptr;
};

}  // namespace Tavix::Client::Matchmaking::Testing
