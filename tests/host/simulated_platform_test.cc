// The simulated platform on its own, with the test playing the plug-in through the host table:
// the ready check, the gameflow's answers to the plug-in's posts, news kept while offline, and
// one course per seed.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "core/event_injection.h"
#include "core/host.h"
#include "core/lcds_endpoint.h"
#include "module_side.h"
#include "sim/simulated_platform.h"

namespace Tavix::TestHost {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

constexpr std::uint64_t kPlayer = SimulatedPlatform::kPlayer;

PlatformSettings Certain() {
    PlatformSettings settings;
    settings.acceptRate = 1.0;
    return settings;
}

class SimulatedPlatformTest : public ::testing::Test {
protected:
    explicit SimulatedPlatformTest(PlatformSettings settings = Certain())
        : platform(host, settings) {
        platform.SetNarrator([this](const std::string& source, const std::string& text) {
            narration.push_back(source + ": " + text);
        });
        module.Subscribe(LcdsEventChannel(kGameDtoClass).c_str(), 0,
                         [this](const Client::HostEvent& event) {
                             const Value message = CopyHostValue(event.payload);
                             const Value& body = *message.Find("body");
                             games.push_back(body.Find("gameState")->bytes + " " +
                                             body.Find("statusOfParticipants")->bytes);
                         });
        module.Subscribe(
            LcdsEventChannel(kGameNotificationClass).c_str(), 0,
            [this](const Client::HostEvent& event) {
                notices.push_back(CopyHostValue(event.payload).Find("body")->Find("type")->bytes);
            });
        module.Subscribe(ResourceEventChannel(kGameflowSessionUri).c_str(), 0,
                         [this](const Client::HostEvent& event) {
                             const Value message = CopyHostValue(event.payload);
                             const Value& data = *message.Find("data");
                             phases.push_back(data.Find("phase")->bytes + " " +
                                              data.Find("gameDodge")->Find("state")->bytes);
                         });
    }

    // The plug-in's calls: a remote method, and posts to the gameflow.
    void Invoke(const char* service, const char* method, Value arguments) {
        Client::HostResponse response;
        module.Request(Client::kMethodPost, kLcdsInvokeUrl,
                       {Value::Text(service), Value::Text(method), std::move(arguments)}, response);
        response.release(&response);
    }
    void Accept() { Invoke("gameService", "acceptPoppedGame", Value::List({Value::Bool(true)})); }
    void Post(const char* url, Value body) {
        Client::HostResponse response;
        module.Request(Client::kMethodPost, url, {std::move(body)}, response);
        response.release(&response);
    }

    // A lobby led by another player, who queues the party.
    void QueueAsMember() {
        ASSERT_FALSE(platform.JoinLobby(SimulatedPlatform::kLegacyQueue, {4102}, 4102));
        ASSERT_FALSE(platform.LeaderQueues());
        ASSERT_EQ(platform.Stage(), PartyStage::Queued);
    }

