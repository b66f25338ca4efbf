// The matchmaking plug-in over HTTP: its routes' answers and failures as a client sees them, and a
// whole search followed on the event stream.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "http_fixture.h"

namespace Tavix::TestHost::Http {
namespace {

using nlohmann::json;
using ::testing::ElementsAre;

// Status and message of an answer.
using Row = std::pair<int, std::string>;

Row Answered(const httplib::Result& result) {
    if (!result) {
        return {0, "no answer: " + httplib::to_string(result.error())};
    }
    if (result->body.empty()) {
        return {result->status, ""};
    }
    const json body = json::parse(result->body);
    return {result->status, body.contains("message") ? body["message"].get<std::string>() : ""};
}

class MatchmakingOverHttpTest : public HttpFrontTest {};

TEST_F(MatchmakingOverHttpTest, WithoutALobbyOrASearch) {
    Serve();
    httplib::Client client = Client();
    EXPECT_EQ(Answered(client.Get(kSearch)), Row(404, "No matchmaking search exists."));
    EXPECT_EQ(Answered(client.Get(kErrors)), Row(404, "No matchmaking search exists."));
    EXPECT_EQ(Answered(client.Get(std::string(kErrors) + "/3")),
              Row(404, "No matchmaking search."));
    EXPECT_EQ(Answered(client.Get(kReadyCheck)), Row(404, "Not attached to a matchmaking queue."));
    EXPECT_EQ(Answered(client.Post(kAccept)), Row(404, "Not attached to a matchmaking queue."));
    EXPECT_EQ(Answered(client.Post(kDecline)), Row(404, "Not attached to a matchmaking queue."));
    EXPECT_EQ(Answered(client.Post(kSearch)), Row(404, "Not in a lobby!"));
    EXPECT_EQ(Answered(client.Delete(kSearch)), Row(204, ""));
    // A body the module cannot read fails while binding, which has no status of its own.
    EXPECT_EQ(Answered(client.Put(kSearch, "searchState: Canceled", "text/plain")),
              Row(400, "Unsupported body content type"));
}

TEST_F(MatchmakingOverHttpTest, TheRoutesRefusalsWithAQueue) {
    JoinLobby();
    Serve();
    httplib::Client client = Client();
    OnHost([&] { hood.platform.Fail("matchmakerService", "attachToQueue", "queue closed"); });
    EXPECT_EQ(Answered(client.Post(kSearch)),
              Row(500,
                  "Failed to attach to matchmaking queue 420: Error response for POST "
                  "/arx-login/v1/session/invoke: queue closed"));

    StandingPlatformAnswers();
    EXPECT_EQ(Answered(client.Post(kSearch)), Row(204, ""));
    EXPECT_EQ(Answered(client.Get(std::string(kErrors) + "/7")),
              Row(404, "Failed to find matchmaking error with id 7."));
    OnHost([&] {
        hood.gameflow.MoveTo("ReadyCheck");
        hood.platform.Fail("gameService", "acceptPoppedGame", "too late");
    });
    EXPECT_EQ(Answered(client.Post(kAccept)), Row(500, "Failed to accept the ready-check"));
}

TEST_F(MatchmakingOverHttpTest, AMethodTheRouteDoesNotTakeIs405) {
    Serve();
    httplib::Client client = Client();
    const auto patched = client.Patch(kSearch, "{}", "application/json");
    ASSERT_TRUE(patched);
    EXPECT_EQ(patched->status, 405);
    EXPECT_EQ(patched->get_header_value("Allow"), "GET, POST, DELETE, PUT");
}

TEST_F(MatchmakingOverHttpTest, AWholeSearchOnTheEventStream) {
    JoinLobby();
    StandingPlatformAnswers();
    Serve();
    EventStreamReader search(front->Port(), "/events?uri=/arx-matchmaking/v1/search");
    EventStreamReader readyCheck(front->Port(), "/events?uri=/arx-matchmaking/v1/ready-*");
    ASSERT_EQ(search.AwaitOpen(), 200);
    ASSERT_EQ(readyCheck.AwaitOpen(), 200);
    httplib::Client client = Client();

    EXPECT_EQ(Answered(client.Post(kSearch)), Row(204, ""));
    const auto searching = client.Get(kSearch);
    ASSERT_TRUE(searching);
    EXPECT_EQ(searching->status, 200);
    EXPECT_EQ(json::parse(searching->body)["searchState"], "Searching");

    OnHost([&] {
        host.AdvanceBy(1.0);
        hood.gameflow.MoveTo("ReadyCheck");
    });
    const auto check = client.Get(kReadyCheck);
    ASSERT_TRUE(check);
    EXPECT_EQ(json::parse(check->body)["state"], "InProgress");
    EXPECT_EQ(Answered(client.Post(kAccept)), Row(204, ""));
    OnHost([&] {
        hood.gameflow.MoveTo("RosterPick");
        hood.gameflow.MoveTo("InProgress");
    });
    EXPECT_EQ(Answered(client.Get(kSearch)), Row(404, "No matchmaking search exists."));

    std::vector<std::string> searchEvents;
    for (const StreamEvent& event : search.AwaitData("\"eventType\":\"Delete\"")) {
        const json published = json::parse(event.data);
        EXPECT_EQ(published["uri"], kSearch);
        searchEvents.push_back(published["eventType"].get<std::string>() + " " +
                               (published["data"].is_object()
                                    ? published["data"]["searchState"].get<std::string>()
                                    : "-"));
    }
    // Created, a second in the queue, found, then gone with the game.
    EXPECT_THAT(std::vector<std::string>(searchEvents.begin(), searchEvents.begin() + 2),
                ElementsAre("Create Searching", "Update Searching"));
    EXPECT_THAT(searchEvents, ::testing::Contains("Update Found"));
    EXPECT_EQ(searchEvents.back(), "Delete -");

    std::vector<std::string> checkEvents;
    for (const StreamEvent& event : readyCheck.AwaitData("\"eventType\":\"Delete\"")) {
        const json published = json::parse(event.data);
        checkEvents.push_back(
            published["eventType"].get<std::string>() + " " +
            (published["data"].is_object() ? published["data"]["state"].get<std::string>() : "-"));
    }
    ASSERT_FALSE(checkEvents.empty());
    EXPECT_EQ(checkEvents.front(), "Update InProgress");
    EXPECT_EQ(checkEvents.back(), "Delete -");
}

}  // namespace
}  // namespace Tavix::TestHost::Http
