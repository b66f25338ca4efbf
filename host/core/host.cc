#include "core/host.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <mutex>
#include <unordered_map>

namespace Tavix::TestHost {

using Client::HostEvent;
using Client::HostOperations;
using Client::HostRequest;
using Client::HostResponse;

namespace {

constexpr std::int64_t kNanosecondsPerSecond = 1'000'000'000;
// A callback that keeps posting work due at once would hold the clock still forever.
constexpr std::size_t kMaxRunsAtOneInstant = 1'000'000;
// Real mode: the longest nap between looks at the stop flag.
constexpr std::int64_t kRealTimeSliceNanoseconds = 10'000'000;

std::int64_t SystemNow() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<std::int64_t>(now.tv_sec) * kNanosecondsPerSecond + now.tv_nsec;
}

void Nap(std::int64_t nanoseconds) {
    if (nanoseconds <= 0) {
        return;
    }
    timespec pause{};
    pause.tv_sec = static_cast<time_t>(nanoseconds / kNanosecondsPerSecond);
    pause.tv_nsec = static_cast<long>(nanoseconds % kNanosecondsPerSecond);
    // A signal cuts the nap short, which is what the stop flag needs.
    nanosleep(&pause, nullptr);
}

// Negative, NaN and absurd delays all come due; the module promises nothing about them.
std::int64_t DelayToNanoseconds(double seconds) {
    if (!(seconds > 0.0)) {
        return 0;
    }
    const double nanoseconds = seconds * 1e9;
    if (nanoseconds >= 9.0e18) {
        return static_cast<std::int64_t>(9.0e18);
    }
    return static_cast<std::int64_t>(std::llround(nanoseconds));
}

std::string Text(const char* text) {
    return text == nullptr ? std::string() : std::string(text);
}

std::string MethodLabel(const RecordedRequest& request) {
    if (request.method == Client::kMethodNamed) {
        return request.methodName;
    }
    const char* text = Client::HostMethodText(request.method);
    return *text != '\0' ? text : "method " + std::to_string(request.method);
}

RecordedRequest CopyRequest(const HostRequest& request) {
    RecordedRequest copy;
    copy.clientId = request.clientId;
    copy.method = request.method;
    copy.methodName = Text(request.methodName);
    copy.url = Text(request.url);
    if (request.parameters != nullptr) {
        for (std::uint32_t i = 0; i < request.parameterCount; ++i) {
            const Client::HostParameter& parameter = request.parameters[i];
            RecordedParameter recorded;
            if (parameter.name != nullptr) {
                recorded.name = parameter.name;
            }
            recorded.value = CopyHostValue(parameter.value);
            copy.parameters.push_back(std::move(recorded));
        }
    }
    if (request.headers != nullptr) {
        for (std::uint32_t i = 0; i < request.headerCount; ++i) {
            copy.headers.emplace_back(Text(request.headers[i].name),
                                      Text(request.headers[i].value));
        }
    }
    copy.contentType = Text(request.contentType);
    if (request.body != nullptr) {
        copy.body.assign(request.body, request.bodySize);
    }
    return copy;
}

}  // namespace

// ---- Responses ----------------------------------------------------------------------------------

struct Host::ResponseStorage {
    Host* host = nullptr;
    ValueArena arena;
    std::vector<Client::HostHeader> headers;
    std::vector<std::string> chunks;
    std::size_t chunk = 0;
    std::size_t offset = 0;
    std::size_t reads = 0;
    std::optional<std::size_t> failAtRead;
    // Chunks [0, arrived) are readable. Shared with the host task that brings the next one, which
    // may outlive the response when the module releases it early.
    std::shared_ptr<std::size_t> arrived;
};

namespace {

// Responses still to be released, by the address of the record the module passed in. The release
// function gets nothing but that address, so the table is process-wide.
struct ReleaseTable {
    std::mutex lock;
    std::unordered_map<const HostResponse*, std::pair<const Host*, void*>> entries;
};

ReleaseTable& Releases() {
    static ReleaseTable* table = new ReleaseTable;
    return *table;
}

}  // namespace

