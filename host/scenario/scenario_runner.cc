#include "scenario/scenario_runner.h"

#include <algorithm>

#include "core/lcds_endpoint.h"

namespace Tavix::TestHost {

namespace {

bool IsNumber(const Value& value) {
    return value.tag == Client::kHostValueSigned || value.tag == Client::kHostValueUnsigned ||
           value.tag == Client::kHostValueFloat;
}

double NumberOf(const Value& value) {
    switch (value.tag) {
        case Client::kHostValueSigned:
            return static_cast<double>(value.signedValue);
        case Client::kHostValueUnsigned:
            return static_cast<double>(value.unsignedValue);
        default:
            return value.floatValue;
    }
}

// What has come about since the last step that was not an expectation began; expectations of a
// kind match in order within it.
struct Stretch {
    std::size_t publishedFrom = 0;
    std::size_t publishedNext = 0;
    std::size_t requestsFrom = 0;
    std::size_t requestsNext = 0;
    int openedBy = 0;
};

class Runner {
public:
    Runner(const Scenario& scenario, Simulation& simulation)
        : scenario_(scenario), simulation_(simulation) {}

    ScenarioOutcome Run() {
        ScenarioOutcome outcome;
        for (const Step& step : scenario_.steps) {
            if (!step.IsExpectation()) {
                const Timeline& timeline = simulation_.GetTimeline();
                stretch_ = {timeline.Published().size(), timeline.Published().size(),
                            timeline.Requests().size(), timeline.Requests().size(), step.number};
            }
            simulation_.GetTimeline().Note(
                "scenario", "step " + std::to_string(step.number) + ": " + step.name);
            const std::string problem =
                std::visit([&](const auto& action) { return Do(action); }, step.action);
            outcome.stepsRun = step.number;
            if (!problem.empty()) {
                outcome.failure =
                    OneLine(scenario_.file + ":" + std::to_string(step.line) + ": step " +
                            std::to_string(step.number) + " (" + step.name + "): " + problem);
                return outcome;
            }
        }
        outcome.passed = true;
        return outcome;
    }

private:
    // Each action returns what did not hold, or nothing.
    static std::string Refused(const SimulatedPlatform::Refusal& refusal) {
        return refusal ? "the platform cannot do it now: " + *refusal : "";
    }

    // Lets the host deliver what the action set going, without moving the clock.
    std::string Settled(std::string problem) {
        simulation_.Run(0.0);
        return problem;
    }

    std::string Do(const Steps::Settings& change) {
        PlatformSettings settings = simulation_.Platform().Settings();
        settings.queueSeconds = change.queueSeconds.value_or(settings.queueSeconds);
        settings.estimatedSeconds = change.estimatedSeconds.value_or(settings.estimatedSeconds);
        settings.acceptRate = change.acceptRate.value_or(settings.acceptRate);
        settings.seed = change.seed.value_or(settings.seed);
        settings.readyCheckSeconds = change.readyCheckSeconds.value_or(settings.readyCheckSeconds);
        settings.pickSeconds = change.pickSeconds.value_or(settings.pickSeconds);
        settings.launchSeconds = change.launchSeconds.value_or(settings.launchSeconds);
        simulation_.Platform().ChangeSettings(settings);
        return "";
    }

    std::string Do(const Steps::JoinLobby& join) {
        return Settled(
            Refused(simulation_.Platform().JoinLobby(join.queueId, join.others, join.leader)));
    }

    std::string Do(const Steps::ChangeLobby& change) {
        return Settled(Refused(
            simulation_.Platform().ChangeLobby(change.queueId, change.others, change.leader)));
    }

    std::string Do(const Steps::Plain& plain) {
        SimulatedPlatform& platform = simulation_.Platform();
        using Kind = Steps::Plain::Kind;
        switch (plain.kind) {
            case Kind::LeaveLobby:
                return Settled(Refused(platform.LeaveLobby()));
            case Kind::LeaderQueues:
                return Settled(Refused(platform.LeaderQueues()));
            case Kind::PopMatch:
                return Settled(Refused(platform.PopMatch()));
            case Kind::StrangerDeclines:
                return Settled(Refused(platform.StrangerDeclines()));
            case Kind::LeaderDodges:
                return Settled(Refused(platform.LeaderDodges()));
            case Kind::DropConnection:
                return Settled(Refused(platform.DropConnection()));
            case Kind::Reconnect:
                return Settled(Refused(platform.Reconnect()));
        }
        return "";
    }

