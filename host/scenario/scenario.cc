#include "scenario/scenario.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <map>

#include "scenario/document.h"

namespace Tavix::TestHost {

namespace {

// Scenario files are written by hand; a larger one is a mistake.
constexpr std::size_t kMaxScenarioBytes = 1 << 20;
constexpr double kMaxSeconds = 1e6;

std::string Quoted(const Node& node) {
    switch (node.kind) {
        case Node::Kind::Null:
            return "nothing";
        case Node::Kind::Sequence:
            return "a list";
        case Node::Kind::Mapping:
            return "a mapping";
        case Node::Kind::Scalar:
            break;
    }
    return "\"" + node.text + "\"";
}

// Reads the argument and the options of one step. The first problem found is kept; every reading
// after it gives nothing.
class StepReader {
public:
    explicit StepReader(std::string name) : name_(std::move(name)) {}

    bool Failed() const { return !problem_.empty(); }
    const std::string& Problem() const { return problem_; }
    int ProblemLine() const { return problemLine_; }

    void Fail(const Node& node, std::string problem) {
        if (problem_.empty()) {
            problem_ = std::move(problem);
            problemLine_ = node.line;
        }
    }

    std::optional<double> Number(const Node& node, const std::string& what) {
        if (node.kind == Node::Kind::Scalar && !node.quoted && !node.text.empty()) {
            char* end = nullptr;
            const double number = std::strtod(node.text.c_str(), &end);
            if (*end == '\0' && std::isfinite(number)) {
                return number;
            }
        }
        Fail(node, what + " must be a number, not " + Quoted(node));
        return std::nullopt;
    }

    std::optional<double> Seconds(const Node& node, const std::string& what) {
        const std::optional<double> seconds = Number(node, what);
        if (seconds && (*seconds < 0.0 || *seconds > kMaxSeconds)) {
            Fail(node,
                 what + " must be a number of seconds from 0 to 1000000, not " + Quoted(node));
            return std::nullopt;
        }
        return seconds;
    }

    std::optional<std::int64_t> Integer(const Node& node, const std::string& what, std::int64_t low,
                                        std::int64_t high) {
        std::int64_t number = 0;
        if (node.kind == Node::Kind::Scalar && !node.quoted) {
            const char* begin = node.text.data();
            const char* end = begin + node.text.size();
            const auto [stop, error] = std::from_chars(begin, end, number);
            if (error == std::errc() && stop == end && number >= low && number <= high) {
                return number;
            }
        }
        Fail(node, what + " must be a whole number from " + std::to_string(low) + " to " +
                       std::to_string(high) + ", not " + Quoted(node));
        return std::nullopt;
    }

    std::optional<std::uint64_t> Id(const Node& node, const std::string& what) {
        if (node.kind == Node::Kind::Scalar && node.text == "me") {
            return SimulatedPlatform::kPlayer;
        }
        if (node.kind == Node::Kind::Scalar && !node.quoted) {
            std::uint64_t id = 0;
            const char* begin = node.text.data();
            const char* end = begin + node.text.size();
            const auto [stop, error] = std::from_chars(begin, end, id);
            if (error == std::errc() && stop == end && id > 0) {
                return id;
            }
        }
        Fail(node,
             what + " must be a player id (a whole number above 0, or me), not " + Quoted(node));
        return std::nullopt;
    }

    std::optional<std::vector<std::uint64_t>> Ids(const Node& node, const std::string& what) {
        if (node.kind != Node::Kind::Sequence) {
            Fail(node, what + " must be a list of player ids, not " + Quoted(node));
            return std::nullopt;
        }
        std::vector<std::uint64_t> ids;
        for (const Node& item : node.items) {
            const std::optional<std::uint64_t> id = Id(item, what + " (each)");
            if (!id) {
                return std::nullopt;
            }
            ids.push_back(*id);
        }
        return ids;
    }

    std::optional<std::string> Text(const Node& node, const std::string& what) {
        if (node.kind == Node::Kind::Scalar && !node.text.empty()) {
            return node.text;
        }
        Fail(node, what + " must be a text, not " + Quoted(node));
        return std::nullopt;
    }

