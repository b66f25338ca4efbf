// The feed's view of the machine: a transition passes through states that are no news, and only
// where the turn leaves the machine goes out.

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "http/event_feed.h"

namespace Tavix::TestHost {
namespace {

using nlohmann::json;

RecordedCall Line(const std::string& text) {
    return RecordedLogLine{1, 2, text};
}
RecordedCall Entering(const std::string& state) {
    return Line("Matchmaking: entering state '" + state + "'");
}
RecordedCall Exiting(const std::string& state) {
    return Line("Matchmaking: exiting state '" + state + "'");
}

// The states the feed sent, in order, as "innermost: active from the root".
std::vector<std::string> SentStates(const EventFeed& feed) {
    std::vector<std::string> states;
    for (const auto& entry : feed.After(0, std::chrono::milliseconds(0)).entries) {
        if (entry->kind == FeedKind::State) {
            const json state = json::parse(entry->json);
            std::string path;
            for (const json& active : state["active"]) {
                path += (path.empty() ? "" : "/") + active.get<std::string>();
            }
            states.push_back(state["state"].get<std::string>() + ": " + path);
        }
    }
    return states;
}

TEST(EventFeedStateTest, OnlyWhereATransitionEndsIsSent) {
    EventFeed feed;
    feed.Take(Entering("Matchmaking"));
    feed.Take(Entering("Available"));
    // The end of the attach's turn, with nothing after the transition.
    feed.Settle();
    EXPECT_EQ(SentStates(feed), std::vector<std::string>{"Available: Matchmaking/Available"});

    feed.Take(Exiting("Available"));
    // An action in the middle of the transition, with the machine at its root for a moment.
    feed.Take(Line("left the lobby's view"));
    feed.Take(Entering("Searching"));
    feed.Take(Entering("InQueue"));
    feed.Settle();
    EXPECT_EQ(SentStates(feed),
              (std::vector<std::string>{"Available: Matchmaking/Available",
                                        "InQueue: Matchmaking/Searching/InQueue"}));
    // Leaving a state leaves whatever was still above it.
    feed.Take(Exiting("Searching"));
    feed.Take(Entering("Available"));
    feed.Settle();
    EXPECT_EQ(SentStates(feed).back(), "Available: Matchmaking/Available");
    EXPECT_EQ(json::parse(feed.LatestState())["state"], "Available");
}

TEST(EventFeedStateTest, AStateIsSentOnceUntilItChanges) {
    EventFeed feed;
    feed.Take(Entering("Available"));
    feed.Settle();
    feed.Settle();
    feed.Take(Line("nothing moved"));
    // A transition that ends where it began is no news either.
    feed.Take(Exiting("Available"));
    feed.Take(Entering("Available"));
    feed.Settle();
    EXPECT_EQ(SentStates(feed), std::vector<std::string>{"Available: Available"});
}

TEST(EventFeedStateTest, TheLatestStateIsThereInTheMiddleOfATransition) {
    EventFeed feed;
    EXPECT_EQ(feed.LatestState(), "");
    feed.Take(Entering("Searching"));
    EXPECT_EQ(json::parse(feed.LatestState())["state"], "Searching");
    EXPECT_TRUE(SentStates(feed).empty());
}

}  // namespace
}  // namespace Tavix::TestHost