    std::string Do(const Steps::MemberDeclines& declines) {
        return Settled(Refused(simulation_.Platform().MemberDeclines(declines.member)));
    }

    std::string Do(const Steps::PickDodge& dodge) {
        return Settled(Refused(simulation_.Platform().PickDodge(dodge.dodger, dodge.member)));
    }

    std::string Do(const Steps::Penalty& penalty) {
        simulation_.Platform().AddLeaverPenalty(penalty.member, penalty.seconds);
        return "";
    }

    std::string Do(const Steps::JoinError& error) {
        simulation_.Platform().AddJoinError(error.rule);
        return "";
    }

    std::string Do(const Steps::Call& call) {
        const std::optional<std::string> body =
            call.body ? std::optional<std::string>(call.body->ToJson()) : std::nullopt;
        const RouteAnswer answer = simulation_.Call(call.method, call.url, body);
        simulation_.Run(0.0);
        if (!answer.called) {
            return "the plug-in has no function for " + call.method + " " + call.url;
        }
        const std::string answered = answer.ok
                                         ? std::string("the plug-in answered ok")
                                         : "the plug-in answered " + std::to_string(answer.status) +
                                               " \"" + answer.error + "\"";
        const bool wantOk = call.ok.value_or(!call.status && !call.error);
        if (answer.ok != wantOk) {
            return std::string(wantOk ? "expected success" : "expected a failure") + ", " +
                   answered;
        }
        if (call.status && answer.status != *call.status) {
            return "expected status " + std::to_string(*call.status) + ", " + answered;
        }
        if (call.error && answer.error != *call.error) {
            return "expected the error \"" + *call.error + "\", " + answered;
        }
        if (call.value && !ValueMatches(*call.value, answer.value)) {
            return "expected an answer with " + call.value->ToJson() + ", the plug-in answered " +
                   Timeline::Brief(answer.value, 400);
        }
        return "";
    }

    std::string Do(const Steps::Advance& advance) {
        simulation_.Run(advance.seconds);
        return "";
    }

    std::string Do(const Steps::WaitFor& wait) {
        const Timeline& timeline = simulation_.GetTimeline();
        const auto until = simulation_.RunUntil(
            [&] { return timeline.MachineState() == wait.state; }, wait.within);
        if (until == Simulation::Until::Done) {
            return "";
        }
        char within[32];
        std::snprintf(within, sizeof within, "%g", wait.within);
        return "the machine did not reach " + wait.state + " within " + within + " s; it is in " +
               timeline.MachineState();
    }

    std::string Do(const Steps::ExpectState& expected) {
        const std::string& state = simulation_.GetTimeline().MachineState();
        return state == expected.state
                   ? ""
                   : "expected the machine in " + expected.state + ", it is in " + state;
    }

    std::string Do(const Steps::ExpectPublished& expected) {
        const std::vector<PublishedEvent>& published = simulation_.GetTimeline().Published();
        const auto fits = [&](const PublishedEvent& event) {
            return event.uri == expected.uri &&
                   (!expected.eventType || event.eventType == *expected.eventType) &&
                   (!expected.value || ValueMatches(*expected.value, event.data));
        };
        const std::string wanted = (expected.eventType ? *expected.eventType + " " : "") +
                                   expected.uri +
                                   (expected.value ? " with " + expected.value->ToJson() : "");
        if (expected.absent) {
            for (std::size_t i = stretch_.publishedFrom; i < published.size(); ++i) {
                if (fits(published[i])) {
                    return "expected no " + wanted + " since step " +
                           std::to_string(stretch_.openedBy) + ", the plug-in published " +
                           published[i].eventType + " " + published[i].uri + " " +
                           Timeline::Brief(published[i].data, 400);
                }
            }
            return "";
        }
        for (std::size_t i = stretch_.publishedNext; i < published.size(); ++i) {
            if (fits(published[i])) {
                stretch_.publishedNext = i + 1;
                return "";
            }
        }
        std::string seen;
        for (std::size_t i = stretch_.publishedNext; i < published.size(); ++i) {
            seen += (seen.empty() ? "" : "; ") + published[i].eventType + " " + published[i].uri;
            if (published[i].uri == expected.uri) {
                seen += " " + Timeline::Brief(published[i].data, 400);
            }
        }
        return "expected the plug-in to publish " + wanted + " since step " +
               std::to_string(stretch_.openedBy) +
               (seen.empty() ? ", it published nothing" : ", it published: " + seen);
    }