std::size_t Host::OutstandingResponses() const {
    ReleaseTable& table = Releases();
    std::lock_guard<std::mutex> guard(table.lock);
    return static_cast<std::size_t>(
        std::count_if(table.entries.begin(), table.entries.end(),
                      [this](const auto& entry) { return entry.second.first == this; }));
}

void Host::ReleaseResponse(HostResponse* response) {
    ResponseStorage* storage = nullptr;
    {
        ReleaseTable& table = Releases();
        std::lock_guard<std::mutex> guard(table.lock);
        auto found = table.entries.find(response);
        if (found == table.entries.end()) {
            Fail("release of a response the host did not hand out, or released twice");
        }
        storage = static_cast<ResponseStorage*>(found->second.second);
        table.entries.erase(found);
    }
    ++storage->host->releaseCalls_;
    delete storage;
    std::memset(static_cast<void*>(response), 0, sizeof *response);
}

bool Host::ReadStream(void* context, char* buffer, std::uint32_t* size, bool* more) {
    ResponseStorage& stream = *static_cast<ResponseStorage*>(context);
    ++stream.host->streamReads_;
    const std::size_t read = stream.reads++;
    if (stream.failAtRead && *stream.failAtRead == read) {
        *size = 0;
        return false;
    }
    if (stream.chunk >= stream.chunks.size()) {
        *size = 0;
        *more = false;
        return true;
    }
    if (stream.arrived && stream.chunk >= *stream.arrived) {
        *size = 0;
        *more = true;
        return true;
    }
    const std::string& chunk = stream.chunks[stream.chunk];
    const std::size_t count = std::min<std::size_t>(*size, chunk.size() - stream.offset);
    std::memcpy(buffer, chunk.data() + stream.offset, count);
    stream.offset += count;
    if (stream.offset == chunk.size()) {
        ++stream.chunk;
        stream.offset = 0;
    }
    *size = static_cast<std::uint32_t>(count);
    *more = stream.chunk < stream.chunks.size();
    if (stream.arrived && *more && stream.chunk == *stream.arrived) {
        // The reader has all that arrived: the next chunk comes with the host's next turn.
        stream.host->Enqueue(stream.host->Now(), {0, "Stream: next piece arrives",
                                                  [arrived = stream.arrived] { ++*arrived; }});
    }
    return true;
}

void Host::CloseStream(void* context) {
    ++static_cast<ResponseStorage*>(context)->host->streamCloses_;
}

void Host::Answer(HostResponse* response, const RecordedRequest& request) {
    Response answer;
    if (const RouteEntry* route = FindRoute(request.method, request.url)) {
        route->handler(request, answer);
    } else {
        answer = Response::Error("No handler for " + MethodLabel(request) + " " + request.url, 404);
    }

    auto storage = std::make_unique<ResponseStorage>();
    storage->host = this;
    std::memset(static_cast<void*>(response), 0, sizeof *response);
    response->value = storage->arena.Build(answer.value);
    if (answer.error) {
        response->errorText = storage->arena.Keep(*answer.error);
    }
    response->status = answer.status;
    response->statusText = storage->arena.Keep(answer.statusText);
    for (const auto& [name, value] : answer.headers) {
        storage->headers.push_back({storage->arena.Keep(name), storage->arena.Keep(value)});
    }
    response->headers = storage->headers.empty() ? nullptr : storage->headers.data();
    response->headerCount = static_cast<std::uint32_t>(storage->headers.size());
    if (answer.stream) {
        std::size_t total = 0;
        for (const std::string& chunk : *answer.stream) {
            total += chunk.size();
        }
        storage->chunks = std::move(*answer.stream);
        storage->failAtRead = answer.failStreamAtRead;
        if (answer.streamArrivesOnTurns) {
            storage->arrived = std::make_shared<std::size_t>(1);
        }
        response->streamRead = &Host::ReadStream;
        response->streamClose = &Host::CloseStream;
        response->streamSize = static_cast<std::uint32_t>(total);
        response->streamContext = storage.get();
    }

    if (!answer.withRelease) {
        unreleasable_.push_back(std::move(storage));
        return;
    }
    response->release = &Host::ReleaseResponse;
    ReleaseTable& table = Releases();
    std::lock_guard<std::mutex> guard(table.lock);
    auto [slot, inserted] = table.entries.try_emplace(response, this, storage.get());
    if (!inserted) {
        Fail("a response record was filled again before its release function was called (" +
             MethodLabel(request) + " " + request.url + ")");
    }
    storage.release();
}

