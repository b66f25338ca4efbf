#pragma once

#include <cstdint>
#include <string>
#include <unordered_map>

namespace Tavix::Client {

// One typed value of a failure's parameters, or of a named pattern's arguments.
struct MessageParameter {
    // Values of `type`; any other value means that the parameter holds nothing.
    static constexpr std::int32_t kNone = 0;
    static constexpr std::int32_t kBool = 1;
    static constexpr std::int32_t kSigned = 2;
    static constexpr std::int32_t kUnsigned = 3;
    static constexpr std::int32_t kDouble = 4;
    static constexpr std::int32_t kString = 5;

    std::int32_t type = kNone;
    std::string text;
    union {
        bool boolValue;
        std::int64_t signedValue;
        std::uint64_t unsignedValue;
        double doubleValue;
    } value{.signedValue = 0};

    static MessageParameter Bool(bool flag);
    static MessageParameter Signed(std::int64_t number);
    static MessageParameter Unsigned(std::uint64_t number);
    static MessageParameter Double(double number);
    static MessageParameter String(std::string content);

    bool HasValue() const { return type >= kBool && type <= kString; }
    bool IsInteger() const { return type == kSigned || type == kUnsigned; }

    // False, 0, 0.0, an empty string, or no value at all.
    bool IsEmpty() const;

    friend bool operator==(const MessageParameter& left, const MessageParameter& right);
};

// The named values of a failure; keys are the parameter names of its pattern.
using MessageParameterMap = std::unordered_map<std::string, MessageParameter>;

}  // namespace Tavix::Client
