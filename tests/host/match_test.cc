#include <gtest/gtest.h>

#include "sim/internal/match.h"

namespace Tavix::TestHost::Sim {
namespace {

TEST(Match, SeatsThePartyFirstAndStrangersEverywhereElse) {
    const Match match({4101, 4102}, 900);
    EXPECT_EQ(match.TeamOne(), (std::vector<std::uint64_t>{4101, 4102, 900, 901, 902}));
    EXPECT_EQ(match.TeamTwo(), (std::vector<std::uint64_t>{903, 904, 905, 906, 907}));
    EXPECT_EQ(match.Strangers().size(), 8u);
    EXPECT_TRUE(match.InParty(4102));
    EXPECT_FALSE(match.InParty(900));
    EXPECT_TRUE(match.Seated(907));
    EXPECT_FALSE(match.Seated(908));
    EXPECT_EQ(match.StatusOfParticipants(), "0000000000");
}

TEST(Match, KeepsOneAnswerPerSeatInTheStatusCharacters) {
    Match match({4101, 4102}, 900);
    EXPECT_TRUE(match.Answer(4102, true));
    EXPECT_TRUE(match.Answer(905, false));
    EXPECT_FALSE(match.Answer(905, true)) << "a second answer";
    EXPECT_FALSE(match.Answer(42, true)) << "nobody of the match";
    EXPECT_EQ(match.StatusOfParticipants(), "0100000200");
    EXPECT_EQ(match.StatusOf(905), '2');
    EXPECT_TRUE(match.AnyDeclined());
    EXPECT_FALSE(match.EveryoneAnswered());
    EXPECT_EQ(match.FirstUnansweredStranger(), 900u);
    // The player has not answered: a failure of the party, as a terminated check counts it.
    EXPECT_EQ(match.PartyFailures(), std::vector<std::uint64_t>{4101});
}

TEST(Match, IsReadyOnlyWhenEveryoneAccepted) {
    Match match({4101}, 900);
    for (const std::uint64_t id : match.TeamOne()) {
        match.Answer(id, true);
    }
    EXPECT_FALSE(match.EveryoneAccepted());
    for (const std::uint64_t id : match.TeamTwo()) {
        match.Answer(id, true);
    }
    EXPECT_TRUE(match.EveryoneAnswered());
    EXPECT_TRUE(match.EveryoneAccepted());
    EXPECT_FALSE(match.FirstUnansweredStranger());
    EXPECT_TRUE(match.PartyFailures().empty());
}

}  // namespace
}  // namespace Tavix::TestHost::Sim
