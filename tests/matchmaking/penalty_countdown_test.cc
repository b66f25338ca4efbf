#include "matchmaking/penalty_countdown.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "matchmaking/queue_time.h"

namespace Tavix::Client::Matchmaking {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

Api::MatchmakingSearchErrorResource Error(std::int32_t id, double remaining) {
    Api::MatchmakingSearchErrorResource error;
    error.id = id;
    error.penaltyTimeRemaining = remaining;
    return error;
}

std::vector<std::int32_t> Ids(const std::vector<Api::MatchmakingSearchErrorResource>& errors) {
    std::vector<std::int32_t> ids;
    for (const auto& error : errors) {
        ids.push_back(error.id);
    }
    return ids;
}

TEST(PenaltyCountdownTest, ErrorsRunDownAndEndWhenTheirTimeIsOut) {
    Api::MatchmakingSearchResource search;
    search.errors = {Error(1, 1.5), Error(2, 0.0), Error(3, 5.0), Error(4, 2.0)};
    const PenaltyCountdown first = CountDownPenalties(search, 2.0);
    EXPECT_THAT(Ids(first.endedErrors), ElementsAre(1, 4));
    EXPECT_EQ(first.endedErrors[0].penaltyTimeRemaining, 0.0);
    EXPECT_THAT(Ids(search.errors), ElementsAre(2, 3));
    EXPECT_DOUBLE_EQ(search.errors[1].penaltyTimeRemaining, 3.0);
    EXPECT_TRUE(first.publish);
    EXPECT_FALSE(first.penaltyExpired);

    // An error with no time from the start never ends by time, and alone changes nothing.
    search.errors = {Error(2, 0.0)};
    const PenaltyCountdown idle = CountDownPenalties(search, 10.0);
    EXPECT_THAT(idle.endedErrors, IsEmpty());
    EXPECT_FALSE(idle.publish);
    EXPECT_EQ(search.timeInQueue, 0.0f);
}

// A penalty runs down to 0 and expires on the count after; the time in queue runs on through
// it, and on after it while the penalty's length is known.
TEST(PenaltyCountdownTest, ALowPriorityPenaltyExpiresOnTheCountAfterItReachedZero) {
    Api::MatchmakingSearchResource search;
    search.lowPriorityData.penalizedAvatarIds = {7};
    search.lowPriorityData.penaltyTime = 2.0;
    search.lowPriorityData.penaltyTimeRemaining = 2.0;
    std::vector<bool> expired;
    for (int second = 0; second < 4; ++second) {
        const PenaltyCountdown count = CountDownPenalties(search, 1.0);
        EXPECT_TRUE(count.publish);
        expired.push_back(count.penaltyExpired);
    }
    EXPECT_THAT(expired, ElementsAre(false, false, true, false));
    EXPECT_THAT(search.lowPriorityData.penalizedAvatarIds, IsEmpty());
    EXPECT_EQ(search.lowPriorityData.penaltyTimeRemaining, 0.0);
    EXPECT_EQ(search.timeInQueue, 4.0f);

    search.lowPriorityData.penaltyTime = 0.0;
    EXPECT_FALSE(CountDownPenalties(search, 1.0).publish);
    EXPECT_EQ(search.timeInQueue, 4.0f);
}

TEST(QueueTimeTest, WholeSecondsAreTruncated) {
    EXPECT_EQ(WholeSecondsSince(0, 999'999'999), 0);
    EXPECT_EQ(WholeSecondsSince(0, 1'000'000'000), 1);
    EXPECT_EQ(WholeSecondsSince(500'000'000, 3'400'000'000), 2);
}

TEST(QueueTimeTest, NewSecondsAreCountedOnce) {
    Api::MatchmakingSearchResource search;
    search.searchStartTime = 1'000'000'000;
    EXPECT_EQ(CountNewSeconds(search, 1'900'000'000), 0);
    EXPECT_EQ(CountNewSeconds(search, 3'500'000'000), 2);
    EXPECT_EQ(search.lastTickSeconds, 2);
    EXPECT_EQ(CountNewSeconds(search, 3'900'000'000), 0);
    EXPECT_EQ(CountNewSeconds(search, 4'000'000'000), 1);
}

TEST(QueueTimeTest, TheTimeKeptAtAdoption) {
    using State = Api::MatchmakingSearchState;
    Api::MatchmakingSearchResource current;
    current.timeInQueue = 42.0f;
    Api::MatchmakingSearchResource record;
    EXPECT_EQ(QueueTimeKept(nullptr, record), 0.0f);

    current.searchState = State::Searching;
    record.searchState = State::Searching;
    EXPECT_EQ(QueueTimeKept(&current, record), 42.0f);
    record.searchState = State::Found;
    EXPECT_EQ(QueueTimeKept(&current, record), 0.0f);
    current.searchState = State::Error;
    record.searchState = State::Searching;
    EXPECT_EQ(QueueTimeKept(&current, record), 0.0f);
    // A penalty keeps the time whatever the states.
    current.lowPriorityData.penaltyTime = 0.5;
    record.searchState = State::Invalid;
    EXPECT_EQ(QueueTimeKept(&current, record), 42.0f);
}

}  // namespace
}  // namespace Tavix::Client::Matchmaking