    std::optional<bool> Bool(const Node& node, const std::string& what) {
        if (node.kind == Node::Kind::Scalar && !node.quoted &&
            (node.text == "true" || node.text == "false")) {
            return node.text == "true";
        }
        Fail(node, what + " must be true or false, not " + Quoted(node));
        return std::nullopt;
    }

    // A value as a request body or a pattern: plain scalars that read as numbers or truth values
    // are those, everything else text.
    Value ValueOf(const Node& node) {
        switch (node.kind) {
            case Node::Kind::Null:
                return Value::None();
            case Node::Kind::Sequence: {
                std::vector<Value> items;
                for (const Node& item : node.items) {
                    items.push_back(ValueOf(item));
                }
                return Value::List(std::move(items));
            }
            case Node::Kind::Mapping: {
                Value structure = Value::Map({});
                for (const auto& [key, field] : node.fields) {
                    structure.fields.push_back({key, ValueOf(field), false});
                }
                return structure;
            }
            case Node::Kind::Scalar:
                break;
        }
        if (!node.quoted) {
            if (node.text == "true" || node.text == "false") {
                return Value::Bool(node.text == "true");
            }
            const char* begin = node.text.data();
            const char* end = begin + node.text.size();
            std::int64_t whole = 0;
            if (auto [stop, error] = std::from_chars(begin, end, whole);
                error == std::errc() && stop == end) {
                return Value::Signed(whole);
            }
            std::uint64_t large = 0;
            if (auto [stop, error] = std::from_chars(begin, end, large);
                error == std::errc() && stop == end) {
                return Value::Unsigned(large);
            }
            char* stop = nullptr;
            const double number = std::strtod(node.text.c_str(), &stop);
            if (!node.text.empty() && *stop == '\0' && std::isfinite(number)) {
                return Value::Float(number);
            }
        }
        return Value::Text(node.text);
    }

    // The keys of a mapping argument, each read by its reader; a key not among them is a problem.
    using KeyReader = std::function<void(const Node& value)>;
    void Keys(const Node& mapping, const std::string& what,
              const std::vector<std::pair<std::string, KeyReader>>& readers) {
        if (mapping.kind != Node::Kind::Mapping) {
            Fail(mapping,
                 what + " must be a mapping of " + Names(readers) + ", not " + Quoted(mapping));
            return;
        }
        for (const NodeField& field : mapping.fields) {
            const auto reader =
                std::find_if(readers.begin(), readers.end(),
                             [&](const auto& entry) { return entry.first == field.key; });
            if (reader == readers.end()) {
                Fail(field.value, "unknown key \"" + field.key + "\" (" + what + " takes " +
                                      Names(readers) + ")");
                return;
            }
            reader->second(field.value);
            if (Failed()) {
                return;
            }
        }
    }

    void Require(const Node& mapping, const std::string& key) {
        if (!Failed() && mapping.Find(key) == nullptr) {
            Fail(mapping, name_ + " needs " + key);
        }
    }

private:
    static std::string Names(const std::vector<std::pair<std::string, KeyReader>>& readers) {
        std::string names;
        for (std::size_t i = 0; i < readers.size(); ++i) {
            names += (i == 0 ? "" : i + 1 == readers.size() ? " and " : ", ") + readers[i].first;
        }
        return names;
    }

