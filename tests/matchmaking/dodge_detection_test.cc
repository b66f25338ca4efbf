#include "matchmaking/dodge_detection.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace Tavix::Client::Matchmaking {
namespace {

using Api::MatchmakingDodgeState;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

Lcds::MatchmakingLcdsGameDTO Game(std::string status, std::vector<std::uint64_t> one,
                                  std::vector<std::uint64_t> two) {
    Lcds::MatchmakingLcdsGameDTO dto;
    dto.gameState = "TERMINATED";
    dto.statusOfParticipants = std::move(status);
    for (const std::uint64_t id : one) {
        dto.teamOne.push_back({id});
    }
    for (const std::uint64_t id : two) {
        dto.teamTwo.push_back({id});
    }
    return dto;
}

std::optional<Api::LobbyStatus> Party(std::vector<std::uint64_t> members) {
    Api::LobbyStatus lobby;
    lobby.memberAvatarIds = std::move(members);
    return lobby;
}

TEST(DodgeFromGameDtoTest, PartyMembersWhoDidNotAcceptDodgedInWalkOrder) {
    // Members 5 and 7; one counter across both teams, strangers included.
    const auto found = DodgeFromGameDto(Game("1012"
                                             "2110",
                                             {1, 5, 2, 7}, {3, 4, 8, 9}),
                                        Party({7, 5}));
    ASSERT_TRUE(found.has_value());
    EXPECT_EQ(found->dodge.state, MatchmakingDodgeState::PartyDodged);
    EXPECT_THAT(found->dodge.dodgeIds, ElementsAre(5u, 7u));
    EXPECT_EQ(found->logText, "Detected PARTY dodge in legacy matchmaking from DTO.");

    // Only '0' and '2' mean not accepted; a stranger's character is never looked at.
    const auto second = DodgeFromGameDto(Game("01", {1}, {9}), Party({9}));
    EXPECT_EQ(second->dodge.state, MatchmakingDodgeState::StrangerDodged);
    EXPECT_THAT(second->dodge.dodgeIds, IsEmpty());
    EXPECT_EQ(second->logText, "Detected STRANGER dodge in legacy matchmaking from DTO.");
}

TEST(DodgeFromGameDtoTest, WithoutAPartyEveryTerminationIsAStrangersDodge) {
    EXPECT_EQ(DodgeFromGameDto(Game("000", {1, 2, 3}, {}), std::nullopt)->dodge.state,
              MatchmakingDodgeState::StrangerDodged);
    EXPECT_EQ(DodgeFromGameDto(Game("000", {1, 2, 3}, {}), Party({}))->dodge.state,
              MatchmakingDodgeState::StrangerDodged);
}

// A status text shorter than the teams is read no further than its end; the participants past
// it count as having accepted.
TEST(DodgeFromGameDtoTest, AShortStatusTextIsNotReadPastItsEnd) {
    const auto found = DodgeFromGameDto(Game("10", {1, 2}, {3, 4}), Party({2, 3, 4}));
    EXPECT_THAT(found->dodge.dodgeIds, ElementsAre(2u));
    const auto empty = DodgeFromGameDto(Game("", {1, 2}, {}), Party({1, 2}));
    EXPECT_EQ(empty->dodge.state, MatchmakingDodgeState::StrangerDodged);
}

TEST(DodgeFromGameDtoTest, OnlyATerminatedGameTellsOfADodge) {
    Lcds::MatchmakingLcdsGameDTO game = Game("0", {1}, {});
    for (const char* state : {"TERMINATED_IN_ERROR", "terminated", "", "START_REQUESTED"}) {
        game.gameState = state;
        EXPECT_FALSE(DodgeFromGameDto(game, Party({1})).has_value()) << state;
    }
}

TEST(SquadForgeDodgesTest, ARecordReportsItsReadyCheckAndItsPickPhase) {
    Api::MatchmakingSearchResource record;
    EXPECT_THAT(SquadForgeDodges(record), IsEmpty());

    record.readyCheck.state = Api::MatchmakingReadyCheckState::PartyNotReady;
    record.readyCheck.declinerIds = {4, 6};
    record.dodgeData.state = MatchmakingDodgeState::StrangerDodged;
    std::vector<DetectedDodge> dodges = SquadForgeDodges(record);
    ASSERT_EQ(dodges.size(), 2u);
    EXPECT_EQ(dodges[0].dodge.state, MatchmakingDodgeState::PartyDodged);
    EXPECT_THAT(dodges[0].dodge.dodgeIds, ElementsAre(4u, 6u));
    EXPECT_EQ(dodges[0].logText, "Detected PARTY dodge in squad-forge matchmaking.");
    EXPECT_EQ(dodges[1].logText, "Detected STRANGER dodge in squad-forge roster pick.");

    record.readyCheck.state = Api::MatchmakingReadyCheckState::StrangerNotReady;
    record.dodgeData = {MatchmakingDodgeState::PartyDodged, 8};
    dodges = SquadForgeDodges(record);
    EXPECT_EQ(dodges[0].logText, "Detected STRANGER dodge in squad-forge matchmaking.");
    EXPECT_THAT(dodges[0].dodge.dodgeIds, IsEmpty());
    EXPECT_THAT(dodges[1].dodge.dodgeIds, ElementsAre(8u));
    EXPECT_EQ(dodges[1].logText, "Detected PARTY dodge in squad-forge roster pick.");

    record.readyCheck.state = Api::MatchmakingReadyCheckState::InProgress;
    record.dodgeData.state = MatchmakingDodgeState::TournamentDodged;
    dodges = SquadForgeDodges(record);
    ASSERT_EQ(dodges.size(), 1u);
    EXPECT_EQ(dodges[0].dodge.state, MatchmakingDodgeState::TournamentDodged);
    EXPECT_EQ(dodges[0].logText, "Detected TOURNAMENT (melee) dodge in squad-forge roster pick.");
}

}  // namespace
}  // namespace Tavix::Client::Matchmaking