const Host::RouteEntry* Host::FindRoute(std::uint32_t method, const std::string& url) const {
    const RouteEntry* best = nullptr;
    for (const RouteEntry& route : routes_) {
        if (route.method != Client::kMethodAny && route.method != method) {
            continue;
        }
        if (!route.prefix) {
            if (route.url == url) {
                return &route;
            }
            continue;
        }
        if (url.compare(0, route.url.size(), route.url) == 0 &&
            (best == nullptr || route.url.size() > best->url.size())) {
            best = &route;
        }
    }
    return best;
}

void Host::Route(std::uint32_t method, std::string url, RequestHandler handler) {
    for (RouteEntry& route : routes_) {
        if (!route.prefix && route.method == method && route.url == url) {
            route.handler = std::move(handler);
            return;
        }
    }
    routes_.push_back({method, std::move(url), false, std::move(handler)});
}

void Host::RoutePrefix(std::uint32_t method, std::string prefix, RequestHandler handler) {
    for (RouteEntry& route : routes_) {
        if (route.prefix && route.method == method && route.url == prefix) {
            route.handler = std::move(handler);
            return;
        }
    }
    routes_.push_back({method, std::move(prefix), true, std::move(handler)});
}

void Host::ClearRoutes() {
    routes_.clear();
}

// ---- Construction -------------------------------------------------------------------------------

Host::Host(ClockMode mode) : mode_(mode) {
    table_.host = this;
    table_.operations.SendRequest = &Host::OpSendRequest;
    table_.operations.ReservedHostCall = &Host::OpReservedHostCall;
    table_.operations.SendEvent = &Host::OpSendEvent;
    table_.operations.SubscribeToEvent = &Host::OpSubscribeToEvent;
    table_.operations.UnsubscribeFromEvent = &Host::OpUnsubscribeFromEvent;
    table_.operations.ScheduleCallback = &Host::OpScheduleCallback;
    table_.operations.YieldToHost = &Host::OpYieldToHost;
    table_.operations.BeginWait = &Host::OpBeginWait;
    table_.operations.EndWait = &Host::OpEndWait;
    table_.operations.WriteLog = &Host::OpWriteLog;
}

Host::~Host() {
    ReleaseTable& table = Releases();
    std::lock_guard<std::mutex> guard(table.lock);
    for (auto entry = table.entries.begin(); entry != table.entries.end();) {
        if (entry->second.first == this) {
            delete static_cast<ResponseStorage*>(entry->second.second);
            entry = table.entries.erase(entry);
        } else {
            ++entry;
        }
    }
}

HostOperations* Host::Operations() {
    return &table_.operations;
}

Host& Host::FromOperations(HostOperations* operations) {
    // `operations` is the first member of a standard-layout Table.
    return *reinterpret_cast<Table*>(operations)->host;
}

void Host::Fail(const std::string& message) {
    std::fprintf(stderr, "arx test host: %s\n", message.c_str());
    std::fflush(stderr);
    std::abort();
}

// ---- Clock and scheduler ------------------------------------------------------------------------

std::int64_t Host::Now() const {
    return mode_ == ClockMode::Virtual ? virtualNow_ : SystemNow();
}

std::int64_t Host::ReadClock(void* host) {
    return static_cast<const Host*>(host)->Now();
}

void Host::SetTime(std::int64_t nanoseconds) {
    if (mode_ != ClockMode::Virtual) {
        Fail("SetTime needs the virtual clock");
    }
    virtualNow_ = std::max(virtualNow_, nanoseconds);
}

