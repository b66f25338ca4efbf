#pragma once
// The descriptions that declaration code leaves in the registry: types with their fields or
// enumerators, functions with their arguments, and events. The registry owns them; each stays at
// its address until it is removed, so pointers to them may be kept.

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "binding/binding_kind.h"
#include "binding/converter.h"
#include "binding/hashed_name.h"
#include "binding/static_type.h"

namespace Tavix::Client {

class BindingRegistry;
struct BindingTypeDescriptor;
struct BindingFunctionDescriptor;

// A full type reference. A list of records is (Vector, Struct, descriptor), a record is
// (Struct, None, descriptor), a list of numbers (Vector, Uint64, null).
struct BindingTypeRef {
    BindingKind kind = BindingKind::None;
    BindingKind elementKind = BindingKind::None;
    const BindingTypeDescriptor* descriptor = nullptr;

    bool IsSet() const { return kind != BindingKind::None; }
    friend bool operator==(const BindingTypeRef&, const BindingTypeRef&) = default;
};

struct BindingFieldFlags {
    static constexpr std::uint32_t OmitWhenEmpty = 1u << 0;
    static constexpr std::uint32_t Required = 1u << 1;
};

struct BindingFieldDescriptor {
    std::string name;
    std::uint32_t nameHash = kFnv1aBasis;
    std::string description;
    std::size_t offset = 0;
    const StaticTypeRecord* record = nullptr;
    BindingTypeRef type;
    // When set, the host tables show this in place of `type`.
    BindingTypeRef shownType;
    std::uint32_t flags = 0;
    std::unique_ptr<BindingConverter> converter;
    BindingTypeDescriptor* owner = nullptr;
    // The native form is an optional value; help reports it, its converter acts on it.
    bool optional = false;

    HashedName Name() const { return HashedName(name, nameHash); }
};

struct BindingEnumerator {
    std::int32_t number = 0;
    std::string name;
    std::string description;
    BindingTypeDescriptor* owner = nullptr;
};

struct BindingTypeDescriptor {
    // Native size of the record; for an enum the size of its underlying integer.
    std::uint32_t size = 0;
    bool isEnum = false;
    std::string name;
    std::uint32_t identity = 0;
    const StaticTypeRecord* record = nullptr;
    std::string nameSpace;
    std::string description;
    std::vector<std::string> tags;
    // Declaration order.
    std::vector<BindingFieldDescriptor> fields;
    // Ascending by name, so an enum has at most one enumerator of a name.
    std::map<std::string, BindingEnumerator, std::less<>> enumerators;
    BindingRegistry* registry = nullptr;
};

struct BindingArgumentDescriptor {
    std::string name;
    std::uint32_t nameHash = kFnv1aBasis;
    std::string description;
    bool optional = false;
    BindingTypeRef type;
    BindingTypeRef shownType;
    BindingFunctionDescriptor* owner = nullptr;

    HashedName Name() const { return HashedName(name, nameHash); }
};

// What a declared function keeps of its native handler. The dispatcher derives from it; the
// descriptor owns it and destroys it when the function is removed.
class BindingFunctionHandler {
public:
    virtual ~BindingFunctionHandler() = default;
};

struct BindingFunctionDescriptor {
    std::string name;
    // Fixed length, given when the function is declared.
    std::vector<BindingArgumentDescriptor> arguments;
    BindingTypeRef returnType;
    BindingTypeRef shownReturnType;
    std::vector<std::string> tags;
    std::string nameSpace;
    std::string description;
    std::string help;
    bool threadSafe = false;
    bool async = false;
    std::unique_ptr<BindingFunctionHandler> handler;
    BindingRegistry* registry = nullptr;
};

struct BindingEventDescriptor {
    std::string name;
    const BindingTypeDescriptor* type = nullptr;
    std::string nameSpace;
    std::string description;
    std::vector<std::string> tags;
};

}  // namespace Tavix::Client
