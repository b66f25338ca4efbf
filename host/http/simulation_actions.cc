#include "http/simulation_actions.h"

#include <charconv>
#include <cstdint>
#include <optional>
#include <string>

namespace Tavix::TestHost {

namespace {

constexpr const char* kJson = "application/json";
constexpr double kMostAdvance = 600.0;

std::optional<std::uint64_t> WholeNumber(const std::string& text) {
    std::uint64_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (text.empty() || error != std::errc() || end != text.data() + text.size()) {
        return std::nullopt;
    }
    return number;
}

std::optional<double> Seconds(const std::string& text) {
    double seconds = 0.0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), seconds);
    if (text.empty() || error != std::errc() || end != text.data() + text.size() ||
        !(seconds >= 0.0) || seconds > 86'400.0) {
        return std::nullopt;
    }
    return seconds;
}

// "4102,4103"; the empty text is nobody.
std::optional<std::vector<std::uint64_t>> Avatars(const std::string& text) {
    std::vector<std::uint64_t> avatars;
    std::size_t start = 0;
    while (start < text.size()) {
        const std::size_t end = std::min(text.find(',', start), text.size());
        const std::optional<std::uint64_t> avatar = WholeNumber(text.substr(start, end - start));
        if (!avatar) {
            return std::nullopt;
        }
        avatars.push_back(*avatar);
        start = end + 1;
    }
    return avatars;
}

// "player" stands for the player's own avatar.
std::optional<std::uint64_t> Avatar(const std::string& text) {
    return text == "player" ? std::optional<std::uint64_t>(SimulatedPlatform::kPlayer)
                            : WholeNumber(text);
}

std::optional<std::int32_t> QueueId(const std::string& text) {
    const std::optional<std::uint64_t> number = WholeNumber(text);
    if (!number || *number > 2147483647u) {
        return std::nullopt;
    }
    return static_cast<std::int32_t>(*number);
}

HttpReplyText Unreadable(const std::string& name, const std::string& value,
                         const std::string& expected) {
    return ErrorReply(400, "\"" + value + "\" is not " + expected + " for " + name);
}

// A stage as a client can compare it; PartyStageName says it in words.
const char* StageKey(PartyStage stage) {
    switch (stage) {
        case PartyStage::Idle:
            return "Idle";
        case PartyStage::Queued:
            return "Queued";
        case PartyStage::ReadyCheck:
            return "ReadyCheck";
        case PartyStage::Pick:
            return "Pick";
        case PartyStage::Launching:
            return "Launching";
        case PartyStage::InGame:
            return "InGame";
    }
    return "";
}

// Where the platform stands after the action.
HttpReplyText Standing(Simulation& simulation) {
    SimulatedPlatform& platform = simulation.Platform();
    HttpReplyText reply;
    reply.contentType = kJson;
    reply.body = Value::Map({{"stage", Value::Text(StageKey(platform.Stage()))},
                             {"party", Value::Text(PartyStageName(platform.Stage()))},
                             {"phase", Value::Text(platform.GameflowPhase())},
                             {"connected", Value::Bool(platform.Connected())},
                             {"playerLeads", Value::Bool(platform.PlayerLeads())},
                             {"seconds", Value::Float(simulation.GetTimeline().Seconds())},
                             {"virtualClock",
                              Value::Bool(simulation.GetHost().Mode() == ClockMode::Virtual)}})
                     .ToJson();
    return reply;
}

HttpReplyText Outcome(Simulation& simulation, const SimulatedPlatform::Refusal& refusal) {
    if (refusal) {
        return ErrorReply(409, *refusal);
    }
    // The platform's news reaches the plug-in in the same turn, as far as it is due now.
    simulation.GetHost().RunUntilIdle();
    return Standing(simulation);
}

HostAction Action(std::string path, std::string title,
                  std::vector<std::pair<std::string, std::string>> parameters,
                  std::function<HttpReplyText(const HostAction::Parameters&)> run) {
    HostAction action;
    action.path = std::move(path);
    action.title = std::move(title);
    action.parameters = std::move(parameters);
    action.run = std::move(run);
    return action;
}

}  // namespace

