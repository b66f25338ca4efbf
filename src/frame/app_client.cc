#include "frame/app_client.h"

#include <memory>
#include <utility>

#include "frame/framework_types.h"
#include "frame/internal/event_handler.h"
#include "frame/telemetry.h"

#include "log/log.h"
#include "platform/clock.h"
#include "support/format.h"

namespace Tavix::Client {

namespace {

constexpr double kNanosecondsPerSecond = 1e9;

// A vanished timer is reported under "DBG" and "NET".
constexpr LogGroupMask kTimerGroups = kLogGroupDbg | kLogGroupNet;

std::int64_t DeadlineAfter(double periodSeconds) {
    return Platform::MonotonicNanoseconds() +
           static_cast<std::int64_t>(periodSeconds * kNanosecondsPerSecond);
}

}  // namespace

void ResourceObserverTable::SubscribeToResource(const std::string&) {}
void ResourceObserverTable::UnsubscribeFromResource(const std::string&) {}

AppClient::AppClient() {
    owner = this;
}

AppClient::~AppClient() = default;

void AppClient::RegisterFrameworkTypes(BindingRegistry& registry) {
    typeRegistry = &registry;
    DeclareFrameworkTypes(registry);
}

void AppClient::BindHost(std::uint32_t hostClientId, const std::string& name,
                         const std::string& agent) {
    clientId = hostClientId;
    shortName = name;
    userAgent = agent;
    telemetry = std::make_unique<TelemetryClient>(this);
    ResourceObserverTable::typeRegistry = typeRegistry;
    owner = this;
    SubscribeServiceProxyEvents();
}

void AppClient::OnStop() {
    for (const auto& [name, handler] : eventHandlers) {
        UnsubscribeFromEvent(name.c_str(), clientId);
    }
    eventHandlers.Reset();
    ClearLcdsHandlers();
    ClearServiceProxyTables();
    timers.Reset();
    exactObservers.Reset();
    patternObservers.Reset();
}

void AppClient::Yield() {
    BeginWait("Wait: yield", 0);
    YieldToHost();
    EndWait();
}

void AppClient::PostJob(const std::string& description, std::function<void()> function,
                        std::int64_t deadline) {
    const std::int64_t remaining = deadline - Platform::MonotonicNanoseconds();
    const double delay = remaining > 0 ? static_cast<double>(remaining) * 1e-9 : 0.0;

    ScheduledJob* job = nullptr;
    {
        std::lock_guard<std::mutex> guard(jobLock);
        const std::uint64_t id = nextJobId++;
        job = &jobs[id];
        job->owner = this;
        job->id = id;
        job->function = std::move(function);
    }
    ScheduleCallback(description.c_str(), &AppClient::RunJob, job, delay, 0);
}

void AppClient::RunJob(void* context) {
    auto* job = static_cast<ScheduledJob*>(context);
    AppClient* client = job->owner;
    const std::uint64_t id = job->id;
    job->function();
    std::lock_guard<std::mutex> guard(client->jobLock);
    client->jobs.erase(id);
}

void AppClient::SetTimer(const std::string& name, double periodSeconds,
                         std::function<void()> function) {
    NamedTimer& timer = timers[name];
    timer.name = name;
    timer.description = Format("Timer: %1", name);
    timer.period = periodSeconds;
    timer.nextDue = DeadlineAfter(periodSeconds);
    timer.generation = ++lastTimerGeneration;
    timer.callback = [this, name, generation = timer.generation, function = std::move(function)] {
        RunTimer(name, generation, function);
    };
    PostJob(timer.description, timer.callback, timer.nextDue);
}

void AppClient::CancelTimer(const std::string& name) {
    timers.erase(name);
}

// Runs on the job the timer posted. The next deadline is set before the function runs and its
// job is posted after it returns, so periods are measured start to start and a slow function is
// followed by one job with delay 0, never by a burst.
void AppClient::RunTimer(const std::string& name, std::uint64_t generation,
                         const std::function<void()>& function) {
    auto found = timers.find(name);
    if (found == timers.end()) {
        // The normal end of a cancelled timer: its last posted job still comes due once.
        Log(LogLevel::Warn, kTimerGroups, "%s: Couldn't find timer named %s", shortName.c_str(),
            name.c_str());
        return;
    }
    if (found->second.generation != generation) {
        return;  // set again since; the newer closure has a job of its own
    }
    found->second.nextDue = DeadlineAfter(found->second.period);

    function();

    // The function may have cancelled or re-set its own timer: then nothing is posted here.
    found = timers.find(name);
    if (found != timers.end() && found->second.generation == generation) {
        PostJob(found->second.description, found->second.callback, found->second.nextDue);
    }
}

}  // namespace Tavix::Client
