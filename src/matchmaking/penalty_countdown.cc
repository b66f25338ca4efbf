#include "matchmaking/penalty_countdown.h"

#include <algorithm>

namespace Tavix::Client::Matchmaking {

PenaltyCountdown CountDownPenalties(Api::MatchmakingSearchResource& search, double delta) {
    PenaltyCountdown result;
    std::vector<Api::MatchmakingSearchErrorResource>& errors = search.errors;
    for (auto error = errors.begin(); error != errors.end();) {
        if (error->penaltyTimeRemaining == 0.0) {
            ++error;
            continue;
        }
        result.publish = true;
        const double remaining = error->penaltyTimeRemaining - delta;
        if (remaining > 0.0) {
            error->penaltyTimeRemaining = remaining;
            ++error;
            continue;
        }
        error->penaltyTimeRemaining = 0.0;
        result.endedErrors.push_back(std::move(*error));
        error = errors.erase(error);
    }

    Api::MatchmakingLowPriorityData& lowPriority = search.lowPriorityData;
    const float seconds = static_cast<float>(delta);
    if (lowPriority.penalizedAvatarIds.empty()) {
        if (lowPriority.penaltyTime > 0.0) {
            result.publish = true;
            lowPriority.penaltyTimeRemaining =
                std::max(0.0, lowPriority.penaltyTimeRemaining - delta);
            search.timeInQueue += seconds;
        }
        return result;
    }
    if (lowPriority.penaltyTimeRemaining > 0.0) {
        lowPriority.penaltyTimeRemaining -= delta;
    } else {
        lowPriority.penalizedAvatarIds.clear();
        lowPriority.penaltyTimeRemaining = 0.0;
        result.penaltyExpired = true;
    }
    search.timeInQueue += seconds;
    result.publish = true;
    return result;
}

}  // namespace Tavix::Client::Matchmaking