    std::string name_;
    std::string problem_;
    int problemLine_ = 0;
};

// ---- The actions --------------------------------------------------------------------------------

using ActionReader =
    std::function<std::optional<StepAction>(StepReader& reader, const Node& argument)>;

std::optional<StepAction> ReadSettings(StepReader& reader, const Node& argument) {
    Steps::Settings settings;
    reader.Keys(
        argument, "settings",
        {{"queue-time",
          [&](const Node& value) { settings.queueSeconds = reader.Seconds(value, "queue-time"); }},
         {"estimate",
          [&](const Node& value) {
              settings.estimatedSeconds = reader.Seconds(value, "estimate");
          }},
         {"accept-rate",
          [&](const Node& value) {
              settings.acceptRate = reader.Number(value, "accept-rate");
              if (settings.acceptRate &&
                  (*settings.acceptRate < 0.0 || *settings.acceptRate > 1.0)) {
                  reader.Fail(value, "accept-rate must be from 0 to 1, not " + Quoted(value));
              }
          }},
         {"seed",
          [&](const Node& value) {
              if (const auto seed = reader.Integer(value, "seed", 0, INT64_MAX)) {
                  settings.seed = static_cast<std::uint64_t>(*seed);
              }
          }},
         {"ready-check-time",
          [&](const Node& value) {
              settings.readyCheckSeconds = reader.Seconds(value, "ready-check-time");
          }},
         {"pick-time",
          [&](const Node& value) { settings.pickSeconds = reader.Seconds(value, "pick-time"); }},
         {"launch-time", [&](const Node& value) {
              settings.launchSeconds = reader.Seconds(value, "launch-time");
          }}});
    return settings;
}

std::optional<std::int32_t> QueueId(StepReader& reader, const Node& value) {
    const auto queueId = reader.Integer(value, "queue", INT32_MIN, INT32_MAX);
    return queueId ? std::optional<std::int32_t>(static_cast<std::int32_t>(*queueId))
                   : std::nullopt;
}

std::optional<StepAction> ReadJoinLobby(StepReader& reader, const Node& argument) {
    Steps::JoinLobby join;
    reader.Keys(
        argument, "join-lobby",
        {{"queue", [&](const Node& value) { join.queueId = QueueId(reader, value).value_or(0); }},
         {"members",
          [&](const Node& value) {
              join.others = reader.Ids(value, "members").value_or(std::vector<std::uint64_t>{});
          }},
         {"leader",
          [&](const Node& value) { join.leader = reader.Id(value, "leader").value_or(0); }}});
    reader.Require(argument, "queue");
    return join;
}

std::optional<StepAction> ReadChangeLobby(StepReader& reader, const Node& argument) {
    Steps::ChangeLobby change;
    reader.Keys(
        argument, "change-lobby",
        {{"queue", [&](const Node& value) { change.queueId = QueueId(reader, value); }},
         {"members", [&](const Node& value) { change.others = reader.Ids(value, "members"); }},
         {"leader", [&](const Node& value) { change.leader = reader.Id(value, "leader"); }}});
    if (!reader.Failed() && argument.fields.empty()) {
        reader.Fail(argument, "change-lobby needs one of queue, members and leader");
    }
    return change;
}

ActionReader Plain(Steps::Plain::Kind kind) {
    return [kind](StepReader& reader, const Node& argument) -> std::optional<StepAction> {
        if (argument.kind != Node::Kind::Null) {
            reader.Fail(argument, "takes no argument, not " + Quoted(argument));
        }
        return Steps::Plain{kind};
    };
}

std::optional<StepAction> ReadMemberDeclines(StepReader& reader, const Node& argument) {
    return Steps::MemberDeclines{reader.Id(argument, "the member").value_or(0)};
}

std::optional<StepAction> ReadPickDodge(StepReader& reader, const Node& argument) {
    Steps::PickDodge dodge;
    const auto readDodger = [&](const Node& value) {
        static const std::map<std::string, PickDodger> kDodgers{
            {"stranger", PickDodger::Stranger},
            {"party", PickDodger::Party},
            {"tournament", PickDodger::Tournament}};
        const auto found = kDodgers.find(value.text);
        if (value.kind != Node::Kind::Scalar || found == kDodgers.end()) {
            reader.Fail(value,
                        "the dodger must be stranger, party or tournament, not " + Quoted(value));
            return;
        }
        dodge.dodger = found->second;
    };
    if (argument.kind == Node::Kind::Mapping) {
        reader.Keys(argument, "pick-dodge", {{"by", readDodger}, {"member", [&](const Node& value) {
                                                                      dodge.member = reader.Id(
                                                                          value, "member");
                                                                  }}});
        reader.Require(argument, "by");
    } else {
        readDodger(argument);
    }
    return dodge;
}

std::optional<StepAction> ReadPenalty(StepReader& reader, const Node& argument) {
    Steps::Penalty penalty;
    if (argument.kind == Node::Kind::Mapping) {
        reader.Keys(argument, "penalty",
                    {{"seconds",
                      [&](const Node& value) {
                          penalty.seconds = reader.Seconds(value, "seconds").value_or(0.0);
                      }},
                     {"member", [&](const Node& value) {
                          penalty.member = reader.Id(value, "member").value_or(0);
                      }}});
        reader.Require(argument, "seconds");
    } else {
        penalty.seconds = reader.Seconds(argument, "the penalty").value_or(0.0);
    }
    return penalty;
}

std::optional<StepAction> ReadJoinError(StepReader& reader, const Node& argument) {
    Steps::JoinError error;
    error.rule.avatarId = SimulatedPlatform::kPlayer;
    reader.Keys(
        argument, "join-error",
        {{"member",
          [&](const Node& value) { error.rule.avatarId = reader.Id(value, "member").value_or(0); }},
         {"reason",
          [&](const Node& value) {
              error.rule.reason = reader.Text(value, "reason").value_or("");
          }},
         {"seconds",
          [&](const Node& value) {
              error.rule.seconds = reader.Seconds(value, "seconds").value_or(0.0);
          }},
         {"message", [&](const Node& value) {
              error.rule.message = reader.Text(value, "message").value_or("");
          }}});
    return error;
}

std::optional<StepAction> ReadCall(StepReader& reader, const Node& argument) {
    Steps::Call call;
    const std::optional<std::string> line = reader.Text(argument, "call");
    if (!line) {
        return std::nullopt;
    }
    const std::size_t space = line->find(' ');
    if (space == std::string::npos || space == 0 ||
        line->find(' ', space + 1) != std::string::npos || (*line)[space + 1] != '/') {
        reader.Fail(
            argument,
            "call must be a method and a path, as \"POST /arx-matchmaking/v1/search\", not " +
                Quoted(argument));
        return std::nullopt;
    }
    call.method = line->substr(0, space);
    call.url = line->substr(space + 1);
    return call;
}

// The options of a call, beside its method and path.
void ReadCallOptions(StepReader& reader, const Node& step, Steps::Call& call) {
    for (std::size_t i = 1; i < step.fields.size(); ++i) {
        const auto& [key, value] = step.fields[i];
        if (key == "body") {
            call.body = reader.ValueOf(value);
        } else if (key == "expect") {
            reader.Keys(
                value, "expect",
                {{"ok", [&](const Node& field) { call.ok = reader.Bool(field, "ok"); }},
                 {"status",
                  [&](const Node& field) {
                      if (const auto status = reader.Integer(field, "status", 0, 999)) {
                          call.status = static_cast<std::uint32_t>(*status);
                      }
                  }},
                 {"error", [&](const Node& field) { call.error = reader.Text(field, "error"); }},
                 {"value", [&](const Node& field) { call.value = reader.ValueOf(field); }}});
        } else {
            reader.Fail(value, "unknown key \"" + key + "\" (call takes body and expect)");
        }
    }
}

std::optional<StepAction> ReadAdvance(StepReader& reader, const Node& argument) {
    return Steps::Advance{reader.Seconds(argument, "advance").value_or(0.0)};
}

std::optional<StepAction> ReadWaitFor(StepReader& reader, const Node& argument) {
    Steps::WaitFor wait;
    if (argument.kind == Node::Kind::Mapping) {
        reader.Keys(
            argument, "wait-for",
            {{"state",
              [&](const Node& value) { wait.state = reader.Text(value, "state").value_or(""); }},
             {"within", [&](const Node& value) {
                  wait.within = reader.Seconds(value, "within").value_or(0.0);
              }}});
        reader.Require(argument, "state");
    } else {
        wait.state = reader.Text(argument, "the state").value_or("");
    }
    return wait;
}

std::optional<StepAction> ReadExpectState(StepReader& reader, const Node& argument) {
    return Steps::ExpectState{reader.Text(argument, "the state").value_or("")};
}

ActionReader ReadExpectPublished(bool absent) {
    return [absent](StepReader& reader, const Node& argument) -> std::optional<StepAction> {
        Steps::ExpectPublished expected;
        expected.absent = absent;
        reader.Keys(
            argument, absent ? "expect-not-published" : "expect-published",
            {{"uri",
              [&](const Node& value) { expected.uri = reader.Text(value, "uri").value_or(""); }},
             {"type",
              [&](const Node& value) {
                  expected.eventType = reader.Text(value, "type");
                  if (expected.eventType && *expected.eventType != "Create" &&
                      *expected.eventType != "Update" && *expected.eventType != "Delete") {
                      reader.Fail(value,
                                  "type must be Create, Update or Delete, not " + Quoted(value));
                  }
              }},
             {"value", [&](const Node& value) { expected.value = reader.ValueOf(value); }}});
        reader.Require(argument, "uri");
        return expected;
    };
}

ActionReader ReadExpectRequest(bool absent) {
    return [absent](StepReader& reader, const Node& argument) -> std::optional<StepAction> {
        Steps::ExpectRequest expected;
        expected.absent = absent;
        reader.Keys(
            argument, absent ? "expect-not-requested" : "expect-request",
            {{"method", [&](const Node& value) { expected.method = reader.Text(value, "method"); }},
             {"url", [&](const Node& value) { expected.url = reader.Text(value, "url"); }},
             {"body", [&](const Node& value) { expected.body = reader.ValueOf(value); }},
             {"lcds",
              [&](const Node& value) {
                  expected.lcds = reader.Text(value, "lcds");
                  if (expected.lcds && expected.lcds->find('.') == std::string::npos) {
                      reader.Fail(value,
                                  "lcds must be a service and a method, as "
                                  "\"gameService.acceptPoppedGame\", not " +
                                      Quoted(value));
                  }
              }},
             {"arguments",
              [&](const Node& value) { expected.arguments = reader.ValueOf(value); }}});
        if (!reader.Failed() && expected.lcds.has_value() == expected.url.has_value()) {
            reader.Fail(argument, "an expected request names either its url or its lcds method");
        } else if (!reader.Failed() && expected.lcds && (expected.method || expected.body)) {
            reader.Fail(argument,
                        "a call of the remote platform has arguments, not a method or a body");
        } else if (!reader.Failed() && expected.url && expected.arguments) {
            reader.Fail(argument, "a request to a neighbour has a body, not arguments");
        }
        return expected;
    };
}

const std::map<std::string, ActionReader>& Actions() {
    using Kind = Steps::Plain::Kind;
    static const std::map<std::string, ActionReader> kActions{
        {"settings", ReadSettings},
        {"join-lobby", ReadJoinLobby},
        {"change-lobby", ReadChangeLobby},
        {"leave-lobby", Plain(Kind::LeaveLobby)},
        {"leader-queues", Plain(Kind::LeaderQueues)},
        {"pop-match", Plain(Kind::PopMatch)},
        {"stranger-declines", Plain(Kind::StrangerDeclines)},
        {"member-declines", ReadMemberDeclines},
        {"leader-dodges", Plain(Kind::LeaderDodges)},
        {"pick-dodge", ReadPickDodge},
        {"penalty", ReadPenalty},
        {"join-error", ReadJoinError},
        {"drop-connection", Plain(Kind::DropConnection)},
        {"reconnect", Plain(Kind::Reconnect)},
        {"call", ReadCall},
        {"advance", ReadAdvance},
        {"wait-for", ReadWaitFor},
        {"expect-state", ReadExpectState},
        {"expect-published", ReadExpectPublished(false)},
        {"expect-not-published", ReadExpectPublished(true)},
        {"expect-request", ReadExpectRequest(false)},
        {"expect-not-requested", ReadExpectRequest(true)},
    };
    return kActions;
}

std::string Where(const std::string& file, int line) {
    return file + ":" + std::to_string(line) + ": ";
}

// One step of the list, or what is wrong with it.
std::variant<Step, std::string> ReadStep(const Node& item, int number, const std::string& file) {
    static const Node kNothing;
    std::string name;
    const Node* argument = &kNothing;
    if (item.kind == Node::Kind::Scalar) {
        name = item.text;
    } else if (item.kind == Node::Kind::Mapping && !item.fields.empty()) {
        name = item.fields.front().key;
        argument = &item.fields.front().value;
    } else {
        return Where(file, item.line) + "step " + std::to_string(number) +
               ": a step is an action's name, or a mapping that begins with an action and its "
               "argument";
    }
    const std::string head = "step " + std::to_string(number) + " (" + name + "): ";
    const auto action = Actions().find(name);
    if (action == Actions().end()) {
        std::string known;
        for (const auto& [actionName, reader] : Actions()) {
            known += (known.empty() ? "" : ", ") + actionName;
        }
        return Where(file, item.line) + "step " + std::to_string(number) + ": unknown action \"" +
               name + "\" (the actions: " + known + ")";
    }
    StepReader reader(name);
    std::optional<StepAction> read = action->second(reader, *argument);
    if (!reader.Failed() && read) {
        if (auto* call = std::get_if<Steps::Call>(&*read)) {
            ReadCallOptions(reader, item, *call);
        } else if (item.kind == Node::Kind::Mapping && item.fields.size() > 1) {
            reader.Fail(item.fields[1].value, "unknown key \"" + item.fields[1].key +
                                                  "\" beside the action (only call takes more)");
        }
    }
    if (reader.Failed() || !read) {
        return Where(file, reader.ProblemLine() > 0 ? reader.ProblemLine() : item.line) + head +
               reader.Problem();
    }
    return Step{number, item.line, name, std::move(*read)};
}

bool EndsWith(const std::string& text, std::string_view end) {
    return text.size() >= end.size() &&
           text.compare(text.size() - end.size(), end.size(), end) == 0;
}

}  // namespace

bool Step::IsExpectation() const {
    return std::holds_alternative<Steps::ExpectState>(action) ||
           std::holds_alternative<Steps::ExpectPublished>(action) ||
           std::holds_alternative<Steps::ExpectRequest>(action);
}

std::string OneLine(std::string_view text) {
    std::string line;
    line.reserve(text.size());
    for (const char c : text) {
        if (c == '\n') {
            line += "\\n";
        } else if (static_cast<unsigned char>(c) < 0x20 || c == 0x7f) {
            char escaped[8];
            std::snprintf(escaped, sizeof escaped, "\\x%02x", static_cast<unsigned char>(c));
            line += escaped;
        } else {
            line += c;
        }
    }
    return line;
}

ScenarioRead ReadScenario(std::string_view text, const std::string& fileName) {
    ScenarioRead read;
    Document document;
    if (EndsWith(fileName, ".json")) {
        document = ReadJsonDocument(text);
    } else if (EndsWith(fileName, ".yaml") || EndsWith(fileName, ".yml")) {
        document = ReadYamlDocument(text);
    } else {
        read.error = fileName + ": a scenario is a .yaml, .yml or .json file";
        return read;
    }
    if (!document.root) {
        read.error = Where(fileName, document.line) + document.error;
        return read;
    }
    const Node& root = *document.root;
    if (root.kind != Node::Kind::Sequence || root.items.empty()) {
        read.error =
            Where(fileName, root.line) + "a scenario is a list of steps, and has one at least";
        return read;
    }
    Scenario scenario;
    scenario.file = fileName;
    int number = 0;
    for (const Node& item : root.items) {
        auto step = ReadStep(item, ++number, fileName);
        if (auto* error = std::get_if<std::string>(&step)) {
            // The file's own texts stand in the message: a key or an action with a line break in
            // it must not break the one line.
            read.error = OneLine(*error);
            return read;
        }
        scenario.steps.push_back(std::move(std::get<Step>(step)));
    }
    read.scenario = std::move(scenario);
    return read;
}

ScenarioRead ReadScenarioFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        return {std::nullopt, path + ": cannot be read"};
    }
    std::string text;
    char buffer[8192];
    while (file.read(buffer, sizeof buffer) || file.gcount() > 0) {
        text.append(buffer, static_cast<std::size_t>(file.gcount()));
        if (text.size() > kMaxScenarioBytes) {
            return {std::nullopt, path + ": larger than a scenario can be (1 MB)"};
        }
    }
    return ReadScenario(text, path);
}

}  // namespace Tavix::TestHost
