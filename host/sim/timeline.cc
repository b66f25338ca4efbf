#include "sim/timeline.h"

#include <cmath>

#include "core/lcds_endpoint.h"

namespace Tavix::TestHost {

namespace {

constexpr std::size_t kRecentLines = 40;
constexpr const char* kGeneralChannel = "OnJsonApiEvent";
constexpr const char* kEventPrefix = "MATCHMAKING_EVENT.";

const Value& FieldOf(const Value& value, const std::string& key) {
    static const Value kNone;
    const Value* found = value.Find(key);
    return found != nullptr ? *found : kNone;
}

std::string TextOf(const Value& value, const std::string& key) {
    return FieldOf(value, key).bytes;
}

double NumberOf(const Value& value, const std::string& key) {
    const Value& field = FieldOf(value, key);
    switch (field.tag) {
        case Client::kHostValueSigned:
            return static_cast<double>(field.signedValue);
        case Client::kHostValueUnsigned:
            return static_cast<double>(field.unsignedValue);
        case Client::kHostValueFloat:
            return field.floatValue;
        default:
            return 0.0;
    }
}

std::string Number(double number) {
    char text[32];
    std::snprintf(text, sizeof text, "%g", number);
    return text;
}

std::string Ids(const Value& list) {
    std::string text;
    for (const Value& item : list.items) {
        text += (text.empty() ? "" : ",") + Timeline::Brief(item);
    }
    return text;
}

// A value without the remote class marks, which say nothing to a reader.
Value WithoutClassMarks(const Value& value) {
    Value copy = value;
    std::erase_if(copy.fields, [](const Field& field) { return field.key == "__class"; });
    for (Field& field : copy.fields) {
        field.value = WithoutClassMarks(field.value);
    }
    for (Value& item : copy.items) {
        item = WithoutClassMarks(item);
    }
    return copy;
}

std::string DescribeSearch(const Value& search) {
    std::string text =
        TextOf(search, "searchState") + ", queue " + Number(NumberOf(search, "queueId")) + ", " +
        (FieldOf(search, "isCurrentlyInQueue").boolean ? "in the queue for " : "in no queue, ") +
        Number(NumberOf(search, "timeInQueue")) + " s of ~" +
        Number(NumberOf(search, "estimatedQueueTime")) + " s";
    const Value& readyCheck = FieldOf(search, "readyCheck");
    if (TextOf(readyCheck, "state") != "Invalid" && !TextOf(readyCheck, "state").empty()) {
        text += "; ready check " + TextOf(readyCheck, "state");
    }
    const Value& dodge = FieldOf(search, "dodgeData");
    if (TextOf(dodge, "state") != "Invalid" && !TextOf(dodge, "state").empty()) {
        text += "; " + TextOf(dodge, "state") + " by " + Number(NumberOf(dodge, "dodgerId"));
    }
    const Value& lowPriority = FieldOf(search, "lowPriorityData");
    if (NumberOf(lowPriority, "penaltyTime") > 0.0 ||
        !FieldOf(lowPriority, "penalizedAvatarIds").items.empty()) {
        text += "; penalty " + Number(NumberOf(lowPriority, "penaltyTimeRemaining")) + " of " +
                Number(NumberOf(lowPriority, "penaltyTime")) + " s for " +
                Ids(FieldOf(lowPriority, "penalizedAvatarIds"));
    }
    if (const std::size_t errors = FieldOf(search, "errors").items.size(); errors > 0) {
        text += "; " + std::to_string(errors) + (errors == 1 ? " error" : " errors");
    }
    return text;
}

std::string DescribeReadyCheck(const Value& check) {
    std::string text = TextOf(check, "state") + ", " + Number(NumberOf(check, "timer")) +
                       " s, answer " + TextOf(check, "playerResponse");
    if (TextOf(check, "dodgeWarning") != "None" && !TextOf(check, "dodgeWarning").empty()) {
        text += ", dodge " + TextOf(check, "dodgeWarning");
    }
    if (!FieldOf(check, "declinerIds").items.empty()) {
        text += ", declined by " + Ids(FieldOf(check, "declinerIds"));
    }
    if (FieldOf(check, "suppressUx").boolean) {
        text += ", no window";
    }
    return text;
}

std::string DescribeError(const Value& error) {
    return "#" + Number(NumberOf(error, "id")) + " " + TextOf(error, "errorType") + " for " +
           Number(NumberOf(error, "penalizedAvatarId")) + ", " +
           Number(NumberOf(error, "penaltyTimeRemaining")) + " s left";
}

}  // namespace

Timeline::Timeline(Host& host) : host_(host), start_(host.Now()) {
    host_.Calls().Listen([this](const RecordedCall& call) { Hear(call); });
}

Timeline::~Timeline() {
    host_.Calls().Listen(nullptr);
}

double Timeline::Seconds() const {
    return static_cast<double>(host_.Now() - start_) / 1e9;
}

void Timeline::PrintHeader() {
    if (out_ != nullptr) {
        std::fprintf(out_, "%9s  %-11s %s\n", "time", "source", "what");
        std::fflush(out_);
    }
}

void Timeline::Note(const std::string& source, const std::string& text) {
    FlushMachine();
    Emit(source, text);
}

void Timeline::Flush() {
    FlushMachine();
}

void Timeline::Emit(const std::string& source, const std::string& text) {
    Emit(source, text, Seconds());
}

void Timeline::Emit(const std::string& source, const std::string& text, double seconds) {
    char head[48];
    std::snprintf(head, sizeof head, "%9.3f  %-11s ", seconds, source.c_str());
    std::string line = head + text;
    if (out_ != nullptr) {
        std::fprintf(out_, "%s\n", line.c_str());
        std::fflush(out_);
    }
    recent_.push_back(std::move(line));
    if (recent_.size() > kRecentLines) {
        recent_.pop_front();
    }
}

void Timeline::Hear(const RecordedCall& call) {
    if (const auto* request = std::get_if<RecordedRequest>(&call)) {
        requests_.push_back({Seconds(), *request});
        Note("request", DescribeRequest(*request));
    } else if (const auto* event = std::get_if<RecordedEvent>(&call)) {
        // Each publication also goes out on its URI's own channel; the general one tells it once.
        if (event->name != kGeneralChannel) {
            return;
        }
        PublishedEvent published{Seconds(), TextOf(event->payload, "uri"),
                                 TextOf(event->payload, "eventType"),
                                 FieldOf(event->payload, "data")};
        Note("published",
             published.eventType + " " + published.uri + "  " +
                 DescribePublication(published.uri, published.eventType, published.data));
        published_.push_back(std::move(published));
    } else if (const auto* line = std::get_if<RecordedLogLine>(&call)) {
        HearLog(line->text);
    }
}

// A transition logs its event, its actions' lines and the states it leaves and enters; the
// timeline tells it as the event and the state it ends in.
void Timeline::HearLog(const std::string& text) {
    if (machine_.Follow(text)) {
        if (!stateMoved_ && pendingEvent_.empty()) {
            machineAt_ = Seconds();
        }
        stateMoved_ = true;
        return;
    }
    if (text.starts_with(kEventPrefix)) {
        FlushMachine();
        pendingEvent_ = text;
        machineAt_ = Seconds();
        return;
    }
    if (showLogLines_) {
        Note("log", text);
    }
}

void Timeline::FlushMachine() {
    const std::string& state = machine_.State();
    const bool moved = stateMoved_ && state != shownState_;
    stateMoved_ = false;
    if (!pendingEvent_.empty()) {
        std::string event = std::move(pendingEvent_);
        pendingEvent_.clear();
        Emit("machine", moved ? event + " -> " + state : event, machineAt_);
    } else if (moved) {
        Emit("machine", "-> " + state, machineAt_);
    }
    if (moved) {
        shownState_ = state;
    }
}

std::string Timeline::Brief(const Value& value, std::size_t limit) {
    std::string text = WithoutClassMarks(value).ToJson();
    if (text.size() > limit) {
        text.resize(limit);
        text += "...";
    }
    return text;
}

std::string Timeline::DescribePublication(const std::string& uri, const std::string& eventType,
                                          const Value& data) {
    static const std::string kSearch = "/arx-matchmaking/v1/search";
    static const std::string kErrors = kSearch + "/errors";
    if (eventType == "Delete") {
        return "";
    }
    if (uri == kSearch) {
        return DescribeSearch(data);
    }
    if (uri == "/arx-matchmaking/v1/ready-check") {
        return DescribeReadyCheck(data);
    }
    if (uri == kErrors) {
        std::string text = std::to_string(data.items.size()) + " errors";
        for (const Value& error : data.items) {
            text += "; " + DescribeError(error);
        }
        return text;
    }
    if (uri.starts_with(kErrors + "/")) {
        return DescribeError(data);
    }
    return Brief(data);
}

std::string Timeline::DescribeRequest(const RecordedRequest& request) {
    const std::vector<RecordedParameter>& parameters = request.parameters;
    if (request.url == kLcdsInvokeUrl && parameters.size() == 3) {
        return "LCDS " + parameters[0].value.bytes + "." + parameters[1].value.bytes + " " +
               Brief(parameters[2].value);
    }
    std::string method = request.method == Client::kMethodNamed
                             ? request.methodName
                             : Client::HostMethodText(request.method);
    std::string text = method + " " + request.url;
    if (!parameters.empty()) {
        text += " " + Brief(parameters.front().value);
    }
    return text;
}

}  // namespace Tavix::TestHost
