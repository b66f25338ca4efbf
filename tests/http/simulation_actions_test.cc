// The simulated platform's actions as the front serves them, run as the host's thread runs them:
// what each reads from its parameters, the platform's refusals as 409, and where the platform
// stands in each answer.

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <string>

#include "http/simulation_actions.h"

namespace Tavix::TestHost {
namespace {

using nlohmann::json;

class SimulationActionsTest : public ::testing::Test {
protected:
    explicit SimulationActionsTest(ClockMode clock = ClockMode::Virtual)
        : simulation(clock, PlatformSettings{}), actions(SimulationActions(simulation)) {}

    // The action at `path` with `given` over its defaults, as the front hands them over.
    HttpReplyText Run(const std::string& path, const HostAction::Parameters& given = {}) {
        for (const HostAction& action : actions) {
            if (action.path == path) {
                HostAction::Parameters parameters(given);
                for (const auto& [name, fallback] : action.parameters) {
                    parameters.emplace(name, fallback);
                }
                return action.run(parameters);
            }
        }
        ADD_FAILURE() << "no action at " << path;
        return {};
    }
    static std::string Message(const HttpReplyText& reply) {
        return std::to_string(reply.status) + " " +
               json::parse(reply.body)["message"].get<std::string>();
    }

    Simulation simulation;
    std::vector<HostAction> actions;
};

TEST_F(SimulationActionsTest, EachActionAnswersWhereThePlatformStands) {
    const HttpReplyText joined = Run("/sim/lobby/join", {{"queue", "440"}, {"leader", "4102"}});
    ASSERT_EQ(joined.status, 200) << joined.body;
    EXPECT_EQ(joined.contentType, "application/json");
    const json standing = json::parse(joined.body);
    EXPECT_EQ(standing["stage"], "Idle");
    EXPECT_EQ(standing["phase"], "Lobby");
    EXPECT_EQ(standing["connected"], true);
    EXPECT_EQ(standing["playerLeads"], false);
    EXPECT_EQ(standing["virtualClock"], true);

    EXPECT_EQ(json::parse(Run("/sim/lobby/change", {{"leader", "player"}}).body)["playerLeads"],
              true);
    EXPECT_EQ(json::parse(Run("/sim/connection/drop").body)["connected"], false);
    EXPECT_EQ(json::parse(Run("/sim/connection/restore").body)["connected"], true);
    const json later = json::parse(Run("/sim/clock/advance", {{"seconds", "2.5"}}).body);
    EXPECT_DOUBLE_EQ(later["seconds"].get<double>(), standing["seconds"].get<double>() + 2.5);
}

TEST_F(SimulationActionsTest, WhatThePlatformCannotDoNowIs409WithItsReason) {
    // No party in a queue: nothing to pop, no ready check to decline.
    for (const char* path : {"/sim/pop", "/sim/stranger-declines", "/sim/leader-dodges"}) {
        EXPECT_EQ(Run(path).status, 409) << path;
    }
    EXPECT_EQ(Message(Run("/sim/lobby/join", {{"queue", "12345"}})).substr(0, 4), "409 ");
}

TEST_F(SimulationActionsTest, ParametersTheActionsCannotReadAre400) {
    EXPECT_EQ(Message(Run("/sim/lobby/join", {{"queue", "ranked"}})),
              "400 \"ranked\" is not a queue id for queue");
    EXPECT_EQ(Message(Run("/sim/lobby/join", {{"others", "4102,,4103"}})),
              "400 \"4102,,4103\" is not a list of avatar ids for others");
    EXPECT_EQ(Message(Run("/sim/lobby/change", {{"leader", "me"}})),
              "400 \"me\" is not an avatar id or player for leader");
    EXPECT_EQ(Message(Run("/sim/pick-dodge", {{"who", "everyone"}})),
              "400 \"everyone\" is not stranger, party or tournament for who");
    EXPECT_EQ(Message(Run("/sim/penalty", {{"seconds", "-1"}})),
              "400 \"-1\" is not a number of seconds for seconds");
    EXPECT_EQ(Message(Run("/sim/clock/advance", {{"seconds", "601"}})),
              "400 \"601\" is not a number of seconds up to 600 for seconds");
}

class RealClockActionsTest : public SimulationActionsTest {
protected:
    RealClockActionsTest() : SimulationActionsTest(ClockMode::Real) {}
};

TEST_F(RealClockActionsTest, NoOneAdvancesTheRealClock) {
    EXPECT_EQ(Message(Run("/sim/clock/advance")),
              "409 the host runs on the real clock, which no one advances");
}

}  // namespace
}  // namespace Tavix::TestHost
