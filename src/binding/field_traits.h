#pragma once
// What the registry needs to know of a native field type: its kind, its element kind, whether it
// is optional, and which declared type (enum or struct, itself or as element) describes it.
//
//   bool, every integer width, float, double      the numeric kinds
//   std::string                                   String
//   BindingValue                                  Object
//   std::vector<std::uint8_t>                     Blob
//   BindingCallback                               Callback
//   std::vector<T>                                Vector of T's kind
//   std::map<std::string, T>                      Map of T's kind
//   std::optional<T>                              T's kind, optional
//   any enum                                      Enum
//   any other class                               Struct

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <type_traits>
#include <vector>

#include "binding/binding_kind.h"

namespace Tavix::Client {

class BindingValue;

// The native form of a field of kind "callback": the identifier the caller gave the callback.
struct BindingCallback {
    std::uint32_t id = 0;
};

namespace Internal {

template <typename T>
constexpr BindingKind IntegerKind() {
    constexpr bool isSigned = std::is_signed_v<T>;
    switch (sizeof(T)) {
        case 1:
            return isSigned ? BindingKind::Int8 : BindingKind::Uint8;
        case 2:
            return isSigned ? BindingKind::Int16 : BindingKind::Uint16;
        case 4:
            return isSigned ? BindingKind::Int32 : BindingKind::Uint32;
        default:
            return isSigned ? BindingKind::Int64 : BindingKind::Uint64;
    }
}

}  // namespace Internal

// The primary template covers scalars, enums and structs; the containers have their own below.
// `Described` is the native type whose descriptor the reference carries, or void.
template <typename T, typename Enable = void>
struct BindingFieldTraits {
    static constexpr BindingKind kind = std::is_same_v<T, bool>     ? BindingKind::Bool
                                        : std::is_same_v<T, float>  ? BindingKind::Float
                                        : std::is_same_v<T, double> ? BindingKind::Double
                                        : std::is_integral_v<T>     ? Internal::IntegerKind<T>()
                                        : std::is_enum_v<T>         ? BindingKind::Enum
                                        : std::is_same_v<T, std::string>     ? BindingKind::String
                                        : std::is_same_v<T, BindingValue>    ? BindingKind::Object
                                        : std::is_same_v<T, BindingCallback> ? BindingKind::Callback
                                                                             : BindingKind::Struct;
    static constexpr BindingKind elementKind = BindingKind::None;
    static constexpr bool optional = false;
    using Described =
        std::conditional_t<kind == BindingKind::Enum || kind == BindingKind::Struct, T, void>;

    static_assert(std::is_enum_v<T> || std::is_arithmetic_v<T> || std::is_class_v<T>,
                  "no binding kind for this native type");
};

template <>
struct BindingFieldTraits<std::vector<std::uint8_t>> {
    static constexpr BindingKind kind = BindingKind::Blob;
    static constexpr BindingKind elementKind = BindingKind::None;
    static constexpr bool optional = false;
    using Described = void;
};

template <typename T>
struct BindingFieldTraits<std::vector<T>, std::enable_if_t<!std::is_same_v<T, std::uint8_t>>> {
    static constexpr BindingKind kind = BindingKind::Vector;
    static constexpr BindingKind elementKind = BindingFieldTraits<T>::kind;
    static constexpr bool optional = false;
    using Described = typename BindingFieldTraits<T>::Described;
};

template <typename T>
struct BindingFieldTraits<std::map<std::string, T>> {
    static constexpr BindingKind kind = BindingKind::Map;
    static constexpr BindingKind elementKind = BindingFieldTraits<T>::kind;
    static constexpr bool optional = false;
    using Described = typename BindingFieldTraits<T>::Described;
};

template <typename T>
struct BindingFieldTraits<std::optional<T>> {
    static constexpr BindingKind kind = BindingFieldTraits<T>::kind;
    static constexpr BindingKind elementKind = BindingFieldTraits<T>::elementKind;
    static constexpr bool optional = true;
    using Described = typename BindingFieldTraits<T>::Described;
};

}  // namespace Tavix::Client
