#include "binding/convert.h"

#include <cerrno>
#include <cmath>
#include <cstdlib>

#include "binding/registry.h"
#include "binding/value_kind.h"
#include "support/format.h"

namespace Tavix::Client {

namespace {

constexpr char kRequired[] = "A value for '%1' is required.";
constexpr char kBoolInvalidType[] =
    "Couldn't assign value to '%1' of type bool because the input is of an invalid type %2.";
constexpr char kBoolIncorrectFormat[] =
    "Value %1 for '%2' of type bool is in an incorrect format. Options are \"true\", \"false\", "
    "\"1\", \"0\".";
constexpr char kInvalidType[] =
    "Couldn't assign value to '%1' of type %2 because the input is of an invalid type %3.";
constexpr char kIncorrectFormat[] = "Value %1 for '%2' of type %3 is in an incorrect format";
constexpr char kOutOfRange[] = "Value %1 for '%2' of type %3 is out of range";
constexpr char kEnumInvalidType[] =
    "Couldn't assign value to '%1' of enum type because the input is of an invalid type %2.";
constexpr char kEnumNotValid[] = "%1 is not a valid %2 enumeration value for '%3'.";
constexpr char kEnumNumberNotValid[] = "%1 is not a valid enumeration value for '%2'.";
constexpr char kNotString[] = "Couldn't assign value to '%1' because the input is not a string.";
constexpr char kNotCollection[] =
    "Couldn't assign value to '%1' of type vector because the input not a collection.";
constexpr char kUnregisteredInput[] =
    "Couldn't assign value to '%1' because the input is an unregistered structure or not a "
    "structure at all.";
constexpr char kNotStructure[] =
    "Couldn't assign value to '%1' of type %2 because the input not a structure.";
constexpr char kMissingRequired[] =
    "Couldn't assign value to '%1' of type %2 because the input structure doesn't have required "
    "field '%3'.";
constexpr char kUnregisteredNative[] =
    "Couldn't convert native value because it's an unregistered structure.";

const char* KindText(const BindingValue& value) {
    return ValueKindName(value.Kind());
}

enum class TextReading { Ok, IncorrectFormat, OutOfRange };

// A text is a number only when the runtime's reading consumes all of it; an embedded NUL
// therefore leaves something behind. The empty text reads as 0.
bool ConsumedAll(std::string_view text, const char* end) {
    return end == text.data() + text.size();
}

TextReading ReadSignedText(std::string_view text, std::int64_t lowest, std::int64_t highest,
                           std::int64_t& out) {
    char* end = nullptr;
    errno = 0;
    const long long read = std::strtoll(text.data(), &end, 0);
    if (!ConsumedAll(text, end)) {
        return TextReading::IncorrectFormat;
    }
    if (errno == ERANGE || read < lowest || read > highest) {
        return TextReading::OutOfRange;
    }
    out = read;
    return TextReading::Ok;
}

// Truncates toward zero. The range test lets NaN and, for the widest kinds, the limit rounded up
// to a power of two through; those land on 0 and on the limit instead of an undefined cast.
std::int64_t TruncateSigned(double input, std::int64_t lowest, std::int64_t highest) {
    if (std::isnan(input)) {
        return 0;
    }
    if (input >= 9223372036854775808.0) {
        return highest;
    }
    if (input < -9223372036854775808.0) {
        return lowest;
    }
    return static_cast<std::int64_t>(input);
}

std::uint64_t TruncateUnsigned(double input, std::uint64_t highest) {
    if (std::isnan(input)) {
        return 0;
    }
    if (input >= 18446744073709551616.0) {
        return highest;
    }
    return static_cast<std::uint64_t>(input);
}

bool FirstNonBlankIsMinus(std::string_view text) {
    for (const char c : text) {
        if (c == ' ' || (c >= '\t' && c <= '\r')) {
            continue;
        }
        return c == '-';
    }
    return false;
}

std::string_view EnumName(const BindingTypeDescriptor* descriptor) {
    return descriptor == nullptr ? std::string_view() : std::string_view(descriptor->name);
}

std::int32_t LowWord(std::uint64_t raw) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(raw));
}

}  // namespace

