#include "matchmaking/search_from_notification.h"

#include <algorithm>
#include <string>

namespace Tavix::Client::Matchmaking {

namespace {

constexpr double kSecondsPerMillisecond = 0.001;

}  // namespace

Api::MatchmakingSearchResource SearchFromNotification(
    const Lcds::MatchmakingLcdsSearchingForMatchNotification& notification,
    std::int32_t& nextSearchErrorId) {
    Api::MatchmakingSearchResource search;
    if (!notification.joinedQueues.empty()) {
        // Only one queue is ever asked for; further entries say nothing the search keeps.
        const Lcds::MatchmakingLcdsQueueInfo& joined = notification.joinedQueues.front();
        search.queueId = joined.queueId;
        search.isCurrentlyInQueue = true;
        search.estimatedQueueTime =
            static_cast<float>(static_cast<double>(joined.waitTime) * kSecondsPerMillisecond);
        return search;
    }

    Api::MatchmakingLowPriorityData& lowPriority = search.lowPriorityData;
    for (const BindingValue& failure : notification.playerJoinFailures) {
        const std::string reason = failure.GetField("reasonFailed").ToText();
        const auto avatarId =
            static_cast<std::uint64_t>(failure.GetField("avatar").GetField("avaId").ToInt64());
        if (reason == "QUIT_WARDENED") {
            lowPriority.penalizedAvatarIds.push_back(avatarId);
            const double penalty = failure.GetField("leaverPenaltyMillisRemaining").ToDouble() *
                                   kSecondsPerMillisecond;
            lowPriority.penaltyTime = std::max(lowPriority.penaltyTime, penalty);
        } else {
            Api::MatchmakingSearchErrorResource& error = search.errors.emplace_back();
            error.id = nextSearchErrorId++;
            error.errorType = reason;
            error.penalizedAvatarId = avatarId;
            error.message = failure.GetField("message").ToText();
            error.penaltyTimeRemaining =
                failure.GetField("dodgePenaltyRemainingTime").ToDouble() * kSecondsPerMillisecond;
        }
        // Any failure may carry the token, not only the quit warden's.
        std::string token = failure.GetField("accessToken").ToText();
        if (!token.empty()) {
            lowPriority.wardenedQuitterAccessToken = std::move(token);
        }
    }
    return search;
}

}  // namespace Tavix::Client::Matchmaking