    static bool RequestFits(const Steps::ExpectRequest& expected, const RecordedRequest& request) {
        const std::vector<RecordedParameter>& parameters = request.parameters;
        if (expected.lcds) {
            if (request.url != kLcdsInvokeUrl || parameters.size() != 3 ||
                parameters[0].value.bytes + "." + parameters[1].value.bytes != *expected.lcds) {
                return false;
            }
            return !expected.arguments || ValueMatches(*expected.arguments, parameters[2].value);
        }
        if (request.url != *expected.url) {
            return false;
        }
        if (expected.method) {
            const std::string method = request.method == Client::kMethodNamed
                                           ? request.methodName
                                           : Client::HostMethodText(request.method);
            if (method != *expected.method) {
                return false;
            }
        }
        if (expected.body) {
            return !parameters.empty() && ValueMatches(*expected.body, parameters.front().value);
        }
        return true;
    }

    std::string Do(const Steps::ExpectRequest& expected) {
        const std::vector<SentRequest>& requests = simulation_.GetTimeline().Requests();
        const std::string wanted =
            expected.lcds ? "the call " + *expected.lcds +
                                (expected.arguments ? " with " + expected.arguments->ToJson() : "")
                          : (expected.method ? *expected.method + " " : "") + *expected.url +
                                (expected.body ? " with " + expected.body->ToJson() : "");
        if (expected.absent) {
            for (std::size_t i = stretch_.requestsFrom; i < requests.size(); ++i) {
                if (RequestFits(expected, requests[i].request)) {
                    return "expected no request for " + wanted + " since step " +
                           std::to_string(stretch_.openedBy) + ", the plug-in sent " +
                           Timeline::DescribeRequest(requests[i].request);
                }
            }
            return "";
        }
        for (std::size_t i = stretch_.requestsNext; i < requests.size(); ++i) {
            if (RequestFits(expected, requests[i].request)) {
                stretch_.requestsNext = i + 1;
                return "";
            }
        }
        std::string seen;
        for (std::size_t i = stretch_.requestsNext; i < requests.size(); ++i) {
            seen += (seen.empty() ? "" : "; ") + Timeline::DescribeRequest(requests[i].request);
        }
        return "expected the plug-in to request " + wanted + " since step " +
               std::to_string(stretch_.openedBy) +
               (seen.empty() ? ", it sent nothing" : ", it sent: " + seen);
    }

    const Scenario& scenario_;
    Simulation& simulation_;
    Stretch stretch_;
};

}  // namespace

bool ValueMatches(const Value& expected, const Value& actual) {
    if (IsNumber(expected)) {
        return IsNumber(actual) && NumberOf(expected) == NumberOf(actual);
    }
    switch (expected.tag) {
        case Client::kHostValueNone:
            return actual.tag == Client::kHostValueNone;
        case Client::kHostValueBool:
            return actual.tag == Client::kHostValueBool && actual.boolean == expected.boolean;
        case Client::kHostValueStructure:
            if (actual.tag != Client::kHostValueStructure) {
                return false;
            }
            return std::all_of(expected.fields.begin(), expected.fields.end(),
                               [&](const Field& field) {
                                   const Value* found = actual.Find(field.key);
                                   return found != nullptr && ValueMatches(field.value, *found);
                               });
        case Client::kHostValueCollection:
            if (actual.tag != Client::kHostValueCollection ||
                actual.items.size() != expected.items.size()) {
                return false;
            }
            for (std::size_t i = 0; i < expected.items.size(); ++i) {
                if (!ValueMatches(expected.items[i], actual.items[i])) {
                    return false;
                }
            }
            return true;
        default:
            return (actual.IsText() || actual.IsBlob()) && actual.bytes == expected.bytes;
    }
}

ScenarioOutcome RunScenario(const Scenario& scenario, Simulation& simulation) {
    return Runner(scenario, simulation).Run();
}

}  // namespace Tavix::TestHost
