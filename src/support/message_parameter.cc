#include "support/message_parameter.h"

#include <utility>

namespace Tavix::Client {

MessageParameter MessageParameter::Bool(bool flag) {
    MessageParameter parameter;
    parameter.type = kBool;
    parameter.value.boolValue = flag;
    return parameter;
}

MessageParameter MessageParameter::Signed(std::int64_t number) {
    MessageParameter parameter;
    parameter.type = kSigned;
    parameter.value.signedValue = number;
    return parameter;
}

MessageParameter MessageParameter::Unsigned(std::uint64_t number) {
    MessageParameter parameter;
    parameter.type = kUnsigned;
    parameter.value.unsignedValue = number;
    return parameter;
}

MessageParameter MessageParameter::Double(double number) {
    MessageParameter parameter;
    parameter.type = kDouble;
    parameter.value.doubleValue = number;
    return parameter;
}

MessageParameter MessageParameter::String(std::string content) {
    MessageParameter parameter;
    parameter.type = kString;
    parameter.text = std::move(content);
    return parameter;
}

bool MessageParameter::IsEmpty() const {
    switch (type) {
        case kBool:
            return !value.boolValue;
        case kSigned:
            return value.signedValue == 0;
        case kUnsigned:
            return value.unsignedValue == 0;
        case kDouble:
            return value.doubleValue == 0.0;
        case kString:
            return text.empty();
        default:
            return true;
    }
}

bool operator==(const MessageParameter& left, const MessageParameter& right) {
    if (left.type != right.type) {
        return false;
    }
    switch (left.type) {
        case MessageParameter::kBool:
            return left.value.boolValue == right.value.boolValue;
        case MessageParameter::kSigned:
            return left.value.signedValue == right.value.signedValue;
        case MessageParameter::kUnsigned:
            return left.value.unsignedValue == right.value.unsignedValue;
        case MessageParameter::kDouble:
            return left.value.doubleValue == right.value.doubleValue;
        case MessageParameter::kString:
            return left.text == right.text;
        default:
            return true;
    }
}

}  // namespace Tavix::Client
