#include "binding/binding_kind.h"
#include "binding/value_kind.h"

#include <iterator>

namespace Tavix::Client {

const char* KindName(std::uint32_t kind) {
    static constexpr const char* kNames[] = {
        "",       "bool",   "int8",   "uint8",  "int16",    "uint16", "int32",
        "uint32", "int64",  "uint64", "float",  "double",   "string", "object",
        "blob",   "vector", "enum",   "struct", "callback", "map",
    };
    return kind < std::size(kNames) ? kNames[kind] : "";
}

const char* ValueKindName(std::uint32_t kind) {
    static constexpr const char* kNames[] = {
        "empty",  "bool", "signed", "unsigned",   "float",
        "string", "blob", "enum",   "collection", "structure",
    };
    return kind < std::size(kNames) ? kNames[kind] : "";
}

const char* HostTagName(std::uint32_t tag) {
    static constexpr const char* kNames[] = {
        "",       "bool", "signed", "unsigned",   "float",     "string",
        "string", "blob", "blob",   "collection", "structure",
    };
    return tag < std::size(kNames) ? kNames[tag] : "";
}

}  // namespace Tavix::Client
