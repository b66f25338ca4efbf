#pragma once
// The frame's own records: the payloads of the host events it delivers and the plug-in manager's
// state. Their identities are fixed, so that they read the same in every build and every module.

#include <cstdint>
#include <string>

#include "binding/static_type.h"
#include "binding/value.h"

namespace Tavix::Client {

class BindingRegistry;

enum class PluginManagerState : std::int32_t {
    NotReady = 0,
    PluginsInitialized = 1,
};

// Declared for the API description; the frame neither serves nor reads it.
struct PluginManagerResource {
    PluginManagerState state = PluginManagerState::NotReady;
};

enum class PluginResourceEventType : std::int32_t {
    Create = 0,
    Update = 1,
    Delete = 2,
};

// A resource event as it travels between modules.
struct PluginResourceEvent {
    std::string uri;
    PluginResourceEventType eventType = PluginResourceEventType::Create;
    BindingValue data;
};

// A message of the remote platform, one host event name per remote class.
struct PluginLcdsEvent {
    std::string clientId;
    std::string subtopic;
    std::string typeName;
    BindingValue body;
};

// The answer of a remote method invoked through the session's invoke resource.
struct PluginLcdsResponse {
    std::string typeName;
    BindingValue body;
};

struct PluginServiceProxyResponse {
    std::string uuid;
    std::string serviceName;
    std::string methodName;
    std::string payload;
    std::string status;
    std::string error;
};

constexpr StaticTypeOptions StaticTypeOptionsOf(PluginManagerState*) {
    return {.identity = 0xF4E3B901u};
}
constexpr StaticTypeOptions StaticTypeOptionsOf(PluginManagerResource*) {
    return {.identity = 0xFA58397Cu};
}
constexpr StaticTypeOptions StaticTypeOptionsOf(PluginResourceEventType*) {
    return {.identity = 0xDC24D2ADu};
}
constexpr StaticTypeOptions StaticTypeOptionsOf(PluginResourceEvent*) {
    return {.identity = 0xA54F35FDu};
}
constexpr StaticTypeOptions StaticTypeOptionsOf(PluginLcdsEvent*) {
    return {.identity = 0x739F2EF4u};
}
constexpr StaticTypeOptions StaticTypeOptionsOf(PluginLcdsResponse*) {
    return {.identity = 0xF4476A4Fu};
}
constexpr StaticTypeOptions StaticTypeOptionsOf(PluginServiceProxyResponse*) {
    return {.identity = 0x2C5E7588u};
}

// Host event names of the frame's payloads.
inline constexpr const char* kJsonApiEventName = "OnJsonApiEvent";
inline constexpr const char* kLcdsEventName = "OnLcdsEvent";
inline constexpr const char* kServiceProxyUuidEventName = "OnServiceProxyUuidEvent";
inline constexpr const char* kServiceProxyMethodEventName = "OnServiceProxyMethodEvent";
inline constexpr const char* kServiceProxyAsyncEventName = "OnServiceProxyAsyncEvent";

// The seven types above and the frame's five events, all tagged "txclient". A name the registry
// knows already is left as it is.
void DeclareFrameworkTypes(BindingRegistry& registry);

}  // namespace Tavix::Client
