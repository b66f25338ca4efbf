// The way a host event reaches plug-in code: one handler per host event name, one host callback
// per payload record, and the conversion of the payload between them.

#include <memory>
#include <string>
#include <string_view>

#include "binding/host_conversion.h"
#include "binding/result.h"
#include "frame/app_client.h"
#include "frame/diagnostics.h"
#include "frame/internal/event_handler.h"
#include "frame/native_conversion.h"

namespace Tavix::Client {

namespace {

constexpr std::string_view kPayloadLabel = "<result>";

}  // namespace

template <typename Payload>
void AppClient::RegisterEventHandler(
    const std::string& name, std::type_identity_t<std::function<void(const Payload&)>> function,
    std::uint32_t flags) {
    // An earlier handler is released here unless a delivery running now still holds it.
    eventHandlers[name] =
        std::make_shared<Internal::TypedFrameEventHandler<Payload>>(std::move(function));
    SubscribeToEvent(name.c_str(), clientId, &AppClient::DeliverHostEvent<Payload>, this, flags);
}

template <typename Payload>
void AppClient::DeliverHostEvent(const HostEvent* event) {
    auto* client = static_cast<AppClient*>(event->context);
    const std::string_view name = event->name != nullptr ? event->name : "";

    const auto found = client->eventHandlers.find(name);
    if (found == client->eventHandlers.end() ||
        found->second->payloadType != &StaticType::Record<Payload>()) {
        return;
    }
    // Held for the call: the handler may replace or erase its own entry.
    const std::shared_ptr<Internal::FrameEventHandler> handler = found->second;

    BindingResult result;
    BindingValue value;
    Payload payload;
    if (FromHostValue(result, value, event->payload, kPayloadLabel)) {
        ValueToNative(result, payload, value, kPayloadLabel, client->typeRegistry,
                      client->clientId);
    }
    if (!result.Ok()) {
        if (IsFrameDiagnosticSinkInstalled()) {
            const std::string typeName = NativeTypeName<Payload>(client->typeRegistry);
            const std::string error(result.ErrorText());
            FrameDiagnostic("%s: Couldn't convert payload %s for event %.*s: %s",
                            client->shortName.c_str(), typeName.c_str(),
                            static_cast<int>(name.size()), name.data(), error.c_str());
        }
        return;
    }

    FrameDiagnostic("%s: Handling event %.*s", client->shortName.c_str(),
                    static_cast<int>(name.size()), name.data());
    static_cast<const Internal::TypedFrameEventHandler<Payload>&>(*handler).function(payload);
}

template void AppClient::RegisterEventHandler<PluginResourceEvent>(
    const std::string&, std::function<void(const PluginResourceEvent&)>, std::uint32_t);
template void AppClient::RegisterEventHandler<PluginLcdsEvent>(
    const std::string&, std::function<void(const PluginLcdsEvent&)>, std::uint32_t);
template void AppClient::RegisterEventHandler<PluginServiceProxyResponse>(
    const std::string&, std::function<void(const PluginServiceProxyResponse&)>, std::uint32_t);

}  // namespace Tavix::Client
