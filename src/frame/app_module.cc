#include "frame/app_module.h"

#include <cstring>
#include <memory>
#include <new>

#include "binding/registry.h"
#include "log/log.h"
#include "log/log_core.h"
#include "log/memory.h"
#include "log/plugin_log_target.h"
#include "routing/function_name.h"
#include "support/fatal.h"
#include "support/format.h"

namespace Tavix::Client {

namespace {

constexpr const char* kPluginLogTargetName = "PluginLogTarget";
constexpr const char* kPluginLogLayout = "#D| #L| #G| #M";

}  // namespace

AppModule::AppModule() {
    LogCore::AddReference();
    dispatcher = std::make_unique<BindingDispatcher>();
    dispatcher->RegisterBuiltins();
    operations.Attach = &AppModule::AttachEntry;
    operations.Shutdown = &AppModule::ShutdownEntry;
    operations.GetMemoryCounters = &AppModule::GetMemoryCountersEntry;
}

AppModule::~AppModule() {
    dispatcher.reset();
    apiTags.clear();
    apiNamespace.clear();
    // The target unhooks itself from the log core as it goes.
    logTarget.reset();
    LogCore::ReleaseReference();
}

void AppModule::Initialize(PluginLoadBlock& block, const std::string& name) {
    PluginApiVersion core;
    core.major = block.major;
    core.minor = block.minor;
    core.patch = block.patch;

    if (!IsCompatible(core, kPluginApiVersion)) {
        FatalReportWithMessage(kFatalIncompatiblePluginApi, kIncompatiblePluginApiMessage, name,
                               kPluginApiVersion, core);
    }

    coreApiVersion = core;
    pluginName = GetFullNameFromShortNameAndType(name, kBackendPluginType);
    apiTags = {"Plugins", "Plugin " + pluginName.shortName};
    apiNamespace = FunctionNameFromRoute("", pluginName.shortName);

    RegisterFrameworkTypes(*dispatcher);
    RegisterApi();
    apiDescription = dispatcher->BuildApiDescription();

    block.major = kPluginApiVersion.major;
    block.minor = kPluginApiVersion.minor;
    block.patch = kPluginApiVersion.patch;
    block.operations = &operations;
    block.module = this;
    block.shortName = pluginName.shortName.c_str();
    block.apiDescription = &apiDescription;
}

bool AppModule::AttachEntry(void* module, HostInterface* hostInterface) {
    return static_cast<AppModule*>(module)->Attach(hostInterface);
}

void AppModule::ShutdownEntry(void* module) {
    auto* self = static_cast<AppModule*>(module);
    self->OnStop();
    // The export built the module in memory of the tracked allocator.
    self->~AppModule();
    Release(self);
}

void AppModule::GetMemoryCountersEntry(void*, MemoryCounters* counters) {
    AllocationCounterValues snapshot{};
    ReadCounters(&snapshot);
    counters->peakLiveBytes = snapshot.peakBytes;
    counters->peakLiveAllocations = snapshot.peakAllocations;
    counters->allocatedBytes = snapshot.bytesAllocated;
    counters->allocations = snapshot.allocations;
    counters->freedBytes = snapshot.bytesFreed;
    counters->frees = snapshot.frees;
    counters->reserved = 0;
}

bool AppModule::Attach(HostInterface* hostInterface) {
    host = hostInterface;
    InstallPluginLogTarget();
    const std::string agent = Format("TavixClient/%1 (%2)", coreApiVersion, pluginName.shortName);
    BindHost(host->clientId, pluginName.shortName, agent);
    return OnStart();
}

// After attach the host's log is the only destination. When another module of the process has
// installed the target already, this one leaves it alone.
void AppModule::InstallPluginLogTarget() {
    if (LogCore::FindTarget(kPluginLogTargetName) != nullptr) {
        return;
    }
    for (LogTargetInterface* builtIn :
         {LogCore::GetStdOutTarget(), LogCore::GetStdErrTarget(), LogCore::GetDebuggerTarget()}) {
        builtIn->Detach(builtIn);
    }
    LogCore::SetLevel(LogLevel::Okay);
    LogCore::SetIgnoredGroups(kLogGroupXtr);
    logTarget = std::make_unique<PluginLogTarget>(host->operations);
    LogTargetConfig config;
    config.level = LogCore::GetLevel();
    config.includedGroups = 0;
    config.excludedGroups = 0;
    config.format = kPluginLogLayout;
    Install(*logTarget, config);
}

// Every host operation needs the host's table, which the module has only once attached: a call
// before that is the host's programming fault, not a null pointer to follow.
HostOperations* AppModule::Operations() const {
    if (host == nullptr) {
        FatalReport(kFatalHostCallBeforeAttach);
    }
    return host->operations;
}

void AppModule::SendRequest(HostResponse& response, const HostRequest& request) {
    HostOperations* const table = Operations();
    table->SendRequest(table, &response, &request);
}

void AppModule::ReservedHostCall(std::uintptr_t first, std::uintptr_t second) {
    HostOperations* const table = Operations();
    table->ReservedHostCall(table, first, second);
}

void AppModule::SendEvent(const HostEvent& event) {
    HostOperations* const table = Operations();
    table->SendEvent(table, &event);
}

void AppModule::SubscribeToEvent(const char* name, std::uint32_t subscriberId,
                                 HostEventCallback callback, void* context, std::uint32_t flags) {
    HostOperations* const table = Operations();
    table->SubscribeToEvent(table, name, subscriberId, callback, context, flags);
}

void AppModule::UnsubscribeFromEvent(const char* name, std::uint32_t subscriberId) {
    HostOperations* const table = Operations();
    table->UnsubscribeFromEvent(table, name, subscriberId);
}

void AppModule::ScheduleCallback(const char* description, HostScheduledCallback callback,
                                 void* context, double delaySeconds, std::uint32_t reserved) {
    HostOperations* const table = Operations();
    table->ScheduleCallback(table, description, callback, context, delaySeconds, reserved);
}

void AppModule::YieldToHost() {
    HostOperations* const table = Operations();
    table->YieldToHost(table);
}

void AppModule::BeginWait(const std::string& label, std::uint32_t reserved) {
    HostOperations* const table = Operations();
    table->BeginWait(table, label.c_str(), reserved);
}

void AppModule::EndWait() {
    HostOperations* const table = Operations();
    table->EndWait(table);
}

void AppModule::RegisterApi() {}

bool AppModule::OnStart() {
    return true;
}

}  // namespace Tavix::Client
