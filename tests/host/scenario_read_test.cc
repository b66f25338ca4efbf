// Scenario files as a user writes them, good and bad: a bad one gives one line that names the
// file, the line, the step and what is wrong, and never runs.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "scenario/document.h"
#include "scenario/scenario.h"
#include "scenario/scenario_runner.h"

namespace Tavix::TestHost {
namespace {

using ::testing::HasSubstr;
using ::testing::StartsWith;

TEST(ScenarioRead, ReadsEveryKindOfStepFromYaml) {
    const ScenarioRead read = ReadScenario(
        "# comment\n"
        "- settings: {queue-time: 5, accept-rate: 0.5, seed: 9}\n"
        "- join-lobby: {queue: 420, members: [4102, 4103], leader: 4102}\n"
        "- leader-queues\n"
        "- call: PUT /arx-matchmaking/v1/search\n"
        "  body: {searchState: Canceled}\n"
        "  expect: {status: 404, error: \"No matchmaking search exists.\"}\n"
        "- advance: 2.5\n"
        "- wait-for: ReadyCheck\n"
        "- pick-dodge: {by: party, member: me}\n"
        "- penalty: {seconds: 30}\n"
        "- expect-not-published: {uri: /arx-matchmaking/v1/search, type: Delete}\n"
        "- expect-request: {lcds: gameService.acceptPoppedGame, arguments: [true]}\n",
        "steps.yaml");
    ASSERT_TRUE(read.scenario) << read.error;
    const std::vector<Step>& steps = read.scenario->steps;
    ASSERT_EQ(steps.size(), 10u);
    EXPECT_EQ(steps[0].line, 2);
    EXPECT_EQ(std::get<Steps::Settings>(steps[0].action).seed, 9u);
    const auto& join = std::get<Steps::JoinLobby>(steps[1].action);
    EXPECT_EQ(join.queueId, 420);
    EXPECT_EQ(join.others, (std::vector<std::uint64_t>{4102, 4103}));
    EXPECT_EQ(join.leader, 4102u);
    EXPECT_EQ(std::get<Steps::Plain>(steps[2].action).kind, Steps::Plain::Kind::LeaderQueues);
    const auto& call = std::get<Steps::Call>(steps[3].action);
    EXPECT_EQ(call.method, "PUT");
    EXPECT_EQ(call.body->ToJson(), R"({"searchState":"Canceled"})");
    EXPECT_EQ(call.status, 404u);
    EXPECT_EQ(*call.error, "No matchmaking search exists.");
    EXPECT_DOUBLE_EQ(std::get<Steps::Advance>(steps[4].action).seconds, 2.5);
    EXPECT_EQ(std::get<Steps::WaitFor>(steps[5].action).state, "ReadyCheck");
    EXPECT_EQ(std::get<Steps::PickDodge>(steps[6].action).member, SimulatedPlatform::kPlayer);
    EXPECT_EQ(std::get<Steps::Penalty>(steps[7].action).member, SimulatedPlatform::kPlayer);
    EXPECT_TRUE(std::get<Steps::ExpectPublished>(steps[8].action).absent);
    EXPECT_TRUE(steps[9].IsExpectation());
    EXPECT_FALSE(steps[4].IsExpectation());
}

TEST(ScenarioRead, ReadsTheSameStepsFromJson) {
    const ScenarioRead read = ReadScenario(
        R"([{"join-lobby": {"queue": 440}}, "pop-match", {"expect-state": "ReadyCheck"}])",
        "steps.json");
    ASSERT_TRUE(read.scenario) << read.error;
    ASSERT_EQ(read.scenario->steps.size(), 3u);
    EXPECT_EQ(std::get<Steps::JoinLobby>(read.scenario->steps[0].action).queueId, 440);
    EXPECT_EQ(read.scenario->steps[1].name, "pop-match");
}

TEST(ScenarioRead, NamesTheFileTheLineAndTheStepOfWhatIsWrong) {
    struct Case {
        const char* file;
        const char* text;
        const char* error;
    };
    const Case cases[] = {
        {"a.yaml", "- join-lobby: {queue: 420}\n- fly-away\n",
         "a.yaml:2: step 2: unknown action \"fly-away\" (the actions: "},
        {"a.yaml", "- \"fly\\naway\\t\"\n",
         "a.yaml:1: step 1: unknown action \"fly\\naway\\x09\" ("},
        {"a.yaml", "- join-lobby: {queue: 420}\n- pop-match: 3\n",
         "a.yaml:2: step 2 (pop-match): takes no argument, not \"3\""},
        {"a.yaml", "- join-lobby: {queue: 420, colour: red}\n",
         "a.yaml:1: step 1 (join-lobby): unknown key \"colour\" (join-lobby takes "},
        {"a.yaml", "- join-lobby: {members: [4102]}\n", "a.yaml:1: step 1 (join-lobby): "},
        {"a.yaml", "- advance: -1\n",
         "a.yaml:1: step 1 (advance): advance must be a number of seconds from 0 to 1000000"},
        {"a.yaml", "- call: search\n",
         "a.yaml:1: step 1 (call): call must be a method and a path, as \"POST "
         "/arx-matchmaking/v1/search\", not \"search\""},
        {"a.yaml", "- call: GET /x\n  expect: {status: many}\n", "a.yaml:2: step 1 (call): "},
        {"a.yaml", "- penalty: {member: \"4101\", seconds: 3}\n",
         "a.yaml:1: step 1 (penalty): member must be a player id"},
        {"a.yaml", "- advance: 1\n  wait-for: Searching\n",
         "a.yaml:2: step 1 (advance): unknown key \"wait-for\" beside the action"},
        {"a.yaml", "- [1, 2]\n", "a.yaml:1: step 1: a step is an action's name, or a mapping"},
        {"a.yaml", "queue: 420\n", "a.yaml:1: a scenario is a list of steps"},
        {"a.yaml", "[]\n", "a.yaml:1: a scenario is a list of steps, and has one at least"},
        {"a.yaml", "", "a.yaml:"},
        {"a.yaml", "- join-lobby: {queue: 420\n", "a.yaml:2: not YAML: "},
        {"a.yaml", "- &a advance: 1\n- *a\n",
         "a.yaml:2: aliases (*name) are not supported in scenarios"},
        {"a.yaml", "- pop-match\n---\n- pop-match\n",
         "a.yaml:2: a scenario is one YAML document, not several"},
        {"a.json", "[{\"advance\": 1},]", "a.json:1: "},
        {"a.json", "[{\"join-lobby\": {\"queue\": \"x\"}}]",
         "a.json:1: step 1 (join-lobby): queue must be a whole number"},
        {"a.txt", "- pop-match\n", "a.txt: a scenario is a .yaml, .yml or .json file"},
    };
    for (const Case& test : cases) {
        const ScenarioRead read = ReadScenario(test.text, test.file);
        EXPECT_FALSE(read.scenario) << test.text;
        EXPECT_THAT(read.error, StartsWith(test.error)) << test.text;
        EXPECT_EQ(read.error.find('\n'), std::string::npos) << read.error;
    }
}

TEST(ScenarioRead, RefusesNestingDeeperThanAScenarioNeeds) {
    const std::string deep =
        "[" + std::string(kMaxDocumentDepth + 1, '[') + std::string(kMaxDocumentDepth + 2, ']');
    EXPECT_THAT(ReadScenario(deep, "deep.json").error, HasSubstr("nests deeper than"));
    EXPECT_THAT(ReadScenario(deep, "deep.yaml").error, HasSubstr("nests deeper than"));
    EXPECT_EQ(ReadScenarioFile("/nonexistent/s.yaml").error, "/nonexistent/s.yaml: cannot be read");
}

TEST(ValueMatches, MatchesNamedFieldsWholeListsAndNumbersAsNumbers) {
    const Value actual = Value::Map({{"queueId", Value::Signed(420)},
                                     {"timeInQueue", Value::Float(3.0)},
                                     {"ids", Value::List({Value::Unsigned(1), Value::Unsigned(2)})},
                                     {"state", Value::Text("Searching")}});
    EXPECT_TRUE(ValueMatches(Value::Map({{"queueId", Value::Float(420.0)}}), actual));
    EXPECT_TRUE(ValueMatches(Value::Map({{"timeInQueue", Value::Signed(3)}}), actual));
    EXPECT_FALSE(ValueMatches(Value::Map({{"queueId", Value::Text("420")}}), actual));
    EXPECT_FALSE(ValueMatches(Value::Map({{"missing", Value::None()}}), actual));
    EXPECT_TRUE(ValueMatches(
        Value::Map({{"ids", Value::List({Value::Signed(1), Value::Signed(2)})}}), actual));
    EXPECT_FALSE(ValueMatches(Value::Map({{"ids", Value::List({Value::Signed(1)})}}), actual));
    EXPECT_FALSE(ValueMatches(Value::Map({{"state", Value::Text("Found")}}), actual));
    EXPECT_FALSE(ValueMatches(Value::Bool(true), Value::Signed(1)));
}

}  // namespace
}  // namespace Tavix::TestHost
