#pragma once
// AppModule: the base of every plug-in on this frame. It owns the module's side of the host
// boundary: the load block, the operation table the host calls, the version test, the plug-in's
// names, and the forwarding of the abstract host operations of AppClient to HostOperations.

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "arx/host_boundary.h"
#include "frame/app_client.h"
#include "frame/plugin_identity.h"
#include "routing/dispatcher.h"
#include "routing/route_declarer.h"

namespace Tavix::Client {

class PluginLogTarget;

class AppModule : public AppClient {
public:
    AppModule();
    ~AppModule() override;

    void SendRequest(HostResponse& response, const HostRequest& request) override;
    void ReservedHostCall(std::uintptr_t first, std::uintptr_t second) override;
    void SendEvent(const HostEvent& event) override;
    void SubscribeToEvent(const char* name, std::uint32_t subscriberId, HostEventCallback callback,
                          void* context, std::uint32_t flags) override;
    void UnsubscribeFromEvent(const char* name, std::uint32_t subscriberId) override;
    void ScheduleCallback(const char* description, HostScheduledCallback callback, void* context,
                          double delaySeconds, std::uint32_t reserved) override;
    void YieldToHost() override;
    void BeginWait(const std::string& label, std::uint32_t reserved) override;
    void EndWait() override;

    // The plug-in declares its records and routes here, before the host is known.
    virtual void RegisterApi();
    // The plug-in subscribes and starts here; the result is that of Attach.
    virtual bool OnStart();

    // Called by the export: tests the core's version (a mismatch is fatal), sets the names and
    // the API, and writes the load block.
    void Initialize(PluginLoadBlock& block, const std::string& name);

    const PluginApiVersion& GetCoreApiVersion() const { return coreApiVersion; }
    const PluginName& GetPluginName() const { return pluginName; }
    const std::string& GetApiNamespace() const { return apiNamespace; }
    const std::vector<std::string>& GetApiTags() const { return apiTags; }
    const PluginLogTarget* GetLogTarget() const { return logTarget.get(); }
    HostInterface* GetHost() const { return host; }
    BindingDispatcher& GetDispatcher() const { return *dispatcher; }
    const ApiDescription& GetApiDescription() const { return apiDescription; }

protected:
    // What RegisterApi declares the module's routes with; every route carries the module's tags,
    // and the OpenAPI document is titled with the short name and the plug-in API version.
    RouteDeclarer Routes() const {
        return RouteDeclarer(*dispatcher, apiTags,
                             OpenApiInfo{pluginName.shortName, ToText(kPluginApiVersion), apiTags});
    }

private:
    static bool AttachEntry(void* module, HostInterface* hostInterface);
    static void ShutdownEntry(void* module);
    static void GetMemoryCountersEntry(void* module, MemoryCounters* counters);

    bool Attach(HostInterface* hostInterface);
    // The host's table; a fatal report when the module is not attached.
    HostOperations* Operations() const;
    void InstallPluginLogTarget();

    PluginApiVersion coreApiVersion;
    std::unique_ptr<PluginLogTarget> logTarget;
    PluginName pluginName;
    std::string apiNamespace;
    std::vector<std::string> apiTags;
    // The router of the module's REST requests, which is also its registry of types, functions
    // and events.
    std::unique_ptr<BindingDispatcher> dispatcher;
    HostInterface* host = nullptr;
    PluginOperations operations{};
    ApiDescription apiDescription{};
};

}  // namespace Tavix::Client
