#pragma once
// The kind number of a declared type. The same numbers travel in the host tables, where a kind
// outside 1 to 19 is written as 0.

#include <cstdint>

namespace Tavix::Client {

enum class BindingKind : std::uint32_t {
    None = 0,
    Bool = 1,
    Int8 = 2,
    Uint8 = 3,
    Int16 = 4,
    Uint16 = 5,
    Int32 = 6,
    Uint32 = 7,
    Int64 = 8,
    Uint64 = 9,
    Float = 10,
    Double = 11,
    String = 12,
    Object = 13,
    Blob = 14,
    Vector = 15,
    Enum = 16,
    Struct = 17,
    Callback = 18,
    Map = 19,
};

// "bool", "int8", ... "map"; the empty text for a number outside 1 to 19.
const char* KindName(std::uint32_t kind);
inline const char* KindName(BindingKind kind) {
    return KindName(static_cast<std::uint32_t>(kind));
}

}  // namespace Tavix::Client
