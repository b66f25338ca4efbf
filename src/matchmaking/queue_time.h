#pragma once
// How a search counts its time: in whole seconds of the monotonic clock, and across the
// replacement of one search record by the next.

#include <cstdint>

#include "matchmaking/api_records.h"

namespace Tavix::Client::Matchmaking {

// Whole seconds from `start` to `now`, both monotonic nanoseconds, truncated.
std::int64_t WholeSecondsSince(std::int64_t start, std::int64_t now);

// The whole seconds that passed since the search's last counted tick, taken as counted now; 0
// while the clock is still within the same second, as it is on nine ticks in ten.
std::int64_t CountNewSeconds(Api::MatchmakingSearchResource& search, std::int64_t now);

// The time in queue that `record` starts with when it replaces `current` (null when there is no
// search): all of the current time while a penalty is counted or while a searching search goes on
// searching, none otherwise.
float QueueTimeKept(const Api::MatchmakingSearchResource* current,
                    const Api::MatchmakingSearchResource& record);

}  // namespace Tavix::Client::Matchmaking
