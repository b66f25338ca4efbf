#pragma once
// The search that the platform's answer to a queue join stands for. A join that worked gives a
// search in the first queue joined; a join that failed gives a search that carries its failures:
// a low-priority penalty for players held back by the quit warden, an error per player for any
// other reason.

#include <cstdint>

#include "matchmaking/api_records.h"
#include "matchmaking/lcds_records.h"

namespace Tavix::Client::Matchmaking {

// Each error made takes `nextSearchErrorId` and raises it by one. Failures are read by field
// name whatever their class; a field that is missing reads as empty or 0.
Api::MatchmakingSearchResource SearchFromNotification(
    const Lcds::MatchmakingLcdsSearchingForMatchNotification& notification,
    std::int32_t& nextSearchErrorId);

}  // namespace Tavix::Client::Matchmaking
