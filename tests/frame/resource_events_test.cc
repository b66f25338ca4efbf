// Resource observation and publication through the test host: channel names and patterns, the
// first read, routing by URI, typed delivery, counted subscriptions, and the two channels of a
// published event.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "core/event_injection.h"
#include "events_fixture.h"
#include "frame/resource_events.h"
#include "frame/telemetry.h"

namespace Tavix::Client::Testing {
namespace {

using TestHost::PublishResourceEvent;
using TestHost::RecordedEvent;
using TestHost::RecordedRequest;
using TestHost::RecordedSubscription;
using TestHost::Response;
using TestHost::Value;

TEST(EventChannelNameTest, KeepsThreeSegmentsOrFiveUnderThePlatformConfiguration) {
    const std::pair<const char*, const char*> cases[] = {
        {"/arx-login/v1/session", "OnJsonApiEvent_arx-login_v1_session"},
        {"/arx-gameflow/v1/gameflow-metadata/player-status",
         "OnJsonApiEvent_arx-gameflow_v1_gameflow-metadata"},
        {"/arx-matchmaking/v1/search/errors/3", "OnJsonApiEvent_arx-matchmaking_v1_search"},
        {"", "OnJsonApiEvent"},
        {"/", "OnJsonApiEvent"},
        {"arx-login//v1///session/", "OnJsonApiEvent_arx-login_v1_session"},
        {"/a", "OnJsonApiEvent_a"},
        {"/arx-platform-config/v1/namespaces/x/y/z",
         "OnJsonApiEvent_arx-platform-config_v1_namespaces_x_y"},
        {"/arx-platform-config", "OnJsonApiEvent_arx-platform-config"},
        // Only the first segment opens the longer name.
        {"/a/arx-platform-config/b/c/d", "OnJsonApiEvent_a_arx-platform-config_b"},
    };
    for (const auto& [uri, name] : cases) {
        EXPECT_EQ(EventChannelName(uri), name) << uri;
    }
}

TEST(ResourcePatternTest, StarMatchesARunWithoutSlashThatIsNotEmptyAtTheEnd) {
    struct Case {
        const char* pattern;
        const char* key;
        bool matches;
    };
    const Case cases[] = {
        {"/a/*", "/a/b", true},      {"/a/*", "/a/bcd", true},   {"/a/*", "/a/", false},
        {"/a/*", "/a/b/c", false},   {"/a/*/b", "/a/x/b", true}, {"/a/*/b", "/a//b", true},
        {"/a/*/b", "/a/x/c", false}, {"/a/*/*", "/a/x/y", true}, {"/a/b", "/a/b", true},
        {"/a/b", "/a/bc", false},    {"/a/bc", "/a/b", false},   {"*", "", false},
        {"/*", "/x", true},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(MatchesResourcePattern(c.pattern, c.key), c.matches)
            << c.pattern << " ~ " << c.key;
    }
}

std::size_t SubscribesTo(const TestHost::Host& host, const std::string& name) {
    std::size_t count = 0;
    for (const RecordedSubscription& subscription : host.Calls().Subscriptions()) {
        count += subscription.subscribe && subscription.name == name ? 1 : 0;
    }
    return count;
}

TEST_F(FrameEventsTest, TheFirstReadReachesTheObserverBeforeObserveReturns) {
    host.Route(kMethodGet, "/arx-login/v1/session", [](const RecordedRequest&, Response& response) {
        response = Response::Ok(SessionValue("Connected", 12));
    });
    std::vector<std::string> seen;
    InModule([&] {
        plugin->ObserveResource<Session>(
            "/arx-login/v1/session", [&](const ResourceEvent<Session>& event) {
                seen.push_back(event.uri + " " + event.data.state + " " +
                               std::to_string(event.data.accountId) + " " +
                               std::to_string(static_cast<int>(event.eventType)));
            });
        EXPECT_EQ(seen, std::vector<std::string>{"/arx-login/v1/session Connected 12 0"});
    });
    EXPECT_EQ(host.OutstandingResponses(), 0u);

    PublishResourceEvent(host, "/arx-login/v1/session", "Update", SessionValue("Gone", 12));
    ASSERT_EQ(seen.size(), 2u);
    EXPECT_EQ(seen[1], "/arx-login/v1/session Gone 12 1");
}

TEST_F(FrameEventsTest, AFailedFirstReadGivesNoEventAndLaterEventsArrive) {
    host.Route(kMethodGet, "/arx-lobby/v1/lobby", [](const RecordedRequest&, Response& response) {
        response = Response::Error("no lobby", 404);
    });
    std::vector<std::string> states;
    InModule([&] {
        plugin->ObserveResource<Session>(
            "/arx-lobby/v1/lobby",
            [&](const ResourceEvent<Session>& event) { states.push_back(event.data.state); });
    });
    EXPECT_TRUE(states.empty());
    EXPECT_EQ(host.OutstandingResponses(), 0u);
    PublishResourceEvent(host, "/arx-lobby/v1/lobby", "Create", SessionValue("Open", 1));
    EXPECT_EQ(states, std::vector<std::string>{"Open"});
}

TEST_F(FrameEventsTest, TwoUrisOnOneChannelShareTheSubscriptionAndGetOnlyTheirOwnEvents) {
    std::vector<std::string> first;
    std::vector<std::string> second;
    InModule([&] {
        plugin->ObserveResource<Session>(
            "/arx-gameflow/v1/session/a",
            [&](const ResourceEvent<Session>& event) { first.push_back(event.data.state); });
        plugin->ObserveResource<Session>(
            "/arx-gameflow/v1/session/b",
            [&](const ResourceEvent<Session>& event) { second.push_back(event.data.state); });
    });
    EXPECT_EQ(SubscribesTo(host, "OnJsonApiEvent_arx-gameflow_v1_session"), 1u);
    EXPECT_EQ(plugin->ResourceSubscriptionCount("OnJsonApiEvent_arx-gameflow_v1_session"), 2u);

    PublishResourceEvent(host, "/arx-gameflow/v1/session/a", "Update", SessionValue("A", 1));
    PublishResourceEvent(host, "/arx-gameflow/v1/session/b", "Update", SessionValue("B", 2));
    // A URI without its leading slash still finds the observer of the URI with it.
    PublishResourceEvent(host, "arx-gameflow/v1/session/b", "Update", SessionValue("B2", 2));
    PublishResourceEvent(host, "/arx-gameflow/v1/session/c", "Update", SessionValue("C", 3));
    EXPECT_EQ(first, std::vector<std::string>{"A"});
    EXPECT_EQ(second, (std::vector<std::string>{"B", "B2"}));
}

TEST_F(FrameEventsTest, ObservingAUriAgainReplacesTheObserverAndCountsTwice) {
    int reads = 0;
    host.Route(kMethodGet, "/q/v1/queues", [&](const RecordedRequest&, Response& response) {
        ++reads;
        response = Response::Ok(SessionValue("read" + std::to_string(reads), reads));
    });
    std::vector<std::string> calls;
    InModule([&] {
        plugin->ObserveResource<Session>("/q/v1/queues", [&](const ResourceEvent<Session>& e) {
            calls.push_back("first " + e.data.state);
        });
        plugin->ObserveResource<Session>("/q/v1/queues", [&](const ResourceEvent<Session>& e) {
            calls.push_back("second " + e.data.state);
        });
    });
    PublishResourceEvent(host, "/q/v1/queues", "Update", SessionValue("event", 0));
    EXPECT_EQ(calls, (std::vector<std::string>{"first read1", "second read2", "second event"}));
    EXPECT_EQ(plugin->ResourceSubscriptionCount("OnJsonApiEvent_q_v1_queues"), 2u);
    EXPECT_EQ(SubscribesTo(host, "OnJsonApiEvent_q_v1_queues"), 1u);
}

TEST_F(FrameEventsTest, PatternObserversGetNoFirstReadAndFollowExactOnes) {
    std::vector<std::string> calls;
    InModule([&] {
        plugin->ObserveResource<BindingValue>(
            "/p/v1/items/*",
            [&](const ResourceEvent<BindingValue>& e) { calls.push_back("pattern " + e.uri); });
        plugin->ObserveResource<BindingValue>(
            "/p/v1/items/*/x",
            [&](const ResourceEvent<BindingValue>& e) { calls.push_back("deep " + e.uri); });
    });
    EXPECT_TRUE(host.Calls().Requests().empty());
    InModule([&] {
        plugin->ObserveResource<BindingValue>(
            "/p/v1/items/7",
            [&](const ResourceEvent<BindingValue>& e) { calls.push_back("exact " + e.uri); });
    });
    calls.clear();

    PublishResourceEvent(host, "/p/v1/items/7", "Update", Value::Signed(1));
    PublishResourceEvent(host, "/p/v1/items/8/x", "Update", Value::Signed(1));
    PublishResourceEvent(host, "/p/v1/items/", "Update", Value::Signed(1));
    EXPECT_EQ(calls, (std::vector<std::string>{"exact /p/v1/items/7", "pattern /p/v1/items/7",
                                               "deep /p/v1/items/8/x"}));
}

TEST_F(FrameEventsTest, ADeleteReachesTheTypedObserverWithADefaultRecord) {
    std::vector<Session> sessions;
    InModule([&] {
        plugin->ObserveResource<Session>("/s/v1/one", [&](const ResourceEvent<Session>& event) {
            EXPECT_EQ(event.eventType, PluginResourceEventType::Delete);
            sessions.push_back(event.data);
        });
    });
    // Whatever the data holds, even what could never become a Session.
    PublishResourceEvent(host, "/s/v1/one", "Delete", Value::Text("not a session"));
    PublishResourceEvent(host, "/s/v1/one", "Delete", SessionValue("Full", 9));
    ASSERT_EQ(sessions.size(), 2u);
    for (const Session& session : sessions) {
        EXPECT_EQ(session.state, "");
        EXPECT_EQ(session.accountId, 0);
        EXPECT_TRUE(session.tags.empty());
    }
}

TEST_F(FrameEventsTest, DataThatDoesNotFitTheRecordSkipsTheObserver) {
    int calls = 0;
    InModule([&] {
        plugin->ObserveResource<Session>("/s/v1/one",
                                         [&](const ResourceEvent<Session>&) { ++calls; });
    });
    PublishResourceEvent(host, "/s/v1/one", "Update",
                         Value::Map({{"accountId", Value::Text("twelve")}}));
    PublishResourceEvent(host, "/s/v1/one", "Update", Value::None());
    EXPECT_EQ(calls, 0);
    EXPECT_TRUE(
        Diagnosed("Couldn't convert resource Session to C++ while handling update for "
                  "URL: /s/v1/one"));
    PublishResourceEvent(host, "/s/v1/one", "Update", SessionValue("ok", 1));
    EXPECT_EQ(calls, 1);
}

TEST_F(FrameEventsTest, TheLastUnsubscriptionEndsTheHostSubscription) {
    InModule([&] {
        plugin->SubscribeToResource("/u/v1/a");
        plugin->SubscribeToResource("/u/v1/b");
    });
    const std::string channel = "OnJsonApiEvent_u_v1_a";
    const std::string other = "OnJsonApiEvent_u_v1_b";
    InModule([&] { plugin->UnsubscribeFromResource("/u/v1/a/deeper"); });
    EXPECT_EQ(plugin->ResourceSubscriptionCount(channel), 0u);
    EXPECT_FALSE(host.IsSubscribed(channel, module->ClientId()));
    EXPECT_TRUE(host.IsSubscribed(other, module->ClientId()));

    // More unsubscriptions than subscriptions change nothing.
    host.Calls().Clear();
    InModule([&] { plugin->UnsubscribeFromResource("/u/v1/a"); });
    EXPECT_EQ(plugin->ResourceSubscriptionCount(channel), 0u);
    EXPECT_TRUE(host.Calls().Subscriptions().empty());

    // The count starts over from 0 and subscribes again.
    InModule([&] { plugin->SubscribeToResource("/u/v1/a"); });
    EXPECT_TRUE(host.IsSubscribed(channel, module->ClientId()));
}

TEST_F(FrameEventsTest, PublishingSendsOnTheChannelAndTheGeneralName) {
    Session session;
    session.state = "Searching";
    session.accountId = 42;
    session.tags = {"a", "b"};
    InModule([&] {
        plugin->PublishResource(PluginResourceEventType::Update, "/arx-matchmaking/v1/search",
                                session);
        plugin->PublishResource(PluginResourceEventType::Create, "", session);
        plugin->DeleteResource("/arx-matchmaking/v1/search");
    });

    const std::vector<RecordedEvent> events = host.Calls().Events();
    ASSERT_EQ(events.size(), 5u);
    // Fields travel in name order.
    const Value sent = Value::Map(
        {{"data", Value::Map({{"accountId", Value::Signed(42)},
                              {"state", Value::Text("Searching")},
                              {"tags", Value::List({Value::Text("a"), Value::Text("b")})}})},
         {"eventType", Value::Text("Update")},
         {"uri", Value::Text("/arx-matchmaking/v1/search")}});
    EXPECT_EQ(events[0].name, "OnJsonApiEvent_arx-matchmaking_v1_search");
    EXPECT_EQ(events[0].payload, sent) << events[0].payload.ToText();
    EXPECT_EQ(events[1].name, "OnJsonApiEvent");
    EXPECT_EQ(events[1].payload, sent) << events[1].payload.ToText();
    // An empty URI's channel is the general name: one event only.
    EXPECT_EQ(events[2].name, "OnJsonApiEvent");
    EXPECT_EQ(events[3].name, "OnJsonApiEvent_arx-matchmaking_v1_search");
    const Value* type = events[3].payload.Find("eventType");
    ASSERT_NE(type, nullptr);
    EXPECT_EQ(*type, Value::Text("Delete"));
    const Value* data = events[3].payload.Find("data");
    EXPECT_TRUE(data == nullptr || data->tag == kHostValueNone) << events[3].payload.ToText();
    EXPECT_EQ(events[4].name, "OnJsonApiEvent");
    for (const RecordedEvent& event : events) {
        EXPECT_EQ(event.reserved, 0u);
    }
}

struct Unregistered {
    int value = 0;
};

TEST_F(FrameEventsTest, ARecordThatDoesNotConvertIsNotPublished) {
    InModule([&] {
        plugin->PublishResource(PluginResourceEventType::Update, "/a/v1/b", Unregistered{});
    });
    EXPECT_TRUE(host.Calls().Events().empty());
    EXPECT_TRUE(Diagnosed("test-module: Couldn't convert resource"));
}

TEST_F(FrameEventsTest, TelemetryPostsThePropertiesAsOneStructure) {
    host.Route(kMethodPost, "/telemetry/v1/events/txp-be-arx-matchmaking.dodged",
               [](const RecordedRequest&, Response& response) { response = Response::Ok({}); });
    host.Route(kMethodPost, "/telemetry/v1/events/empty",
               [](const RecordedRequest&, Response& response) {
                   response = Response::Error("refused", 503);
               });
    TelemetryProperties properties;
    properties["queue"] = "420";
    properties["by"] = "me";
    MaybeType<Failure, void> sent;
    MaybeType<Failure, void> refused;
    InModule([&] {
        sent = plugin->GetTelemetry()
                   ->SendTelemetry("txp-be-arx-matchmaking.dodged", properties)
                   .get();
        refused = plugin->GetTelemetry()->SendTelemetry("empty", {}).get();
    });
    EXPECT_FALSE(sent.IsFailure());
    ASSERT_TRUE(refused.IsFailure());
    EXPECT_EQ(refused.GetFailure().errorCode, 503);

    const std::vector<RecordedRequest> requests = host.Calls().Requests();
    ASSERT_EQ(requests.size(), 2u);
    EXPECT_EQ(requests[0].method, kMethodPost);
    ASSERT_EQ(requests[0].parameters.size(), 1u);
    EXPECT_EQ(requests[0].parameters[0].value,
              Value::Map({{"by", Value::Text("me")}, {"queue", Value::Text("420")}}));
    ASSERT_EQ(requests[1].parameters.size(), 1u);
    EXPECT_EQ(requests[1].parameters[0].value.tag, kHostValueStructure);
    EXPECT_TRUE(requests[1].parameters[0].value.fields.empty());
    EXPECT_EQ(host.OutstandingResponses(), 0u);
}

}  // namespace
}  // namespace Tavix::Client::Testing