std::vector<HostAction> SimulationActions(Simulation& simulation) {
    SimulatedPlatform& platform = simulation.Platform();
    std::vector<HostAction> actions;
    HostAction standing =
        Action("/sim/platform", "Where the platform stands", {},
               [&simulation](const HostAction::Parameters&) { return Standing(simulation); });
    standing.method = "GET";
    actions.push_back(std::move(standing));

    actions.push_back(
        Action("/sim/login", "Log in", {}, [&simulation, &platform](const HostAction::Parameters&) {
            return Outcome(simulation, platform.LogIn());
        }));
    actions.push_back(Action(
        "/sim/lobby/join", "Join a lobby",
        {{"queue", "420"}, {"others", "4102,4103"}, {"leader", "player"}},
        [&simulation, &platform](const HostAction::Parameters& parameters) {
            const std::optional<std::int32_t> queue = QueueId(parameters.at("queue"));
            if (!queue) {
                return Unreadable("queue", parameters.at("queue"), "a queue id");
            }
            const auto others = Avatars(parameters.at("others"));
            if (!others) {
                return Unreadable("others", parameters.at("others"), "a list of avatar ids");
            }
            const std::optional<std::uint64_t> leader = Avatar(parameters.at("leader"));
            if (!leader) {
                return Unreadable("leader", parameters.at("leader"), "an avatar id or player");
            }
            return Outcome(simulation, platform.JoinLobby(*queue, *others, *leader));
        }));
    actions.push_back(Action(
        "/sim/lobby/change", "Change the lobby", {{"queue", ""}, {"others", ""}, {"leader", ""}},
        [&simulation, &platform](const HostAction::Parameters& parameters) {
            // Only what is given changes; "others" given as "-" is a lobby of the player alone.
            std::optional<std::int32_t> queue;
            if (!parameters.at("queue").empty()) {
                queue = QueueId(parameters.at("queue"));
                if (!queue) {
                    return Unreadable("queue", parameters.at("queue"), "a queue id");
                }
            }
            std::optional<std::vector<std::uint64_t>> others;
            if (parameters.at("others") == "-") {
                others.emplace();
            } else if (!parameters.at("others").empty()) {
                others = Avatars(parameters.at("others"));
                if (!others) {
                    return Unreadable("others", parameters.at("others"), "a list of avatar ids");
                }
            }
            std::optional<std::uint64_t> leader;
            if (!parameters.at("leader").empty()) {
                leader = Avatar(parameters.at("leader"));
                if (!leader) {
                    return Unreadable("leader", parameters.at("leader"), "an avatar id or player");
                }
            }
            return Outcome(simulation, platform.ChangeLobby(queue, others, leader));
        }));
    actions.push_back(Action("/sim/lobby/leave", "Leave the lobby", {},
                             [&simulation, &platform](const HostAction::Parameters&) {
                                 return Outcome(simulation, platform.LeaveLobby());
                             }));
    actions.push_back(Action("/sim/leader-queues", "The leader queues the party", {},
                             [&simulation, &platform](const HostAction::Parameters&) {
                                 return Outcome(simulation, platform.LeaderQueues());
                             }));
    actions.push_back(Action("/sim/pop", "Pop a match", {},
                             [&simulation, &platform](const HostAction::Parameters&) {
                                 return Outcome(simulation, platform.PopMatch());
                             }));
    actions.push_back(Action("/sim/stranger-declines", "A stranger declines", {},
                             [&simulation, &platform](const HostAction::Parameters&) {
                                 return Outcome(simulation, platform.StrangerDeclines());
                             }));
    actions.push_back(
        Action("/sim/member-declines", "A party member declines", {{"member", "4102"}},
               [&simulation, &platform](const HostAction::Parameters& parameters) {
                   const std::optional<std::uint64_t> member = WholeNumber(parameters.at("member"));
                   if (!member) {
                       return Unreadable("member", parameters.at("member"), "an avatar id");
                   }
                   return Outcome(simulation, platform.MemberDeclines(*member));
               }));
    actions.push_back(Action("/sim/leader-dodges", "The party's leader dodges", {},
                             [&simulation, &platform](const HostAction::Parameters&) {
                                 return Outcome(simulation, platform.LeaderDodges());
                             }));
    actions.push_back(Action(
        "/sim/pick-dodge", "Someone leaves the pick", {{"who", "party"}, {"member", ""}},
        [&simulation, &platform](const HostAction::Parameters& parameters) {
            const std::string& who = parameters.at("who");
            PickDodger dodger;
            if (who == "stranger") {
                dodger = PickDodger::Stranger;
            } else if (who == "party") {
                dodger = PickDodger::Party;
            } else if (who == "tournament") {
                dodger = PickDodger::Tournament;
            } else {
                return Unreadable("who", who, "stranger, party or tournament");
            }
            std::optional<std::uint64_t> member;
            if (!parameters.at("member").empty()) {
                member = Avatar(parameters.at("member"));
                if (!member) {
                    return Unreadable("member", parameters.at("member"), "an avatar id or player");
                }
            }
            return Outcome(simulation, platform.PickDodge(dodger, member));
        }));
    actions.push_back(Action(
        "/sim/penalty", "A leaver penalty", {{"avatar", "player"}, {"seconds", "300"}},
        [&simulation, &platform](const HostAction::Parameters& parameters) {
            const std::optional<std::uint64_t> avatar = Avatar(parameters.at("avatar"));
            if (!avatar) {
                return Unreadable("avatar", parameters.at("avatar"), "an avatar id or player");
            }
            const std::optional<double> seconds = Seconds(parameters.at("seconds"));
            if (!seconds) {
                return Unreadable("seconds", parameters.at("seconds"), "a number of seconds");
            }
            platform.AddLeaverPenalty(*avatar, *seconds);
            return Outcome(simulation, std::nullopt);
        }));
    actions.push_back(Action("/sim/connection/drop", "Drop the connection", {},
                             [&simulation, &platform](const HostAction::Parameters&) {
                                 return Outcome(simulation, platform.DropConnection());
                             }));
    actions.push_back(Action("/sim/connection/restore", "Reconnect", {},
                             [&simulation, &platform](const HostAction::Parameters&) {
                                 return Outcome(simulation, platform.Reconnect());
                             }));
    actions.push_back(Action(
        "/sim/clock/advance", "Advance the clock", {{"seconds", "1"}},
        [&simulation](const HostAction::Parameters& parameters) {
            if (simulation.GetHost().Mode() != ClockMode::Virtual) {
                return ErrorReply(409, "the host runs on the real clock, which no one advances");
            }
            // Each second of the search's time is a tick the plug-in publishes: a bound keeps
            // one request from flooding the event stream.
            const std::optional<double> seconds = Seconds(parameters.at("seconds"));
            if (!seconds || *seconds > kMostAdvance) {
                return Unreadable("seconds", parameters.at("seconds"),
                                  "a number of seconds up to 600");
            }
            simulation.Run(*seconds);
            return Standing(simulation);
        }));
    return actions;
}

}  // namespace Tavix::TestHost
