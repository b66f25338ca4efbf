#pragma once
// Native values of any registered form to dynamic values and back, found by their static type:
// records and enums by their descriptor in the registry, containers by their element's, strings,
// numbers and dynamic values directly.

#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>

#include "binding/convert.h"
#include "binding/field_traits.h"
#include "binding/registry.h"
#include "binding/result.h"
#include "binding/static_type.h"
#include "binding/value.h"

namespace Tavix::Client {

// The descriptor that describes T (itself, or its element for a container), or null when T
// needs none or the registry does not know it.
template <typename T>
const BindingTypeDescriptor* NativeDescriptor(const BindingRegistry* registry) {
    using Described = typename BindingFieldTraits<T>::Described;
    if constexpr (std::is_void_v<Described>) {
        return nullptr;
    } else {
        return registry != nullptr ? registry->FindType(StaticType::Record<Described>()) : nullptr;
    }
}

// The type reference of a native value of type T, as a field of that type would carry it.
template <typename T>
BindingTypeRef NativeTypeRef(const BindingRegistry* registry) {
    using Traits = BindingFieldTraits<T>;
    return BindingTypeRef{Traits::kind, Traits::elementKind, NativeDescriptor<T>(registry)};
}

// The name of T in messages: its declared name when the registry knows it, else the text of its
// static type.
template <typename T>
std::string NativeTypeName(const BindingRegistry* registry) {
    const BindingTypeDescriptor* descriptor = NativeDescriptor<T>(registry);
    if (descriptor != nullptr && BindingFieldTraits<T>::kind != BindingKind::Vector &&
        BindingFieldTraits<T>::kind != BindingKind::Map) {
        return descriptor->name;
    }
    return StaticType::Record<T>().text;
}

// Fills a fresh `result` from `native`; a failure leaves its message in `result`.
template <typename T>
void NativeToValue(BindingResult& result, const T& native, const BindingRegistry* registry) {
    BindingFieldCodec<T>::ToValue(result, native, NativeDescriptor<T>(registry), registry);
}

// Reads `value` into `native`; `label` names the whole value in the messages of `result`.
template <typename T>
void ValueToNative(BindingResult& result, T& native, const BindingValue& value,
                   std::string_view label, const BindingRegistry* registry,
                   std::uint32_t clientId) {
    BindingFieldCodec<T>::Assign(result, native, value, label, NativeDescriptor<T>(registry),
                                 registry, clientId);
}

}  // namespace Tavix::Client
