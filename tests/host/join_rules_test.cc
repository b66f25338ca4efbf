#include <gtest/gtest.h>

#include "sim/internal/join_rules.h"

namespace Tavix::TestHost::Sim {
namespace {

constexpr std::int64_t kSecond = 1'000'000'000;

TEST(JoinRules, APenaltyHoldsThePartyUntilServedAndItsTokenComesBack) {
    JoinRules rules;
    rules.AddPenalty(7, 20.0);
    const std::vector<std::uint64_t> party{1, 7};

    // The first refusal starts the wait and hands out its token.
    std::vector<JoinFailure> failures = rules.Check(party, "", 0);
    ASSERT_EQ(failures.size(), 1u);
    EXPECT_EQ(failures[0].avatarId, 7u);
    EXPECT_EQ(failures[0].reason, JoinRules::kPenaltyReason);
    EXPECT_DOUBLE_EQ(failures[0].remainingSeconds, 20.0);
    const std::string token = failures[0].accessToken;
    EXPECT_FALSE(token.empty());
    EXPECT_EQ(rules.WaitToken(), token);
    EXPECT_DOUBLE_EQ(*rules.UntilServed(party, 5 * kSecond), 15.0);

    // Served, but without the token: still refused, with nothing left to wait.
    failures = rules.Check(party, "", 21 * kSecond);
    ASSERT_EQ(failures.size(), 1u);
    EXPECT_DOUBLE_EQ(failures[0].remainingSeconds, 0.0);

    // Token in hand: the party joins, and the penalty is gone for good.
    EXPECT_TRUE(rules.Check(party, token, 21 * kSecond).empty());
    EXPECT_TRUE(rules.Check(party, "", 22 * kSecond).empty());
    EXPECT_FALSE(rules.UntilServed(party, 22 * kSecond));
}

TEST(JoinRules, AnAbandonedWaitStartsAgainInFull) {
    JoinRules rules;
    rules.AddPenalty(7, 20.0);
    const std::string token = rules.Check({7}, "", 0).at(0).accessToken;
    EXPECT_FALSE(rules.Abandon("another token"));
    EXPECT_TRUE(rules.Abandon(token));
    EXPECT_FALSE(rules.Abandon(token));

    const std::vector<JoinFailure> again = rules.Check({7}, token, 15 * kSecond);
    ASSERT_EQ(again.size(), 1u);
    EXPECT_DOUBLE_EQ(again[0].remainingSeconds, 20.0);
    EXPECT_NE(again[0].accessToken, token);
}

TEST(JoinRules, JoinErrorsRefuseTheirPlayerForTheirTimeOrForGood) {
    JoinRules rules;
    rules.AddError({3, "QUEUE_DODGER", 30.0, "dodged"}, 10 * kSecond);
    rules.AddError({4, "RANKED_RESTRICTED", 0.0, ""}, 0);

    std::vector<JoinFailure> failures = rules.Check({1, 3, 4}, "", 20 * kSecond);
    ASSERT_EQ(failures.size(), 2u);
    EXPECT_EQ(failures[0].avatarId, 3u);
    EXPECT_EQ(failures[0].reason, "QUEUE_DODGER");
    EXPECT_DOUBLE_EQ(failures[0].remainingSeconds, 20.0);
    EXPECT_EQ(failures[0].message, "dodged");
    EXPECT_EQ(failures[1].avatarId, 4u);
    EXPECT_DOUBLE_EQ(failures[1].remainingSeconds, 0.0);

    // Outside the party no rule applies; a timed error ends with its time.
    EXPECT_TRUE(rules.Check({1, 2}, "", 20 * kSecond).empty());
    failures = rules.Check({3, 4}, "", 40 * kSecond);
    ASSERT_EQ(failures.size(), 1u);
    EXPECT_EQ(failures[0].avatarId, 4u);
}

}  // namespace
}  // namespace Tavix::TestHost::Sim
