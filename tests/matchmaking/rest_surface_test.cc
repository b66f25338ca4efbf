// The nine routes as a host sees them: the function records of the module's API description,
// and every failure of the route table, reached through the records' call entries.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>
#include <string>

#include "search_fixture.h"

namespace Tavix::Client::Matchmaking::Testing {
namespace {

using ::testing::UnorderedElementsAre;

class RestSurfaceTest : public SearchTest {
protected:
    // A status and a text, as the table gives them.
    static std::pair<std::uint32_t, std::string> Failure(const RouteAnswer& answer) {
        EXPECT_FALSE(answer.ok) << answer;
        return {answer.status, answer.error};
    }
    using Row = std::pair<std::uint32_t, std::string>;
};

// The nine routes, and the two through which the module describes itself.
TEST_F(RestSurfaceTest, TheHostIsGivenTheNineFunctionsAndTheDescriptions) {
    std::vector<std::string> lines;
    for (const TestHost::FunctionInfo& function :
         TestHost::DescribeFunctions(*module->Block().apiDescription)) {
        lines.push_back(TestHost::DescribeLine(function));
    }
    EXPECT_THAT(
        lines, UnorderedElementsAre(
                   "GET /arx-matchmaking/v1/search GetArxMatchmakingV1Search",
                   "POST /arx-matchmaking/v1/search PostArxMatchmakingV1Search",
                   "DELETE /arx-matchmaking/v1/search DeleteArxMatchmakingV1Search",
                   "PUT /arx-matchmaking/v1/search PutArxMatchmakingV1Search search:body",
                   "GET /arx-matchmaking/v1/search/errors GetArxMatchmakingV1SearchErrors",
                   "GET /arx-matchmaking/v1/search/errors/{id} "
                   "GetArxMatchmakingV1SearchErrorsById id:path",
                   "GET /arx-matchmaking/v1/ready-check GetArxMatchmakingV1ReadyCheck",
                   "POST /arx-matchmaking/v1/ready-check/accept "
                   "PostArxMatchmakingV1ReadyCheckAccept",
                   "POST /arx-matchmaking/v1/ready-check/decline "
                   "PostArxMatchmakingV1ReadyCheckDecline",
                   "GET /arx-matchmaking/v1/help Help", "GET /arx-matchmaking/v1/openapi OpenApi"));
}

TEST_F(RestSurfaceTest, WithoutASearch) {
    EXPECT_EQ(Failure(Call("GET", kSearch)), Row(404, "No matchmaking search exists."));
    EXPECT_EQ(Failure(Call("GET", kErrors)), Row(404, "No matchmaking search exists."));
    EXPECT_EQ(Failure(Call("GET", std::string(kErrors) + "/3")),
              Row(404, "No matchmaking search."));
    EXPECT_EQ(Failure(Call("GET", kReadyCheck)), Row(404, "Not attached to a matchmaking queue."));
    EXPECT_EQ(Failure(Call("POST", "/arx-matchmaking/v1/ready-check/accept")),
              Row(404, "Not attached to a matchmaking queue."));
    EXPECT_EQ(Failure(Call("POST", "/arx-matchmaking/v1/ready-check/decline")),
              Row(404, "Not attached to a matchmaking queue."));
    // A cancel that no state refuses succeeds even without a search.
    EXPECT_TRUE(Call("DELETE", kSearch).ok);
}

TEST_F(RestSurfaceTest, EnteringAQueueFails) {
    hood.platform.Fail("matchmakerService", "attachToQueue", "remote refused");
    EXPECT_EQ(Failure(Call("POST", kSearch)),
              Row(500,
                  "Failed to attach to matchmaking queue 420: Error response for POST "
                  "/arx-login/v1/session/invoke: remote refused"));

    LobbyRecord squad = lobby;
    squad.queueId = Neighbourhood::kSquadForgeQueue;
    hood.gameflow.JoinLobby(squad);
    hood.squadForge.search.Next(TestHost::Reply::Fail("busy", 503));
    EXPECT_EQ(Failure(Call("POST", kSearch)),
              Row(500,
                  "Entering matchmaking for squadforge failed: Error response for POST "
                  "/arx-lobby-squad-forge/v1/matchmaking/search: busy"));

    LobbyRecord unknown = lobby;
    unknown.queueId = 4242;
    hood.gameflow.JoinLobby(unknown);
    EXPECT_EQ(Failure(Call("POST", kSearch)), Row(500, "Can't create search for invalid queueId"));

    hood.gameflow.LeaveLobby();
    EXPECT_EQ(Failure(Call("POST", kSearch)), Row(404, "Not in a lobby!"));
    EXPECT_EQ(plugin->CurrentSearch(), nullptr);
}

TEST_F(RestSurfaceTest, AnsweringTheReadyCheckFails) {
    EnterQueue();
    hood.platform.Fail("gameService", "acceptPoppedGame", "remote refused");
    hood.platform.Fail("gameService", "acceptPoppedGame", "remote refused");
    EXPECT_EQ(Failure(Call("POST", "/arx-matchmaking/v1/ready-check/accept")),
              Row(500, "Failed to accept the ready-check"));
    EXPECT_EQ(Failure(Call("POST", "/arx-matchmaking/v1/ready-check/decline")),
              Row(500, "Failed to decline the ready-check"));

    // The queue vanishes from the list: the running search's strategy is the invalid one.
    hood.queues.Update({{Neighbourhood::kSquadForgeQueue, true}});
    EXPECT_EQ(Failure(Call("POST", "/arx-matchmaking/v1/ready-check/accept")),
              Row(500, "Can't accept ready check for invalid queueId"));
    EXPECT_EQ(Failure(Call("POST", "/arx-matchmaking/v1/ready-check/decline")),
              Row(500, "Can't decline ready check for invalid queueId"));

    // The queue moves to the lobby feature, which refuses.
    hood.queues.Update({{kLegacy, true}});
    hood.squadForge.accept.Always(TestHost::Reply::Fail("busy", 503));
    hood.squadForge.decline.Always(TestHost::Reply::Fail("busy", 503));
    EXPECT_EQ(Failure(Call("POST", "/arx-matchmaking/v1/ready-check/accept")),
              Row(500,
                  "Failed to accept squad forge ready check: Error response for POST "
                  "/arx-lobby-squad-forge/v1/ready-check/accept: busy"));
    EXPECT_EQ(Failure(Call("POST", "/arx-matchmaking/v1/ready-check/decline")),
              Row(500,
                  "Failed to decline squad forge ready check: Error response for POST "
                  "/arx-lobby-squad-forge/v1/ready-check/decline: busy"));
}

TEST_F(RestSurfaceTest, LeavingTheQueueFails) {
    EnterQueue();
    hood.platform.AnswerCancel(false);
    EXPECT_EQ(Failure(Call("DELETE", kSearch)),
              Row(500, "Failed to cancel matchmaking search on platform."));

    // Once the machine has stopped, no state takes the cancel.
    InModule([&] { plugin->OnStop(); });
    hood.platform.AnswerCancel(true);
    EXPECT_EQ(Failure(Call("DELETE", kSearch)), Row(404, "Not attached to a matchmaking queue."));
}

TEST_F(RestSurfaceTest, ErrorsAreFoundByTheirIds) {
    SearchRecord record = InQueue();
    record.errors = {{0, "QUEUE_DODGER", 12, 0.0, "first"}};
    ASSERT_TRUE(Call("PUT", kSearch, record.ToValue()).ok);
    EXPECT_EQ(Failure(Call("GET", std::string(kErrors) + "/1")),
              Row(404, "Failed to find matchmaking error with id 1."));
    EXPECT_NE(Call("GET", std::string(kErrors) + "/0").json.find("first"), std::string::npos);
}

// A body that does not convert is refused by the dispatcher; the handler never sees it.
TEST_F(RestSurfaceTest, APutOfTheWrongShapeNeverReachesTheHandler) {
    const RouteAnswer refused =
        Call("PUT", kSearch, Value::Map({{"queueId", Value::Text("four hundred")}}));
    EXPECT_FALSE(refused.ok);
    EXPECT_EQ(refused.status, 0u) << "a binding failure leaves the status to the host";
    EXPECT_NE(refused.error.find("queueId"), std::string::npos) << refused.error;
    EXPECT_EQ(plugin->CurrentSearch(), nullptr);
    EXPECT_EQ(State(), "Available");
}

}  // namespace
}  // namespace Tavix::Client::Matchmaking::Testing