    Host host;
    SimulatedPlatform platform;
    ModuleSide module{host};
    std::vector<std::string> narration;
    std::vector<std::string> games;
    std::vector<std::string> notices;
    std::vector<std::string> phases;
};

TEST_F(SimulatedPlatformTest, AReadyCheckRunsUntilEveryoneHasAnsweredEvenAfterADecline) {
    QueueAsMember();
    host.AdvanceBy(4.9);
    EXPECT_EQ(platform.Stage(), PartyStage::Queued);
    host.AdvanceBy(0.2);
    ASSERT_EQ(platform.Stage(), PartyStage::ReadyCheck);
    EXPECT_EQ(platform.GameflowPhase(), "ReadyCheck");
    ASSERT_THAT(games, ElementsAre("READY_CHECK 0000000000"));

    ASSERT_FALSE(platform.StrangerDeclines());
    EXPECT_EQ(platform.Stage(), PartyStage::ReadyCheck) << "a decline alone ends nothing";
    EXPECT_EQ(games.back(), "READY_CHECK 0020000000");
    Accept();
    host.AdvanceBy(platform.Settings().readyCheckSeconds);

    // Everyone else accepted: the check fails on the stranger alone, and the party queues again.
    ASSERT_GE(games.size(), 3u);
    EXPECT_EQ(games.back(), "TERMINATED 1121111111");
    EXPECT_THAT(narration, Contains("platform: the check failed on a stranger"));
    EXPECT_EQ(platform.Stage(), PartyStage::Queued);
}

TEST_F(SimulatedPlatformTest, APlayerWhoGivesNoAnswerFailsTheCheckForTheParty) {
    QueueAsMember();
    ASSERT_FALSE(platform.PopMatch());
    host.AdvanceBy(platform.Settings().readyCheckSeconds + 0.1);
    EXPECT_EQ(games.back(), "TERMINATED 0111111111");
    EXPECT_THAT(narration, Contains(HasSubstr("the check failed on the party (4101)")));
    EXPECT_EQ(platform.Stage(), PartyStage::Idle);
    EXPECT_TRUE(platform.PopMatch()) << "no queue to pop a match in";
}

TEST_F(SimulatedPlatformTest, EveryoneAcceptingLeadsThroughThePickPhaseToTheGame) {
    QueueAsMember();
    ASSERT_FALSE(platform.PopMatch());
    Accept();
    for (int tenth = 0; tenth < 100 && platform.Stage() == PartyStage::ReadyCheck; ++tenth) {
        host.AdvanceBy(0.1);
    }
    EXPECT_EQ(platform.Stage(), PartyStage::Pick);
    EXPECT_THAT(games, Contains("ROSTER_PICK 1111111111"));
    host.AdvanceBy(platform.Settings().pickSeconds + platform.Settings().launchSeconds);
    EXPECT_EQ(platform.Stage(), PartyStage::InGame);
    EXPECT_THAT(phases, ::testing::IsSupersetOf(
                            {"RosterPick Invalid", "GameStart Invalid", "InProgress Invalid"}));
}

TEST_F(SimulatedPlatformTest, TheGameflowAnswersThePlugInsEventsAndDodgeReports) {
    ASSERT_FALSE(platform.JoinLobby(SimulatedPlatform::kLegacyQueue, {4102}, kPlayer));
    Post(kGameflowEventUri, Value::Text("GAMEFLOW_EVENT.ENTERED_QUEUE"));
    ASSERT_TRUE(platform.Neighbours().gameflow.status.lastQueuedLobbyStatus);
    Post(kGameflowEventUri, Value::Text("GAMEFLOW_EVENT.EXITED_QUEUE"));
    Post(kGameflowDodgeUri,
         Value::Map({{"state", Value::Text("StrangerDodged")}, {"dodgeIds", Value::List({})}}));
    Post(kGameflowDodgeUri, Value::Map({{"state", Value::Text("PartyDodged")},
                                        {"dodgeIds", Value::List({Value::Unsigned(kPlayer)})}}));
    EXPECT_THAT(phases, ElementsAre("Lobby Invalid", "Matchmaking Invalid", "Lobby Invalid",
                                    "Matchmaking StrangerDodged", "Lobby PartyDodged"));
    EXPECT_EQ(platform.Neighbours().gameflow.record.dodgeIds, std::vector<std::uint64_t>{kPlayer});
}

TEST_F(SimulatedPlatformTest, ThePartysExitFromTheQueueIsToldWhenTheConnectionReturns) {
    QueueAsMember();
    ASSERT_FALSE(platform.DropConnection());
    EXPECT_EQ(platform.DropConnection(), "the connection is down already");
    EXPECT_EQ(platform.Stage(), PartyStage::Idle);
    host.RunUntilIdle();
    EXPECT_TRUE(notices.empty()) << "nothing reaches a client that is offline";

    ASSERT_FALSE(platform.Reconnect());
    EXPECT_EQ(platform.Reconnect(), "the connection stands");
    host.RunUntilIdle();
    EXPECT_THAT(notices, ElementsAre("PLAYER_QUIT"));
}

TEST_F(SimulatedPlatformTest, RefusesActionsThatCannotHappenNow) {
    EXPECT_THAT(*platform.JoinLobby(999, {}, kPlayer), HasSubstr("queue 999 is not in the queue"));
    EXPECT_EQ(platform.JoinLobby(SimulatedPlatform::kLegacyQueue, {4102}, 77),
              "the leader 77 is not a member of the lobby");
    EXPECT_EQ(platform.LeaderQueues(), "the player is in no lobby");
    ASSERT_FALSE(platform.JoinLobby(SimulatedPlatform::kLegacyQueue, {4102}, kPlayer));
    EXPECT_THAT(*platform.LeaderQueues(), HasSubstr("the player leads this party"));
    EXPECT_TRUE(platform.StrangerDeclines());
}

// The course of a party whose strangers accept half the time, as a list of timed lines.
std::vector<std::string> Course(std::uint64_t seed) {
    PlatformSettings settings;
    settings.acceptRate = 0.5;
    settings.seed = seed;
    Host host;
    SimulatedPlatform platform(host, settings);
    std::vector<std::string> lines;
    platform.SetNarrator([&](const std::string& source, const std::string& text) {
        lines.push_back(std::to_string(host.Now()) + " " + source + ": " + text);
    });
    platform.JoinLobby(SimulatedPlatform::kLegacyQueue, {4102}, 4102);
    platform.LeaderQueues();
    host.AdvanceBy(60.0);
    return lines;
}

TEST(SimulatedPlatformSeed, OneSeedGivesOneCourse) {
    const std::vector<std::string> first = Course(11);
    EXPECT_GT(first.size(), 10u);
    EXPECT_EQ(first, Course(11));
    EXPECT_NE(first, Course(12));
}

}  // namespace
}  // namespace Tavix::TestHost
