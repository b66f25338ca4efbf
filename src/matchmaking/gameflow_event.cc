#include "matchmaking/gameflow_event.h"

#include "matchmaking/matchmaking_machine.h"

namespace Tavix::Client::Matchmaking {

const std::string* GameflowEventFor(Api::GameflowPhase phase,
                                    Api::MatchmakingDodgeState dodgeState) {
    using Api::GameflowPhase;
    using Api::MatchmakingDodgeState;
    switch (dodgeState) {
        case MatchmakingDodgeState::StrangerDodged:
            return &Events::StrangerDodge;
        case MatchmakingDodgeState::TournamentDodged:
            return &Events::TournamentDodge;
        case MatchmakingDodgeState::Invalid:
            break;
        // A party dodge, and any number the platform may add: a dodge the plug-in cannot place
        // is taken as the party's.
        default:
            return &Events::PartyDodge;
    }
    switch (phase) {
        case GameflowPhase::CheckedIntoTournament:
            return &Events::CancelQueue;
        case GameflowPhase::ReadyCheck:
            return &Events::ReadyCheck;
        case GameflowPhase::RosterPick:
            return &Events::WaitingForGame;
        case GameflowPhase::FailedToLaunch:
        case GameflowPhase::InProgress:
            return &Events::GameStarted;
        case GameflowPhase::TerminatedInError:
            return &Events::TerminatedInError;
        default:
            return nullptr;
    }
}

}  // namespace Tavix::Client::Matchmaking
