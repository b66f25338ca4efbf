#pragma once
// A name with its FNV-1a hash: the key of every search in a string table. It only borrows the
// caller's text, so a search copies nothing; the text is copied when the name is interned.

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "support/fnv1a.h"

namespace Tavix::Client {

class HashedName {
public:
    constexpr HashedName() = default;
    // Explicit: hashing costs a pass over the text, and a search by name often needs none.
    constexpr explicit HashedName(std::string_view text) : text_(text), hash_(Fnv1a(text)) {}
    constexpr explicit HashedName(const char* text)
        : HashedName(text == nullptr ? std::string_view() : std::string_view(text)) {}
    constexpr HashedName(std::string_view text, std::uint32_t hash) : text_(text), hash_(hash) {}

    // The name in a counted buffer, cut at its first NUL as a C string would be; the bytes are
    // hashed in the same pass that looks for the NUL.
    static constexpr HashedName UpToNul(const char* text, std::size_t size) {
        std::uint32_t hash = kFnv1aBasis;
        std::size_t length = 0;
        for (; length < size; ++length) {
            const auto byte = static_cast<unsigned char>(text[length]);
            if (byte == 0) {
                break;
            }
            hash = (hash ^ byte) * kFnv1aPrime;
        }
        return HashedName(std::string_view(text, length), hash);
    }

    constexpr std::string_view Text() const { return text_; }
    constexpr std::uint32_t Hash() const { return hash_; }
    // Whether the text is a string literal of the program: its bytes never change and its
    // address outlives every tree, so a string table may know it again by that address alone.
    constexpr bool IsLiteral() const { return literal_; }

    // `text` must be a string literal; only the literal operator below can promise that.
    static consteval HashedName Literal(const char* text, std::size_t size) {
        HashedName name{std::string_view(text, size)};
        name.literal_ = true;
        return name;
    }

    friend constexpr bool operator==(const HashedName& a, const HashedName& b) {
        return a.hash_ == b.hash_ && a.text_ == b.text_;
    }

private:
    std::string_view text_{};
    std::uint32_t hash_ = kFnv1aBasis;
    bool literal_ = false;
};

// `"queueId"_name`: a literal name hashed while the module is compiled.
inline namespace NameLiterals {
consteval HashedName operator""_name(const char* text, std::size_t size) {
    return HashedName::Literal(text, size);
}
}  // namespace NameLiterals

}  // namespace Tavix::Client