void FailRequired(BindingResult& result, std::string_view name) {
    result.SetError(Format(kRequired, name));
}

void FailInvalidType(BindingResult& result, std::string_view name, std::string_view typeText,
                     const BindingValue& value) {
    result.SetError(Format(kInvalidType, name, typeText, KindText(value)));
}

void FailNotCollection(BindingResult& result, std::string_view name) {
    result.SetError(Format(kNotCollection, name));
}

bool AssignBool(BindingResult& result, const BindingValue& value, std::string_view name) {
    if (!result.Ok()) {
        return false;
    }
    switch (value.Kind()) {
        case BindingValueKind::Empty:
            FailRequired(result, name);
            return false;
        case BindingValueKind::Bool:
            return value.GetBool();
        case BindingValueKind::String: {
            const std::string_view text = value.GetString();
            if (text == "true" || text == "1") {
                return true;
            }
            if (text == "false" || text == "0") {
                return false;
            }
            result.SetError(Format(kBoolIncorrectFormat, text, name));
            return false;
        }
        default:
            result.SetError(Format(kBoolInvalidType, name, KindText(value)));
            return false;
    }
}

std::int64_t AssignSigned(BindingResult& result, const BindingValue& value, std::string_view name,
                          std::int64_t lowest, std::int64_t highest, std::string_view typeText) {
    if (!result.Ok()) {
        return 0;
    }
    switch (value.Kind()) {
        case BindingValueKind::Empty:
            FailRequired(result, name);
            return 0;
        case BindingValueKind::Signed: {
            const std::int64_t input = value.GetSigned();
            if (input >= lowest && input <= highest) {
                return input;
            }
            result.SetError(Format(kOutOfRange, input, name, typeText));
            return 0;
        }
        case BindingValueKind::Unsigned: {
            const std::uint64_t input = value.GetUnsigned();
            if (highest >= 0 && input <= static_cast<std::uint64_t>(highest)) {
                return static_cast<std::int64_t>(input);
            }
            result.SetError(Format(kOutOfRange, input, name, typeText));
            return 0;
        }
        case BindingValueKind::Float: {
            const double input = value.GetFloat();
            if (!(static_cast<double>(lowest) > input) && !(input > static_cast<double>(highest))) {
                return TruncateSigned(input, lowest, highest);
            }
            result.SetError(Format(kOutOfRange, input, name, typeText));
            return 0;
        }
        case BindingValueKind::String: {
            const std::string_view text = value.GetString();
            std::int64_t read = 0;
            switch (ReadSignedText(text, lowest, highest, read)) {
                case TextReading::Ok:
                    return read;
                case TextReading::IncorrectFormat:
                    result.SetError(Format(kIncorrectFormat, text, name, typeText));
                    return 0;
                case TextReading::OutOfRange:
                    result.SetError(Format(kOutOfRange, text, name, typeText));
                    return 0;
            }
            return 0;
        }
        case BindingValueKind::Enum: {
            const std::int64_t input = value.GetEnum().number;
            if (input >= lowest && input <= highest) {
                return input;
            }
            result.SetError(Format(kOutOfRange, input, name, typeText));
            return 0;
        }
        default:
            FailInvalidType(result, name, typeText, value);
            return 0;
    }
}

