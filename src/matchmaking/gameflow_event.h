#pragma once
// Which event of the machine a gameflow session raises once its phase has changed. A dodge
// state other than Invalid decides before the phase does, so a session that carries a dodge
// raises the dodge event whatever its new phase is.

#include <string>

#include "matchmaking/api_records.h"
#include "matchmaking/upstream_records.h"

namespace Tavix::Client::Matchmaking {

// The event, or null when the phase means nothing to the machine.
const std::string* GameflowEventFor(Api::GameflowPhase phase,
                                    Api::MatchmakingDodgeState dodgeState);

}  // namespace Tavix::Client::Matchmaking
