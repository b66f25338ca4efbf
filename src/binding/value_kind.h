#pragma once
// The tag of a dynamic value, and the words that messages use for it and for the tags of a
// HostValue.

#include <cstdint>

namespace Tavix::Client {

enum class BindingValueKind : std::uint8_t {
    Empty = 0,
    Bool = 1,
    Signed = 2,
    Unsigned = 3,
    Float = 4,
    String = 5,
    Blob = 6,
    Enum = 7,
    Collection = 8,
    Structure = 9,
};

// "empty", "bool", ... "structure"; the empty text for any other number.
const char* ValueKindName(std::uint32_t kind);
inline const char* ValueKindName(BindingValueKind kind) {
    return ValueKindName(static_cast<std::uint32_t>(kind));
}

// The printable name of a HostValue tag: both string tags read "string", both blob tags "blob";
// tag 0 and every number above 10 give the empty text.
const char* HostTagName(std::uint32_t tag);

}  // namespace Tavix::Client
