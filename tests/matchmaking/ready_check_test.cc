// The ready check: its resource through the check, the answers of the player, the dodge warning,
// and a search that ends while an answer is on its way.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "search_fixture.h"

namespace Tavix::Client::Matchmaking::Testing {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class ReadyCheckTest : public SearchTest {
protected:
    // The search as BeginReadyCheck publishes it after one second in the queue.
    static SearchRecord Found() {
        SearchRecord search = InQueue();
        search.timeInQueue = 1;
        search.searchState = "Found";
        search.readyCheckState = "InProgress";
        return search;
    }
};

// A stranger who does not accept sends the search back to the queue; the seconds of the check
// count as time in queue at the next tick.
TEST_F(ReadyCheckTest, AStrangersDodgeGoesBackToSearching) {
    ReachReadyCheck();
    host.AdvanceBy(1.0);
    host.Calls().Clear();
    hood.gameflow.MoveTo("Matchmaking", "StrangerDodged", {});
    EXPECT_EQ(State(), "Searching");
    SearchRecord search = Found();
    search.searchState = "Searching";
    search.readyCheckState = "StrangerNotReady";
    search.readyCheckTimer = 1;
    const Published notReady = UpdateReadyCheck(search);
    search.readyCheckState = "Invalid";
    search.readyCheckTimer = 0;
    EXPECT_THAT(Events(), ElementsAre(notReady, Deleted(kReadyCheck), UpdateSearch(search)));

    host.AdvanceBy(0.1);
    search.timeInQueue = 2;
    EXPECT_THAT(Events(), ElementsAre(UpdateSearch(search)));
    // The ready-check resource of a search outside a check is the default record.
    EXPECT_EQ(Call("GET", kReadyCheck).json,
              R"({"declinerIds":[],"dodgeWarning":"None","playerResponse":"None",)"
              R"("state":"Invalid","suppressUx":false,"timer":0})");
}

TEST_F(ReadyCheckTest, APartyDodgeRecordsTheDeclinersAndEndsTheSearch) {
    ReachReadyCheck();
    hood.platform.AnswerCancel(true);
    hood.gameflow.MoveTo("Lobby", "PartyDodged", {12});
    Turns();
    EXPECT_EQ(State(), "Available");
    SearchRecord search = Found();
    search.readyCheckState = "PartyNotReady";
    search.declinerIds = {12};
    const Published notReady = UpdateReadyCheck(search);
    search.readyCheckState = "Invalid";
    search.declinerIds = {};
    EXPECT_THAT(Events(), ElementsAre(notReady, Deleted(kReadyCheck), UpdateSearch(search),
                                      Deleted(kReadyCheck), Deleted(kSearch)));
    EXPECT_EQ(hood.platform.Calls("matchmakerService", "cancelFromQueueIfPossible").size(), 1u);
}

TEST_F(ReadyCheckTest, AFailedAnswerMarksTheCheckAndIsReturned) {
    ReachReadyCheck();
    hood.platform.Fail("gameService", "acceptPoppedGame", "remote refused");
    const RouteAnswer refused = Call("POST", "/arx-matchmaking/v1/ready-check/accept");
    EXPECT_EQ(refused.status, 500u);
    EXPECT_EQ(refused.error, "Failed to accept the ready-check");
    EXPECT_THAT(LogTexts(), Contains("Ready Check - Failed on accept 'Failed to accept the "
                                     "ready-check'"));
    SearchRecord search = Found();
    search.readyCheckState = "Error";
    // The player's answer stays None: only an answer that went through counts.
    EXPECT_THAT(Events(), ElementsAre(UpdateReadyCheck(search), UpdateSearch(search)));
    EXPECT_EQ(State(), "ReadyCheck");

    // A decline that works; nothing stops a second answer.
    hood.platform.AnswerEmpty("gameService", "acceptPoppedGame");
    hood.platform.AnswerEmpty("gameService", "acceptPoppedGame");
    EXPECT_TRUE(Call("POST", "/arx-matchmaking/v1/ready-check/decline").ok);
    EXPECT_TRUE(Call("POST", "/arx-matchmaking/v1/ready-check/decline").ok);
    EXPECT_EQ(plugin->CurrentSearch()->readyCheck.playerResponse,
              Api::MatchmakingReadyCheckResponse::Declined);
    EXPECT_THAT(LogTexts(), Contains("Ready Check - Succesfully declined"));
    EXPECT_EQ(hood.platform.Calls("gameService", "acceptPoppedGame").size(), 3u);
}

// A lobby-less queue brings no window up, and says so in the record.
TEST_F(ReadyCheckTest, ASuppressedQueueShowsNoWindow) {
    SearchRecord lobbyless;
    lobbyless.queueId = Neighbourhood::kLobbylessQueue;
    ASSERT_TRUE(Call("PUT", kSearch, lobbyless.ToValue()).ok);
    hood.gameflow.MoveTo("ReadyCheck");
    EXPECT_EQ(State(), "ReadyCheck");
    EXPECT_EQ(hood.client.uxShow.Count(), 0u);
    EXPECT_TRUE(plugin->CurrentSearch()->readyCheck.suppressUx);
}

// A warning merges into the running check, which its end clears; without a search the notice
// still goes out, and is not kept.
TEST_F(ReadyCheckTest, DodgeWarningsReachTheClient) {
    hood.platform.PushSimpleDialog("ready_check.penalty.applied");
    Turns();
    SearchRecord notice;
    notice.dodgeWarning = "Penalty";
    EXPECT_THAT(Events(), ElementsAre(UpdateReadyCheck(notice)));
    EXPECT_EQ(Call("GET", kReadyCheck).error, "Not attached to a matchmaking queue.");

    ReachReadyCheck();
    hood.platform.Push(TestHost::kSimpleDialogClass, Value::Map({}));
    hood.platform.PushSimpleDialog("something.else");
    hood.platform.PushSimpleDialog("ready_check.penalty.warning");
    Turns();
    SearchRecord search = Found();
    search.dodgeWarning = "Warning";
    EXPECT_THAT(Events(), ElementsAre(UpdateReadyCheck(search), UpdateSearch(search)));

    hood.gameflow.MoveTo("RosterPick");
    EXPECT_EQ(plugin->CurrentSearch()->readyCheck.dodgeWarning, Api::MatchmakingDodgeWarning::None);
}

// The search ends while the accept waits for the platform: the answer still goes back to the
// caller, and nothing touches the search that is gone or the one that may follow.
TEST_F(ReadyCheckTest, ASearchDestroyedDuringTheAcceptIsLeftAlone) {
    ReachReadyCheck();
    hood.platform.AnswerCancel(true);
    hood.platform.lcds.AnswerWith(
        "gameService", "acceptPoppedGame",
        [this](const TestHost::LcdsInvocation&, TestHost::Response& response) {
            // The party dodges while the answer is on its way: the update arrives during the
            // wait, on one of the turns the plug-in gives the host.
            hood.gameflow.MoveTo("Lobby", "PartyDodged", {13});
            TestHost::Reply::Late(
                3, Value::Map({{"typeName", Value::Text("")}, {"body", Value::None()}}))
                .Fill(response);
        });
    const RouteAnswer accepted = Call("POST", "/arx-matchmaking/v1/ready-check/accept");
    EXPECT_TRUE(accepted.ok) << accepted;
    Turns();
    EXPECT_EQ(plugin->CurrentSearch(), nullptr);
    EXPECT_EQ(State(), "Available");
    EXPECT_THAT(LogTexts(),
                Contains("Ready Check - The search ended while the answer was on its way"));
    const std::vector<Published> events = Events();
    ASSERT_FALSE(events.empty());
    EXPECT_EQ(events.back(), Deleted(kSearch)) << "nothing was published after the search ended";
}

}  // namespace
}  // namespace Tavix::Client::Matchmaking::Testing
