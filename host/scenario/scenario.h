#pragma once
// A scenario: a list of steps run against the plug-in on the simulated platform. A step is an
// action of the platform, a request to one of the plug-in's routes, a move of the clock, or an
// expectation on what the plug-in published, requested or became. Reading a scenario checks every
// step before any runs, so that a bad file stops with one line: the file, the line, the step and
// what is wrong with it.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "core/value.h"
#include "sim/internal/join_rules.h"
#include "sim/simulated_platform.h"

namespace Tavix::TestHost {

namespace Steps {

// Changes of the platform's settings; what is not given stays.
struct Settings {
    std::optional<double> queueSeconds;
    std::optional<double> estimatedSeconds;
    std::optional<double> acceptRate;
    std::optional<std::uint64_t> seed;
    std::optional<double> readyCheckSeconds;
    std::optional<double> pickSeconds;
    std::optional<double> launchSeconds;
};

struct JoinLobby {
    std::int32_t queueId = 0;
    std::vector<std::uint64_t> others;
    std::uint64_t leader = SimulatedPlatform::kPlayer;
};

struct ChangeLobby {
    std::optional<std::int32_t> queueId;
    std::optional<std::vector<std::uint64_t>> others;
    std::optional<std::uint64_t> leader;
};

// The actions that take no argument.
struct Plain {
    enum class Kind {
        LeaveLobby,
        LeaderQueues,
        PopMatch,
        StrangerDeclines,
        LeaderDodges,
        DropConnection,
        Reconnect
    };
    Kind kind = Kind::PopMatch;
};

struct MemberDeclines {
    std::uint64_t member = 0;
};

struct PickDodge {
    PickDodger dodger = PickDodger::Stranger;
    std::optional<std::uint64_t> member;
};

struct Penalty {
    std::uint64_t member = SimulatedPlatform::kPlayer;
    double seconds = 0.0;
};

struct JoinError {
    Sim::JoinErrorRule rule;
};

struct Call {
    std::string method;
    std::string url;
    std::optional<Value> body;
    // Without any of these the call must succeed.
    std::optional<bool> ok;
    std::optional<std::uint32_t> status;
    std::optional<std::string> error;
    std::optional<Value> value;
};

struct Advance {
    double seconds = 0.0;
};

struct WaitFor {
    std::string state;
    double within = 60.0;
};

struct ExpectState {
    std::string state;
};

// A publication of the plug-in: its URI, and its type and data when given. Data match on the
// fields given; lists match whole.
struct ExpectPublished {
    std::string uri;
    std::optional<std::string> eventType;
    std::optional<Value> value;
    // expect-not-published: no such publication.
    bool absent = false;
};

// A request of the plug-in to a neighbour, by URL, method and body, or a call of the remote
// platform by service and method ("matchmakerService.attachToQueue") and its arguments.
struct ExpectRequest {
    std::optional<std::string> method;
    std::optional<std::string> url;
    std::optional<Value> body;
    std::optional<std::string> lcds;
    std::optional<Value> arguments;
    bool absent = false;
};

}  // namespace Steps

using StepAction = std::variant<Steps::Settings, Steps::JoinLobby, Steps::ChangeLobby, Steps::Plain,
                                Steps::MemberDeclines, Steps::PickDodge, Steps::Penalty,
                                Steps::JoinError, Steps::Call, Steps::Advance, Steps::WaitFor,
                                Steps::ExpectState, Steps::ExpectPublished, Steps::ExpectRequest>;

struct Step {
    // 1 for the first step.
    int number = 0;
    int line = 0;
    // The action's name as the file writes it.
    std::string name;
    StepAction action;

    // Expectations look at what the steps before them brought about; every other step opens a new
    // stretch for them to look at.
    bool IsExpectation() const;
};

struct Scenario {
    std::string file;
    std::vector<Step> steps;
};

struct ScenarioRead {
    std::optional<Scenario> scenario;
    // "FILE:LINE: step N (ACTION): what is wrong", or "FILE:LINE: what is wrong" above the steps.
    std::string error;
};

// `text` with its control characters written as escapes ("\n", "\x09"), so that a message
// quoting a file's texts stays one line.
std::string OneLine(std::string_view text);

// The text of a scenario file: JSON when `fileName` ends in ".json", YAML for ".yaml" and ".yml".
ScenarioRead ReadScenario(std::string_view text, const std::string& fileName);
ScenarioRead ReadScenarioFile(const std::string& path);

}  // namespace Tavix::TestHost
