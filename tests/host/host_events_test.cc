#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "core/host.h"
#include "module_side.h"

namespace Tavix::TestHost {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class EventsTest : public ::testing::Test {
protected:
    // Subscribes `name` and records "<tag>:<payload>" for each delivery.
    void Watch(const char* name, std::uint32_t flags, std::string tag) {
        module.Subscribe(name, flags, [this, tag](const Client::HostEvent& event) {
            seen.push_back(tag + ":" + CopyHostValue(event.payload).ToText());
        });
    }

    Host host;
    ModuleSide module{host};
    std::vector<std::string> seen;
};

TEST_F(EventsTest, FlagZeroIsDeliveredAtOnceAndFlagOneOnALaterTurn) {
    Watch("OnJsonApiEvent_arx-login_v1_session", 0, "resource");
    Watch("OnLcdsEvent_x", 1, "lcds");

    host.Publish("OnJsonApiEvent_arx-login_v1_session", Value::Text("a"));
    host.Publish("OnLcdsEvent_x", Value::Signed(1));
    EXPECT_THAT(seen, ElementsAre("resource:\"a\""));

    host.RunUntilIdle();
    EXPECT_THAT(seen, ElementsAre("resource:\"a\"", "lcds:1"));
}

TEST_F(EventsTest, OnlySubscribersOfTheNameReceiveAndEachGetsItsOwnContext) {
    Watch("one", 0, "first");
    Watch("other", 0, "second");
    ModuleSide neighbour(host, 9);
    neighbour.Subscribe("one", 0, [&](const Client::HostEvent& event) {
        seen.push_back(std::string("neighbour:") + event.name);
    });

    host.Publish("one", Value::Map({{"k", Value::Bool(true)}}));

    EXPECT_THAT(seen, ElementsAre("first:{\"k\":true}", "neighbour:one"));
    EXPECT_TRUE(host.IsSubscribed("one", 9));
    EXPECT_FALSE(host.IsSubscribed("other", 9));
}

TEST_F(EventsTest, UnsubscribeStopsDeliveriesAlreadyQueued) {
    Watch("deferred", 1, "d");
    host.Publish("deferred", Value::Signed(1));
    module.Unsubscribe("deferred");

    host.RunUntilIdle();

    EXPECT_THAT(seen, IsEmpty());
    EXPECT_FALSE(host.IsSubscribed("deferred", module.ClientId()));
    const auto subscriptions = host.Calls().Subscriptions();
    ASSERT_EQ(subscriptions.size(), 2u);
    EXPECT_TRUE(subscriptions[0].subscribe);
    EXPECT_EQ(subscriptions[0].flags, 1u);
    EXPECT_FALSE(subscriptions[1].subscribe);
    EXPECT_EQ(subscriptions[1].name, "deferred");
    EXPECT_EQ(subscriptions[1].clientId, module.ClientId());
}

TEST_F(EventsTest, SubscribingAgainReplacesTheHandler) {
    Watch("name", 0, "old");
    Watch("name", 0, "new");

    host.Publish("name", Value::None());

    EXPECT_THAT(seen, ElementsAre("new:null"));
    EXPECT_EQ(host.Subscriptions().size(), 1u);
}

// A module that sends an event is inside a call: even flag-0 subscribers hear it on a later turn.
TEST_F(EventsTest, ModuleEventsAreRecordedAndDeliveredOnTheNextTurn) {
    Watch("OnJsonApiEvent", 0, "general");
    char name[] = "OnJsonApiEvent";
    char text[] = "payload";

    module.Schedule("sender", 0.0, [&] {
        module.SendEvent(name, BorrowedText(text));
        std::memset(text, '#', sizeof text - 1);
        std::memset(name, '#', sizeof name - 1);
        EXPECT_THAT(seen, IsEmpty());
    });
    host.RunUntilIdle();

    EXPECT_THAT(seen, ElementsAre("general:\"payload\""));
    const auto events = host.Calls().Events();
    ASSERT_EQ(events.size(), 1u);
    EXPECT_EQ(events[0].name, "OnJsonApiEvent");
    EXPECT_EQ(events[0].payload, Value::Text("payload"));
}

TEST_F(EventsTest, PublishingInsideAModuleCallWaitsForTheNextTurn) {
    Watch("late", 0, "late");
    module.Schedule("publisher", 0.0, [&] {
        host.Publish("late", Value::Unsigned(3));
        EXPECT_THAT(seen, IsEmpty());
    });

    host.RunUntilIdle();

    EXPECT_THAT(seen, ElementsAre("late:3u"));
}

TEST_F(EventsTest, ForgetClientDropsSubscriptionsAndPendingWork) {
    Watch("kept", 1, "kept");
    module.Schedule("job", 1.0, [] {});
    host.Publish("kept", Value::None());

    EXPECT_THAT(host.ForgetClient(module.ClientId()), ElementsAre("kept"));
    EXPECT_EQ(host.PendingCount(), 1u) << "the job was posted outside any module call";
    host.RunUntilIdle();
    EXPECT_THAT(seen, IsEmpty());
}

}  // namespace
}  // namespace Tavix::TestHost
