#pragma once
// The reflection of the framework: every struct, enum, function and event a module exposes,
// declared in code at start. Conversions find types here by their 32-bit identity; the host
// tables and the API help are generated from it.
//
// The tables are guarded by one plain mutex; the descriptors are not, and are read without it.
// Declarations run at module start, before the module serves calls.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "binding/descriptors.h"
#include "binding/function_builder.h"
#include "binding/static_type.h"
#include "binding/type_builder.h"
#include "support/fnv1a.h"

namespace Tavix::Client {

struct BindingEventDeclaration {
    BindingEventDescriptor* event;
    bool existed;
};

class BindingRegistry {
public:
    BindingRegistry();
    virtual ~BindingRegistry();
    BindingRegistry(const BindingRegistry&) = delete;
    BindingRegistry& operator=(const BindingRegistry&) = delete;

    // The name decides whether a type exists: a second declaration of a name returns an inert
    // builder, whatever its record. A record with the reserved "none" identity is not entered
    // in the identity table.
    BindingTypeBuilder DeclareType(std::uint32_t size, std::string_view name,
                                   const StaticTypeRecord& record, bool isEnum);
    template <typename T>
    BindingTypeBuilder DeclareType(std::string_view name) {
        static_assert(std::is_class_v<T> || std::is_enum_v<T>, "only structs and enums");
        return DeclareType(static_cast<std::uint32_t>(sizeof(T)), name, StaticType::Record<T>(),
                           std::is_enum_v<T>);
    }

    // Description and tags are the caller's to set when the event did not exist before.
    BindingEventDeclaration DeclareEvent(std::string_view name, const BindingTypeDescriptor* type);

    // A function that is not temporary enters the table and raises the generation; a temporary
    // one is held by the builder until it is taken.
    BindingFunctionBuilder DeclareFunction(std::string_view name, std::size_t argumentCount,
                                           bool temporary = false);

    BindingTypeDescriptor* FindType(const StaticTypeRecord* record) const;
    BindingTypeDescriptor* FindType(const StaticTypeRecord& record) const {
        return FindType(&record);
    }
    BindingTypeDescriptor* FindTypeByName(std::string_view name) const;
    BindingFunctionDescriptor* FindFunction(std::string_view name) const;
    BindingEventDescriptor* FindEvent(std::string_view name) const;

    // Copies of the tables taken under the lock, in no order of meaning.
    std::vector<BindingFunctionDescriptor*> Functions() const;
    std::vector<BindingTypeDescriptor*> Types() const;
    std::vector<BindingEventDescriptor*> Events() const;

    void RemoveFunction(const BindingFunctionDescriptor* descriptor);
    void RemoveEvent(std::string_view name);
    void RemoveType(const BindingTypeDescriptor* descriptor);

    // The name of the first enumerator, in name order, that has this number, in the enum found
    // by record; null if there is none or no such enum.
    const char* EnumeratorName(const StaticTypeRecord* record, std::int32_t number) const;
    // (Enum or Struct, None, descriptor), or an unset reference when the record is unknown.
    BindingTypeRef TypeRefOf(const StaticTypeRecord* record) const;
    static bool IsEnumerator(const BindingTypeDescriptor* descriptor, std::int32_t number);

    // Back to the builtins alone.
    void Reset();
    void RegisterBuiltins();

    std::uint32_t Generation() const;
    bool BuiltinsRegistered() const;

private:
    friend class BindingFunctionBuilder;
    friend class BindingTypeBuilder;

    void RemoveEverything();

    mutable std::mutex lock_;
    FrameHashMap<std::string, std::unique_ptr<BindingFunctionDescriptor>> functions_;
    FrameHashMap<std::string, std::unique_ptr<BindingEventDescriptor>> events_;
    FrameHashMap<std::string, std::unique_ptr<BindingTypeDescriptor>> typesByName_;
    FrameHashMap<std::uint32_t, BindingTypeDescriptor*> typesByIdentity_;
    std::uint32_t generation_ = 0;
    bool builtinsRegistered_ = false;
};

}  // namespace Tavix::Client
