#pragma once
// The handle that declaration code uses to describe a struct or an enum. A builder of a type
// that was declared before is inert: every call returns at once, so the first declaration wins.

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

// The converters of the native field forms: every typed declaration must see the same ones, or
// two declarations of one field type could end with different converters.
#include "binding/convert.h"
#include "binding/converter.h"
#include "binding/descriptors.h"
#include "binding/field_traits.h"
#include "binding/static_type.h"

namespace Tavix::Client {

class BindingRegistry;

class BindingTypeBuilder {
public:
    BindingTypeBuilder(BindingRegistry* registry, BindingTypeDescriptor* descriptor, bool existed)
        : registry_(registry), descriptor_(descriptor), existed_(existed) {}

    bool Existed() const { return existed_; }
    BindingTypeDescriptor* Descriptor() const { return descriptor_; }

    BindingTypeBuilder& SetDescription(std::string_view description);

    // Appends a field. Nothing checks that field names are unique.
    BindingTypeBuilder& AddField(std::string_view name, std::string_view description,
                                 std::size_t offset, const StaticTypeRecord* record,
                                 BindingTypeRef type, BindingTypeRef shownType, std::uint32_t flags,
                                 std::unique_ptr<BindingConverter> converter, bool optional);

    // The typed form: record, type reference and converter follow from the native type T. An
    // enum or struct (itself or as element) must have been declared already; otherwise the
    // reference's descriptor stays null.
    template <typename T>
    BindingTypeBuilder& AddField(std::string_view name, std::size_t offset,
                                 std::string_view description = {}, std::uint32_t flags = 0,
                                 BindingTypeRef shownType = {}) {
        if (existed_) {
            return *this;
        }
        using Traits = BindingFieldTraits<T>;
        BindingTypeRef type{Traits::kind, Traits::elementKind, nullptr};
        if constexpr (!std::is_void_v<typename Traits::Described>) {
            type.descriptor = DescriptorOf(StaticType::Record<typename Traits::Described>());
        }
        return AddField(name, description, offset, &StaticType::Record<T>(), type, shownType, flags,
                        BindingConverterFor<T>::Make(), Traits::optional);
    }

    // Inserts or replaces the enumerator of that name.
    BindingTypeBuilder& AddEnumerator(std::string_view name, std::int32_t number,
                                      std::string_view description = {});

    // An empty text adds no tag.
    BindingTypeBuilder& AddTag(std::string_view text);
    BindingTypeBuilder& AddTags(std::initializer_list<std::string_view> tags);
    BindingTypeBuilder& AddTags(const std::vector<std::string>& tags);

private:
    const BindingTypeDescriptor* DescriptorOf(const StaticTypeRecord& record) const;

    BindingRegistry* registry_;
    BindingTypeDescriptor* descriptor_;
    std::size_t index_ = 0;
    bool existed_;
};

}  // namespace Tavix::Client
