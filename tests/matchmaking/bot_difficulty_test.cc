#include "matchmaking/bot_difficulty.h"

#include <gtest/gtest.h>

#include <string>

namespace Tavix::Client::Matchmaking {
namespace {

std::string DifficultyOf(std::int32_t queueId) {
    const MaybeType<Failure, std::string> difficulty = BotDifficultyForQueue(queueId);
    return difficulty.IsFailure() ? std::string("failure: ") + difficulty.GetFailure().GetMessage()
                                  : difficulty.GetValue();
}

TEST(BotDifficultyTest, EachSetGivesItsText) {
    for (const std::int32_t queue : {31, 34}) {
        EXPECT_EQ(DifficultyOf(queue), "INTRO") << queue;
    }
    for (const std::int32_t queue : {13, 23, 24, 25, 32, 35, 50, 51, 52, 67}) {
        EXPECT_EQ(DifficultyOf(queue), "EASY") << queue;
    }
    for (const std::int32_t queue : {33, 36, 83, 84}) {
        EXPECT_EQ(DifficultyOf(queue), "MEDIUM") << queue;
    }
    for (const std::int32_t queue : {90, 91, 92, 93, 94, 95}) {
        EXPECT_EQ(DifficultyOf(queue), "HARD") << queue;
    }
}

TEST(BotDifficultyTest, AQueueWithoutBotsFails) {
    for (const std::int32_t queue : {0, -1, 30, 37, 89, 96, 420, 700}) {
        EXPECT_EQ(DifficultyOf(queue), "failure: No bot difficulty for given queue") << queue;
    }
}

}  // namespace
}  // namespace Tavix::Client::Matchmaking
