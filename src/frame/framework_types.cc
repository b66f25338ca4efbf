#include "frame/framework_types.h"

#include <string_view>

#include "binding/record_builder.h"
#include "binding/registry.h"

namespace Tavix::Client {
namespace {

constexpr std::string_view kFrameworkTag = "txclient";

template <typename T>
void DeclareEvent(BindingRegistry& registry, std::string_view name, std::string_view help) {
    const BindingEventDeclaration declared =
        registry.DeclareEvent(name, registry.FindType(StaticType::Record<T>()));
    if (!declared.existed) {
        declared.event->description = std::string(help);
        declared.event->tags.emplace_back(kFrameworkTag);
    }
}

}  // namespace

void DeclareFrameworkTypes(BindingRegistry& registry) {
    DeclareEnum<PluginManagerState>(registry, "PluginManagerState")
        .AddEnumerator("NotReady", 0)
        .AddEnumerator("PluginsInitialized", 1)
        .AddTag(kFrameworkTag);
    DeclareRecord<PluginManagerResource>(registry, "PluginManagerResource")
        .Field("state", &PluginManagerResource::state)
        .Builder()
        .AddTag(kFrameworkTag);
    DeclareEnum<PluginResourceEventType>(registry, "PluginResourceEventType")
        .AddEnumerator("Create", 0)
        .AddEnumerator("Update", 1)
        .AddEnumerator("Delete", 2)
        .AddTag(kFrameworkTag);
    DeclareRecord<PluginResourceEvent>(registry, "PluginResourceEvent")
        .Field("uri", &PluginResourceEvent::uri)
        .Field("eventType", &PluginResourceEvent::eventType)
        .Field("data", &PluginResourceEvent::data)
        .Builder()
        .AddTag(kFrameworkTag);
    DeclareRecord<PluginLcdsEvent>(registry, "PluginLcdsEvent")
        .Field("clientId", &PluginLcdsEvent::clientId)
        .Field("subtopic", &PluginLcdsEvent::subtopic)
        .Field("typeName", &PluginLcdsEvent::typeName)
        .Field("body", &PluginLcdsEvent::body)
        .Builder()
        .AddTag(kFrameworkTag);
    DeclareRecord<PluginLcdsResponse>(registry, "PluginLcdsResponse")
        .Field("typeName", &PluginLcdsResponse::typeName)
        .Field("body", &PluginLcdsResponse::body)
        .Builder()
        .AddTag(kFrameworkTag);
    DeclareRecord<PluginServiceProxyResponse>(registry, "PluginServiceProxyResponse")
        .Field("uuid", &PluginServiceProxyResponse::uuid)
        .Field("serviceName", &PluginServiceProxyResponse::serviceName)
        .Field("methodName", &PluginServiceProxyResponse::methodName)
        .Field("payload", &PluginServiceProxyResponse::payload)
        .Field("status", &PluginServiceProxyResponse::status)
        .Field("error", &PluginServiceProxyResponse::error)
        .Builder()
        .AddTag(kFrameworkTag);

    DeclareEvent<PluginResourceEvent>(registry, kJsonApiEventName,
                                      "Fired when a resource is changed.");
    DeclareEvent<PluginLcdsEvent>(registry, kLcdsEventName,
                                  "Fired when a message is received over the LCDS connection.");
    DeclareEvent<PluginServiceProxyResponse>(
        registry, kServiceProxyUuidEventName,
        "Fired when a uuid-based service proxy message is received.");
    DeclareEvent<PluginServiceProxyResponse>(
        registry, kServiceProxyMethodEventName,
        "Fired when a method-based service proxy message is received.");
    DeclareEvent<PluginServiceProxyResponse>(
        registry, kServiceProxyAsyncEventName,
        "Fired when an async service proxy message is received.");
}

}  // namespace Tavix::Client
