#pragma once
// A host for plug-in modules, for tests in-process and for the arx-host program: the ten host
// operations, a clock, a scheduler of callbacks, an event bus, fake request handlers, a recording
// of every call a module makes, and the rule that only one call runs in a module at a time.
//
// Single-threaded: every member is called on the thread that owns the host.

#include <csignal>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "arx/host_boundary.h"
#include "core/recording.h"
#include "core/routing.h"
#include "core/value.h"

namespace Tavix::TestHost {

enum class ClockMode {
    // Time moves only through AdvanceBy, SetTime and waits that have nothing else to do.
    Virtual,
    // CLOCK_MONOTONIC; waits sleep until the next callback is due.
    Real,
};

struct SubscriptionInfo {
    std::string name;
    std::uint32_t clientId = 0;
    std::uint32_t flags = 0;
};

class Host {
public:
    explicit Host(ClockMode mode = ClockMode::Virtual);
    ~Host();
    Host(const Host&) = delete;
    Host& operator=(const Host&) = delete;

    // The table handed to modules; its address leads back to this host.
    Client::HostOperations* Operations();
    static Host& FromOperations(Client::HostOperations* operations);

    // A fresh client id, 1 for the first module.
    std::uint32_t NextClientId() { return nextClientId_++; }

    // ---- Clock -------------------------------------------------------------------------------
    ClockMode Mode() const { return mode_; }
    // Monotonic nanoseconds.
    std::int64_t Now() const;
    // A clock source for code that reads time through a function pointer and a context.
    static std::int64_t ReadClock(void* host);
    // Virtual mode only; time never goes back.
    void SetTime(std::int64_t nanoseconds);

    // ---- Scheduler ---------------------------------------------------------------------------
    // Runs every callback that is due, without moving the clock, until none is. Returns how many
    // ran.
    std::size_t RunUntilIdle();
    // Moves the virtual clock to each due time up to now + seconds in turn, running what is due
    // there in order, and ends at exactly now + seconds with nothing due.
    std::size_t AdvanceBy(double seconds);
    // Host-side work (not a call into a module) run like a scheduled callback.
    void Post(std::string description, std::function<void()> work, double delaySeconds = 0.0);
    std::size_t PendingCount() const { return tasks_.size(); }
    std::optional<std::int64_t> NextDueTime() const;
    // Descriptions of the pending callbacks, in the order they will run.
    std::vector<std::string> PendingDescriptions() const;

    // Real mode: runs callbacks as they come due until `seconds` have passed (forever when
    // negative) or `*stop` becomes non-zero.
    void RunRealTime(double seconds, const volatile std::sig_atomic_t* stop);

    // ---- Events ------------------------------------------------------------------------------
    // Delivers to every subscription of `name`: at once to flag-0 subscriptions when no call into
    // a module is running, on a later turn otherwise and always for flag-1 subscriptions.
    void Publish(const std::string& name, const Value& payload);
    void Publish(const std::string& name, const Client::HostValue& payload);
    std::vector<SubscriptionInfo> Subscriptions() const;
    bool IsSubscribed(const std::string& name, std::uint32_t clientId) const;

    // ---- Requests ----------------------------------------------------------------------------
    // `method` kMethodAny matches every method. A later route for the same method and URL
    // replaces an earlier one. Exact routes win over prefix routes, longer prefixes over shorter.
    void Route(std::uint32_t method, std::string url, RequestHandler handler);
    void RoutePrefix(std::uint32_t method, std::string prefix, RequestHandler handler);
    void ClearRoutes();
    // Responses handed out with a release function that has not been called yet.
    std::size_t OutstandingResponses() const;
    // Calls of the stream close function of streamed responses.
    std::size_t StreamCloses() const { return streamCloses_; }
    // Calls of the release function of this host's responses. A second call for one response
    // never counts: it aborts the process.
    std::size_t ReleaseCalls() const { return releaseCalls_; }
    // Reads of streamed responses, failed ones included.
    std::size_t StreamReads() const { return streamReads_; }

    // ---- Log ---------------------------------------------------------------------------------
    // Each log line of a module is also written there, with a line feed when it lacks one.
    void EchoLogTo(std::FILE* stream) { logEcho_ = stream; }

    // ---- Recording ---------------------------------------------------------------------------
    const Recording& Calls() const { return recording_; }
    Recording& Calls() { return recording_; }

    // ---- Turns -------------------------------------------------------------------------------
    // Marks one call into a module for its whole scope. Entering is legal only while every call
    // already running is parked in YieldToHost; anything else aborts the process.
    class ModuleCall {
    public:
        ModuleCall(Host& host, std::uint32_t clientId);
        ~ModuleCall();
        ModuleCall(const ModuleCall&) = delete;
        ModuleCall& operator=(const ModuleCall&) = delete;

