#pragma once
// The difficulty of the bots that a queue of bot games asks for, by queue id.

#include <cstdint>
#include <string>

#include "support/failure.h"
#include "support/maybe_type.h"

namespace Tavix::Client::Matchmaking {

// "INTRO", "EASY", "MEDIUM" or "HARD"; a queue without bots fails with "No bot difficulty for
// given queue".
MaybeType<Failure, std::string> BotDifficultyForQueue(std::int32_t queueId);

}  // namespace Tavix::Client::Matchmaking
