#include <gtest/gtest.h>

#include "sim/machine_state.h"

namespace Tavix::TestHost {
namespace {

TEST(MachineStateFollower, FollowsEntriesAndFallsBackToTheParentOnAnExit) {
    MachineStateFollower follower;
    EXPECT_EQ(follower.State(), "");
    EXPECT_FALSE(follower.Follow("Matchmaking: something else"));
    EXPECT_TRUE(follower.Follow("Matchmaking: entering state 'Available'"));
    EXPECT_TRUE(follower.Follow("Matchmaking: entering state 'Penalized'"));
    EXPECT_EQ(follower.State(), "Penalized");
    // The end of a penalty leaves Penalized without entering anything: Available is current.
    EXPECT_TRUE(follower.Follow("Matchmaking: exiting state 'Penalized'"));
    EXPECT_EQ(follower.State(), "Available");
    EXPECT_TRUE(follower.Follow("Matchmaking: exiting state 'WaitingForGame'"));
    EXPECT_EQ(follower.State(), "Matched");
    EXPECT_TRUE(follower.Follow("Matchmaking: exiting state 'Unheard'"));
    EXPECT_EQ(follower.State(), "?");
    EXPECT_FALSE(follower.Follow("Matchmaking: entering state 'Searching"));
}

}  // namespace
}  // namespace Tavix::TestHost
