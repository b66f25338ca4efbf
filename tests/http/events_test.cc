// The event stream: the host's view beside the resource events, heartbeats, the readers' limit,
// a reader that reconnects or falls behind, and the end of the streams when the front stops.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "http_fixture.h"

namespace Tavix::TestHost::Http {
namespace {

using nlohmann::json;

class EventStreamTest : public HttpFrontTest {};

TEST_F(EventStreamTest, TheHostViewFollowsTheMachineAndItsRequests) {
    JoinLobby();
    StandingPlatformAnswers();
    Serve();
    EventStreamReader reader(front->Port(), "/events?host=1");
    ASSERT_EQ(reader.AwaitOpen(), 200);
    const std::vector<StreamEvent> greeting = reader.AwaitEvents(1, "state");
    ASSERT_FALSE(greeting.empty());
    // A reader learns at once where the machine is.
    EXPECT_EQ(greeting.front().name, "state");
    EXPECT_EQ(json::parse(greeting.front().data),
              json::parse(R"({"state":"Available","active":["Matchmaking","Available"]})"));

    ASSERT_TRUE(Client().Post(kSearch));
    const std::vector<StreamEvent> events = reader.AwaitData("\"state\":\"Searching\"");
    std::vector<std::string> seen;
    for (const StreamEvent& event : events) {
        const json data = json::parse(event.data);
        if (event.name == "request") {
            seen.push_back("request " + data["method"].get<std::string>() + " " +
                           data["url"].get<std::string>());
        } else if (event.name == "state") {
            seen.push_back("state " + data["state"].get<std::string>());
        } else if (event.name == "message") {
            seen.push_back("resource " + data["eventType"].get<std::string>() + " " +
                           data["uri"].get<std::string>());
        }
    }
    EXPECT_THAT(seen, ::testing::IsSupersetOf({"request POST /arx-login/v1/session/invoke",
                                               "resource Create /arx-matchmaking/v1/search",
                                               "state Searching"}));
}

TEST_F(EventStreamTest, AnIdleStreamGetsHeartbeats) {
    Serve();
    EventStreamReader reader(front->Port(), "/events");
    ASSERT_EQ(reader.AwaitOpen(), 200);
    EXPECT_TRUE(reader.AwaitHeartbeat());
    EXPECT_TRUE(reader.Events().empty());
}

TEST_F(EventStreamTest, ReadersPastTheLimitAreRefused) {
    HttpFrontOptions options = Options();
    options.maxEventReaders = 2;
    Serve(options);
    EventStreamReader first(front->Port(), "/events");
    EventStreamReader second(front->Port(), "/events");
    ASSERT_EQ(first.AwaitOpen(), 200);
    ASSERT_EQ(second.AwaitOpen(), 200);
    const auto third = Client().Get("/events");
    ASSERT_TRUE(third);
    EXPECT_EQ(third->status, 503);
    EXPECT_EQ(json::parse(third->body)["message"], "too many event streams are open; at most 2");
    // Requests of every other kind are still served.
    const auto search = Client().Get(kSearch);
    ASSERT_TRUE(search);
    EXPECT_EQ(search->status, 404);
}

TEST_F(EventStreamTest, AReaderThatReconnectsGoesOnAfterItsLastEvent) {
    JoinLobby();
    StandingPlatformAnswers();
    Serve();
    httplib::Client client = Client();
    EventStreamReader before(front->Port(), "/events");
    ASSERT_EQ(before.AwaitOpen(), 200);
    ASSERT_TRUE(client.Post(kSearch));
    ASSERT_TRUE(client.Delete(kSearch));
    const std::vector<StreamEvent> all = before.AwaitData("\"eventType\":\"Delete\"");
    ASSERT_GE(all.size(), 2u);

    EventStreamReader after(front->Port(), "/events", {{"Last-Event-ID", all.front().id}});
    ASSERT_EQ(after.AwaitOpen(), 200);
    const std::vector<StreamEvent> resumed = after.AwaitEvents(all.size() - 1);
    ASSERT_EQ(resumed.size(), all.size() - 1);
    for (std::size_t i = 0; i < resumed.size(); ++i) {
        EXPECT_EQ(resumed[i].id, all[i + 1].id);
        EXPECT_EQ(resumed[i].data, all[i + 1].data);
    }
}

TEST_F(EventStreamTest, AReaderThatFellOutOfTheWindowIsToldHowMuchItMissed) {
    JoinLobby();
    StandingPlatformAnswers();
    HttpFrontOptions options = Options();
    options.feedWindow = 2;
    Serve(options);
    httplib::Client client = Client();
    ASSERT_TRUE(client.Post(kSearch));
    ASSERT_TRUE(client.Delete(kSearch));
    ASSERT_GT(front->Feed().LastId(), 3u);

    EventStreamReader late(front->Port(), "/events?host=1", {{"Last-Event-ID", "1"}});
    ASSERT_EQ(late.AwaitOpen(), 200);
    const auto missedAt = [](const std::vector<StreamEvent>& seen) {
        for (std::size_t i = 0; i + 1 < seen.size(); ++i) {
            if (seen[i].name == "missed") {
                return i;
            }
        }
        return seen.size();
    };
    const std::vector<StreamEvent> events =
        late.AwaitUntil([&](const auto& seen) { return missedAt(seen) < seen.size(); });
    const std::size_t at = missedAt(events);
    ASSERT_LT(at, events.size());
    // Everything between the reader's last event and the first one still kept.
    EXPECT_EQ(json::parse(events[at].data)["missed"], std::stoull(events[at + 1].id) - 2);
}

TEST_F(EventStreamTest, StreamsEndWhenTheFrontStops) {
    Serve();
    EventStreamReader reader(front->Port(), "/events");
    ASSERT_EQ(reader.AwaitOpen(), 200);
    front->Stop();
    EXPECT_TRUE(reader.AwaitEnd());
    EXPECT_EQ(front->EventReaders(), 0u);
}

}  // namespace
}  // namespace Tavix::TestHost::Http