std::uint64_t AssignUnsigned(BindingResult& result, const BindingValue& value,
                             std::string_view name, std::uint64_t highest,
                             std::string_view typeText) {
    if (!result.Ok()) {
        return 0;
    }
    switch (value.Kind()) {
        case BindingValueKind::Empty:
            FailRequired(result, name);
            return 0;
        case BindingValueKind::Signed: {
            const std::int64_t input = value.GetSigned();
            if (input >= 0 && static_cast<std::uint64_t>(input) <= highest) {
                return static_cast<std::uint64_t>(input);
            }
            result.SetError(Format(kOutOfRange, input, name, typeText));
            return 0;
        }
        case BindingValueKind::Unsigned: {
            const std::uint64_t input = value.GetUnsigned();
            if (input <= highest) {
                return input;
            }
            result.SetError(Format(kOutOfRange, input, name, typeText));
            return 0;
        }
        case BindingValueKind::Float: {
            const double input = value.GetFloat();
            if (!(input < 0.0) && !(input > static_cast<double>(highest))) {
                return TruncateUnsigned(input, highest);
            }
            result.SetError(Format(kOutOfRange, input, name, typeText));
            return 0;
        }
        case BindingValueKind::String: {
            const std::string_view text = value.GetString();
            char* end = nullptr;
            errno = 0;
            const unsigned long long read = std::strtoull(text.data(), &end, 0);
            if (!ConsumedAll(text, end)) {
                result.SetError(Format(kIncorrectFormat, text, name, typeText));
                return 0;
            }
            // The runtime reads "-1" as the highest number; a sign is a refusal here.
            if (errno == ERANGE || read > highest || FirstNonBlankIsMinus(text)) {
                result.SetError(Format(kOutOfRange, text, name, typeText));
                return 0;
            }
            return read;
        }
        case BindingValueKind::Enum: {
            const std::int32_t input = value.GetEnum().number;
            if (input >= 0 && static_cast<std::uint64_t>(input) <= highest) {
                return static_cast<std::uint64_t>(input);
            }
            result.SetError(Format(kOutOfRange, input, name, typeText));
            return 0;
        }
        default:
            FailInvalidType(result, name, typeText, value);
            return 0;
    }
}

double AssignFloat(BindingResult& result, const BindingValue& value, std::string_view name,
                   double lowest, double highest, std::string_view typeText) {
    if (!result.Ok()) {
        return 0.0;
    }
    switch (value.Kind()) {
        case BindingValueKind::Empty:
            FailRequired(result, name);
            return 0.0;
        case BindingValueKind::Signed:
            return static_cast<double>(value.GetSigned());
        case BindingValueKind::Unsigned:
            return static_cast<double>(value.GetUnsigned());
        case BindingValueKind::Enum:
            return static_cast<double>(value.GetEnum().number);
        case BindingValueKind::Float: {
            const double input = value.GetFloat();
            if (!(lowest > input) && !(input > highest)) {
                return input;
            }
            result.SetError(Format(kOutOfRange, input, name, typeText));
            return 0.0;
        }
        case BindingValueKind::String: {
            const std::string_view text = value.GetString();
            char* end = nullptr;
            errno = 0;
            const double read = std::strtod(text.data(), &end);
            if (!ConsumedAll(text, end)) {
                result.SetError(Format(kIncorrectFormat, text, name, typeText));
                return 0.0;
            }
            if (errno == ERANGE || lowest > read || read > highest) {
                result.SetError(Format(kOutOfRange, text, name, typeText));
                return 0.0;
            }
            return read;
        }
        default:
            FailInvalidType(result, name, typeText, value);
            return 0.0;
    }
}

std::int32_t AssignEnum(BindingResult& result, const BindingValue& value, std::string_view name,
                        const BindingTypeDescriptor* descriptor) {
    if (!result.Ok()) {
        return 0;
    }
    std::int32_t number = 0;
    switch (value.Kind()) {
        case BindingValueKind::Empty:
            FailRequired(result, name);
            return 0;
        case BindingValueKind::Signed:
            number = LowWord(static_cast<std::uint64_t>(value.GetSigned()));
            if (BindingRegistry::IsEnumerator(descriptor, number)) {
                return number;
            }
            result.SetError(Format(kEnumNotValid, value.GetSigned(), EnumName(descriptor), name));
            return 0;
        case BindingValueKind::Unsigned:
            number = LowWord(value.GetUnsigned());
            if (BindingRegistry::IsEnumerator(descriptor, number)) {
                return number;
            }
            result.SetError(Format(kEnumNotValid, value.GetUnsigned(), EnumName(descriptor), name));
            return 0;
        case BindingValueKind::Enum:
            number = value.GetEnum().number;
            if (BindingRegistry::IsEnumerator(descriptor, number)) {
                return number;
            }
            result.SetError(Format(kEnumNotValid, number, EnumName(descriptor), name));
            return 0;
        case BindingValueKind::String: {
            const std::string_view text = value.GetString();
            if (descriptor != nullptr) {
                const auto found = descriptor->enumerators.find(text);
                if (found != descriptor->enumerators.end()) {
                    return found->second.number;
                }
            }
            std::int64_t read = 0;
            if (ReadSignedText(text, std::numeric_limits<std::int64_t>::min(),
                               std::numeric_limits<std::int64_t>::max(), read) == TextReading::Ok) {
                number = LowWord(static_cast<std::uint64_t>(read));
                if (BindingRegistry::IsEnumerator(descriptor, number)) {
                    return number;
                }
            }
            result.SetError(Format(kEnumNotValid, text, EnumName(descriptor), name));
            return 0;
        }
        default:
            result.SetError(Format(kEnumInvalidType, name, KindText(value)));
            return 0;
    }
}

