#include "http/event_feed.h"

#include <variant>

#include "core/value.h"

namespace Tavix::TestHost {

namespace {

// The general channel: every published resource reaches the host once on it, beside its own
// channel, so taking this one name sees each event exactly once.
constexpr std::string_view kGeneralChannel = "OnJsonApiEvent";
// The machine logs each state it enters and leaves with these words.
constexpr std::string_view kEnteringState = "Matchmaking: entering state '";
constexpr std::string_view kExitingState = "Matchmaking: exiting state '";

// The quoted name after `prefix`, or nothing when the line is not of that form.
std::optional<std::string> QuotedAfter(std::string_view text, std::string_view prefix) {
    if (!text.starts_with(prefix)) {
        return std::nullopt;
    }
    text.remove_prefix(prefix.size());
    const std::size_t quote = text.find('\'');
    if (quote == std::string_view::npos) {
        return std::nullopt;
    }
    return std::string(text.substr(0, quote));
}

}  // namespace

const char* FeedKindName(FeedKind kind) {
    switch (kind) {
        case FeedKind::State:
            return "state";
        case FeedKind::Request:
            return "request";
        case FeedKind::Log:
            return "log";
        case FeedKind::Resource:
            break;
    }
    return "";
}

bool UriMatches(std::string_view pattern, std::string_view uri) {
    std::size_t p = 0;
    std::size_t s = 0;
    while (p < pattern.size() && s < uri.size()) {
        if (pattern[p] != '*') {
            if (pattern[p] != uri[s]) {
                return false;
            }
            ++p;
            ++s;
        } else if (uri[s] != '/') {
            ++s;
            if (s == uri.size()) {
                ++p;
            }
        } else {
            ++p;
        }
    }
    return p == pattern.size() && s == uri.size();
}

bool FeedFilter::Wants(const FeedEntry& entry) const {
    if (entry.kind != FeedKind::Resource) {
        return hostView;
    }
    return !uriPattern || UriMatches(*uriPattern, entry.uri);
}

std::string ServerSentEvent(const FeedEntry& entry) {
    std::string text = "id: " + std::to_string(entry.id) + "\n";
    if (entry.kind != FeedKind::Resource) {
        text += "event: ";
        text += FeedKindName(entry.kind);
        text += "\n";
    }
    // Compact JSON holds no line break, so one data line carries it whole.
    text += "data: " + entry.json + "\n\n";
    return text;
}

EventFeed::EventFeed(std::size_t capacity) : capacity_(capacity == 0 ? 1 : capacity) {}

void EventFeed::Take(const RecordedCall& call) {
    if (const auto* event = std::get_if<RecordedEvent>(&call)) {
        if (event->name != kGeneralChannel) {
            return;
        }
        const Value* uri = event->payload.Find("uri");
        Append(FeedKind::Resource, uri != nullptr ? uri->bytes : std::string(),
               event->payload.ToJson());
    } else if (const auto* request = std::get_if<RecordedRequest>(&call)) {
        const char* method = Client::HostMethodText(request->method);
        Append(FeedKind::Request, {},
               Value::Map({{"method", Value::Text(request->method == Client::kMethodNamed
                                                      ? request->methodName
                                                      : std::string(method))},
                           {"url", Value::Text(request->url)}})
                   .ToJson());
    } else if (const auto* line = std::get_if<RecordedLogLine>(&call)) {
        UpdateState(line->text);
        Append(
            FeedKind::Log, {},
            Value::Map({{"level", Value::Signed(line->level)}, {"text", Value::Text(line->text)}})
                .ToJson());
    }
}

// The machine enters states from the root down and leaves them from the innermost out, so the
// active states are a stack; leaving a state also leaves whatever was still above it.
void EventFeed::UpdateState(const std::string& text) {
    if (std::optional<std::string> entered = QuotedAfter(text, kEnteringState)) {
        activeStates_.push_back(std::move(*entered));
    } else if (std::optional<std::string> left = QuotedAfter(text, kExitingState)) {
        for (std::size_t i = activeStates_.size(); i > 0; --i) {
            if (activeStates_[i - 1] == *left) {
                activeStates_.resize(i - 1);
                break;
            }
        }
    } else {
        return;
    }
    std::vector<Value> active;
    for (const std::string& state : activeStates_) {
        active.push_back(Value::Text(state));
    }
    std::string json =
        Value::Map({{"state", Value::Text(activeStates_.empty() ? "" : activeStates_.back())},
                    {"active", Value::List(std::move(active))}})
            .ToJson();
    std::lock_guard<std::mutex> guard(lock_);
    latestState_ = std::move(json);
}

// A transition leaves and enters several states in a row, and its actions run (and may publish)
// in between: only where the turn leaves the machine is news, and only when it differs from the
// last state sent.
void EventFeed::Settle() {
    std::string json;
    {
        std::lock_guard<std::mutex> guard(lock_);
        if (latestState_ == sentState_) {
            return;
        }
        sentState_ = latestState_;
        json = latestState_;
    }
    Append(FeedKind::State, {}, std::move(json));
}

std::uint64_t EventFeed::Append(FeedKind kind, std::string uri, std::string json) {
    auto entry = std::make_shared<FeedEntry>();
    entry->kind = kind;
    entry->uri = std::move(uri);
    entry->json = std::move(json);
    std::lock_guard<std::mutex> guard(lock_);
    entry->id = ++lastId_;
    window_.push_back(std::move(entry));
    if (window_.size() > capacity_) {
        window_.pop_front();
    }
    appended_.notify_all();
    return lastId_;
}

EventFeed::Batch EventFeed::After(std::uint64_t cursor, std::chrono::milliseconds wait) const {
    Batch batch;
    std::unique_lock<std::mutex> lock(lock_);
    appended_.wait_for(lock, wait, [&] { return closed_ || lastId_ > cursor; });
    batch.closed = closed_;
    if (lastId_ <= cursor || window_.empty()) {
        return batch;
    }
    const std::uint64_t first = window_.front()->id;
    if (cursor + 1 < first) {
        batch.missed = first - cursor - 1;
        cursor = first - 1;
    }
    for (std::size_t i = static_cast<std::size_t>(cursor + 1 - first); i < window_.size(); ++i) {
        batch.entries.push_back(window_[i]);
    }
    return batch;
}

std::uint64_t EventFeed::LastId() const {
    std::lock_guard<std::mutex> guard(lock_);
    return lastId_;
}

std::string EventFeed::LatestState() const {
    std::lock_guard<std::mutex> guard(lock_);
    return latestState_;
}

void EventFeed::Close() {
    std::lock_guard<std::mutex> guard(lock_);
    closed_ = true;
    appended_.notify_all();
}

bool EventFeed::Closed() const {
    std::lock_guard<std::mutex> guard(lock_);
    return closed_;
}

}  // namespace Tavix::TestHost
