#pragma once

#include <concepts>
#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>

namespace Tavix::Client {

// The row of an argument of `Format`: which conversions it accepts, which one it takes by
// default, and whether it can stand for a `*` width or precision.
enum class FormatArgumentKind : std::uint8_t {
    Int32,
    UInt32,
    Int64,
    UInt64,
    Character,
    Double,
    Text,
};

// One argument of `Format`, reduced to its row and its value. Texts are borrowed and must stay
// alive for the call; a null text prints as "(null)".
struct FormatArgument {
    FormatArgumentKind kind = FormatArgumentKind::Int32;
    union {
        std::int64_t signedValue;
        std::uint64_t unsignedValue;
        double doubleValue;
        const char* text;
    };

    FormatArgument() : signedValue(0) {}
};

// A type that is not one of the built-in rows joins `Format` by a free function
// `ToFormatText(const T&)` in its own namespace, found by argument-dependent lookup: the value is
// then printed as a text. The plug-in's version and type records come in this way.
template <typename T>
concept FormatTextConvertible = requires(const T& value) {
    { ToFormatText(value) } -> std::convertible_to<std::string>;
};

namespace internal {

template <typename>
inline constexpr bool kAlwaysFalse = false;

// Extension types and string views become owned strings here, so that the temporaries live
// until the end of the `Format` call that made them; every other argument passes by reference.
template <typename T>
decltype(auto) PrepareFormatArgument(const T& value) {
    if constexpr (FormatTextConvertible<T>) {
        return std::string(ToFormatText(value));
    } else if constexpr (std::is_same_v<T, std::string_view>) {
        return std::string(value);
    } else {
        return (value);
    }
}

template <typename T>
FormatArgument MakeFormatArgument(const T& value) {
    using Plain = std::remove_cvref_t<T>;
    FormatArgument argument;
    if constexpr (std::is_same_v<Plain, bool>) {
        static_assert(kAlwaysFalse<T>, "Format has no row for bool: pass an integer or a text");
    } else if constexpr (std::is_same_v<Plain, char>) {
        argument.kind = FormatArgumentKind::Character;
        argument.signedValue = static_cast<signed char>(value);
    } else if constexpr (std::is_integral_v<Plain> && std::is_signed_v<Plain>) {
        argument.kind = sizeof(Plain) <= 4 ? FormatArgumentKind::Int32 : FormatArgumentKind::Int64;
        argument.signedValue = value;
    } else if constexpr (std::is_integral_v<Plain>) {
        argument.kind =
            sizeof(Plain) <= 4 ? FormatArgumentKind::UInt32 : FormatArgumentKind::UInt64;
        argument.unsignedValue = value;
    } else if constexpr (std::is_floating_point_v<Plain>) {
        argument.kind = FormatArgumentKind::Double;
        argument.doubleValue = static_cast<double>(value);
    } else if constexpr (std::is_same_v<Plain, std::string>) {
        argument.kind = FormatArgumentKind::Text;
        argument.text = value.c_str();
    } else if constexpr (std::is_convertible_v<const T&, const char*>) {
        argument.kind = FormatArgumentKind::Text;
        argument.text = value;
    } else {
        static_assert(kAlwaysFalse<T>,
                      "Format takes integers, characters, doubles, texts, and types with a "
                      "ToFormatText function");
    }
    return argument;
}

}  // namespace internal
}  // namespace Tavix::Client
