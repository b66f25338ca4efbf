// How host events reach plug-in code: the frame's registered types, one handler per event name,
// payload conversion and what is dropped, and the stop sequence.

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "binding/registry.h"
#include "core/event_injection.h"
#include "events_fixture.h"
#include "frame/framework_types.h"
#include "frame/telemetry.h"

namespace Tavix::Client::Testing {
namespace {

using TestHost::PublishLcdsEvent;
using TestHost::PublishResourceEvent;
using TestHost::RecordedSubscription;
using TestHost::Value;

std::vector<std::string> FieldNames(const BindingTypeDescriptor& type) {
    std::vector<std::string> names;
    for (const BindingFieldDescriptor& field : type.fields) {
        names.push_back(field.name);
    }
    return names;
}

TEST_F(FrameEventsTest, InitializeDeclaresTheFrameworkTypesWithFixedIdentities) {
    const BindingRegistry& registry = plugin->GetDispatcher();
    struct Expected {
        const char* name;
        std::uint32_t identity;
        std::vector<std::string> members;
    };
    const Expected types[] = {
        {"PluginManagerState", 0xF4E3B901u, {"NotReady", "PluginsInitialized"}},
        {"PluginManagerResource", 0xFA58397Cu, {"state"}},
        {"PluginResourceEventType", 0xDC24D2ADu, {"Create", "Delete", "Update"}},
        {"PluginResourceEvent", 0xA54F35FDu, {"uri", "eventType", "data"}},
        {"PluginLcdsEvent", 0x739F2EF4u, {"clientId", "subtopic", "typeName", "body"}},
        {"PluginLcdsResponse", 0xF4476A4Fu, {"typeName", "body"}},
        {"PluginServiceProxyResponse",
         0x2C5E7588u,
         {"uuid", "serviceName", "methodName", "payload", "status", "error"}},
    };
    for (const Expected& expected : types) {
        const BindingTypeDescriptor* type = registry.FindTypeByName(expected.name);
        ASSERT_NE(type, nullptr) << expected.name;
        EXPECT_EQ(type->identity, expected.identity) << expected.name;
        EXPECT_EQ(type->tags, std::vector<std::string>{"txclient"}) << expected.name;
        std::vector<std::string> members = FieldNames(*type);
        for (const auto& [name, enumerator] : type->enumerators) {
            members.push_back(name);
        }
        EXPECT_EQ(members, expected.members) << expected.name;
    }
    EXPECT_EQ(registry.FindType(StaticType::Record<PluginResourceEventType>())
                  ->enumerators.at("Delete")
                  .number,
              2);

    struct ExpectedEvent {
        const char* name;
        const char* payload;
        const char* help;
    };
    const ExpectedEvent events[] = {
        {"OnJsonApiEvent", "PluginResourceEvent", "Fired when a resource is changed."},
        {"OnLcdsEvent", "PluginLcdsEvent",
         "Fired when a message is received over the LCDS connection."},
        {"OnServiceProxyUuidEvent", "PluginServiceProxyResponse",
         "Fired when a uuid-based service proxy message is received."},
        {"OnServiceProxyMethodEvent", "PluginServiceProxyResponse",
         "Fired when a method-based service proxy message is received."},
        {"OnServiceProxyAsyncEvent", "PluginServiceProxyResponse",
         "Fired when an async service proxy message is received."},
    };
    for (const ExpectedEvent& expected : events) {
        const BindingEventDescriptor* event = registry.FindEvent(expected.name);
        ASSERT_NE(event, nullptr) << expected.name;
        ASSERT_NE(event->type, nullptr) << expected.name;
        EXPECT_EQ(event->type->name, expected.payload);
        EXPECT_EQ(event->description, expected.help);
        EXPECT_EQ(event->tags, std::vector<std::string>{"txclient"});
    }
    EXPECT_NE(plugin->GetTelemetry(), nullptr);
}

TEST_F(FrameEventsTest, HandlersGetConvertedPayloadsWithTheirFlagWords) {
    std::vector<std::string> seen;
    plugin->HandleEvent<PluginResourceEvent>(
        "OnJsonApiEvent_a_v1_b",
        [&](const PluginResourceEvent& event) {
            seen.push_back(event.uri + "/" + std::to_string(static_cast<int>(event.eventType)) +
                           "/" + std::string(event.data.GetField("state").GetString()));
        },
        0);
    plugin->HandleEvent<PluginLcdsEvent>(
        "OnLcdsEvent_com_x_Y",
        [&](const PluginLcdsEvent& event) {
            seen.push_back(event.typeName + "/" + std::to_string(event.body.GetSigned()));
        },
        1);

    PublishResourceEvent(host, "/a/v1/b", "Update", SessionValue("Open", 4));
    // A flag-1 event comes on a later turn of the host, never at once.
    PublishLcdsEvent(host, "com.x.Y", Value::Signed(7));
    EXPECT_EQ(seen, std::vector<std::string>{"/a/v1/b/1/Open"});
    host.RunUntilIdle();
    EXPECT_EQ(seen, (std::vector<std::string>{"/a/v1/b/1/Open", "com.x.Y/7"}));

    std::vector<std::pair<std::string, std::uint32_t>> flags;
    for (const RecordedSubscription& subscription : host.Calls().Subscriptions()) {
        flags.emplace_back(subscription.name, subscription.flags);
    }
    EXPECT_NE(std::find(flags.begin(), flags.end(),
                        std::make_pair(std::string("OnJsonApiEvent_a_v1_b"), 0u)),
              flags.end());
    EXPECT_NE(std::find(flags.begin(), flags.end(),
                        std::make_pair(std::string("OnLcdsEvent_com_x_Y"), 1u)),
              flags.end());
}

TEST_F(FrameEventsTest, PayloadsThatDoNotFitAndNamesWithoutHandlerAreDropped) {
    int calls = 0;
    plugin->HandleEvent<PluginResourceEvent>(
        "Feed", [&](const PluginResourceEvent&) { ++calls; }, 0);

    // Not a structure at all, an unknown event type, a uri of the wrong kind.
    host.Publish("Feed", Value::Text("garbage"));
    host.Publish("Feed",
                 Value::Map({{"uri", Value::Text("/x")}, {"eventType", Value::Text("Explode")}}));
    host.Publish("Feed", Value::Map({{"uri", Value::List({})}}));
    EXPECT_EQ(calls, 0);
    EXPECT_TRUE(
        Diagnosed("test-module: Couldn't convert payload PluginResourceEvent for event Feed"));

    host.Publish("Feed",
                 Value::Map({{"uri", Value::Text("/x")}, {"eventType", Value::Text("Delete")}}));
    EXPECT_EQ(calls, 1);
    EXPECT_TRUE(Diagnosed("test-module: Handling event Feed"));

    // The host still holds the subscription; the module no longer knows the name.
    plugin->ForgetEventHandler("Feed");
    diagnostics.clear();
    host.Publish("Feed", Value::Map({{"uri", Value::Text("/x")}}));
    EXPECT_EQ(calls, 1);
    EXPECT_TRUE(diagnostics.empty());
}

TEST_F(FrameEventsTest, ASecondHandlerForANameReplacesTheFirstAndSubscribesAgain) {
    std::vector<std::string> calls;
    plugin->HandleEvent<PluginResourceEvent>(
        "Feed", [&](const PluginResourceEvent&) { calls.push_back("first"); }, 0);
    const std::size_t handlers = plugin->EventHandlerCount();
    plugin->HandleEvent<PluginResourceEvent>(
        "Feed", [&](const PluginResourceEvent&) { calls.push_back("second"); }, 0);
    host.Publish("Feed", Value::Map({{"uri", Value::Text("/x")}}));
    EXPECT_EQ(calls, std::vector<std::string>{"second"});
    EXPECT_EQ(plugin->EventHandlerCount(), handlers);

    std::size_t subscribes = 0;
    for (const RecordedSubscription& subscription : host.Calls().Subscriptions()) {
        subscribes += subscription.subscribe && subscription.name == "Feed" ? 1 : 0;
    }
    EXPECT_EQ(subscribes, 2u);
}

TEST_F(FrameEventsTest, AHandlerMayReplaceItselfWhileItRuns) {
    std::vector<std::string> calls;
    std::string captured = "kept alive by the running delivery";
    plugin->HandleEvent<PluginResourceEvent>(
        "Feed",
        [&, captured](const PluginResourceEvent&) {
            plugin->HandleEvent<PluginResourceEvent>(
                "Feed", [&](const PluginResourceEvent&) { calls.push_back("new"); }, 0);
            // The closure that runs here must still be alive after its replacement.
            calls.push_back(captured);
        },
        0);
    host.Publish("Feed", Value::Map({{"uri", Value::Text("/x")}}));
    host.Publish("Feed", Value::Map({{"uri", Value::Text("/x")}}));
    EXPECT_EQ(calls, (std::vector<std::string>{captured, "new"}));
}

TEST_F(FrameEventsTest, OnStopUnsubscribesEachEventOnceAndClearsTheTables) {
    plugin->HandleEvent<PluginResourceEvent>(
        "A", [](const PluginResourceEvent&) {}, 0);
    plugin->HandleEvent<PluginResourceEvent>(
        "A", [](const PluginResourceEvent&) {}, 0);
    plugin->HandleEvent<PluginLcdsEvent>(
        "B", [](const PluginLcdsEvent&) {}, 1);
    plugin->ObserveResource<Session>("/x/v1/items/*", [](const ResourceEvent<Session>&) {});
    plugin->SetTimer("t", 1.0, [] {});
    const std::size_t handlers = plugin->EventHandlerCount();
    host.Calls().Clear();

    InModule([&] { plugin->OnStop(); });

    std::vector<std::string> unsubscribed;
    for (const RecordedSubscription& subscription : host.Calls().Subscriptions()) {
        EXPECT_FALSE(subscription.subscribe);
        unsubscribed.push_back(subscription.name);
    }
    std::sort(unsubscribed.begin(), unsubscribed.end());
    EXPECT_EQ(unsubscribed.size(), handlers);
    EXPECT_TRUE(std::adjacent_find(unsubscribed.begin(), unsubscribed.end()) == unsubscribed.end());
    EXPECT_TRUE(std::binary_search(unsubscribed.begin(), unsubscribed.end(), "A"));
    EXPECT_TRUE(std::binary_search(unsubscribed.begin(), unsubscribed.end(), "B"));
    EXPECT_EQ(plugin->EventHandlerCount(), 0u);
    EXPECT_EQ(plugin->ObserverCount(), 0u);
    EXPECT_FALSE(plugin->HasTimer("t"));
    // Counts of resource subscriptions outlive the stop.
    EXPECT_EQ(plugin->ResourceSubscriptionCount("OnJsonApiEvent_x_v1_items"), 1u);
}

}  // namespace
}  // namespace Tavix::Client::Testing
