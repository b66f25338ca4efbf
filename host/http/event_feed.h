#pragma once
// What a module does, kept for the readers of the HTTP event stream: every resource event it
// publishes, and for the host's own view the state of its machine as it logs it, its requests to
// neighbours and its log lines. The feed is a window of the latest entries, numbered from 1;
// readers hold a cursor into it and wait for what comes after, so a slow reader delays no one
// and a reader that falls out of the window learns how much it missed.

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/recording.h"

namespace Tavix::TestHost {

enum class FeedKind {
    // A resource event as published on the general channel: {uri, eventType, data}.
    Resource,
    // {"state": the innermost active state, "active": the active states from the root}, where a
    // turn of the host left the machine.
    State,
    // {"method", "url"} of a request the module sent to a neighbour.
    Request,
    // {"level", "text"} of a log line.
    Log,
};

// The event name of a kind on the stream; resource events go without one, as plain messages.
const char* FeedKindName(FeedKind kind);

struct FeedEntry {
    std::uint64_t id = 0;
    FeedKind kind = FeedKind::Resource;
    // The resource's URI; empty for the other kinds.
    std::string uri;
    // One line of JSON.
    std::string json;
};

// `*` stands for a run of characters that holds no "/", and may be empty only inside the URI:
// "/a/*" fits "/a/b" but neither "/a/" nor "/a/b/c". The module reads its observers' patterns the
// same way, so a client can filter the stream with the patterns it knows.
bool UriMatches(std::string_view pattern, std::string_view uri);

// What one reader of the stream wants.
struct FeedFilter {
    // Resource events whose URI fits the pattern; all of them when unset.
    std::optional<std::string> uriPattern;
    // The host's view too: state, requests and log lines.
    bool hostView = false;

    bool Wants(const FeedEntry& entry) const;
};

// One entry as a Server-Sent Event: its id, its event name unless it is a resource event, and
// its JSON as the data line.
std::string ServerSentEvent(const FeedEntry& entry);

class EventFeed {
public:
    explicit EventFeed(std::size_t capacity = 8192);
    EventFeed(const EventFeed&) = delete;
    EventFeed& operator=(const EventFeed&) = delete;

    // The host's thread: one call of a module as the host recorded it. Resource events on the
    // general channel, requests and log lines become entries, and the machine's state lines also
    // move the state that Settle sends; everything else is not for the stream.
    void Take(const RecordedCall& call);

    // Any thread. Returns the entry's id.
    std::uint64_t Append(FeedKind kind, std::string uri, std::string json);

    struct Batch {
        std::vector<std::shared_ptr<const FeedEntry>> entries;
        // Entries after the cursor that left the window before this read: the reader fell behind.
        std::uint64_t missed = 0;
        bool closed = false;
    };
    // The entries after `cursor`, waiting up to `wait` for the first one. Empty when the wait
    // ran out or the feed closed.
    Batch After(std::uint64_t cursor, std::chrono::milliseconds wait) const;

    // The id of the newest entry, 0 before the first.
    std::uint64_t LastId() const;
    // The machine as its last state line left it (also in the middle of a transition), as a
    // state entry's JSON; empty before the module logged a state.
    std::string LatestState() const;

    // The host's thread, once a turn is over: the machine's state goes out if it changed since
    // the last one sent.
    void Settle();

    // Wakes every waiting reader for good; appends after it are kept but wake no one.
    void Close();
    bool Closed() const;

private:
    void UpdateState(const std::string& text);

    const std::size_t capacity_;
    mutable std::mutex lock_;
    mutable std::condition_variable appended_;
    std::deque<std::shared_ptr<const FeedEntry>> window_;
    std::uint64_t lastId_ = 0;
    bool closed_ = false;
    std::vector<std::string> activeStates_;
    std::string latestState_;
    std::string sentState_;
};

}  // namespace Tavix::TestHost