void Host::Enqueue(std::int64_t due, Task task) {
    tasks_.emplace(std::make_pair(due, nextSequence_++), std::move(task));
}

void Host::Post(std::string description, std::function<void()> work, double delaySeconds) {
    Enqueue(Now() + DelayToNanoseconds(delaySeconds), {0, std::move(description), std::move(work)});
}

std::optional<std::int64_t> Host::NextDueTime() const {
    if (tasks_.empty()) {
        return std::nullopt;
    }
    return tasks_.begin()->first.first;
}

std::vector<std::string> Host::PendingDescriptions() const {
    std::vector<std::string> result;
    for (const auto& [key, task] : tasks_) {
        result.push_back(task.description);
    }
    return result;
}

std::size_t Host::RunDue() {
    std::size_t ran = 0;
    while (!tasks_.empty() && tasks_.begin()->first.first <= Now()) {
        if (ran == kMaxRunsAtOneInstant) {
            Fail("callbacks keep coming due without end; the last one was \"" +
                 tasks_.begin()->second.description + "\"");
        }
        Task task = std::move(tasks_.begin()->second);
        tasks_.erase(tasks_.begin());
        task.run();
        ++ran;
    }
    return ran;
}

std::size_t Host::RunUntilIdle() {
    return RunDue();
}

std::size_t Host::AdvanceBy(double seconds) {
    if (mode_ != ClockMode::Virtual) {
        Fail("AdvanceBy needs the virtual clock");
    }
    const std::int64_t target = virtualNow_ + DelayToNanoseconds(seconds);
    std::size_t ran = RunDue();
    while (!tasks_.empty() && tasks_.begin()->first.first <= target) {
        virtualNow_ = std::max(virtualNow_, tasks_.begin()->first.first);
        ran += RunDue();
    }
    virtualNow_ = std::max(virtualNow_, target);
    return ran + RunDue();
}

void Host::RunRealTime(double seconds, const volatile std::sig_atomic_t* stop) {
    if (mode_ != ClockMode::Real) {
        Fail("RunRealTime needs the real clock");
    }
    const bool forever = seconds < 0.0;
    const std::int64_t end = Now() + DelayToNanoseconds(seconds);
    while (stop == nullptr || *stop == 0) {
        RunDue();
        const std::int64_t now = Now();
        if (!forever && now >= end) {
            return;
        }
        std::int64_t nap = kRealTimeSliceNanoseconds;
        if (!tasks_.empty()) {
            nap = std::min(nap, tasks_.begin()->first.first - now);
        }
        if (!forever) {
            nap = std::min(nap, end - now);
        }
        Nap(nap);
    }
}

// ---- Turns --------------------------------------------------------------------------------------

std::uint32_t Host::CurrentClient() const {
    return activeCalls_.empty() ? 0 : activeCalls_.back();
}

bool Host::MayEnterModule() const {
    return activeCalls_.size() <= static_cast<std::size_t>(yieldDepth_);
}

Host::ModuleCall::ModuleCall(Host& host, std::uint32_t clientId) : host_(host) {
    if (!host.MayEnterModule()) {
        Fail("a call into module " + std::to_string(clientId) + " was made while module " +
             std::to_string(host.CurrentClient()) + " is running and not in YieldToHost");
    }
    if (host.activeCalls_.empty()) {
        host.outerCallStart_ = host.Now();
    }
    host.activeCalls_.push_back(clientId);
}

Host::ModuleCall::~ModuleCall() {
    host_.activeCalls_.pop_back();
}

