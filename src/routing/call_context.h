#pragma once
// What a handler may learn of the request that called it. A handler asks for it by taking
// `const CallContext&` as its first parameter, before the route's arguments; every other handler
// is called without one being filled.

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "binding/static_type.h"
#include "binding/value.h"
#include "support/fnv1a.h"

namespace Tavix::Client {

class BindingRegistry;

// The two identities by which a handler's context type says that it wants the request's context.
inline constexpr std::uint32_t kCallContextIdentity = 0x466F9860u;
inline constexpr std::uint32_t kCallContextAlternateIdentity = 0x89462EBFu;

struct CallContext {
    // The bound value of each argument of the function, in order.
    std::span<const BindingValue> arguments;
    std::uint32_t clientId = 0;
    const BindingRegistry* registry = nullptr;
    // Monotonic nanoseconds when the call began.
    std::int64_t startTicks = 0;
    std::uint32_t method = 0;
    std::string_view methodText;
    std::string_view url;
    // A later header of a name replaces an earlier one.
    FrameHashMap<std::string, std::string> headers;
};

constexpr StaticTypeOptions StaticTypeOptionsOf(CallContext*) {
    return {.identity = kCallContextIdentity};
}

}  // namespace Tavix::Client
