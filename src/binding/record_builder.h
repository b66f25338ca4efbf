#pragma once
// Declaring a native record in a few readable lines: the field's offset, native type, record,
// type reference and converter all follow from a pointer to the member.
//
//     DeclareRecord<SearchRequest>(registry, "SearchRequest")
//         .Field("queueId", &SearchRequest::queueId, "The queue to enter")
//         .Field("team", &SearchRequest::team, "Members of the lobby");
//
// Enums and records used by a field must be declared first, as with every typed field.

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <type_traits>

#include "binding/convert.h"
#include "binding/registry.h"
#include "binding/type_builder.h"

namespace Tavix::Client {

// The byte offset of a data member, taken on a never-constructed buffer so that no object and
// no null pointer is involved.
template <typename Record, typename Member>
std::size_t MemberOffset(Member Record::*member) {
    alignas(Record) static unsigned char storage[sizeof(Record)];
    const Record* record = reinterpret_cast<const Record*>(storage);
    return static_cast<std::size_t>(reinterpret_cast<const unsigned char*>(&(record->*member)) -
                                    storage);
}

template <typename Record>
class BindingRecordBuilder {
public:
    explicit BindingRecordBuilder(BindingTypeBuilder builder) : builder_(builder) {}

    template <typename Member>
    BindingRecordBuilder& Field(std::string_view name, Member Record::*member,
                                std::string_view description = {}, std::uint32_t flags = 0,
                                BindingTypeRef shownType = {}) {
        static_assert(kHasBindingFieldCodec<Member>, "no conversion for this native field type");
        builder_.template AddField<Member>(name, MemberOffset(member), description, flags,
                                           shownType);
        return *this;
    }

    BindingRecordBuilder& Description(std::string_view text) {
        builder_.SetDescription(text);
        return *this;
    }

    BindingTypeBuilder& Builder() { return builder_; }
    const BindingTypeDescriptor* Descriptor() const { return builder_.Descriptor(); }

private:
    BindingTypeBuilder builder_;
};

template <typename Record>
BindingRecordBuilder<Record> DeclareRecord(BindingRegistry& registry, std::string_view name) {
    static_assert(kIsBindingRecord<Record>,
                  "a record is a class without a binding kind of its own");
    return BindingRecordBuilder<Record>(registry.DeclareType<Record>(name));
}

// Enumerators are added on the returned builder with `AddEnumerator`.
template <typename Enum>
BindingTypeBuilder DeclareEnum(BindingRegistry& registry, std::string_view name) {
    static_assert(std::is_enum_v<Enum>);
    return registry.DeclareType<Enum>(name);
}

}  // namespace Tavix::Client
