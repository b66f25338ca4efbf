#pragma once
// AppClient: the frame's facilities built on the host's flat tables, written against the abstract
// host operations that AppModule forwards to the host. This header holds the class tree's two
// lower levels, ResourceObserverTable and AppClient, with their fifteen virtual operations in the
// order of the module's table.

#include <cstdint>
#include <functional>
#include <future>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <type_traits>
#include <unordered_map>

#include "arx/host_boundary.h"
#include "frame/framework_types.h"
#include "support/failure.h"
#include "support/fnv1a.h"
#include "support/maybe_type.h"

namespace Tavix::Client {

class AppClient;
class BindingRegistry;
class TelemetryClient;
// Used by the requests, LCDS and service proxy operations.
struct BindingTypeRef;
template <typename Record>
class BindingRecordBuilder;

namespace Internal {
class FrameEventHandler;
}  // namespace Internal

// What a typed resource observer receives. For a Delete the record is default-constructed.
template <typename T>
struct ResourceEvent {
    std::string uri;
    PluginResourceEventType eventType = PluginResourceEventType::Create;
    T data{};
};

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
    using ResourceObserver = std::function<void(const PluginResourceEvent&)>;
    // Shared, so that an observer that replaces itself while it runs stays alive to its end.
    using ResourceObserverHandle = std::shared_ptr<const ResourceObserver>;

    // Gives an incoming event to the exact observer of its URI, then to every pattern observer
    // that matches the URI, in the table's order.
    void RouteResourceEvent(const PluginResourceEvent& event);

    BindingRegistry* typeRegistry = nullptr;
    FrameHashMap<std::string, ResourceObserverHandle> exactObservers;
    FrameHashMap<std::string, ResourceObserverHandle> patternObservers;
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

    // Resource observation and publication; the templates are defined in frame/resource_events.h.
    //
    // Observes a URI, or every URI a pattern with `*` matches. A URI gets its current state read
    // and delivered as a Create before this returns; a pattern gets events only. One observer per
    // URI or pattern: a later one replaces it.
    template <typename T>
    void ObserveResource(
        const std::string& uriOrPattern,
        std::type_identity_t<std::function<void(const ResourceEvent<T>&)>> function);
    // Sends `record` as an event of `type` on the URI's channel and on "OnJsonApiEvent". A record
    // that does not convert is not sent.
    template <typename T>
    void PublishResource(PluginResourceEventType type, const std::string& uri, const T& record);
    void DeleteResource(const std::string& uri);
    // Sends `event` under the host event name of its URI, and under `generalName` too when that
    // differs.
    MaybeType<Failure, void> SendResourceEvent(const std::string& generalName,
                                               const PluginResourceEvent& event,
                                               std::uint32_t reserved);

    // ---- Requests, LCDS and service proxy: operations ------------------------------------
    // Typed requests through the host; the templates are defined in frame/resource_client.h.
    //
    // Converts each argument (a registered record or enum, a container of them, a dynamic value,
    // a string, or a string-to-string map) to one positional parameter, sends the request and
    // leaves the answer in `response`; the caller calls its release function. A failed
    // conversion sends nothing and fails with code 400; an error answer fails with its status.
    template <typename... Arguments>
    MaybeType<Failure, void> MakeRequest(HostResponse& response, std::uint32_t method,
                                         const std::string& url, const Arguments&... arguments);
    // With no result type only success or failure; with one, the answer converted to it (a
    // streamed answer is read as JSON, yielding to the host while pieces are missing). The
    // response is released on every path.
    template <typename Result = void, typename... Arguments>
    MaybeType<Failure, Result> Request(std::uint32_t method, const std::string& url,
                                       const Arguments&... arguments);

    // The remote platform; the templates are defined in frame/lcds_client.h.
    //
    // Declares the record T under `nativeName` (fields follow on the returned builder) and
    // remembers `className` as its remote class. Runs in RegisterApi.
    template <typename T>
    BindingRecordBuilder<T> RegisterLcdsClass(std::string_view nativeName,
                                              std::string_view className);
    // Invokes `destination`.`method` with the arguments as one collection, marking every record
    // of a remote class with "__class". The future is complete on return. With a result type,
    // an answer of another remote class than the result's fails; an empty answer is a default
    // result.
    template <typename Result = void, typename... Arguments>
    std::future<MaybeType<Failure, Result>> LcdsInvoke(const std::string& destination,
                                                       const std::string& method,
                                                       const Arguments&... arguments);
    // Delivers each message of the remote class `subtopic`, converted to T, on a later turn; a
    // message that does not convert is dropped. A later subscription to the class replaces it.
    template <typename T>
    void SubscribeToLcds(const std::string& subtopic,
                         std::type_identity_t<std::function<void(const T&)>> function);
    // "OnLcdsEvent_" and the subtopic with every "." made "_".
    static std::string LcdsEventName(const std::string& subtopic);
    // Writes "__class" into `value` and into every structure below it reached through types of a
    // remote class; `type` describes `value`.
    void AnnotateLcdsClass(BindingValue& value, const BindingTypeRef& type) const;

