#include "matchmaking/queue_time.h"

namespace Tavix::Client::Matchmaking {

namespace {

constexpr std::int64_t kNanosecondsPerSecond = 1'000'000'000;

}  // namespace

std::int64_t WholeSecondsSince(std::int64_t start, std::int64_t now) {
    return (now - start) / kNanosecondsPerSecond;
}

std::int64_t CountNewSeconds(Api::MatchmakingSearchResource& search, std::int64_t now) {
    const std::int64_t elapsed = WholeSecondsSince(search.searchStartTime, now);
    if (elapsed <= search.lastTickSeconds) {
        return 0;
    }
    const std::int64_t counted = elapsed - search.lastTickSeconds;
    search.lastTickSeconds = elapsed;
    return counted;
}

float QueueTimeKept(const Api::MatchmakingSearchResource* current,
                    const Api::MatchmakingSearchResource& record) {
    using Api::MatchmakingSearchState;
    if (current == nullptr) {
        return 0.0f;
    }
    const bool penaltyCounted = current->lowPriorityData.penaltyTime > 0.0;
    const bool stillSearching = current->searchState == MatchmakingSearchState::Searching &&
                                record.searchState == MatchmakingSearchState::Searching;
    return penaltyCounted || stillSearching ? current->timeInQueue : 0.0f;
}

}  // namespace Tavix::Client::Matchmaking
