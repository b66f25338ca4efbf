#pragma once
// AppClient: the frame's facilities built on the host's flat tables, written against the abstract
// host operations that AppModule forwards to the host. This header holds the class tree's two
// lower levels, ResourceObserverTable and AppClient, with their fifteen virtual operations in the
// order of the module's table.

#include <cstdint>
#include <functional>
#include <future>
#include <mutex>
#include <string>
#include <unordered_map>

#include "frame/host_boundary.h"
#include "support/fnv1a.h"

namespace Tavix::Client {

class AppClient;

// Keeps the resource observers apart from anything that knows the host.
class ResourceObserverTable {
public:
    ResourceObserverTable() = default;
    ResourceObserverTable(const ResourceObserverTable&) = delete;
    ResourceObserverTable& operator=(const ResourceObserverTable&) = delete;

    virtual void SubscribeToResource(const std::string& uri);
    virtual void UnsubscribeFromResource(const std::string& uri);
    virtual ~ResourceObserverTable() = default;

protected:
    AppClient* owner = nullptr;
};

// A function that runs once at a deadline. The entry's address is the context the host holds, so
// entries live in node-based storage and never move.
struct ScheduledJob {
    AppClient* owner = nullptr;
    std::uint64_t id = 0;
    std::function<void()> function;
};

// A function that runs again and again at a period, until cancelled or set anew.
struct NamedTimer {
    std::string name;
    std::string description;         // "Timer: " and the name, the label of each posted job
    std::function<void()> callback;  // the closure that runs the timer's function, see SetTimer
    std::int64_t nextDue = 0;        // monotonic nanoseconds
    double period = 0.0;             // seconds
    std::uint64_t generation = 0;
};

class AppClient : public ResourceObserverTable {
public:
    AppClient();

    void SubscribeToResource(const std::string& uri) override;
    void UnsubscribeFromResource(const std::string& uri) override;
    ~AppClient() override;

    // Ends the module's subscriptions and clears its tables; an override must end by calling it.
    virtual void OnStop();

    virtual void SendRequest(HostResponse& response, const HostRequest& request) = 0;
    virtual void ReservedHostCall(std::uintptr_t first, std::uintptr_t second) = 0;
    virtual void SendEvent(const HostEvent& event) = 0;
    virtual void SubscribeToEvent(const char* name, std::uint32_t subscriberId,
                                  HostEventCallback callback, void* context,
                                  std::uint32_t flags) = 0;
    virtual void UnsubscribeFromEvent(const char* name, std::uint32_t subscriberId) = 0;
    virtual void ScheduleCallback(const char* description, HostScheduledCallback callback,
                                  void* context, double delaySeconds, std::uint32_t reserved) = 0;
    virtual void YieldToHost() = 0;
    virtual void BeginWait(const std::string& label, std::uint32_t reserved) = 0;
    virtual void EndWait() = 0;

    // Waits on `future` while handing turns to the host, and returns its value. A future that is
    // ready at once costs no host call; one that is not gets one BeginWait, a YieldToHost per
    // turn, and one EndWait. Any state of the plug-in may have changed when it returns.
    // Defined in frame/await.h.
    template <typename T>
    T Await(std::future<T> future);
    // One turn for the host, for loops that wait on data arriving in pieces.
    void Yield();

    // Jobs and named timers. Deadlines are monotonic nanoseconds, periods seconds.
    void PostJob(const std::string& description, std::function<void()> function,
                 std::int64_t deadline);
    void SetTimer(const std::string& name, double periodSeconds, std::function<void()> function);
    void CancelTimer(const std::string& name);

    std::uint32_t GetClientId() const { return clientId; }
    const std::string& GetShortName() const { return shortName; }
    const std::string& GetUserAgent() const { return userAgent; }

protected:
    // Stores the host's identity for the module; the first thing the module does when attached.
    void BindHost(std::uint32_t hostClientId, const std::string& name, const std::string& agent);

    std::uint32_t clientId = 0;
    std::string shortName;
    std::string userAgent;

    FrameHashMap<std::string, std::uint64_t> resourceSubscriptions;
    FrameHashMap<std::string, NamedTimer> timers;
    FrameHashMap<std::uint64_t, ScheduledJob> jobs;
    std::uint64_t nextJobId = 1;
    std::mutex jobLock;

private:
    static void RunJob(void* context);
    void RunTimer(const std::string& name, std::uint64_t generation,
                  const std::function<void()>& function);

    // Generations are drawn from one counter for all timers of the module, so that a job posted
    // before a CancelTimer can never pass for the timer set after it under the same name.
    std::uint64_t lastTimerGeneration = 0;
};

}  // namespace Tavix::Client
