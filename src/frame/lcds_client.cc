#include "frame/lcds_client.h"

#include "binding/descriptors.h"
#include "platform/clock.h"
#include "support/format.h"

namespace Tavix::Client {

namespace Internal {

Failure LcdsParameterFailure(std::string_view error) {
    return Failure("Couldn't convert LCDS call parameters: {error}", std::string(error));
}

Failure LcdsClassFailure(const std::string& expected, const std::string& destination,
                         const std::string& method, const std::string& actual) {
    return Failure(
        "Expected '{expected}' as LCDS response for {destination}.{method}, but got '{actual}'",
        expected, destination, method, actual);
}

Failure LcdsConversionFailure(const char* typeName, const BindingValue& body,
                              const BindingRegistry* registry) {
    return Failure("Couldn't convert LCDS DTO {name} to C++ from {json}", typeName,
                   WriteJson(body, registry, nullptr));
}

}  // namespace Internal

namespace {

constexpr std::string_view kClassField = "__class";

}  // namespace

void AppClient::RememberLcdsClass(std::string_view nativeName, std::string_view className,
                                  const StaticTypeRecord& record) {
    lcdsClassByName[std::string(nativeName)] = std::string(className);
    lcdsClassByType[record.identity] = std::string(className);
}

std::string AppClient::LcdsEventName(const std::string& subtopic) {
    std::string name = "OnLcdsEvent_" + subtopic;
    for (std::size_t i = name.size() - subtopic.size(); i < name.size(); ++i) {
        if (name[i] == '.') {
            name[i] = '_';
        }
    }
    return name;
}

void AppClient::AnnotateLcdsClass(BindingValue& value, const BindingTypeRef& type) const {
    const BindingTypeDescriptor* descriptor = type.descriptor;
    if (descriptor == nullptr) {
        return;
    }
    const auto found = lcdsClassByName.find(descriptor->name);
    if (found == lcdsClassByName.end()) {
        return;
    }
    const std::string& className = found->second;
    // Only structures take the marker: an absent optional record stays absent.
    const auto annotate = [&](BindingValue& record) {
        if (record.Kind() != BindingValueKind::Structure) {
            return;
        }
        record.Field(kClassField).SetString(className);
        for (const BindingFieldDescriptor& field : descriptor->fields) {
            if (record.HasField(field.name)) {
                AnnotateLcdsClass(record.Field(field.Name()), field.type);
            }
        }
    };
    if (type.kind == BindingKind::Vector) {
        for (BindingValue& element : value.Elements()) {
            annotate(element);
        }
    } else if (type.kind == BindingKind::Map) {
        if (value.Kind() != BindingValueKind::Structure) {
            return;
        }
        std::vector<std::string> keys;
        value.ForEachField(
            [&](const BindingString& key, const BindingValue&) { keys.emplace_back(key.View()); });
        for (const std::string& key : keys) {
            annotate(value.Field(key));
        }
    } else {
        annotate(value);
    }
}

void AppClient::OnLcdsEvent(const PluginLcdsEvent& event) {
    if (lcdsHandlers.find(event.typeName) == lcdsHandlers.end()) {
        return;
    }
    PostJob(
        Format("Event: OnLcdsEvent (%1)", event.typeName),
        [this, message = event] {
            const auto found = lcdsHandlers.find(message.typeName);
            if (found == lcdsHandlers.end()) {
                return;
            }
            // A copy: the handler may subscribe anew and replace its own entry.
            const LcdsHandler handler = found->second;
            handler(message);
        },
        Platform::MonotonicNanoseconds());
}

void AppClient::ClearLcdsHandlers() {
    lcdsHandlers.Reset();
}

}  // namespace Tavix::Client