void Host::Yield() {
    if (yieldDepth_ >= maxYieldDepth_) {
        Fail("YieldToHost nested deeper than " + std::to_string(maxYieldDepth_) + " levels");
    }
    ++yieldDepth_;
    recording_.Add(RecordedYield{CurrentClient(), yieldDepth_});
    std::size_t ran = RunDue();
    if (ran == 0) {
        if (tasks_.empty()) {
            if (mode_ == ClockMode::Virtual) {
                std::string labels;
                for (const std::string& label : openWaits_) {
                    labels += labels.empty() ? "\"" : ", \"";
                    labels += label + "\"";
                }
                Fail("module " + std::to_string(CurrentClient()) +
                     " waits in YieldToHost, but nothing is due and nothing is scheduled; open "
                     "waits: " +
                     (labels.empty() ? std::string("none") : labels));
            }
            Nap(kRealTimeSliceNanoseconds);
        } else if (mode_ == ClockMode::Virtual) {
            // The module can only be waiting for something later: let time pass up to it.
            virtualNow_ = std::max(virtualNow_, tasks_.begin()->first.first);
            RunDue();
        } else {
            Nap(std::min(kRealTimeSliceNanoseconds, tasks_.begin()->first.first - Now()));
        }
    }
    if (mode_ == ClockMode::Virtual && !activeCalls_.empty() &&
        static_cast<double>(virtualNow_ - outerCallStart_) > waitLimitSeconds_ * 1e9) {
        Fail("module " + std::to_string(CurrentClient()) + " still waits after " +
             std::to_string(waitLimitSeconds_) + " seconds of virtual time");
    }
    --yieldDepth_;
}

std::vector<std::string> Host::ForgetClient(std::uint32_t clientId) {
    for (auto task = tasks_.begin(); task != tasks_.end();) {
        task = task->second.owner == clientId ? tasks_.erase(task) : std::next(task);
    }
    std::vector<std::string> left;
    std::erase_if(subscriptions_, [&](const Subscription& subscription) {
        if (subscription.clientId != clientId) {
            return false;
        }
        left.push_back(subscription.name);
        return true;
    });
    return left;
}

// ---- Events -------------------------------------------------------------------------------------

void Host::Publish(const std::string& name, const Value& payload) {
    Distribute(name, payload, false);
}

void Host::Publish(const std::string& name, const Client::HostValue& payload) {
    Distribute(name, CopyHostValue(payload), false);
}

void Host::Distribute(const std::string& name, const Value& payload, bool fromModule) {
    std::vector<std::pair<std::uint64_t, bool>> targets;
    for (const Subscription& subscription : subscriptions_) {
        if (subscription.name == name) {
            targets.emplace_back(subscription.id, subscription.flags == 0);
        }
    }
    for (const auto& [id, immediate] : targets) {
        if (immediate && !fromModule && MayEnterModule()) {
            Deliver(id, name, payload);
            continue;
        }
        std::uint32_t owner = 0;
        for (const Subscription& subscription : subscriptions_) {
            if (subscription.id == id) {
                owner = subscription.clientId;
            }
        }
        Enqueue(Now(), {owner, "Event: " + name,
                        [this, id = id, name, payload] { Deliver(id, name, payload); }});
    }
}

void Host::Deliver(std::uint64_t subscriptionId, const std::string& name, const Value& payload) {
    auto found = std::find_if(subscriptions_.begin(), subscriptions_.end(),
                              [subscriptionId](const Subscription& subscription) {
                                  return subscription.id == subscriptionId;
                              });
    // Unsubscribed since the event was posted.
    if (found == subscriptions_.end()) {
        return;
    }
    const Subscription subscription = *found;
    ValueArena arena;
    HostEvent event{};
    event.name = arena.Keep(name);
    event.payload = arena.Build(payload);
    event.reserved = 0;
    event.context = subscription.context;
    ModuleCall call(*this, subscription.clientId);
    subscription.callback(&event);
}

std::vector<SubscriptionInfo> Host::Subscriptions() const {
    std::vector<SubscriptionInfo> result;
    for (const Subscription& subscription : subscriptions_) {
        result.push_back({subscription.name, subscription.clientId, subscription.flags});
    }
    return result;
}

bool Host::IsSubscribed(const std::string& name, std::uint32_t clientId) const {
    return std::any_of(subscriptions_.begin(), subscriptions_.end(),
                       [&](const Subscription& subscription) {
                           return subscription.name == name && subscription.clientId == clientId;
                       });
}

// ---- The host operations ------------------------------------------------------------------------

