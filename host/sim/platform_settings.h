#pragma once
// How the simulated platform behaves: the times of a search's course and the strangers' mood.

#include <cstdint>

namespace Tavix::TestHost {

struct PlatformSettings {
    // From joining a queue to the match that pops.
    double queueSeconds = 5.0;
    // The wait the platform announces when a party joins.
    double estimatedSeconds = 30.0;
    // The chance that one stranger accepts a ready check, from 0 to 1.
    double acceptRate = 0.9;
    // Seeds the strangers' answers and the moments they give them: one seed, one timeline.
    std::uint64_t seed = 1;
    // How long a ready check waits for answers before it fails.
    double readyCheckSeconds = 10.0;
    // From everyone ready to the game's launch (the pick phase), and from launch to the game.
    double pickSeconds = 3.0;
    double launchSeconds = 1.0;
};

}  // namespace Tavix::TestHost
