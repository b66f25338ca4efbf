#include "frame/resource_events.h"

#include <cstring>
#include <memory>
#include <vector>

#include "binding/host_conversion.h"
#include "binding/registry.h"
#include "frame/host_value.h"
#include "frame/internal/event_handler.h"
#include "frame/resource_client.h"
#include "log/memory.h"

namespace Tavix::Client {

namespace {

constexpr std::size_t kChannelElements = 4;
// The platform's configuration keeps two more segments in its host event names.
constexpr std::size_t kPlatformConfigChannelElements = 6;
constexpr std::string_view kPlatformConfigSegment = "arx-platform-config";

}  // namespace

std::string EventChannelName(std::string_view uri) {
    std::string name = kJsonApiEventName;
    std::size_t elements = 1;
    std::size_t limit = kChannelElements;
    std::size_t position = 0;
    while (position < uri.size() && elements < limit) {
        const std::size_t slash = uri.find('/', position);
        const std::size_t end = slash == std::string_view::npos ? uri.size() : slash;
        if (end > position) {
            const std::string_view segment = uri.substr(position, end - position);
            if (elements == 1 && segment == kPlatformConfigSegment) {
                limit = kPlatformConfigChannelElements;
            }
            name += '_';
            name += segment;
            ++elements;
        }
        position = end + 1;
    }
    return name;
}

bool MatchesResourcePattern(std::string_view pattern, std::string_view key) {
    std::size_t p = 0;
    std::size_t s = 0;
    while (p < pattern.size() && s < key.size()) {
        if (pattern[p] != '*') {
            if (pattern[p] != key[s]) {
                return false;
            }
            ++p;
            ++s;
        } else if (key[s] != '/') {
            ++s;
            // A run that reaches the end of the key ends the star with it.
            if (s == key.size()) {
                ++p;
            }
        } else {
            ++p;
        }
    }
    return p == pattern.size() && s == key.size();
}

void ResourceObserverTable::RouteResourceEvent(const PluginResourceEvent& event) {
    std::string key;
    if (event.uri.empty() || event.uri.front() != '/') {
        key.reserve(event.uri.size() + 1);
        key += '/';
    }
    key += event.uri;

    // Everything that will be called is picked before anything runs: an observer may change
    // both tables.
    ResourceObserverHandle exact;
    if (const auto found = exactObservers.find(key); found != exactObservers.end()) {
        exact = found->second;
    }
    std::vector<ResourceObserverHandle> matched;
    for (const auto& [pattern, observer] : patternObservers) {
        if (MatchesResourcePattern(pattern, key)) {
            matched.push_back(observer);
        }
    }

    if (exact) {
        (*exact)(event);
    }
    for (const ResourceObserverHandle& observer : matched) {
        (*observer)(event);
    }
}

void AppClient::SubscribeToResource(const std::string& uri) {
    const std::string channel = EventChannelName(uri);
    if (++resourceSubscriptions[channel] != 1) {
        return;
    }
    FrameDiagnostic("%s: Subscribing to event: %s", shortName.c_str(), channel.c_str());
    RegisterEventHandler<PluginResourceEvent>(
        channel, [this](const PluginResourceEvent& event) { RouteResourceEvent(event); }, 0);
}

void AppClient::UnsubscribeFromResource(const std::string& uri) {
    const std::string channel = EventChannelName(uri);
    std::uint64_t& count = resourceSubscriptions[channel];
    // More unsubscriptions than subscriptions would wrap the count; they change nothing.
    if (count == 0 || --count != 0) {
        return;
    }
    FrameDiagnostic("%s: Unsubscribing to event: %s", shortName.c_str(), channel.c_str());
    UnsubscribeFromEvent(channel.c_str(), clientId);
    eventHandlers.erase(channel);
}

void AppClient::StoreObserver(const std::string& uriOrPattern, ResourceObserver observer) {
    const bool isPattern = uriOrPattern.find('*') != std::string::npos;
    auto handle = std::make_shared<const ResourceObserver>(std::move(observer));
    (isPattern ? patternObservers : exactObservers)[uriOrPattern] = handle;

    SubscribeToResource(uriOrPattern);
    if (isPattern) {
        return;
    }

    // A resource that does not exist yet gives no first event; its failure is nobody's business.
    MaybeType<Failure, BindingValue> state = ReadResource(uriOrPattern);
    if (state.IsFailure()) {
        return;
    }
    PluginResourceEvent event;
    event.uri = uriOrPattern;
    event.eventType = PluginResourceEventType::Create;
    event.data = std::move(state.GetValue());
    (*handle)(event);
}

void AppClient::DeleteResource(const std::string& uri) {
    PluginResourceEvent event;
    event.uri = uri;
    event.eventType = PluginResourceEventType::Delete;
    (void)SendResourceEvent(kJsonApiEventName, event, 0);
}

// The payload is laid out field by field, in name order, straight from the event: building a
// value of the whole event first would copy `data` once more for nothing.
MaybeType<Failure, void> AppClient::SendResourceEvent(const std::string& generalName,
                                                      const PluginResourceEvent& event,
                                                      std::uint32_t reserved) {
    if (typeRegistry == nullptr ||
        typeRegistry->FindType(StaticType::Record<PluginResourceEvent>()) == nullptr) {
        return Failure(
            "Couldn't convert resource event for {uri}: PluginResourceEvent is not "
            "registered",
            event.uri);
    }

    const std::string channel = EventChannelName(event.uri);
    FrameDiagnostic("%s: Sending event: %s", shortName.c_str(), channel.c_str());

    constexpr std::uint32_t kFields = 3;
    auto* entries = static_cast<HostMapEntry*>(Allocate(kFields * sizeof(HostMapEntry)));
    std::memset(static_cast<void*>(entries), 0, kFields * sizeof(HostMapEntry));
    HostValue payload;
    std::memset(static_cast<void*>(&payload), 0, sizeof payload);
    payload.tag = kHostValueStructure;
    payload.payload.structure.entries = entries;
    payload.payload.structure.count = kFields;

    entries[0].key = "data";
    const bool complete = ToHostValue(event.data, entries[0].value, typeRegistry);

    entries[1].key = "eventType";
    const auto number = static_cast<std::int32_t>(event.eventType);
    if (const char* name =
            typeRegistry->EnumeratorName(&StaticType::Record<PluginResourceEventType>(), number)) {
        entries[1].value.tag = kHostValueBorrowedString;
        entries[1].value.payload.text.data = name;
        entries[1].value.payload.text.length = static_cast<std::uint32_t>(std::strlen(name));
    } else {
        entries[1].value.tag = kHostValueSigned;
        entries[1].value.payload.signedValue = number;
    }

    entries[2].key = "uri";
    entries[2].value.tag = kHostValueBorrowedString;
    entries[2].value.payload.text.data = event.uri.c_str();
    entries[2].value.payload.text.length = static_cast<std::uint32_t>(event.uri.size());

    if (!complete) {
        ReleaseHostValue(payload);
        return Failure("Couldn't convert resource event for {uri}: its data nests too deeply",
                       event.uri);
    }

    HostEvent hostEvent{};
    hostEvent.name = channel.c_str();
    hostEvent.payload = payload;
    hostEvent.reserved = reserved;
    hostEvent.context = nullptr;
    SendEvent(hostEvent);
    if (generalName != channel) {
        hostEvent.name = generalName.c_str();
        SendEvent(hostEvent);
    }
    ReleaseHostValue(payload);
    return {};
}

MaybeType<Failure, BindingValue> AppClient::ReadResource(const std::string& uri) {
    return Request<BindingValue>(kMethodGet, uri);
}

}  // namespace Tavix::Client
