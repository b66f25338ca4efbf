#pragma once
// Events as the host's neighbours would raise them: resource events on their channels, messages
// of the remote platform, and service proxy messages. Each goes through Host::Publish, so flag-0
// subscribers get it at once when no module call is running and flag-1 subscribers on a later
// turn.

#include <string>

#include "core/host.h"
#include "core/value.h"

namespace Tavix::TestHost {

// The host's own reckoning of the event name of a URI: "OnJsonApiEvent" and the first three
// non-empty segments, five under "arx-platform-config", joined by "_".
std::string ResourceEventChannel(const std::string& uri);

// Publishes {uri, eventType, data} on the channel of `uri`. `eventType` is the text the wire
// carries: "Create", "Update" or "Delete" (anything else lets a test send a bad one).
void PublishResourceEvent(Host& host, const std::string& uri, const std::string& eventType,
                          const Value& data);

// "OnLcdsEvent_" and the class name with each "." made "_".
std::string LcdsEventChannel(const std::string& className);

// Publishes a message of the remote class `className` with `body`; the class is both the
// subtopic and the type name of the message.
void PublishLcdsEvent(Host& host, const std::string& className, const Value& body,
                      const std::string& clientId = "");

struct ServiceProxyMessage {
    std::string uuid;
    std::string serviceName;
    std::string methodName;
    std::string payload;
    std::string status;
    std::string error;
};

// `eventName` is one of "OnServiceProxyUuidEvent", "OnServiceProxyMethodEvent" and
// "OnServiceProxyAsyncEvent".
void PublishServiceProxyEvent(Host& host, const std::string& eventName,
                              const ServiceProxyMessage& message);

}  // namespace Tavix::TestHost
