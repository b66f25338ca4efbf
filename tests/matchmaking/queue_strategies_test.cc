// What each queue strategy sends to its back end, and what it makes of the answer.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "plugin_fixture.h"

namespace Tavix::Client::Matchmaking::Testing {
namespace {

using TestHost::SearchingForMatchRecord;
using TestHost::SearchRecord;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr const char* kInvokeRefused =
    "Error response for POST /arx-login/v1/session/invoke: remote refused";

class QueueStrategiesTest : public PluginTest {
protected:
    void SetUp() override {
        PluginTest::SetUp();
        Start();
    }

    Api::LobbyStatus Lobby(std::int32_t queueId, std::optional<std::string> lobbyId) {
        Api::LobbyStatus lobby;
        lobby.queueId = queueId;
        lobby.isLeader = true;
        lobby.memberAvatarIds = {Neighbourhood::kOwnAvatarId, 12, 13};
        lobby.lobbyId = std::move(lobbyId);
        return lobby;
    }

    Resource CreateSearch(std::int32_t queueId, std::optional<std::string> lobbyId,
                          std::string token = "") {
        const Api::LobbyStatus lobby = Lobby(queueId, std::move(lobbyId));
        return InModule([&] { return plugin->strategyFor(queueId)->CreateSearch(lobby, token); });
    }

    std::vector<std::string> Arguments(const std::string& service, const std::string& method) {
        std::vector<std::string> calls;
        for (const TestHost::LcdsInvocation& call : hood.platform.Calls(service, method)) {
            calls.push_back(call.arguments.ToJson());
        }
        return calls;
    }

