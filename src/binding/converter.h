#pragma once
// The object that moves one native field to and from a dynamic value. Each declared field and
// argument owns one; the objects hold no state, so the same kind of field always behaves alike.

#include <cstdint>
#include <memory>
#include <string_view>

namespace Tavix::Client {

class BindingResult;
class BindingValue;
class BindingRegistry;
struct BindingTypeDescriptor;

class BindingConverter {
public:
    virtual ~BindingConverter() = default;

    // Native from value: reads `value` into the field at `nativeAddress`. Refusals go into
    // `result` as messages that name `fieldName`. `clientId` is passed on unchanged to nested
    // assignments.
    virtual void Assign(BindingResult& result, void* nativeAddress, const BindingValue& value,
                        std::string_view fieldName, const BindingTypeDescriptor* typeDescriptor,
                        const BindingRegistry* registry, std::uint32_t clientId) const = 0;

    // Value from native: fills `result` from the field at `nativeAddress`.
    virtual void ToValue(BindingResult& result, const void* nativeAddress,
                         const BindingTypeDescriptor* typeDescriptor,
                         const BindingRegistry* registry) const = 0;
};

// Supplies the converter of a native field type to the typed declarations. The conversion layer
// specializes it per native form; a type it does not know gets no converter.
template <typename T, typename Enable = void>
struct BindingConverterFor {
    static std::unique_ptr<BindingConverter> Make() { return nullptr; }
};

}  // namespace Tavix::Client