std::string AssignString(BindingResult& result, const BindingValue& value, std::string_view name,
                         const BindingRegistry* registry) {
    if (!result.Ok()) {
        return {};
    }
    switch (value.Kind()) {
        case BindingValueKind::Empty:
            FailRequired(result, name);
            return {};
        case BindingValueKind::String:
            return std::string(value.GetString());
        case BindingValueKind::Enum: {
            const BindingEnumValue& payload = value.GetEnum();
            const char* enumerator = registry == nullptr
                                         ? nullptr
                                         : registry->EnumeratorName(payload.type, payload.number);
            if (enumerator != nullptr) {
                return enumerator;
            }
            result.SetError(Format(kEnumNumberNotValid, payload.number, name));
            return {};
        }
        default:
            result.SetError(Format(kNotString, name));
            return {};
    }
}

void AssignStruct(BindingResult& result, const BindingRegistry* registry, void* nativeAddress,
                  const BindingValue& value, std::string_view name,
                  const BindingTypeDescriptor* descriptor, std::uint32_t clientId) {
    if (!result.Ok()) {
        return;
    }
    if (descriptor == nullptr) {
        result.SetError(Format(kUnregisteredInput, name));
        return;
    }
    if (value.Kind() != BindingValueKind::Structure) {
        result.SetError(Format(kNotStructure, name, descriptor->name));
        return;
    }
    char* record = static_cast<char*>(nativeAddress);
    for (const BindingFieldDescriptor& field : descriptor->fields) {
        if (!result.Ok()) {
            return;
        }
        const BindingValue& input = value.GetField(field.name);
        if (!input.IsEmpty()) {
            if (field.converter != nullptr) {
                field.converter->Assign(result, record + field.offset, input, field.name,
                                        field.type.descriptor, registry, clientId);
            }
        } else if ((field.flags & BindingFieldFlags::Required) != 0) {
            result.SetError(Format(kMissingRequired, name, descriptor->name, field.name));
        }
    }
}

bool IsWorthWriting(const BindingValue& value) {
    switch (value.Kind()) {
        case BindingValueKind::Empty:
            return false;
        case BindingValueKind::Bool:
            return value.GetBool();
        case BindingValueKind::Signed:
        case BindingValueKind::Unsigned:
            return value.GetUnsigned() != 0 || value.GetSigned() != 0;
        case BindingValueKind::Float:
            return value.GetFloat() != 0.0;
        case BindingValueKind::Enum:
            return value.GetEnum().number != 0;
        default:
            return value.Size() != 0;
    }
}

void StructToValue(BindingResult& result, const BindingRegistry* registry,
                   const void* nativeAddress, const BindingTypeDescriptor* descriptor) {
    if (!result.Ok()) {
        return;
    }
    if (descriptor == nullptr) {
        result.SetError(kUnregisteredNative);
        return;
    }
    result.MakeStructure();
    const char* record = static_cast<const char*>(nativeAddress);
    for (const BindingFieldDescriptor& field : descriptor->fields) {
        if (!result.Ok()) {
            return;
        }
        if (field.converter == nullptr) {
            continue;
        }
        BindingResult converted(result.Context());
        field.converter->ToValue(converted, record + field.offset, field.type.descriptor, registry);
        if (!converted.Ok()) {
            result.SetError(converted.ErrorText());
        } else if ((field.flags & BindingFieldFlags::OmitWhenEmpty) == 0 ||
                   IsWorthWriting(converted)) {
            result.Field(field.Name()) = std::move(converted);
        }
    }
}

}  // namespace Tavix::Client
