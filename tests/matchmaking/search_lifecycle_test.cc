// A search from the route that starts it to the start of the game, and the other ways it ends:
// each test walks one path and checks, in order, what was published, posted and invoked.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "search_fixture.h"

namespace Tavix::Client::Matchmaking::Testing {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class SearchLifecycleTest : public SearchTest {};

TEST_F(SearchLifecycleTest, TheNormalCourseEndsWhenTheGameStarts) {
    hood.platform.AnswerAttach({{{kLegacy, 60000}}, {}});
    ASSERT_TRUE(Call("POST", kSearch).ok);
    SearchRecord search = InQueue();
    EXPECT_THAT(Events(), ElementsAre(Create(search)));
    EXPECT_EQ(State(), "Searching");
    EXPECT_THAT(hood.gameflow.PostedEvents(), ElementsAre("GAMEFLOW_EVENT.ENTERED_QUEUE"));
    EXPECT_TRUE(TickTimerPending());

    // Ten ticks a second, one publication a second.
    host.AdvanceBy(2.5);
    search.timeInQueue = 1;
    const Published first = UpdateSearch(search);
    search.timeInQueue = 2;
    EXPECT_THAT(Events(), ElementsAre(first, UpdateSearch(search)));

    hood.gameflow.MoveTo("ReadyCheck");
    search.searchState = "Found";
    search.readyCheckState = "InProgress";
    EXPECT_THAT(Events(), ElementsAre(UpdateReadyCheck(search), UpdateSearch(search)));
    EXPECT_EQ(hood.client.uxShow.Count(), 1u);

    // In the ready check only its timer moves, and only its resource goes out.
    host.AdvanceBy(2.0);
    search.readyCheckTimer = 1;
    const Published oneSecond = UpdateReadyCheck(search);
    search.readyCheckTimer = 2;
    EXPECT_THAT(Events(), ElementsAre(oneSecond, UpdateReadyCheck(search)));

    hood.platform.AnswerEmpty("gameService", "acceptPoppedGame");
    EXPECT_TRUE(Call("POST", "/arx-matchmaking/v1/ready-check/accept").ok);
    search.playerResponse = "Accepted";
    EXPECT_THAT(Events(), ElementsAre(UpdateReadyCheck(search), UpdateSearch(search)));

    hood.gameflow.MoveTo("RosterPick");
    EXPECT_EQ(State(), "WaitingForGame");
    search.readyCheckState = "EveryoneReady";
    const Published everyoneReady = UpdateReadyCheck(search);
    search.readyCheckState = "Invalid";
    search.playerResponse = "None";
    search.readyCheckTimer = 0;
    EXPECT_THAT(Events(), ElementsAre(everyoneReady, Deleted(kReadyCheck), UpdateSearch(search)));

    // The game starts: the search is cancelled on the platform and withdrawn.
    hood.platform.AnswerCancel(true);
    hood.gameflow.MoveTo("InProgress");
    Turns();
    EXPECT_EQ(State(), "Available");
    EXPECT_EQ(plugin->CurrentSearch(), nullptr);
    EXPECT_THAT(Events(), ElementsAre(Deleted(kReadyCheck), Deleted(kSearch)));
    EXPECT_EQ(hood.platform.Calls("matchmakerService", "cancelFromQueueIfPossible").size(), 1u);
    EXPECT_THAT(hood.gameflow.PostedEvents(), ElementsAre("GAMEFLOW_EVENT.ENTERED_QUEUE"));
    // The tick stops with the search.
    host.AdvanceBy(1.0);
    EXPECT_FALSE(TickTimerPending());
    EXPECT_THAT(Events(), IsEmpty());
}

// Leaving the queue through the route cancels on the platform, dispatches the cancel at once,
// and the destroy job then finds nothing to do: the gameflow hears of the exit once.
TEST_F(SearchLifecycleTest, ADeleteWhileSearchingExitsOnce) {
    EnterQueue();
    hood.platform.AnswerCancel(true);
    EXPECT_TRUE(Call("DELETE", kSearch).ok);
    Turns();
    EXPECT_EQ(State(), "Available");
    EXPECT_THAT(Events(), ElementsAre(Deleted(kReadyCheck), Deleted(kSearch)));
    EXPECT_THAT(hood.gameflow.PostedEvents(), ElementsAre("GAMEFLOW_EVENT.EXITED_QUEUE"));
    EXPECT_EQ(Call("GET", kSearch).error, "No matchmaking search exists.");
}

TEST_F(SearchLifecycleTest, APlatformThatRefusesTheCancelKeepsTheSearch) {
    EnterQueue();
    hood.platform.AnswerCancel(false);
    const RouteAnswer refused = Call("DELETE", kSearch);
    EXPECT_EQ(refused.status, 500u);
    EXPECT_EQ(refused.error, "Failed to cancel matchmaking search on platform.");
    EXPECT_EQ(State(), "Searching");
    EXPECT_NE(plugin->CurrentSearch(), nullptr);
    EXPECT_THAT(Events(), IsEmpty());
}

// A searching record adopted over a searching search keeps its time in queue and counts
// seconds anew; any other record starts from 0.
TEST_F(SearchLifecycleTest, AReplacingSearchKeepsTheTimeOnlyWhileSearching) {
    EnterQueue();
    host.AdvanceBy(3.5);
    EXPECT_TRUE(Call("PUT", kSearch, InQueue().ToValue()).ok);
    ASSERT_NE(plugin->CurrentSearch(), nullptr);
    EXPECT_EQ(plugin->CurrentSearch()->timeInQueue, 3.0f);
    host.AdvanceBy(1.0);
    EXPECT_EQ(plugin->CurrentSearch()->timeInQueue, 4.0f);

    // The platform's notification carries no state of its own: a fresh count.
    hood.platform.PushSearchingForMatch({{{kLegacy, 30000}}, {}});
    Turns();
    EXPECT_EQ(plugin->CurrentSearch()->timeInQueue, 0.0f);
    EXPECT_EQ(plugin->CurrentSearch()->estimatedQueueTime, 30.0f);
    host.AdvanceBy(2.0);

    // The state that counts is the record's as it arrives, not the one adoption gives it.
    SearchRecord failed = InQueue();
    failed.errors.push_back({0, "QUEUE_DODGER", 12, 0.0, "dodged"});
    EXPECT_TRUE(Call("PUT", kSearch, failed.ToValue()).ok);
    EXPECT_EQ(plugin->CurrentSearch()->searchState, Api::MatchmakingSearchState::Error);
    EXPECT_EQ(plugin->CurrentSearch()->timeInQueue, 2.0f);

    // Over a search in Error without a penalty even a searching record starts from 0.
    EXPECT_TRUE(Call("PUT", kSearch, InQueue().ToValue()).ok);
    EXPECT_EQ(plugin->CurrentSearch()->timeInQueue, 0.0f);
}

// The PUT hands over a whole record: its errors get fresh ids, and a cancel ignores the rest.
TEST_F(SearchLifecycleTest, PutAdoptsTheRecordOrCancels) {
    SearchRecord record = InQueue();
    record.timeInQueue = 99;
    record.errors = {{7, "QUEUE_DODGER", 12, 5.0, "a"}, {7, "QUEUE_DODGER", 13, 6.0, "b"}};
    EXPECT_TRUE(Call("PUT", kSearch, record.ToValue()).ok);
    EXPECT_EQ(State(), "Available");
    ASSERT_NE(plugin->CurrentSearch(), nullptr);
    ASSERT_EQ(plugin->CurrentSearch()->errors.size(), 2u);
    EXPECT_EQ(plugin->CurrentSearch()->errors[0].id, 0);
    EXPECT_EQ(plugin->CurrentSearch()->errors[1].id, 1);
    EXPECT_EQ(plugin->CurrentSearch()->timeInQueue, 0.0f);

    SearchRecord cancel;
    cancel.searchState = "Canceled";
    cancel.queueId = 12345;
    host.Calls().Clear();
    EXPECT_TRUE(Call("PUT", kSearch, cancel.ToValue()).ok);
    Turns();
    EXPECT_EQ(plugin->CurrentSearch(), nullptr);
    EXPECT_THAT(Events(), ElementsAre(Deleted(kReadyCheck), Deleted(kSearch)));
    EXPECT_THAT(hood.gameflow.PostedEvents(), ElementsAre("GAMEFLOW_EVENT.EXITED_QUEUE"));
    EXPECT_THAT(hood.platform.lcds.Invocations(), IsEmpty());
}

// Queue 700 needs no lobby and keeps the search there is; a record in a queue that belongs to
// nobody is taken out of the queue again.
TEST_F(SearchLifecycleTest, LobbylessQueuesAndRecordsForNobody) {
    hood.gameflow.LeaveLobby();
    host.Calls().Clear();

    hood.platform.AnswerCancel(true);
    hood.platform.PushSearchingForMatch({{{kLegacy, 1000}}, {}});
    Turns();
    EXPECT_EQ(plugin->CurrentSearch(), nullptr);
    EXPECT_THAT(Events(), IsEmpty());
    ASSERT_EQ(hood.platform.Calls("matchmakerService", "cancelFromQueueIfPossible").size(), 1u);

    SearchRecord lobbyless;
    lobbyless.queueId = Neighbourhood::kLobbylessQueue;
    EXPECT_TRUE(Call("PUT", kSearch, lobbyless.ToValue()).ok);
    EXPECT_EQ(State(), "Searching");
    ASSERT_NE(plugin->CurrentSearch(), nullptr);
    host.Calls().Clear();

    // A second record for the queue changes nothing at all.
    lobbyless.estimatedQueueTime = 5;
    EXPECT_TRUE(Call("PUT", kSearch, lobbyless.ToValue()).ok);
    EXPECT_THAT(Events(), IsEmpty());
    EXPECT_EQ(plugin->CurrentSearch()->estimatedQueueTime, 0.0f);
}

// A record that is in no queue and has no errors is a penalty, even of no time at all.
TEST_F(SearchLifecycleTest, ARecordInNoQueueBeginsAPenalty) {
    SearchRecord held;
    held.queueId = 999;
    EXPECT_TRUE(Call("PUT", kSearch, held.ToValue()).ok);
    EXPECT_EQ(State(), "Penalized");
    EXPECT_EQ(plugin->CurrentSearch()->queueId, kLegacy);
    EXPECT_EQ(plugin->CurrentSearch()->lowPriorityData.penaltyTimeRemaining, 0.0);
    EXPECT_THAT(hood.gameflow.PostedEvents(), ElementsAre("GAMEFLOW_EVENT.ENTERED_QUEUE"));
}

TEST_F(SearchLifecycleTest, JoiningALobbyEndsALeftoverSearch) {
    EnterQueue();
    hood.gameflow.LeaveLobby();
    EXPECT_NE(plugin->CurrentSearch(), nullptr) << "leaving without a token keeps the search";
    hood.platform.AnswerCancel(true);
    hood.gameflow.JoinLobby(lobby);
    Turns();
    EXPECT_EQ(plugin->CurrentSearch(), nullptr);
    EXPECT_EQ(hood.platform.Calls("matchmakerService", "cancelFromQueueIfPossible").size(), 1u);
    EXPECT_EQ(State(), "Available");
}

// The leader leaves the queue when the lobby's size changes; members never do, and the same
// number of other players is no change.
TEST_F(SearchLifecycleTest, AMemberChangeWhileQueuedCancelsForTheLeaderOnly) {
    EnterQueue();
    LobbyRecord swapped = lobby;
    swapped.memberAvatarIds = {kOwn, 12, 14};
    hood.gameflow.JoinLobby(swapped);
    EXPECT_EQ(State(), "Searching");

    LobbyRecord asMember = swapped;
    asMember.isLeader = false;
    asMember.memberAvatarIds.push_back(15);
    hood.gameflow.JoinLobby(asMember);
    EXPECT_EQ(State(), "Searching");

    LobbyRecord grown = swapped;
    grown.memberAvatarIds = {kOwn, 12};
    hood.platform.AnswerCancel(true);
    hood.gameflow.JoinLobby(grown);
    Turns();
    EXPECT_EQ(State(), "Available");
    EXPECT_EQ(plugin->CurrentSearch(), nullptr);
    EXPECT_THAT(LogTexts(),
                Contains("Cancelling matchmaking search because player joined or left lobby"));
    EXPECT_THAT(hood.gameflow.PostedEvents(), ElementsAre("GAMEFLOW_EVENT.EXITED_QUEUE"));
}

TEST_F(SearchLifecycleTest, APlayerQuitNotificationCancels) {
    EnterQueue();
    hood.platform.PushGameNotification("SOMETHING_ELSE");
    Turns();
    EXPECT_EQ(State(), "Searching");
    hood.platform.AnswerCancel(true);
    hood.platform.PushGameNotification("PLAYER_QUIT");
    Turns();
    EXPECT_EQ(State(), "Available");
    EXPECT_EQ(plugin->CurrentSearch(), nullptr);
    EXPECT_THAT(hood.gameflow.PostedEvents(), ElementsAre("GAMEFLOW_EVENT.EXITED_QUEUE"));
}

TEST_F(SearchLifecycleTest, PostWithoutALobbyOrQueue) {
    hood.gameflow.LeaveLobby();
    const RouteAnswer noLobby = Call("POST", kSearch);
    EXPECT_EQ(noLobby.status, 404u);
    EXPECT_EQ(noLobby.error, "Not in a lobby!");

    LobbyRecord unknown = lobby;
    unknown.queueId = 4242;
    hood.gameflow.JoinLobby(unknown);
    const RouteAnswer invalid = Call("POST", kSearch);
    EXPECT_EQ(invalid.status, 500u);
    EXPECT_EQ(invalid.error, "Can't create search for invalid queueId");
    EXPECT_EQ(State(), "Available");
}

}  // namespace
}  // namespace Tavix::Client::Matchmaking::Testing
