#include "matchmaking/search_from_notification.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace Tavix::Client::Matchmaking {
namespace {

using ::testing::ElementsAre;
using Notification = Lcds::MatchmakingLcdsSearchingForMatchNotification;

// A failure entry as the platform sends it: read by field names, whatever its class.
BindingValue FailureEntry(const std::string& reason, std::uint64_t avatarId) {
    BindingValue entry;
    entry.Field("__class").SetString("com.tavixplay.platform.game.FailedJoinPlayer");
    entry.Field("reasonFailed").SetString(reason);
    entry.Field("avatar").Field("avaId").SetUnsigned(avatarId);
    return entry;
}

TEST(SearchFromNotificationTest, AJoinedQueueGivesASearchInIt) {
    Notification notification;
    notification.joinedQueues.push_back({420, 61500});
    notification.joinedQueues.push_back({440, 1000});
    // Failures next to a joined queue are not read, so they take no error id either.
    notification.playerJoinFailures.push_back(FailureEntry("QUEUE_DODGER", 7));
    std::int32_t nextId = 5;

    const Api::MatchmakingSearchResource search = SearchFromNotification(notification, nextId);
    EXPECT_EQ(search.queueId, 420);
    EXPECT_TRUE(search.isCurrentlyInQueue);
    EXPECT_FLOAT_EQ(search.estimatedQueueTime, 61.5f);
    EXPECT_TRUE(search.errors.empty());
    EXPECT_EQ(nextId, 5);
}

TEST(SearchFromNotificationTest, NothingJoinedAndNoFailuresIsTheDefaultRecord) {
    std::int32_t nextId = 0;
    const Api::MatchmakingSearchResource search = SearchFromNotification(Notification(), nextId);
    EXPECT_EQ(search.queueId, -1);
    EXPECT_FALSE(search.isCurrentlyInQueue);
    EXPECT_EQ(search.searchState, Api::MatchmakingSearchState::Invalid);
    EXPECT_TRUE(search.errors.empty());
    EXPECT_EQ(search.lowPriorityData.penaltyTime, 0.0);
}

TEST(SearchFromNotificationTest, QuitWardenedPlayersMakeOnePenaltyOfTheLongestTime) {
    Notification notification;
    BindingValue first = FailureEntry("QUIT_WARDENED", 11);
    first.Field("leaverPenaltyMillisRemaining").SetUnsigned(90000);
    first.Field("accessToken").SetString("token-1");
    BindingValue second = FailureEntry("QUIT_WARDENED", 12);
    second.Field("leaverPenaltyMillisRemaining").SetUnsigned(300000);
    BindingValue third = FailureEntry("QUIT_WARDENED", 13);
    third.Field("leaverPenaltyMillisRemaining").SetUnsigned(120000);
    notification.playerJoinFailures = {first, second, third};
    std::int32_t nextId = 0;

    const Api::MatchmakingSearchResource search = SearchFromNotification(notification, nextId);
    EXPECT_THAT(search.lowPriorityData.penalizedAvatarIds, ElementsAre(11u, 12u, 13u));
    EXPECT_DOUBLE_EQ(search.lowPriorityData.penaltyTime, 300.0);
    EXPECT_EQ(search.lowPriorityData.wardenedQuitterAccessToken, "token-1");
    EXPECT_FALSE(search.isCurrentlyInQueue);
    EXPECT_TRUE(search.errors.empty());
    EXPECT_EQ(nextId, 0);
}

TEST(SearchFromNotificationTest, OtherReasonsBecomeErrorsWithFreshIds) {
    Notification notification;
    BindingValue dodger = FailureEntry("QUEUE_DODGER", 21);
    dodger.Field("dodgePenaltyRemainingTime").SetUnsigned(45500);
    BindingValue refused = FailureEntry("QUEUE_RESTRICTED", 22);
    refused.Field("__class").SetString("com.example.SomethingNew");
    refused.Field("message").SetString("Not for you");
    // A token on an error that is not the quit warden's still counts.
    refused.Field("accessToken").SetString("token-2");
    notification.playerJoinFailures = {dodger, refused, BindingValue()};
    std::int32_t nextId = 7;

    const Api::MatchmakingSearchResource search = SearchFromNotification(notification, nextId);
    ASSERT_EQ(search.errors.size(), 3u);
    EXPECT_EQ(search.errors[0].id, 7);
    EXPECT_EQ(search.errors[0].errorType, "QUEUE_DODGER");
    EXPECT_EQ(search.errors[0].penalizedAvatarId, 21u);
    EXPECT_DOUBLE_EQ(search.errors[0].penaltyTimeRemaining, 45.5);
    EXPECT_EQ(search.errors[1].id, 8);
    EXPECT_EQ(search.errors[1].message, "Not for you");
    EXPECT_EQ(search.errors[1].penaltyTimeRemaining, 0.0);
    // An entry with nothing in it reads as empty texts and zeros.
    EXPECT_EQ(search.errors[2].id, 9);
    EXPECT_EQ(search.errors[2].errorType, "");
    EXPECT_EQ(search.errors[2].penalizedAvatarId, 0u);
    EXPECT_EQ(nextId, 10);
    EXPECT_EQ(search.lowPriorityData.wardenedQuitterAccessToken, "token-2");
    EXPECT_TRUE(search.lowPriorityData.penalizedAvatarIds.empty());
}

}  // namespace
}  // namespace Tavix::Client::Matchmaking
