// Dodges as each back end shows them, the dodge the gameflow session then carries, low-priority
// penalties and search errors, through the test host.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "search_fixture.h"

namespace Tavix::Client::Matchmaking::Testing {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class DodgesTest : public SearchTest {
protected:
    std::vector<std::string> Dodges() const {
        std::vector<std::string> bodies;
        for (const Value& body : hood.gameflow.dodges.Bodies()) {
            bodies.push_back(body.ToJson());
        }
        return bodies;
    }

    void ReachWaitingForGame() {
        ReachReadyCheck();
        hood.gameflow.MoveTo("RosterPick");
        ASSERT_EQ(State(), "WaitingForGame");
        host.Calls().Clear();
    }

    // A squad-forge queue's lobby, with the lobby feature's search adopted.
    void EnterSquadForgeQueue() {
        lobby.queueId = Neighbourhood::kSquadForgeQueue;
        hood.gameflow.JoinLobby(lobby);
        SearchRecord answer = InQueue(Neighbourhood::kSquadForgeQueue);
        hood.squadForge.search.Next(TestHost::Reply::Answer(answer.ToValue()));
        ASSERT_TRUE(Call("POST", kSearch).ok);
        ASSERT_EQ(State(), "Searching");
        host.Calls().Clear();
        hood.gameflow.events.ForgetRequests();
    }
};

// The platform's game record at the end of a check tells whose dodge it was, and only then.
TEST_F(DodgesTest, ALegacyTerminationIsReportedFromTheGameRecord) {
    EnterQueue();
    // Members: kOwn, 12, 13. Status of kOwn '1', 12 '2', 13 '0'; strangers in between.
    const GameDtoRecord party{"TERMINATED",
                              "1290"
                              "110",
                              "",
                              {kOwn, 12, 77, 13},
                              {78, 79, 80}};
    hood.platform.PushGameDto(party);
    Turns();
    EXPECT_THAT(Dodges(), IsEmpty()) << "outside the ready check a record tells nothing";

    hood.gameflow.MoveTo("ReadyCheck");
    hood.platform.PushGameDto(party);
    hood.platform.PushGameDto({"TERMINATED", "1111111", "", {kOwn, 12, 77, 13}, {78, 79, 80}});
    hood.platform.PushGameDto({"IN_PROGRESS", "0000000", "", {kOwn, 12, 77, 13}, {78, 79, 80}});
    Turns();
    EXPECT_THAT(Dodges(), ElementsAre(R"({"dodgeIds":[12,13],"state":"PartyDodged"})",
                                      R"({"dodgeIds":[],"state":"StrangerDodged"})"));
    EXPECT_THAT(LogTexts(), Contains("Detected PARTY dodge in legacy matchmaking from DTO."));
}

TEST_F(DodgesTest, ATournamentDodgeCancelsTheSearchWithoutThePlatform) {
    ReachWaitingForGame();
    hood.gameflow.MoveTo("Lobby", "TournamentDodged", {});
    Turns();
    EXPECT_EQ(State(), "Available");
    SearchRecord search = InQueue();
    search.timeInQueue = 1;
    search.searchState = "Canceled";
    search.dodgeState = "TournamentDodged";
    EXPECT_THAT(Events(),
                ElementsAre(UpdateSearch(search), Deleted(kReadyCheck), Deleted(kSearch)));
    EXPECT_THAT(hood.platform.Calls("matchmakerService", "cancelFromQueueIfPossible"), IsEmpty());
    EXPECT_EQ(hood.client.telemetry.Count(), 0u);
}

// The player's own dodge in the pick phase goes to telemetry with the lobby's queue.
TEST_F(DodgesTest, AnOwnPartyDodgeIsCountedInTelemetry) {
    ReachWaitingForGame();
    hood.gameflow.MoveTo("Lobby", "PartyDodged", {12, kOwn});
    EXPECT_EQ(State(), "Available");
    ASSERT_EQ(hood.client.telemetry.Count(), 1u);
    const TestHost::RecordedRequest& report = hood.client.telemetry.Requests()[0];
    EXPECT_EQ(report.url, "/telemetry/v1/events/txp-be-arx-matchmaking.dodged");
    EXPECT_EQ(report.parameters.at(0).value.ToJson(), R"({"queueId":"420"})");
    const std::vector<Published> events = Events();
    ASSERT_FALSE(events.empty());
    EXPECT_NE(events[0].data.find(R"("dodgeData":{"dodgerId":12,"state":"PartyDodged"})"),
              std::string::npos)
        << events[0];
}

// A party dodge that names nobody ends the search without recording any dodge; one that names
// others sends no telemetry.
TEST_F(DodgesTest, PartyDodgesWithoutTheOwnId) {
    ReachWaitingForGame();
    hood.gameflow.MoveTo("Lobby", "PartyDodged", {});
    EXPECT_EQ(plugin->CurrentSearch(), nullptr);
    const std::vector<Published> events = Events();
    ASSERT_FALSE(events.empty());
    EXPECT_NE(events[0].data.find(R"("dodgeData":{"dodgerId":0,"state":"Invalid"})"),
              std::string::npos);
    // The job of the ended search runs before the next one starts.
    Turns();

    ReachWaitingForGame();
    hood.gameflow.MoveTo("Lobby", "PartyDodged", {12});
    EXPECT_EQ(hood.client.telemetry.Count(), 0u);
}

TEST_F(DodgesTest, AStrangersDodgeInThePickPhaseKeepsSearching) {
    ReachWaitingForGame();
    hood.gameflow.MoveTo("Matchmaking", "StrangerDodged", {});
    EXPECT_EQ(State(), "Searching");
    ASSERT_NE(plugin->CurrentSearch(), nullptr);
    EXPECT_EQ(plugin->CurrentSearch()->dodgeData.state, Api::MatchmakingDodgeState::StrangerDodged);
    EXPECT_EQ(plugin->CurrentSearch()->searchState, Api::MatchmakingSearchState::Searching);
}

// One update of the lobby feature can carry two dodges, errors and a search: the dodges are
// reported, the errors take ids, and the record is dropped.
TEST_F(DodgesTest, TheLobbyFeaturesRecordCarriesEverythingAtOnce) {
    EnterSquadForgeQueue();
    SearchRecord record = InQueue(Neighbourhood::kSquadForgeQueue);
    record.readyCheckState = "StrangerNotReady";
    record.dodgeState = "StrangerDodged";
    record.errors = {{0, "QUEUE_DODGER", 12, 30.0, "x"}};
    hood.squadForge.matchmaking.Update(record.ToValue());
    EXPECT_THAT(Dodges(), ElementsAre(R"({"dodgeIds":[],"state":"StrangerDodged"})",
                                      R"({"dodgeIds":[],"state":"StrangerDodged"})"));
    EXPECT_THAT(Events(), IsEmpty());
    EXPECT_EQ(plugin->NextSearchErrorId(), 1);

    // A check in progress is announced to the gameflow, and a searching record is adopted, which
    // in Searching tells the gameflow once more that the player is in the queue.
    record = InQueue(Neighbourhood::kSquadForgeQueue);
    record.readyCheckState = "InProgress";
    hood.squadForge.matchmaking.Update(record.ToValue());
    EXPECT_THAT(hood.gameflow.PostedEvents(),
                ElementsAre("GAMEFLOW_EVENT.ENTERED_READY_CHECK", "GAMEFLOW_EVENT.ENTERED_QUEUE"));
    const std::vector<Published> adopted = Events();
    ASSERT_EQ(adopted.size(), 1u);
    EXPECT_EQ(adopted[0].eventType, "Create");

    // Found in an ordinary queue, without errors or token, changes nothing.
    record.searchState = "Found";
    record.readyCheckState = "Invalid";
    hood.squadForge.matchmaking.Update(record.ToValue());
    EXPECT_THAT(Events(), IsEmpty());
    EXPECT_EQ(State(), "Searching");

    record.searchState = "ServiceShutdown";
    hood.squadForge.matchmaking.Update(record.ToValue());
    Turns();
    EXPECT_EQ(State(), "Available");
    EXPECT_EQ(plugin->CurrentSearch(), nullptr);
}

TEST_F(DodgesTest, TheLobbyFeatureCancelling) {
    EnterSquadForgeQueue();
    SearchRecord record = InQueue(Neighbourhood::kSquadForgeQueue);
    record.searchState = "AbandonedLowPriorityQueue";
    hood.squadForge.matchmaking.Update(record.ToValue());
    Turns();
    EXPECT_EQ(State(), "Available");
    EXPECT_EQ(hood.squadForge.cancel.Count(), 1u);
    EXPECT_THAT(hood.gameflow.PostedEvents(), ElementsAre("GAMEFLOW_EVENT.EXITED_QUEUE"));
}

TEST_F(DodgesTest, TerminatedInErrorMarksTheSearch) {
    ReachReadyCheck();
    hood.platform.AnswerCancel(true);
    hood.gameflow.MoveTo("TerminatedInError");
    Turns();
    EXPECT_EQ(State(), "Available");
    const std::vector<Published> events = Events();
    ASSERT_GE(events.size(), 4u);
    EXPECT_EQ(events[0].uri, kReadyCheck);
    EXPECT_NE(events[0].data.find(R"("state":"Error")"), std::string::npos);
    EXPECT_NE(events[1].data.find(R"("searchState":"Error")"), std::string::npos);
    EXPECT_EQ(events[2], Deleted(kReadyCheck));
}

class PenaltyTest : public DodgesTest {
protected:
    // The platform holds the party back: this player quit a game and owes 3 seconds.
    void EnterPenalty() {
        JoinFailureRecord quitter;
        quitter.className = "com.tavixplay.platform.matchmaking.WardenedQuitter";
        quitter.avatarId = kOwn;
        quitter.reasonFailed = "QUIT_WARDENED";
        quitter.accessToken = "token-7";
        quitter.leaverPenaltyMillisRemaining = 3000;
        hood.platform.AnswerAttach({{}, {quitter}});
        ASSERT_TRUE(Call("POST", kSearch).ok);
        ASSERT_EQ(State(), "Penalized");
    }
};

// The leader's search goes back into the queue when the penalty ends, with the token and with
// the time counted through the penalty.
TEST_F(PenaltyTest, APenaltyThatExpiresPutsTheLeaderBackInTheQueue) {
    EnterPenalty();
    host.AdvanceBy(3.0);
    EXPECT_EQ(State(), "Penalized");
    EXPECT_EQ(plugin->CurrentSearch()->lowPriorityData.penaltyTimeRemaining, 0.0);
    hood.platform.AnswerAttach({{{kLegacy, 60000}}, {}});
    host.AdvanceBy(1.0);
    EXPECT_EQ(State(), "Searching");
    const auto attaches = hood.platform.Calls("matchmakerService", "attachToQueue");
    ASSERT_EQ(attaches.size(), 2u);
    ASSERT_EQ(attaches[1].arguments.items.size(), 2u);
    EXPECT_EQ(attaches[1].arguments.items[1].Find("QUIT_WARDEN_ACCESS_TOKEN")->bytes, "token-7");
    EXPECT_EQ(plugin->CurrentSearch()->timeInQueue, 4.0f);
    EXPECT_THAT(hood.gameflow.PostedEvents(),
                ElementsAre("GAMEFLOW_EVENT.ENTERED_QUEUE", "GAMEFLOW_EVENT.ENTERED_QUEUE"));
}

TEST_F(PenaltyTest, AMembersSearchWaitsForTheLeader) {
    LobbyRecord asMember = lobby;
    asMember.isLeader = false;
    hood.gameflow.JoinLobby(asMember);
    EnterPenalty();
    host.AdvanceBy(5.0);
    EXPECT_EQ(State(), "Available");
    ASSERT_NE(plugin->CurrentSearch(), nullptr);
    EXPECT_EQ(hood.platform.Calls("matchmakerService", "attachToQueue").size(), 1u);
    // The search goes on counting and publishing every second.
    host.Calls().Clear();
    host.AdvanceBy(1.0);
    EXPECT_EQ(Events().size(), 2u);
}

// Leaving the queue during a penalty gives the low-priority queue up, once; the platform's echo
// of that is not mistaken for another player's abandon.
TEST_F(PenaltyTest, AbandoningThePenaltyQueue) {
    EnterPenalty();
    hood.platform.AnswerEmpty("clientFacadeService", "abandonQuitWardenLowPriorityQueue");
    EXPECT_TRUE(Call("DELETE", kSearch).ok);
    Turns();
    EXPECT_EQ(State(), "Available");
    EXPECT_EQ(plugin->CurrentSearch(), nullptr);
    EXPECT_EQ(hood.platform.Calls("clientFacadeService", "abandonQuitWardenLowPriorityQueue")
                  .at(0)
                  .arguments.ToJson(),
              R"(["token-7"])");
    hood.platform.PushLowPriorityQueueAbandoned();
    Turns();
    EXPECT_THAT(LogTexts(), testing::Not(Contains("Quit Warden low priority queue was abandoned "
                                                  "by another player.")));

    // Once in a queue again, an abandon is another player's.
    EnterQueue();
    hood.platform.AnswerCancel(true);
    hood.platform.PushLowPriorityQueueAbandoned();
    Turns();
    EXPECT_EQ(State(), "Available");
    EXPECT_THAT(LogTexts(),
                Contains("Quit Warden low priority queue was abandoned by another player."));
}

TEST_F(PenaltyTest, LeavingTheLobbyWithATokenAbandons) {
    EnterPenalty();
    hood.platform.AnswerEmpty("clientFacadeService", "abandonQuitWardenLowPriorityQueue");
    hood.gameflow.LeaveLobby();
    Turns();
    EXPECT_EQ(plugin->CurrentSearch(), nullptr);
    EXPECT_EQ(State(), "Available");
}

class SearchErrorsTest : public DodgesTest {
protected:
    // Two players failed to join: 12 for 2.5 seconds, 13 with no time at all.
    void FailToJoin() {
        JoinFailureRecord dodger;
        dodger.className = "com.tavixplay.platform.matchmaking.QueueDodger";
        dodger.avatarId = 12;
        dodger.reasonFailed = "QUEUE_DODGER";
        dodger.dodgePenaltyRemainingTime = 2500;
        JoinFailureRecord restricted;
        restricted.className = "com.tavixplay.platform.matchmaking.QueueRestricted";
        restricted.avatarId = 13;
        restricted.reasonFailed = "QUEUE_RESTRICTED";
        restricted.message = "Not eligible";
        hood.platform.AnswerAttach({{}, {dodger, restricted}});
        ASSERT_TRUE(Call("POST", kSearch).ok);
        ASSERT_EQ(State(), "Available");
        host.Calls().Clear();
    }
};

TEST_F(SearchErrorsTest, ErrorsEndByTimeAndWhenTheirPlayerLeaves) {
    FailToJoin();
    EXPECT_EQ(Call("GET", kErrors).json,
              R"([{"errorType":"QUEUE_DODGER","id":0,"message":"","penalizedAvatarId":12,)"
              R"("penaltyTimeRemaining":2.5},{"errorType":"QUEUE_RESTRICTED","id":1,)"
              R"("message":"Not eligible","penalizedAvatarId":13,"penaltyTimeRemaining":0}])");
    EXPECT_EQ(plugin->CurrentSearch()->queueId, kLegacy);

    host.AdvanceBy(2.0);
    host.Calls().Clear();
    host.AdvanceBy(1.0);
    const std::vector<Published> ended = Events();
    ASSERT_EQ(ended.size(), 4u);
    EXPECT_EQ(ended[0].uri, std::string(kErrors) + "/0");
    EXPECT_EQ(ended[0].eventType, "Update");
    EXPECT_NE(ended[0].data.find(R"("penaltyTimeRemaining":0)"), std::string::npos);
    EXPECT_EQ(ended[1], Deleted(std::string(kErrors) + "/0"));
    EXPECT_EQ(ended[2].uri, kErrors);
    EXPECT_EQ(ended[3].uri, kSearch);
    EXPECT_EQ(Call("GET", std::string(kErrors) + "/0").error,
              "Failed to find matchmaking error with id 0.");

    // The error without time stays until its player leaves the lobby.
    host.AdvanceBy(5.0);
    EXPECT_EQ(plugin->CurrentSearch()->errors.size(), 1u);
    host.Calls().Clear();
    LobbyRecord without13 = lobby;
    without13.memberAvatarIds = {kOwn, 12};
    hood.gameflow.JoinLobby(without13);
    EXPECT_THAT(Events(), ElementsAre(Deleted(std::string(kErrors) + "/1"),
                                      Published{kErrors, "Update", "[]"},
                                      testing::Field(&Published::uri, std::string(kSearch))));
    EXPECT_EQ(plugin->CurrentSearch()->searchState, Api::MatchmakingSearchState::Error);
    EXPECT_EQ(Call("GET", kErrors).json, "[]");
}

TEST_F(SearchErrorsTest, TheErrorRoutesTellTheirAbsencesApart) {
    EXPECT_EQ(Call("GET", kErrors).error, "No matchmaking search exists.");
    EXPECT_EQ(Call("GET", std::string(kErrors) + "/0").error, "No matchmaking search.");
    FailToJoin();
    EXPECT_NE(Call("GET", std::string(kErrors) + "/1").json.find("Not eligible"),
              std::string::npos);
    EXPECT_EQ(Call("GET", std::string(kErrors) + "/7").status, 404u);
}

}  // namespace
}  // namespace Tavix::Client::Matchmaking::Testing
