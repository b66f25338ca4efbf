// The plug-in's mirror of its neighbours, driven through the test host: the first reads at start,
// the queue table, the login, the gameflow session and the player status.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "matchmaking/invalid_queue_strategy.h"
#include "matchmaking/legacy_queue_strategy.h"
#include "matchmaking/squad_forge_queue_strategy.h"
#include "plugin_fixture.h"

namespace Tavix::Client::Matchmaking::Testing {
namespace {

using TestHost::GameflowRecord;
using TestHost::LoginRecord;
using TestHost::PlayerStatusRecord;
using TestHost::QueueRecord;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class NeighboursTest : public PluginTest {
protected:
    // Which of the three strategies a queue resolves to.
    std::string StrategyOf(std::int32_t queueId) {
        const std::shared_ptr<QueueStrategy> strategy =
            InModule([&] { return plugin->strategyFor(queueId); });
        if (dynamic_cast<LegacyQueueStrategy*>(strategy.get()) != nullptr) {
            return "legacy";
        }
        if (dynamic_cast<SquadForgeQueueStrategy*>(strategy.get()) != nullptr) {
            return "squad-forge";
        }
        return dynamic_cast<InvalidQueueStrategy*>(strategy.get()) != nullptr ? "invalid" : "null";
    }

    std::size_t QueueReads() const { return RequestsTo(TestHost::kQueuesUri).size(); }

    std::vector<std::string> MachineEvents() const {
        std::vector<std::string> events;
        for (const std::string& text : LogTexts()) {
            if (text.rfind("MATCHMAKING_EVENT.", 0) == 0) {
                events.push_back(text);
            }
        }
        return events;
    }
};

// Each observer delivers its first read before the next subscription is made, so the login and
// the queues are known when the player status arrives; the remote subscriptions come last.
TEST_F(NeighboursTest, StartReadsEachNeighbourInTurn) {
    hood.gameflow.status.currentLobbyStatus = Neighbourhood::Lobby(Neighbourhood::kLegacyQueue);
    hood.gameflow.playerStatus.Set(hood.gameflow.status.ToValue());
    Start(/*keepCalls=*/true);

    std::vector<std::string> order;
    for (const TestHost::RecordedCall& call : host.Calls().Calls()) {
        if (const auto* request = std::get_if<TestHost::RecordedRequest>(&call)) {
            order.push_back("GET " + request->url);
        } else if (const auto* subscription = std::get_if<TestHost::RecordedSubscription>(&call)) {
            if (subscription->subscribe && subscription->name.rfind("OnLcdsEvent_", 0) == 0) {
                order.push_back(subscription->name);
            }
        }
    }
    EXPECT_THAT(
        order,
        ElementsAre("GET /arx-login/v1/session", "GET /arx-game-queues/v1/queues",
                    "GET /arx-gameflow/v1/session",
                    "GET /arx-gameflow/v1/gameflow-metadata/player-status",
                    "OnLcdsEvent_com_tavixplay_platform_game_message_GameNotification",
                    "OnLcdsEvent_com_tavixplay_platform_messaging_persistence_SimpleDialogMessage",
                    "GET /arx-lobby-squad-forge/v1/matchmaking",
                    "OnLcdsEvent_com_tavixplay_platform_matchmaking_SearchingForMatchNotification",
                    "OnLcdsEvent_com_tavixplay_platform_game_GameDTO",
                    "OnLcdsEvent_com_tavixplay_platform_quitwarden_event_messaging_"
                    "QuitWardenLowPriorityQueueAbandoned"));
    EXPECT_TRUE(plugin->IsLoggedIn());
    EXPECT_EQ(plugin->GetOwnAvatarId(), Neighbourhood::kOwnAvatarId);
    EXPECT_TRUE(plugin->QueuesLoaded());
    ASSERT_TRUE(plugin->GetCurrentLobbyStatus().has_value());
    EXPECT_EQ(plugin->GetCurrentLobbyStatus()->queueId, Neighbourhood::kLegacyQueue);
    // The first read of the gameflow session is a Create, which sets nothing.
    EXPECT_EQ(plugin->GetGameflowPhase(), Api::GameflowPhase::None);
    EXPECT_EQ(State(), "Available");
}

TEST_F(NeighboursTest, TheQueueListDecidesEachQueuesStrategy) {
    hood.queues.Set({{500, false}, {501, true}, {500, true}});
    Start();
    EXPECT_EQ(StrategyOf(500), "squad-forge");
    EXPECT_EQ(StrategyOf(501), "squad-forge");
    EXPECT_EQ(StrategyOf(502), "invalid");
    EXPECT_EQ(QueueReads(), 0u);

    // A queue changing its back end moves to the other strategy at once.
    hood.queues.Update({{500, false}, {502, false}});
    EXPECT_EQ(StrategyOf(500), "legacy");
    EXPECT_EQ(StrategyOf(501), "invalid");
    EXPECT_EQ(StrategyOf(502), "legacy");

    // After a Delete the list is empty: every queue is invalid, and nothing is read afresh.
    hood.queues.list.Delete();
    EXPECT_EQ(StrategyOf(500), "invalid");
    EXPECT_EQ(QueueReads(), 0u);
}

// A list that could not be read at start is read on first use, once when it answers, and again
// on each use while it fails.
TEST_F(NeighboursTest, AQueueListNotYetLoadedIsReadOnUse) {
    hood.queues.list.ReadsFail("queues are not ready", 503);
    Start();
    EXPECT_FALSE(plugin->QueuesLoaded());

    EXPECT_EQ(StrategyOf(Neighbourhood::kLegacyQueue), "invalid");
    EXPECT_EQ(StrategyOf(Neighbourhood::kLegacyQueue), "invalid");
    EXPECT_EQ(QueueReads(), 2u);

    hood.queues.list.ReadsAnswer();
    EXPECT_EQ(StrategyOf(Neighbourhood::kLegacyQueue), "legacy");
    EXPECT_EQ(StrategyOf(Neighbourhood::kSquadForgeQueue), "squad-forge");
    EXPECT_EQ(QueueReads(), 3u);
    EXPECT_TRUE(plugin->QueuesLoaded());
}

// A late answer makes the reader give the host its turns, and the table is filled all the same.
TEST_F(NeighboursTest, AQueueListThatAnswersLateIsWaitedFor) {
    hood.queues.list.ReadsFail("not yet", 503);
    Start();
    hood.queues.list.ReadsLate(3);
    EXPECT_EQ(StrategyOf(Neighbourhood::kSquadForgeQueue), "squad-forge");
    EXPECT_GE(host.Calls().Of<TestHost::RecordedYield>().size(), 3u);
}

TEST_F(NeighboursTest, TheAvatarIsTakenOnlyAtTheStepIntoLoggedIn) {
    hood.login.record = {"IN_PROGRESS", 0, 0, false};
    hood.login.session.Set(hood.login.record.ToValue());
    Start();
    EXPECT_FALSE(plugin->IsLoggedIn());

    // A login without an account is no login.
    hood.login.Update({"SUCCEEDED", 77, 0, true});
    EXPECT_FALSE(plugin->IsLoggedIn());
    EXPECT_EQ(plugin->GetOwnAvatarId(), 0u);

    hood.login.Update({"SUCCEEDED", 77, 88, true});
    EXPECT_TRUE(plugin->IsLoggedIn());
    EXPECT_EQ(plugin->GetOwnAvatarId(), 77u);

    hood.login.Update({"SUCCEEDED", 78, 88, true});
    EXPECT_EQ(plugin->GetOwnAvatarId(), 77u);

    hood.login.LogOut();
    EXPECT_FALSE(plugin->IsLoggedIn());
    EXPECT_FALSE(plugin->IsConnected());
    EXPECT_EQ(plugin->GetOwnAvatarId(), 0u);
}

// The connection coming back while logged in and in a lobby lets the queue's strategy react; a
// legacy queue during matchmaking takes it as a party dodge of this player.
TEST_F(NeighboursTest, AReconnectInALobbyReachesTheStrategyOnce) {
    Start();
    hood.gameflow.MoveTo("Matchmaking");
    hood.login.SetConnected(false);
    hood.login.SetConnected(true);
    EXPECT_THAT(hood.gameflow.dodges.Bodies(), IsEmpty()) << "reconnect without a lobby";

    hood.gameflow.JoinLobby(Neighbourhood::Lobby(Neighbourhood::kLegacyQueue));
    hood.login.SetConnected(false);
    hood.login.SetConnected(true);
    hood.login.SetConnected(true);
    ASSERT_EQ(hood.gameflow.dodges.Count(), 1u);
    EXPECT_EQ(hood.gameflow.dodges.Bodies()[0].ToJson(),
              R"({"dodgeIds":[4101],"state":"PartyDodged"})");
    EXPECT_THAT(LogTexts(), testing::Contains("Detected PARTY dodge in legacy matchmaking after "
                                              "reconnect."));

    // Outside matchmaking and the ready check a reconnect is no dodge.
    hood.gameflow.MoveTo("Lobby");
    hood.login.SetConnected(false);
    hood.login.SetConnected(true);
    EXPECT_EQ(hood.gameflow.dodges.Count(), 1u);
}

// Only an update counts, only a change of phase fires, and a dodge state beats the phase.
TEST_F(NeighboursTest, GameflowUpdatesRaiseEventsOnAChangeOfPhase) {
    Start();
    hood.gameflow.record.phase = "ReadyCheck";
    hood.gameflow.session.Publish("Create");
    EXPECT_EQ(plugin->GetGameflowPhase(), Api::GameflowPhase::None);

    hood.gameflow.MoveTo("Matchmaking");
    EXPECT_EQ(plugin->GetGameflowPhase(), Api::GameflowPhase::Matchmaking);
    EXPECT_THAT(MachineEvents(), IsEmpty());

    // The same phase with a dodge is kept for later and raises nothing.
    hood.gameflow.MoveTo("Matchmaking", "PartyDodged", {5});
    EXPECT_EQ(plugin->GetGameflowDodgeState(), Api::MatchmakingDodgeState::PartyDodged);
    EXPECT_THAT(MachineEvents(), IsEmpty());

    hood.gameflow.MoveTo("ReadyCheck", "PartyDodged", {5});
    hood.gameflow.MoveTo("InProgress");
    hood.gameflow.MoveTo("CheckedIntoTournament", "StrangerDodged", {});
    hood.gameflow.MoveTo("TerminatedInError");
    hood.gameflow.session.Delete();
    EXPECT_THAT(
        MachineEvents(),
        ElementsAre("MATCHMAKING_EVENT.PARTY_DODGE", "MATCHMAKING_EVENT.GAME_STARTED",
                    "MATCHMAKING_EVENT.STRANGER_DODGE", "MATCHMAKING_EVENT.TERMINATED_IN_ERROR"));
    EXPECT_EQ(plugin->GetGameflowPhase(), Api::GameflowPhase::TerminatedInError);
}

// A session that does not convert is dropped whole: nothing of it is mirrored.
TEST_F(NeighboursTest, ASessionOfTheWrongShapeIsDropped) {
    Start();
    hood.gameflow.MoveTo("Matchmaking");
    hood.gameflow.session.Update(Value::Map({{"phase", Value::Text("Warping")}}));
    hood.gameflow.session.Update(Value::Map(
        {{"phase", Value::Text("ReadyCheck")}, {"gameDodge", Value::Text("not a record")}}));
    hood.gameflow.session.Update(Value::List({Value::Signed(4)}));
    EXPECT_EQ(plugin->GetGameflowPhase(), Api::GameflowPhase::Matchmaking);
    EXPECT_THAT(MachineEvents(), IsEmpty());
    EXPECT_EQ(State(), "Available");
}

TEST_F(NeighboursTest, ThePlayerStatusKeepsTheLobbies) {
    Start();
    const LobbyRecord lobby = Neighbourhood::Lobby(Neighbourhood::kLegacyQueue, {12});
    PlayerStatusRecord status;
    status.currentLobbyStatus = lobby;
    status.lastQueuedLobbyStatus = lobby;
    hood.gameflow.UpdateStatus(status);
    ASSERT_TRUE(plugin->GetCurrentLobbyStatus().has_value());
    EXPECT_THAT(plugin->GetLastQueuedLobbyStatus()->memberAvatarIds, ElementsAre(4101u, 12u));

    // The last queued lobby follows every event, also when it goes.
    status.lastQueuedLobbyStatus.reset();
    hood.gameflow.UpdateStatus(status);
    EXPECT_FALSE(plugin->GetLastQueuedLobbyStatus().has_value());

    // A Delete changes nothing.
    hood.gameflow.playerStatus.Delete();
    EXPECT_TRUE(plugin->GetCurrentLobbyStatus().has_value());

    hood.gameflow.LeaveLobby();
    EXPECT_FALSE(plugin->GetCurrentLobbyStatus().has_value());
}

}  // namespace
}  // namespace Tavix::Client::Matchmaking::Testing
