#pragma once
// The native records of the types that every registry declares first: the "Full" help records,
// the help format, and the records of asynchronous operations and callbacks.

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "binding/value.h"

namespace Tavix::Client {

// The tag of everything the registry declares of its own. A function with exactly this tag is
// answered by the dispatcher itself when the route lets it (see routing/dispatcher.h).
inline constexpr std::string_view kBuiltinTag = "$builtin";

enum class BindingHelpFormat : std::int32_t {
    Full = 1,
    Epytext = 2,
};

struct BindingFullTypeIdentifier {
    // The kind's text, or the type's name for an enum or struct.
    std::string type;
    // For a vector or map, the element's `type`.
    std::string elementType;
};

struct BindingFullArgumentHelp {
    std::string name;
    std::string description;
    BindingFullTypeIdentifier type;
    bool optional = false;
};

struct BindingFullFunctionHelp {
    std::string name;
    std::string nameSpace;
    std::vector<BindingFullArgumentHelp> arguments;
    BindingFullTypeIdentifier returns;
    std::string description;
    std::string help;
    bool threadSafe = false;
    // For an async function, the name of its result type.
    std::string async;
    std::vector<std::string> tags;
};

struct BindingFullEnumValueHelp {
    std::string name;
    std::string description;
    std::int32_t value = 0;
};

struct BindingFullFieldHelp {
    std::string name;
    std::string description;
    std::uint32_t offset = 0;
    BindingFullTypeIdentifier type;
    bool optional = false;
};

struct BindingFullTypeHelp {
    std::string name;
    std::string nameSpace;
    std::uint32_t size = 0;
    std::string description;
    std::vector<std::string> tags;
    std::vector<BindingFullFieldHelp> fields;
    std::vector<BindingFullEnumValueHelp> values;
};

struct BindingFullEventHelp {
    std::string name;
    std::string nameSpace;
    BindingFullTypeIdentifier type;
    std::string description;
    std::vector<std::string> tags;
};

struct BindingFullApiHelp {
    std::vector<BindingFullFunctionHelp> functions;
    std::vector<BindingFullTypeHelp> types;
    std::vector<BindingFullEventHelp> events;
};

enum class BindingAsyncState : std::int32_t {
    None = 0,
    Running = 1,
    Cancelling = 2,
    Cancelled = 3,
    Succeeded = 4,
    Failed = 5,
};

struct BindingGenericEvent {
    BindingValue data;
};

struct BindingCallbackEvent {
    std::uint32_t id = 0;
    std::vector<BindingValue> parameters;
};

struct BindingGenericAsyncEvent {
    std::uint32_t asyncToken = 0;
    BindingValue data;
};

struct BindingAsyncFailureEvent {
    std::uint32_t asyncToken = 0;
    std::string error;
};

struct BindingAsyncCancelEvent {
    std::uint32_t asyncToken = 0;
};

}  // namespace Tavix::Client