    // Service proxy: a response and the request it answers meet whichever comes first. Keys are
    // the uuid, or "service.method" for method-based messages. Functions run under
    // serviceProxyLock and must not register anything themselves.
    using ServiceProxyFunction = std::function<void(const PluginServiceProxyResponse&)>;
    void RegisterServiceProxyRequest(const std::string& key, ServiceProxyFunction function);
    void RegisterServiceProxyAsyncHandler(const std::string& key, ServiceProxyFunction function);
    // Responses that no request has claimed yet.
    std::size_t UnclaimedServiceProxyResponses();
    // ---- end of requests, LCDS and service proxy: operations -----------------------------

    std::uint32_t GetClientId() const { return clientId; }
    const std::string& GetShortName() const { return shortName; }
    const std::string& GetUserAgent() const { return userAgent; }
    BindingRegistry* GetTypeRegistry() const { return typeRegistry; }
    // Null until the module is attached.
    TelemetryClient* GetTelemetry() const { return telemetry.get(); }

protected:
    // Stores the registry and declares the frame's own types and events in it. Calls no host
    // operation: it runs before the module is attached.
    void RegisterFrameworkTypes(BindingRegistry& registry);
    // Stores the host's identity for the module and subscribes the frame's own events; the first
    // thing the module does when attached.
    void BindHost(std::uint32_t hostClientId, const std::string& name, const std::string& agent);

    // Makes `function` the one handler of the host event `name`, replacing an earlier one, and
    // subscribes with the host. The payload is converted from the event and an event whose
    // payload does not convert is dropped. `flags` is 0 for resource events, whose handlers run
    // plug-in code on the host's stack, and 1 for the handlers made safe to run beside other
    // work. Payload is one of PluginResourceEvent, PluginLcdsEvent and PluginServiceProxyResponse.
    template <typename Payload>
    void RegisterEventHandler(const std::string& name,
                              std::type_identity_t<std::function<void(const Payload&)>> function,
                              std::uint32_t flags);

    BindingRegistry* typeRegistry = nullptr;
    std::uint32_t clientId = 0;
    std::string shortName;
    std::string userAgent;
    std::unique_ptr<TelemetryClient> telemetry;

    // ---- Requests, LCDS and service proxy: members ---------------------------------------
    // Called by the stop and attach sequences.
    void ClearLcdsHandlers();
    void ClearServiceProxyTables();
    void SubscribeServiceProxyEvents();

    // Remembers a remote class for the native record `nativeName` with static type `record`.
    void RememberLcdsClass(std::string_view nativeName, std::string_view className,
                           const StaticTypeRecord& record);
    // Runs on the host's callback, possibly beside other work: posts a job, runs no plug-in code.
    void OnLcdsEvent(const PluginLcdsEvent& event);
    void OnServiceProxyUuid(const PluginServiceProxyResponse& response);
    void OnServiceProxyMethod(const PluginServiceProxyResponse& response);
    void OnServiceProxyAsync(const PluginServiceProxyResponse& response);
    void StoreServiceProxyResponse(const std::string& key,
                                   const PluginServiceProxyResponse& response);
    void FulfilServiceProxyRequest();

    using LcdsHandler = std::function<void(const PluginLcdsEvent&)>;
    FrameHashMap<std::string, std::string> lcdsClassByName;
    FrameHashMap<std::uint32_t, std::string> lcdsClassByType;
    FrameHashMap<std::string, LcdsHandler> lcdsHandlers;

    // A response that waits for its request, with its place in the order of arrival.
    struct PendingServiceProxyResponse {
        PluginServiceProxyResponse response;
        std::uint64_t arrival = 0;
    };
    FrameHashMap<std::string, ServiceProxyFunction> serviceProxyRequests;
    FrameHashMap<std::string, ServiceProxyFunction> serviceProxyAsyncHandlers;
    FrameHashMap<std::string, PendingServiceProxyResponse> serviceProxyResponses;
    // Keys of serviceProxyResponses by arrival, oldest first: the host can send responses that
    // nothing ever claims, so the table is capped and the oldest go first.
    std::map<std::uint64_t, std::string> serviceProxyArrivals;
    std::uint64_t nextServiceProxyArrival = 0;
    std::mutex serviceProxyLock;
    // ---- end of requests, LCDS and service proxy: members --------------------------------

    FrameHashMap<std::string, std::shared_ptr<Internal::FrameEventHandler>> eventHandlers;
    FrameHashMap<std::string, std::uint64_t> resourceSubscriptions;
    FrameHashMap<std::string, NamedTimer> timers;
    FrameHashMap<std::uint64_t, ScheduledJob> jobs;
    std::uint64_t nextJobId = 1;
    std::mutex jobLock;

private:
    template <typename Payload>
    static void DeliverHostEvent(const HostEvent* event);
    static void RunJob(void* context);
    void RunTimer(const std::string& name, std::uint64_t generation,
                  const std::function<void()>& function);
    // GET of the URI's current state, for the first delivery to a new observer.
    MaybeType<Failure, BindingValue> ReadResource(const std::string& uri);
    void StoreObserver(const std::string& uriOrPattern, ResourceObserver observer);

    // Generations are drawn from one counter for all timers of the module, so that a job posted
    // before a CancelTimer can never pass for the timer set after it under the same name.
    std::uint64_t lastTimerGeneration = 0;
};

}  // namespace Tavix::Client
