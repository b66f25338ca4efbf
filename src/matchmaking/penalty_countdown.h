#pragma once
// One counted second (or several) of a search that is held back: its per-player errors and its
// low-priority penalty run down, and the time in queue runs on through a penalty.

#include <vector>

#include "matchmaking/api_records.h"

namespace Tavix::Client::Matchmaking {

struct PenaltyCountdown {
    // Errors whose time ran out, removed from the search, each with no time remaining, in the
    // order they stood.
    std::vector<Api::MatchmakingSearchErrorResource> endedErrors;
    // The low-priority penalty ran out on this count: the players are no longer held back.
    bool penaltyExpired = false;
    // Something moved that the error list and the search are published for.
    bool publish = false;
};

// Counts `delta` seconds off the search. An error with no time from the start never runs down.
// A penalty whose players are known runs down to 0 and expires on the next count after that;
// a penalty without players (one that already expired) keeps counting its remaining time down to
// 0 and the time in queue up.
PenaltyCountdown CountDownPenalties(Api::MatchmakingSearchResource& search, double delta);

}  // namespace Tavix::Client::Matchmaking
