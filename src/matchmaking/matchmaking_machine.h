#pragma once
// The table of the player's search: its event strings and its seven states. The table is
// constant and shared; each MatchmakingPlugin runs one machine over it.

#include <string>

#include "hsm/state.h"
#include "hsm/state_machine.h"

namespace Tavix::Client::Matchmaking {

class MatchmakingPlugin;

using MatchmakingStateMachine = Hsm::StateMachine<MatchmakingPlugin, std::string>;
using MatchmakingState = Hsm::State<MatchmakingPlugin, std::string>;

namespace Events {
extern const std::string TimerTick;
extern const std::string LeaverPenaltyBegin;
extern const std::string LeaverPenaltyExpired;
extern const std::string AttachedToQueue;
extern const std::string JoinQueueFailed;
extern const std::string CancelQueue;
extern const std::string CancelPartiesQueue;
extern const std::string ReadyCheck;
extern const std::string WaitingForGame;
extern const std::string PartyDodge;
extern const std::string TournamentDodge;
extern const std::string StrangerDodge;
extern const std::string TerminatedInError;
extern const std::string GameStarted;
}  // namespace Events

namespace States {
extern const MatchmakingState Matchmaking;
extern const MatchmakingState Available;
extern const MatchmakingState Penalized;
extern const MatchmakingState Searching;
extern const MatchmakingState Matched;  // groups the two states of a found match; never rested in
extern const MatchmakingState ReadyCheck;
extern const MatchmakingState WaitingForGame;
}  // namespace States

// The machine's event-to-text function: events are their own text.
std::string CopyEvent(const std::string& event);

}  // namespace Tavix::Client::Matchmaking
