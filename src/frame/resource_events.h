#pragma once
// Resource observation and publication: the host event name of a URI, the `*` patterns of
// observers, and the templates of AppClient that observe and publish typed records.

#include <string>
#include <string_view>
#include <utility>

#include "binding/result.h"
#include "frame/app_client.h"
#include "frame/diagnostics.h"
#include "frame/native_conversion.h"

namespace Tavix::Client {

// "OnJsonApiEvent" followed by the URI's first three segments, or five under
// "arx-platform-config", joined by "_". Empty segments do not count.
std::string EventChannelName(std::string_view uri);

// Whether `key` matches `pattern`, where `*` stands for a run of characters without "/". The run
// may be empty inside a key but not at its end: "/a/*" matches neither "/a/" nor "/a/b/c".
bool MatchesResourcePattern(std::string_view pattern, std::string_view key);

template <typename T>
void AppClient::ObserveResource(
    const std::string& uriOrPattern,
    std::type_identity_t<std::function<void(const ResourceEvent<T>&)>> function) {
    ResourceObserver observer = [this,
                                 function = std::move(function)](const PluginResourceEvent& event) {
        ResourceEvent<T> typed;
        typed.uri = event.uri;
        typed.eventType = event.eventType;
        if (event.eventType != PluginResourceEventType::Delete) {
            BindingResult result;
            ValueToNative(result, typed.data, event.data, "<value>",
                          ResourceObserverTable::typeRegistry, 0);
            if (!result.Ok()) {
                if (IsFrameDiagnosticSinkInstalled()) {
                    FrameDiagnostic(
                        "Couldn't convert resource %s to C++ while handling update for URL: %s",
                        NativeTypeName<T>(ResourceObserverTable::typeRegistry).c_str(),
                        event.uri.c_str());
                }
                return;
            }
        }
        function(typed);
    };
    StoreObserver(uriOrPattern, std::move(observer));
}

template <typename T>
void AppClient::PublishResource(PluginResourceEventType type, const std::string& uri,
                                const T& record) {
    PluginResourceEvent event;
    event.uri = uri;
    event.eventType = type;
    BindingResult converted;
    NativeToValue(converted, record, typeRegistry);
    if (!converted.Ok()) {
        if (IsFrameDiagnosticSinkInstalled()) {
            FrameDiagnostic("%s: Couldn't convert resource %s for event uri \"%s\"",
                            shortName.c_str(), NativeTypeName<T>(typeRegistry).c_str(),
                            uri.c_str());
        }
        return;
    }
    event.data = std::move(static_cast<BindingValue&>(converted));
    (void)SendResourceEvent(kJsonApiEventName, event, 0);
}

}  // namespace Tavix::Client
