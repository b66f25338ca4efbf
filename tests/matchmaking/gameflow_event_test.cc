#include "matchmaking/gameflow_event.h"

#include <gtest/gtest.h>

#include <map>
#include <string>

#include "matchmaking/matchmaking_machine.h"

namespace Tavix::Client::Matchmaking {
namespace {

using Api::GameflowPhase;
using Api::MatchmakingDodgeState;

std::string EventText(GameflowPhase phase, MatchmakingDodgeState dodge) {
    const std::string* event = GameflowEventFor(phase, dodge);
    return event != nullptr ? *event : "<none>";
}

constexpr GameflowPhase kEveryPhase[] = {
    GameflowPhase::None,
    GameflowPhase::Lobby,
    GameflowPhase::Matchmaking,
    GameflowPhase::CheckedIntoTournament,
    GameflowPhase::ReadyCheck,
    GameflowPhase::RosterPick,
    GameflowPhase::GameStart,
    GameflowPhase::FailedToLaunch,
    GameflowPhase::InProgress,
    GameflowPhase::Reconnect,
    GameflowPhase::WaitingForStats,
    GameflowPhase::PreEndOfGame,
    GameflowPhase::EndOfGame,
    GameflowPhase::TerminatedInError,
};

TEST(GameflowEventTest, WithoutADodgeThePhaseDecides) {
    const std::map<GameflowPhase, std::string> expected{
        {GameflowPhase::CheckedIntoTournament, Events::CancelQueue},
        {GameflowPhase::ReadyCheck, Events::ReadyCheck},
        {GameflowPhase::RosterPick, Events::WaitingForGame},
        {GameflowPhase::FailedToLaunch, Events::GameStarted},
        {GameflowPhase::InProgress, Events::GameStarted},
        {GameflowPhase::TerminatedInError, Events::TerminatedInError},
    };
    for (const GameflowPhase phase : kEveryPhase) {
        const auto found = expected.find(phase);
        EXPECT_EQ(EventText(phase, MatchmakingDodgeState::Invalid),
                  found != expected.end() ? found->second : "<none>")
            << "phase " << static_cast<int>(phase);
    }
}

// A dodge raises its own event in every phase, including the ones that raise nothing alone.
TEST(GameflowEventTest, ADodgeBeatsEveryPhase) {
    for (const GameflowPhase phase : kEveryPhase) {
        EXPECT_EQ(EventText(phase, MatchmakingDodgeState::StrangerDodged), Events::StrangerDodge);
        EXPECT_EQ(EventText(phase, MatchmakingDodgeState::TournamentDodged),
                  Events::TournamentDodge);
        EXPECT_EQ(EventText(phase, MatchmakingDodgeState::PartyDodged), Events::PartyDodge);
    }
}

// Any dodge number that is not the "no dodge" one counts as the party's.
TEST(GameflowEventTest, AnUnknownDodgeStateIsAPartyDodge) {
    EXPECT_EQ(EventText(GameflowPhase::Lobby, static_cast<MatchmakingDodgeState>(52)),
              Events::PartyDodge);
    EXPECT_EQ(EventText(GameflowPhase::ReadyCheck, static_cast<MatchmakingDodgeState>(0)),
              Events::PartyDodge);
}

}  // namespace
}  // namespace Tavix::Client::Matchmaking
