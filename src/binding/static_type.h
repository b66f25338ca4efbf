#pragma once
// How a native type is named at run time without run-time type information: one constant
// `StaticTypeRecord` per native type, with a 32-bit identity fixed when the module is built.
//
// The identity is the FNV-1a hash of the signature text of `StaticType::Name<T>`, which spells the
// type out in full, so it is stable within a build and differs between types. A type whose
// identity must not change between builds (the framework's own records, the "none" record) fixes
// it with a hook found by argument-dependent lookup, declared in the type's own namespace:
//
//     constexpr StaticTypeOptions StaticTypeOptionsOf(PluginManagerState*) {
//         return {.identity = 0xF4E3B901};
//     }
//
// The same hook can ask for the spelled-out signature as the record's text, for the few types
// whose name appears in labels and log lines; every other record reads "#" and eight upper-case
// hexadecimal digits of its identity.

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "support/fnv1a.h"

namespace Tavix::Client {

// The reserved identity that means "no type": a type declared under it never enters the
// registry's identity table.
inline constexpr std::uint32_t kNoTypeIdentity = 0x1BE7EF8Eu;

struct StaticTypeRecord {
    std::uint32_t identity;
    const char* text;
};

struct StaticTypeOptions {
    // 0 keeps the identity derived from the type's spelling.
    std::uint32_t identity = 0;
    // The record's text is the full signature text instead of "#%08X".
    bool spellName = false;
};

// The fallback of the hook: anything that declares nothing better gets the defaults.
constexpr StaticTypeOptions StaticTypeOptionsOf(const volatile void*) {
    return {};
}

// The type that stands for "none", wherever a record is required but no type is meant.
struct StaticTypeNone {};
constexpr StaticTypeOptions StaticTypeOptionsOf(StaticTypeNone*) {
    return {.identity = kNoTypeIdentity};
}

namespace Internal {

template <typename T>
constexpr StaticTypeOptions OptionsOf() {
    return StaticTypeOptionsOf(static_cast<T*>(nullptr));
}

template <std::size_t N>
constexpr std::array<char, N + 1> TextArray(std::string_view text) {
    std::array<char, N + 1> out{};
    for (std::size_t i = 0; i < N; ++i) {
        out[i] = text[i];
    }
    return out;
}

constexpr std::array<char, 10> IdentityText(std::uint32_t identity) {
    constexpr char kDigits[] = "0123456789ABCDEF";
    std::array<char, 10> out{};
    out[0] = '#';
    for (int i = 0; i < 8; ++i) {
        out[static_cast<std::size_t>(8 - i)] = kDigits[(identity >> (4 * i)) & 0xF];
    }
    return out;
}

}  // namespace Internal

struct StaticType {
    // The signature text of this function, which names T in full.
    template <typename T>
    static constexpr std::string_view Name() {
        return __PRETTY_FUNCTION__;
    }

    template <typename T>
    static constexpr std::uint32_t Identity() {
        constexpr StaticTypeOptions options = Internal::OptionsOf<T>();
        if constexpr (options.identity != 0) {
            return options.identity;
        } else {
            return Fnv1a(Name<T>());
        }
    }

    template <typename T>
    static const StaticTypeRecord& Record();
};

namespace Internal {

template <typename T, bool Spell = OptionsOf<T>().spellName>
struct StaticTypeText {
    static constexpr auto text = IdentityText(StaticType::Identity<T>());
};

template <typename T>
struct StaticTypeText<T, true> {
    static constexpr auto text = TextArray<StaticType::Name<T>().size()>(StaticType::Name<T>());
};

template <typename T>
struct StaticTypeHolder {
    static constexpr std::uint32_t identity = StaticType::Identity<T>();
    static_assert(OptionsOf<T>().identity != 0 || identity != kNoTypeIdentity,
                  "a derived identity collides with the reserved \"none\" identity");
    static constexpr StaticTypeRecord record{identity, StaticTypeText<T>::text.data()};
};

}  // namespace Internal

template <typename T>
const StaticTypeRecord& StaticType::Record() {
    return Internal::StaticTypeHolder<T>::record;
}

}  // namespace Tavix::Client
