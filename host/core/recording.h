#pragma once
// What the host remembers of each call a module makes into it, with every argument deep-copied at
// the time of the call, so that a module may free or reuse its records right after.

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "core/value.h"

namespace Tavix::TestHost {

struct RecordedParameter {
    std::optional<std::string> name;  // empty for a positional parameter
    Value value;
};

struct RecordedRequest {
    std::uint32_t clientId = 0;
    std::uint32_t method = 0;
    std::string methodName;  // for kMethodNamed
    std::string url;
    std::vector<RecordedParameter> parameters;
    std::vector<std::pair<std::string, std::string>> headers;
    std::string contentType;
    std::string body;
};

struct RecordedEvent {
    std::uint32_t clientId = 0;  // of the module that sent it
    std::string name;
    Value payload;
    std::uint32_t reserved = 0;
};

struct RecordedSubscription {
    bool subscribe = true;  // false for UnsubscribeFromEvent
    std::string name;
    std::uint32_t clientId = 0;
    std::uint32_t flags = 0;  // SubscribeToEvent only
};

struct RecordedSchedule {
    std::uint32_t clientId = 0;
    std::string description;
    double delaySeconds = 0.0;
    std::uint32_t reserved = 0;
};

struct RecordedWait {
    std::uint32_t clientId = 0;
    bool begin = true;  // false for EndWait
    std::string label;  // BeginWait only
    std::uint32_t reserved = 0;
};

struct RecordedYield {
    std::uint32_t clientId = 0;
    int depth = 0;  // 1 for a yield that is not nested in another
};

struct RecordedLogLine {
    std::uint32_t clientId = 0;
    std::int32_t level = 0;
    std::string text;
};

struct RecordedReservedCall {
    std::uintptr_t first = 0;
    std::uintptr_t second = 0;
};

using RecordedCall =
    std::variant<RecordedRequest, RecordedEvent, RecordedSubscription, RecordedSchedule,
                 RecordedWait, RecordedYield, RecordedLogLine, RecordedReservedCall>;

// All the calls in the order they were made.
class Recording {
public:
    // Sees each call as it is added, on the host's thread: for hosts that follow a module live
    // (the HTTP front's event stream) rather than read the calls back afterwards.
    using Observer = std::function<void(const RecordedCall& call)>;
    using Listener = std::function<void(const RecordedCall& call)>;

    void Add(RecordedCall call) {
        if (listener_) {
            listener_(call);
        }
        for (const Observer& observer : observers_) {
            observer(call);
        }
        calls_.push_back(std::move(call));
    }
    // Observers stay for the recording's life; Clear does not drop them.
    void Observe(Observer observer) { observers_.push_back(std::move(observer)); }
    void Clear() { calls_.clear(); }

    // Hears each call as it is made, before the host acts on it, so that a request is heard before
    // the neighbour's answer to it. One listener at a time; an empty one stops listening.
    void Listen(Listener listener) { listener_ = std::move(listener); }

    const std::vector<RecordedCall>& Calls() const { return calls_; }

    // The calls of one kind, in order.
    template <typename T>
    std::vector<T> Of() const {
        std::vector<T> result;
        for (const RecordedCall& call : calls_) {
            if (const T* typed = std::get_if<T>(&call)) {
                result.push_back(*typed);
            }
        }
        return result;
    }

    std::vector<RecordedRequest> Requests() const { return Of<RecordedRequest>(); }
    std::vector<RecordedEvent> Events() const { return Of<RecordedEvent>(); }
    std::vector<RecordedSubscription> Subscriptions() const { return Of<RecordedSubscription>(); }
    std::vector<RecordedSchedule> Schedules() const { return Of<RecordedSchedule>(); }
    std::vector<RecordedWait> Waits() const { return Of<RecordedWait>(); }
    std::vector<RecordedLogLine> LogLines() const { return Of<RecordedLogLine>(); }

private:
    std::vector<Observer> observers_;
    std::vector<RecordedCall> calls_;
    Listener listener_;
};

}  // namespace Tavix::TestHost