void Host::OpSendRequest(HostOperations* self, HostResponse* response, const HostRequest* request) {
    Host& host = FromOperations(self);
    if (response == nullptr || request == nullptr) {
        Fail("SendRequest without a response or a request record");
    }
    RecordedRequest copy = CopyRequest(*request);
    host.recording_.Add(copy);
    host.Answer(response, copy);
}

void Host::OpReservedHostCall(HostOperations* self, std::uintptr_t first, std::uintptr_t second) {
    FromOperations(self).recording_.Add(RecordedReservedCall{first, second});
}

void Host::OpSendEvent(HostOperations* self, const HostEvent* event) {
    Host& host = FromOperations(self);
    if (event == nullptr) {
        Fail("SendEvent without an event record");
    }
    RecordedEvent copy{host.CurrentClient(), Text(event->name), CopyHostValue(event->payload),
                       event->reserved};
    host.recording_.Add(copy);
    host.Distribute(copy.name, copy.payload, true);
}

void Host::OpSubscribeToEvent(HostOperations* self, const char* name, std::uint32_t clientId,
                              Client::HostEventCallback callback, void* context,
                              std::uint32_t flags) {
    Host& host = FromOperations(self);
    if (callback == nullptr) {
        Fail("SubscribeToEvent without a callback for \"" + Text(name) + "\"");
    }
    host.recording_.Add(RecordedSubscription{true, Text(name), clientId, flags});
    for (Subscription& subscription : host.subscriptions_) {
        if (subscription.name == Text(name) && subscription.clientId == clientId) {
            subscription.callback = callback;
            subscription.context = context;
            subscription.flags = flags;
            return;
        }
    }
    host.subscriptions_.push_back(
        {host.nextSubscriptionId_++, Text(name), clientId, callback, context, flags});
}

void Host::OpUnsubscribeFromEvent(HostOperations* self, const char* name, std::uint32_t clientId) {
    Host& host = FromOperations(self);
    host.recording_.Add(RecordedSubscription{false, Text(name), clientId, 0});
    std::erase_if(host.subscriptions_, [&](const Subscription& subscription) {
        return subscription.name == Text(name) && subscription.clientId == clientId;
    });
}

void Host::OpScheduleCallback(HostOperations* self, const char* description,
                              Client::HostScheduledCallback callback, void* context,
                              double delaySeconds, std::uint32_t reserved) {
    Host& host = FromOperations(self);
    if (callback == nullptr) {
        Fail("ScheduleCallback without a callback for \"" + Text(description) + "\"");
    }
    const std::uint32_t owner = host.CurrentClient();
    host.recording_.Add(RecordedSchedule{owner, Text(description), delaySeconds, reserved});
    host.Enqueue(host.Now() + DelayToNanoseconds(delaySeconds),
                 {owner, Text(description), [&host, owner, callback, context] {
                      ModuleCall call(host, owner);
                      callback(context);
                  }});
}

void Host::OpYieldToHost(HostOperations* self) {
    FromOperations(self).Yield();
}

void Host::OpBeginWait(HostOperations* self, const char* label, std::uint32_t reserved) {
    Host& host = FromOperations(self);
    host.recording_.Add(RecordedWait{host.CurrentClient(), true, Text(label), reserved});
    host.openWaits_.push_back(Text(label));
}

void Host::OpEndWait(HostOperations* self) {
    Host& host = FromOperations(self);
    if (host.openWaits_.empty()) {
        Fail("EndWait without a BeginWait");
    }
    host.recording_.Add(RecordedWait{host.CurrentClient(), false, {}, 0});
    host.openWaits_.pop_back();
}

void Host::OpWriteLog(HostOperations* self, std::int32_t level, const char* message) {
    Host& host = FromOperations(self);
    std::string text = Text(message);
    if (host.logEcho_ != nullptr) {
        std::fputs(text.c_str(), host.logEcho_);
        if (text.empty() || text.back() != '\n') {
            std::fputc('\n', host.logEcho_);
        }
        std::fflush(host.logEcho_);
    }
    host.recording_.Add(RecordedLogLine{host.CurrentClient(), level, std::move(text)});
}

}  // namespace Tavix::TestHost
