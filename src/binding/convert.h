#pragma once
// Native records to dynamic values and back, by the descriptors of the registry.
//
// Every operation threads one `BindingResult` through a whole assignment and does nothing once it
// has failed, so the first refusal stops the walk and is the one reported. A failed assignment
// leaves the record partly filled; callers throw it away.
//
// This header also gives every native field form its `BindingConverter` (by specializing
// `BindingConverterFor`), so it must be visible wherever a typed field is declared; the
// declarations in "binding/record_builder.h" include it for that reason.

#include <cstdint>
#include <limits>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "binding/binding_string.h"
#include "binding/converter.h"
#include "binding/descriptors.h"
#include "binding/field_traits.h"
#include "binding/result.h"
#include "binding/static_type.h"
#include "binding/value.h"

namespace Tavix::Client {

class BindingRegistry;

// Reads `value` into the record at `nativeAddress`, field by field in declaration order. `name`
// stands in the messages for the record as a whole (an argument's name, for instance).
void AssignStruct(BindingResult& result, const BindingRegistry* registry, void* nativeAddress,
                  const BindingValue& value, std::string_view name,
                  const BindingTypeDescriptor* descriptor, std::uint32_t clientId);

// Makes `result` a structure holding every field of the record at `nativeAddress`.
void StructToValue(BindingResult& result, const BindingRegistry* registry,
                   const void* nativeAddress, const BindingTypeDescriptor* descriptor);

// The scalar rules. Each returns the native value, or 0 / false / empty after a refusal or when
// `result` had already failed; the caller stores it only while `result` is ok.
bool AssignBool(BindingResult& result, const BindingValue& value, std::string_view name);
std::int64_t AssignSigned(BindingResult& result, const BindingValue& value, std::string_view name,
                          std::int64_t lowest, std::int64_t highest, std::string_view typeText);
std::uint64_t AssignUnsigned(BindingResult& result, const BindingValue& value,
                             std::string_view name, std::uint64_t highest,
                             std::string_view typeText);
double AssignFloat(BindingResult& result, const BindingValue& value, std::string_view name,
                   double lowest, double highest, std::string_view typeText);
std::int32_t AssignEnum(BindingResult& result, const BindingValue& value, std::string_view name,
                        const BindingTypeDescriptor* descriptor);
std::string AssignString(BindingResult& result, const BindingValue& value, std::string_view name,
                         const BindingRegistry* registry);

// Refusals of the container forms, shared by their templates below.
void FailNotCollection(BindingResult& result, std::string_view name);
void FailInvalidType(BindingResult& result, std::string_view name, std::string_view typeText,
                     const BindingValue& value);
void FailRequired(BindingResult& result, std::string_view name);
// Whether a converted field counts as present for `OmitWhenEmpty`.
bool IsWorthWriting(const BindingValue& value);

// How each native form moves between a field and a value. The converters below are thin virtual
// shells around these; containers call their element's codec directly.
template <typename T, typename Enable = void>
struct BindingFieldCodec;

namespace Internal {

template <typename T>
inline constexpr bool kIsOptional = false;
template <typename T>
inline constexpr bool kIsOptional<std::optional<T>> = true;

}  // namespace Internal

template <>
struct BindingFieldCodec<bool> {
    static void Assign(BindingResult& result, bool& native, const BindingValue& value,
                       std::string_view name, const BindingTypeDescriptor*, const BindingRegistry*,
                       std::uint32_t) {
        const bool read = AssignBool(result, value, name);
        if (result.Ok()) {
            native = read;
        }
    }
    static void ToValue(BindingResult& result, const bool& native, const BindingTypeDescriptor*,
                        const BindingRegistry*) {
        result.ResetToOk();
        result.SetBool(native);
    }
};

template <typename T>
struct BindingFieldCodec<T, std::enable_if_t<std::is_integral_v<T> && std::is_signed_v<T>>> {
    static void Assign(BindingResult& result, T& native, const BindingValue& value,
                       std::string_view name, const BindingTypeDescriptor*, const BindingRegistry*,
                       std::uint32_t) {
        const std::int64_t read =
            AssignSigned(result, value, name, std::numeric_limits<T>::min(),
                         std::numeric_limits<T>::max(), KindName(BindingFieldTraits<T>::kind));
        if (result.Ok()) {
            native = static_cast<T>(read);
        }
    }
    static void ToValue(BindingResult& result, const T& native, const BindingTypeDescriptor*,
                        const BindingRegistry*) {
        result.ResetToOk();
        result.SetSigned(native);
    }
};

template <typename T>
struct BindingFieldCodec<T, std::enable_if_t<std::is_integral_v<T> && std::is_unsigned_v<T> &&
                                             !std::is_same_v<T, bool>>> {
    static void Assign(BindingResult& result, T& native, const BindingValue& value,
                       std::string_view name, const BindingTypeDescriptor*, const BindingRegistry*,
                       std::uint32_t) {
        const std::uint64_t read =
            AssignUnsigned(result, value, name, std::numeric_limits<T>::max(),
                           KindName(BindingFieldTraits<T>::kind));
        if (result.Ok()) {
            native = static_cast<T>(read);
        }
    }
    static void ToValue(BindingResult& result, const T& native, const BindingTypeDescriptor*,
                        const BindingRegistry*) {
        result.ResetToOk();
        result.SetUnsigned(native);
    }
};

template <typename T>
struct BindingFieldCodec<T, std::enable_if_t<std::is_floating_point_v<T>>> {
    static_assert(std::is_same_v<T, float> || std::is_same_v<T, double>);
    static void Assign(BindingResult& result, T& native, const BindingValue& value,
                       std::string_view name, const BindingTypeDescriptor*, const BindingRegistry*,
                       std::uint32_t) {
        const double limit = std::numeric_limits<T>::max();
        const double read =
            AssignFloat(result, value, name, -limit, limit, KindName(BindingFieldTraits<T>::kind));
        if (result.Ok()) {
            native = static_cast<T>(read);
        }
    }
    static void ToValue(BindingResult& result, const T& native, const BindingTypeDescriptor*,
                        const BindingRegistry*) {
        result.ResetToOk();
        result.SetFloat(native);
    }
};

template <>
struct BindingFieldCodec<std::string> {
    static void Assign(BindingResult& result, std::string& native, const BindingValue& value,
                       std::string_view name, const BindingTypeDescriptor*,
                       const BindingRegistry* registry, std::uint32_t) {
        std::string read = AssignString(result, value, name, registry);
        if (result.Ok()) {
            native = std::move(read);
        }
    }
    static void ToValue(BindingResult& result, const std::string& native,
                        const BindingTypeDescriptor*, const BindingRegistry*) {
        result.ResetToOk();
        result.SetString(HashedName(native));
    }
};

template <>
struct BindingFieldCodec<BindingValue> {
    static void Assign(BindingResult& result, BindingValue& native, const BindingValue& value,
                       std::string_view, const BindingTypeDescriptor*, const BindingRegistry*,
                       std::uint32_t) {
        // Copy assignment copies before it releases, so an input inside `native` survives.
        if (result.Ok() && &value != &native) {
            native = value;
        }
    }
    static void ToValue(BindingResult& result, const BindingValue& native,
                        const BindingTypeDescriptor*, const BindingRegistry*) {
        result.ResetToOk();
        static_cast<BindingValue&>(result) = native;
    }
};

template <>
struct BindingFieldCodec<std::vector<std::uint8_t>> {
    static void Assign(BindingResult& result, std::vector<std::uint8_t>& native,
                       const BindingValue& value, std::string_view name,
                       const BindingTypeDescriptor*, const BindingRegistry*, std::uint32_t) {
        if (!result.Ok()) {
            return;
        }
        if (value.IsEmpty()) {
            FailRequired(result, name);
        } else if (value.Kind() != BindingValueKind::Blob) {
            FailInvalidType(result, name, "blob", value);
        } else {
            const auto bytes = value.GetBlob();
            native.assign(bytes.begin(), bytes.end());
        }
    }
    static void ToValue(BindingResult& result, const std::vector<std::uint8_t>& native,
                        const BindingTypeDescriptor*, const BindingRegistry*) {
        result.ResetToOk();
        result.SetBlob(std::span<const std::uint8_t>(native));
    }
};

template <>
struct BindingFieldCodec<BindingCallback> {
    static void Assign(BindingResult& result, BindingCallback& native, const BindingValue& value,
                       std::string_view name, const BindingTypeDescriptor*, const BindingRegistry*,
                       std::uint32_t) {
        const std::uint64_t read =
            AssignUnsigned(result, value, name, std::numeric_limits<std::uint32_t>::max(),
                           KindName(BindingKind::Callback));
        if (result.Ok()) {
            native.id = static_cast<std::uint32_t>(read);
        }
    }
    static void ToValue(BindingResult& result, const BindingCallback& native,
                        const BindingTypeDescriptor*, const BindingRegistry*) {
        result.ResetToOk();
        result.SetUnsigned(native.id);
    }
};

template <typename T>
struct BindingFieldCodec<T, std::enable_if_t<std::is_enum_v<T>>> {
    static void Assign(BindingResult& result, T& native, const BindingValue& value,
                       std::string_view name, const BindingTypeDescriptor* descriptor,
                       const BindingRegistry*, std::uint32_t) {
        const std::int32_t read = AssignEnum(result, value, name, descriptor);
        if (result.Ok()) {
            native = static_cast<T>(static_cast<std::underlying_type_t<T>>(read));
        }
    }
    static void ToValue(BindingResult& result, const T& native, const BindingTypeDescriptor*,
                        const BindingRegistry*) {
        result.ResetToOk();
        result.SetEnum(static_cast<std::int32_t>(static_cast<std::underlying_type_t<T>>(native)),
                       &StaticType::Record<T>());
    }
};

template <typename T>
inline constexpr bool kIsBindingRecord = std::is_class_v<T> && !Internal::kIsOptional<T> &&
                                         BindingFieldTraits<T>::kind == BindingKind::Struct;

template <typename T>
struct BindingFieldCodec<T, std::enable_if_t<kIsBindingRecord<T>>> {
    static void Assign(BindingResult& result, T& native, const BindingValue& value,
                       std::string_view name, const BindingTypeDescriptor* descriptor,
                       const BindingRegistry* registry, std::uint32_t clientId) {
        if (!result.Ok()) {
            return;
        }
        if (value.IsEmpty()) {
            FailRequired(result, name);
            return;
        }
        AssignStruct(result, registry, &native, value, name, descriptor, clientId);
    }
    static void ToValue(BindingResult& result, const T& native,
                        const BindingTypeDescriptor* descriptor, const BindingRegistry* registry) {
        StructToValue(result, registry, &native, descriptor);
    }
};

template <typename T>
struct BindingFieldCodec<std::vector<T>, std::enable_if_t<!std::is_same_v<T, std::uint8_t>>> {
    static void Assign(BindingResult& result, std::vector<T>& native, const BindingValue& value,
                       std::string_view name, const BindingTypeDescriptor* descriptor,
                       const BindingRegistry* registry, std::uint32_t clientId) {
        native.clear();
        if (!result.Ok()) {
            return;
        }
        if (value.Kind() != BindingValueKind::Collection) {
            FailNotCollection(result, name);
            return;
        }
        const auto elements = value.Elements();
        native.resize(elements.size());
        for (std::size_t i = 0; i < elements.size() && result.Ok(); ++i) {
            if (!elements[i].IsEmpty()) {
                AssignElement(result, native, i, elements[i], name, descriptor, registry, clientId);
            }
        }
    }
    static void ToValue(BindingResult& result, const std::vector<T>& native,
                        const BindingTypeDescriptor* descriptor, const BindingRegistry* registry) {
        result.MakeCollection();
        result.Reserve(native.size());
        for (std::size_t i = 0; i < native.size() && result.Ok(); ++i) {
            BindingResult element(result.Context());
            ToValueElement(element, native, i, descriptor, registry);
            if (element.Ok()) {
                result.At(i) = std::move(element);
            } else {
                result.SetError(element.ErrorText());
            }
        }
    }

private:
    // std::vector<bool> hands out proxies, so its elements go through a local.
    static void AssignElement(BindingResult& result, std::vector<T>& native, std::size_t i,
                              const BindingValue& element, std::string_view name,
                              const BindingTypeDescriptor* descriptor,
                              const BindingRegistry* registry, std::uint32_t clientId) {
        if constexpr (std::is_same_v<T, bool>) {
            bool local = false;
            BindingFieldCodec<bool>::Assign(result, local, element, name, descriptor, registry,
                                            clientId);
            native[i] = local;
        } else {
            BindingFieldCodec<T>::Assign(result, native[i], element, name, descriptor, registry,
                                         clientId);
        }
    }
    static void ToValueElement(BindingResult& element, const std::vector<T>& native, std::size_t i,
                               const BindingTypeDescriptor* descriptor,
                               const BindingRegistry* registry) {
        if constexpr (std::is_same_v<T, bool>) {
            const bool local = native[i];
            BindingFieldCodec<bool>::ToValue(element, local, descriptor, registry);
        } else {
            BindingFieldCodec<T>::ToValue(element, native[i], descriptor, registry);
        }
    }
};

// A map is a structure with one field per key.
template <typename T>
struct BindingFieldCodec<std::map<std::string, T>> {
    static void Assign(BindingResult& result, std::map<std::string, T>& native,
                       const BindingValue& value, std::string_view name,
                       const BindingTypeDescriptor* descriptor, const BindingRegistry* registry,
                       std::uint32_t clientId) {
        native.clear();
        if (!result.Ok()) {
            return;
        }
        if (value.Kind() != BindingValueKind::Structure) {
            FailInvalidType(result, name, KindName(BindingKind::Map), value);
            return;
        }
        value.ForEachField([&](const BindingString& key, const BindingValue& field) {
            if (result.Ok() && !field.IsEmpty()) {
                BindingFieldCodec<T>::Assign(result, native[std::string(key.View())], field, name,
                                             descriptor, registry, clientId);
            }
        });
    }
    static void ToValue(BindingResult& result, const std::map<std::string, T>& native,
                        const BindingTypeDescriptor* descriptor, const BindingRegistry* registry) {
        result.ResetToOk();
        result.MakeStructure();
        for (const auto& [key, element] : native) {
            BindingResult converted(result.Context());
            BindingFieldCodec<T>::ToValue(converted, element, descriptor, registry);
            if (!converted.Ok()) {
                result.SetError(converted.ErrorText());
                return;
            }
            result.Field(HashedName(key)) = std::move(converted);
        }
    }
};

template <typename T>
struct BindingFieldCodec<std::optional<T>> {
    static void Assign(BindingResult& result, std::optional<T>& native, const BindingValue& value,
                       std::string_view name, const BindingTypeDescriptor* descriptor,
                       const BindingRegistry* registry, std::uint32_t clientId) {
        if (!result.Ok() || value.IsEmpty()) {
            return;
        }
        T inner{};
        BindingFieldCodec<T>::Assign(result, inner, value, name, descriptor, registry, clientId);
        if (result.Ok()) {
            native = std::move(inner);
        }
    }
    static void ToValue(BindingResult& result, const std::optional<T>& native,
                        const BindingTypeDescriptor* descriptor, const BindingRegistry* registry) {
        if (native.has_value()) {
            BindingFieldCodec<T>::ToValue(result, *native, descriptor, registry);
        } else {
            result.ResetToOk();
        }
    }
};

// The converter object of one native field form.
template <typename T>
class BindingTypedConverter final : public BindingConverter {
public:
    void Assign(BindingResult& result, void* nativeAddress, const BindingValue& value,
                std::string_view fieldName, const BindingTypeDescriptor* typeDescriptor,
                const BindingRegistry* registry, std::uint32_t clientId) const override {
        BindingFieldCodec<T>::Assign(result, *static_cast<T*>(nativeAddress), value, fieldName,
                                     typeDescriptor, registry, clientId);
    }
    void ToValue(BindingResult& result, const void* nativeAddress,
                 const BindingTypeDescriptor* typeDescriptor,
                 const BindingRegistry* registry) const override {
        BindingFieldCodec<T>::ToValue(result, *static_cast<const T*>(nativeAddress), typeDescriptor,
                                      registry);
    }
};

template <typename T, typename = void>
inline constexpr bool kHasBindingFieldCodec = false;
template <typename T>
inline constexpr bool
    kHasBindingFieldCodec<T, std::void_t<decltype(sizeof(BindingFieldCodec<T>))>> = true;

template <typename T>
struct BindingConverterFor<T, std::enable_if_t<kHasBindingFieldCodec<T>>> {
    static std::unique_ptr<BindingConverter> Make() {
        return std::make_unique<BindingTypedConverter<T>>();
    }
};

}  // namespace Tavix::Client
