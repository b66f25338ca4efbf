#include "core/event_injection.h"

#include <cstddef>
#include <vector>

namespace Tavix::TestHost {

std::string ResourceEventChannel(const std::string& uri) {
    std::vector<std::string> parts{"OnJsonApiEvent"};
    std::size_t start = 0;
    while (start <= uri.size()) {
        std::size_t slash = uri.find('/', start);
        if (slash == std::string::npos) {
            slash = uri.size();
        }
        if (slash > start) {
            parts.push_back(uri.substr(start, slash - start));
        }
        start = slash + 1;
    }
    const std::size_t limit = parts.size() > 1 && parts[1] == "arx-platform-config" ? 6 : 4;
    if (parts.size() > limit) {
        parts.resize(limit);
    }
    std::string name;
    for (const std::string& part : parts) {
        name += name.empty() ? part : "_" + part;
    }
    return name;
}

void PublishResourceEvent(Host& host, const std::string& uri, const std::string& eventType,
                          const Value& data) {
    host.Publish(ResourceEventChannel(uri), Value::Map({{"uri", Value::Text(uri)},
                                                        {"eventType", Value::Text(eventType)},
                                                        {"data", data}}));
}

std::string LcdsEventChannel(const std::string& className) {
    std::string name = "OnLcdsEvent_" + className;
    for (std::size_t i = 12; i < name.size(); ++i) {
        if (name[i] == '.') {
            name[i] = '_';
        }
    }
    return name;
}

void PublishLcdsEvent(Host& host, const std::string& className, const Value& body,
                      const std::string& clientId) {
    host.Publish(LcdsEventChannel(className), Value::Map({{"clientId", Value::Text(clientId)},
                                                          {"subtopic", Value::Text(className)},
                                                          {"typeName", Value::Text(className)},
                                                          {"body", body}}));
}

void PublishServiceProxyEvent(Host& host, const std::string& eventName,
                              const ServiceProxyMessage& message) {
    host.Publish(eventName, Value::Map({{"uuid", Value::Text(message.uuid)},
                                        {"serviceName", Value::Text(message.serviceName)},
                                        {"methodName", Value::Text(message.methodName)},
                                        {"payload", Value::Text(message.payload)},
                                        {"status", Value::Text(message.status)},
                                        {"error", Value::Text(message.error)}}));
}

}  // namespace Tavix::TestHost