    void JoinLobby(std::int32_t queueId) {
        hood.gameflow.JoinLobby(Neighbourhood::Lobby(queueId, {12, 13}));
    }
};

TEST_F(QueueStrategiesTest, LegacyAttachSendsTheLobbyAsAParty) {
    JoinLobby(Neighbourhood::kBotQueue);
    hood.platform.AnswerAttach({{{Neighbourhood::kBotQueue, 30000}}, {}});
    hood.platform.AnswerAttach({{{Neighbourhood::kBotQueue, 30000}}, {}});
    hood.platform.AnswerAttach({{{Neighbourhood::kLegacyQueue, 30000}}, {}});

    EXPECT_TRUE(CreateSearch(Neighbourhood::kBotQueue, "lobby-1").ok);
    // Without a lobby id there is no party: no invitation and no team, whatever the members.
    EXPECT_TRUE(CreateSearch(Neighbourhood::kBotQueue, "").ok);
    EXPECT_TRUE(CreateSearch(Neighbourhood::kLegacyQueue, std::nullopt).ok);

    EXPECT_THAT(
        Arguments("matchmakerService", "attachToQueue"),
        ElementsAre(R"([{"__class":"com.tavixplay.platform.matchmaking.MatchMakerParams",)"
                    R"("botDifficulty":"MEDIUM","invitationId":"lobby-1","languages":null,)"
                    R"("lastConductorMessage":"","queueIds":[33],"team":[4101,12,13],"teamId":0}])",
                    R"([{"__class":"com.tavixplay.platform.matchmaking.MatchMakerParams",)"
                    R"("botDifficulty":"MEDIUM","invitationId":null,"languages":null,)"
                    R"("lastConductorMessage":"","queueIds":[33],"team":[],"teamId":0}])",
                    R"([{"__class":"com.tavixplay.platform.matchmaking.MatchMakerParams",)"
                    R"("botDifficulty":"","invitationId":null,"languages":null,)"
                    R"("lastConductorMessage":"","queueIds":[420],"team":[],"teamId":0}])"));
}

// A token goes along as a second argument of no remote class; an empty one adds no argument.
TEST_F(QueueStrategiesTest, LegacyAttachSendsTheTokenAsASecondArgument) {
    JoinLobby(Neighbourhood::kLegacyQueue);
    hood.platform.AnswerAttach({{{Neighbourhood::kLegacyQueue, 30000}}, {}});
    EXPECT_TRUE(CreateSearch(Neighbourhood::kLegacyQueue, "lobby-1", "token-9").ok);

    const auto calls = hood.platform.Calls("matchmakerService", "attachToQueue");
    ASSERT_EQ(calls.size(), 1u);
    ASSERT_EQ(calls[0].arguments.items.size(), 2u);
    EXPECT_EQ(calls[0].arguments.items[1].ToJson(),
              R"({"QUIT_WARDEN_ACCESS_TOKEN":"token-9","__class":""})");
}

TEST_F(QueueStrategiesTest, LegacyAttachAdoptsTheAnswer) {
    JoinLobby(Neighbourhood::kLegacyQueue);
    hood.platform.AnswerAttach({{{Neighbourhood::kLegacyQueue, 90000}}, {}});
    EXPECT_TRUE(CreateSearch(Neighbourhood::kLegacyQueue, "lobby-1").ok);
    ASSERT_NE(plugin->CurrentSearch(), nullptr);
    EXPECT_EQ(plugin->CurrentSearch()->queueId, Neighbourhood::kLegacyQueue);
    EXPECT_TRUE(plugin->CurrentSearch()->isCurrentlyInQueue);
    EXPECT_FLOAT_EQ(plugin->CurrentSearch()->estimatedQueueTime, 90.0f);
}

// The wait for a late answer gives the host its turns.
TEST_F(QueueStrategiesTest, LegacyAttachWaitsForALateAnswer) {
    JoinLobby(Neighbourhood::kLegacyQueue);
    const SearchingForMatchRecord joined{{{Neighbourhood::kLegacyQueue, 1000}}, {}};
    hood.platform.AnswerLate("matchmakerService", "attachToQueue",
                             TestHost::kSearchingForMatchClass, joined.ToValue(), 4);
    EXPECT_TRUE(CreateSearch(Neighbourhood::kLegacyQueue, "lobby-1").ok);
    EXPECT_GE(host.Calls().Of<TestHost::RecordedYield>().size(), 4u);
    EXPECT_NE(plugin->CurrentSearch(), nullptr);
}

TEST_F(QueueStrategiesTest, LegacyFailuresAreFiveHundreds) {
    JoinLobby(Neighbourhood::kLegacyQueue);
    hood.platform.Fail("matchmakerService", "attachToQueue", "remote refused", 503);
    const Resource refused = CreateSearch(Neighbourhood::kLegacyQueue, "lobby-1");
    EXPECT_FALSE(refused.ok);
    EXPECT_EQ(refused.status, 500u);
    EXPECT_EQ(refused.error,
              std::string("Failed to attach to matchmaking queue 420: ") + kInvokeRefused);
    EXPECT_EQ(plugin->CurrentSearch(), nullptr);

    // An answer of another remote class is a refusal too.
    hood.platform.Answer("matchmakerService", "attachToQueue", "com.example.Other", Value::Map({}));
    EXPECT_EQ(CreateSearch(Neighbourhood::kLegacyQueue, "lobby-1").error,
              "Failed to attach to matchmaking queue 420: Expected "
              "'com.tavixplay.platform.matchmaking.SearchingForMatchNotification' as LCDS "
              "response for matchmakerService.attachToQueue, but got 'com.example.Other'");

    hood.platform.Fail("gameService", "acceptPoppedGame", "remote refused");
    hood.platform.Fail("gameService", "acceptPoppedGame", "remote refused");
    const auto legacy = [&] { return plugin->strategyFor(Neighbourhood::kLegacyQueue); };
    const Resource accept = InModule([&] { return legacy()->AcceptReadyCheck(); });
    const Resource decline = InModule([&] { return legacy()->DeclineReadyCheck(); });
    EXPECT_EQ(accept.status, 500u);
    EXPECT_EQ(accept.error, "Failed to accept the ready-check");
    EXPECT_EQ(decline.error, "Failed to decline the ready-check");
}

TEST_F(QueueStrategiesTest, LegacyCancelAnswerAndAbandonCallTheirMethods) {
    hood.platform.AnswerCancel(true);
    hood.platform.AnswerCancel(false);
    hood.platform.Fail("matchmakerService", "cancelFromQueueIfPossible", "gone");
    hood.platform.AnswerEmpty("gameService", "acceptPoppedGame");
    hood.platform.AnswerEmpty("gameService", "acceptPoppedGame");
    hood.platform.Fail("clientFacadeService", "abandonQuitWardenLowPriorityQueue", "gone");

    const auto legacy = [&] { return plugin->strategyFor(Neighbourhood::kLegacyQueue); };
    EXPECT_TRUE(InModule([&] { return legacy()->CancelSearch(420); }));
    EXPECT_FALSE(InModule([&] { return legacy()->CancelSearch(421); }));
    EXPECT_FALSE(InModule([&] { return legacy()->CancelSearch(422); }));
    EXPECT_TRUE(InModule([&] { return legacy()->AcceptReadyCheck(); }).ok);
    EXPECT_TRUE(InModule([&] { return legacy()->DeclineReadyCheck(); }).ok);
    InModule([&] { legacy()->AbandonLowPriorityQueue("token-3"); });

    EXPECT_THAT(Arguments("matchmakerService", "cancelFromQueueIfPossible"),
                ElementsAre("[420]", "[421]", "[422]"));
    EXPECT_THAT(Arguments("gameService", "acceptPoppedGame"), ElementsAre("[true]", "[false]"));
    EXPECT_THAT(Arguments("clientFacadeService", "abandonQuitWardenLowPriorityQueue"),
                ElementsAre(R"(["token-3"])"));
}

TEST_F(QueueStrategiesTest, SquadForgeTalksToTheLobbyFeature) {
    JoinLobby(Neighbourhood::kSquadForgeQueue);
    SearchRecord answer;
    answer.queueId = Neighbourhood::kSquadForgeQueue;
    answer.isCurrentlyInQueue = true;
    answer.lobbyId = "squad-7";
    answer.searchState = "Searching";
    hood.squadForge.search.Next(TestHost::Reply::Answer(answer.ToValue()));

    const Resource created = CreateSearch(Neighbourhood::kSquadForgeQueue, "lobby-1", "token-4");
    EXPECT_TRUE(created.ok) << created.error;
    ASSERT_EQ(hood.squadForge.search.Count(), 1u);
    EXPECT_THAT(hood.squadForge.search.Bodies(), ElementsAre(Value::Text("token-4")));
    ASSERT_NE(plugin->CurrentSearch(), nullptr);
    EXPECT_EQ(plugin->CurrentSearch()->lobbyId, "squad-7");

    const auto squad = [&] { return plugin->strategyFor(Neighbourhood::kSquadForgeQueue); };
    EXPECT_TRUE(InModule([&] { return squad()->CancelSearch(0); }));
    EXPECT_TRUE(InModule([&] { return squad()->AcceptReadyCheck(); }).ok);
    EXPECT_TRUE(InModule([&] { return squad()->DeclineReadyCheck(); }).ok);
    InModule([&] { squad()->AbandonLowPriorityQueue("token-5"); });

    EXPECT_EQ(hood.squadForge.cancel.Count(), 1u);
    EXPECT_THAT(hood.squadForge.cancel.Requests()[0].parameters, IsEmpty());
    EXPECT_THAT(hood.squadForge.accept.Requests()[0].parameters, IsEmpty());
    EXPECT_THAT(hood.squadForge.decline.Requests()[0].parameters, IsEmpty());
    EXPECT_THAT(hood.squadForge.abandon.Bodies(), ElementsAre(Value::Text("token-5")));
    // Nothing of this went over the platform's connection.
    EXPECT_THAT(hood.platform.lcds.Invocations(), IsEmpty());
}

TEST_F(QueueStrategiesTest, SquadForgeFailuresQuoteTheLobbyFeature) {
    hood.squadForge.search.Always(TestHost::Reply::Fail("busy", 503));
    hood.squadForge.cancel.Always(TestHost::Reply::Fail("busy", 503));
    hood.squadForge.accept.Always(TestHost::Reply::Fail("busy", 503));
    hood.squadForge.decline.Always(TestHost::Reply::Fail("busy", 503));
    hood.squadForge.abandon.Always(TestHost::Reply::Fail("busy", 503));
    const auto squad = [&] { return plugin->strategyFor(Neighbourhood::kSquadForgeQueue); };

    const Resource created = CreateSearch(Neighbourhood::kSquadForgeQueue, "lobby-1");
    EXPECT_EQ(created.status, 500u);
    EXPECT_EQ(created.error,
              "Entering matchmaking for squadforge failed: Error response for POST "
              "/arx-lobby-squad-forge/v1/matchmaking/search: busy");
    EXPECT_FALSE(InModule([&] { return squad()->CancelSearch(0); }));
    EXPECT_THAT(LogTexts(), Contains("Failed to cancel squad forge matchmaking: Error response for "
                                     "DELETE /arx-lobby-squad-forge/v1/matchmaking/search: busy"));
    EXPECT_EQ(InModule([&] { return squad()->AcceptReadyCheck(); }).error,
              "Failed to accept squad forge ready check: Error response for POST "
              "/arx-lobby-squad-forge/v1/ready-check/accept: busy");
    EXPECT_EQ(InModule([&] { return squad()->DeclineReadyCheck(); }).error,
              "Failed to decline squad forge ready check: Error response for POST "
              "/arx-lobby-squad-forge/v1/ready-check/decline: busy");
    // An abandon that fails is dropped without a word in the log.
    const std::size_t lines = LogTexts().size();
    InModule([&] { squad()->AbandonLowPriorityQueue("token-5"); });
    EXPECT_EQ(LogTexts().size(), lines);
}

TEST_F(QueueStrategiesTest, AnUnknownQueueRefusesWhatNeedsABackEnd) {
    const auto invalid = [&] { return plugin->strategyFor(999); };
    const Resource created = CreateSearch(999, "lobby-1");
    EXPECT_EQ(created.status, 500u);
    EXPECT_EQ(created.error, "Can't create search for invalid queueId");
    EXPECT_EQ(InModule([&] { return invalid()->AcceptReadyCheck(); }).error,
              "Can't accept ready check for invalid queueId");
    EXPECT_EQ(InModule([&] { return invalid()->DeclineReadyCheck(); }).error,
              "Can't decline ready check for invalid queueId");
    // Leaving a queue that vanished from the list succeeds.
    EXPECT_TRUE(InModule([&] { return invalid()->CancelSearch(999); }));
    InModule([&] {
        invalid()->AbandonLowPriorityQueue("token");
        invalid()->OnReconnected();
    });
    EXPECT_THAT(host.Calls().Requests(), IsEmpty());
}

}  // namespace
}  // namespace Tavix::Client::Matchmaking::Testing