    private:
        Host& host_;
    };

    bool InModuleCall() const { return !activeCalls_.empty(); }
    int YieldDepth() const { return yieldDepth_; }
    // Labels of waits begun and not ended, innermost last.
    const std::vector<std::string>& OpenWaits() const { return openWaits_; }

    void SetMaxYieldDepth(int depth) { maxYieldDepth_ = depth; }
    // Virtual mode: a wait still going after this much virtual time is taken as stuck.
    void SetWaitLimit(double seconds) { waitLimitSeconds_ = seconds; }

    // Drops what a module left behind: its pending callbacks and its subscriptions. Returns the
    // names of the subscriptions it still had.
    std::vector<std::string> ForgetClient(std::uint32_t clientId);

    // Prints "arx test host: <message>" to stderr and aborts.
    [[noreturn]] static void Fail(const std::string& message);

private:
    struct Table {
        Client::HostOperations operations;
        Host* host;
    };
    struct Task {
        std::uint32_t owner = 0;
        std::string description;
        std::function<void()> run;
    };
    struct Subscription {
        std::uint64_t id = 0;
        std::string name;
        std::uint32_t clientId = 0;
        Client::HostEventCallback callback = nullptr;
        void* context = nullptr;
        std::uint32_t flags = 0;
    };
    struct RouteEntry {
        std::uint32_t method = 0;
        std::string url;
        bool prefix = false;
        RequestHandler handler;
    };
    struct ResponseStorage;

    // The host operations, reached through the table.
    static void OpSendRequest(Client::HostOperations* self, Client::HostResponse* response,
                              const Client::HostRequest* request);
    static void OpReservedHostCall(Client::HostOperations* self, std::uintptr_t first,
                                   std::uintptr_t second);
    static void OpSendEvent(Client::HostOperations* self, const Client::HostEvent* event);
    static void OpSubscribeToEvent(Client::HostOperations* self, const char* name,
                                   std::uint32_t clientId, Client::HostEventCallback callback,
                                   void* context, std::uint32_t flags);
    static void OpUnsubscribeFromEvent(Client::HostOperations* self, const char* name,
                                       std::uint32_t clientId);
    static void OpScheduleCallback(Client::HostOperations* self, const char* description,
                                   Client::HostScheduledCallback callback, void* context,
                                   double delaySeconds, std::uint32_t reserved);
    static void OpYieldToHost(Client::HostOperations* self);
    static void OpBeginWait(Client::HostOperations* self, const char* label,
                            std::uint32_t reserved);
    static void OpEndWait(Client::HostOperations* self);
    static void OpWriteLog(Client::HostOperations* self, std::int32_t level, const char* message);

    static void ReleaseResponse(Client::HostResponse* response);
    static bool ReadStream(void* context, char* buffer, std::uint32_t* size, bool* more);
    static void CloseStream(void* context);

    std::uint32_t CurrentClient() const;
    bool MayEnterModule() const;
    void Enqueue(std::int64_t due, Task task);
    std::size_t RunDue();
    void Yield();
    void Answer(Client::HostResponse* response, const RecordedRequest& request);
    const RouteEntry* FindRoute(std::uint32_t method, const std::string& url) const;
    void Distribute(const std::string& name, const Value& payload, bool fromModule);
    void Deliver(std::uint64_t subscriptionId, const std::string& name, const Value& payload);

    ClockMode mode_;
    Table table_;
    std::int64_t virtualNow_ = 0;
    std::uint32_t nextClientId_ = 1;

    std::map<std::pair<std::int64_t, std::uint64_t>, Task> tasks_;
    std::uint64_t nextSequence_ = 0;

    std::vector<Subscription> subscriptions_;
    std::uint64_t nextSubscriptionId_ = 1;

    std::vector<RouteEntry> routes_;
    std::vector<std::unique_ptr<ResponseStorage>> unreleasable_;
    std::size_t streamCloses_ = 0;
    std::size_t releaseCalls_ = 0;
    std::size_t streamReads_ = 0;

    std::FILE* logEcho_ = nullptr;
    Recording recording_;

    std::vector<std::uint32_t> activeCalls_;
    int yieldDepth_ = 0;
    int maxYieldDepth_ = 64;
    double waitLimitSeconds_ = 3600.0;
    std::int64_t outerCallStart_ = 0;
    std::vector<std::string> openWaits_;
};

}  // namespace Tavix::TestHost
