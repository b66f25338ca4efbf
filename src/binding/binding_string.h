#pragma once
// One interned text of a value tree. All string values and all field names of a tree share one
// `BindingString` per distinct text, counted by reference within their context.
//
// An entry is a pooled record of at most 72 bytes: a 20-byte head, then the text itself when it
// fits (up to 51 bytes), or else a pointer to it in one of the context's bulk pages (the heap for
// texts beyond a kilobyte).

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "binding/hashed_name.h"

namespace Tavix::Client {

class BindingString {
public:
    static constexpr std::size_t kHeadSize = 20;
    static constexpr std::size_t kLargestEntry = 72;
    static constexpr std::size_t kLongEntry = 32;

    BindingString(const BindingString&) = delete;
    BindingString& operator=(const BindingString&) = delete;

    // NUL-terminated; `Size()` bytes before the NUL, which may include NULs of their own.
    const char* Text() const {
        if (IsInline(size_)) {
            return reinterpret_cast<const char*>(this) + kHeadSize;
        }
        const char* text;
        std::memcpy(&text, reinterpret_cast<const char*>(this) + kLongPointerOffset, sizeof text);
        return text;
    }
    std::string_view View() const { return {Text(), size_}; }
    HashedName Name() const { return {View(), hash_}; }
    std::uint32_t Size() const { return size_; }
    // The first four bytes of the text as a big-endian number, the bytes past its end read as
    // 0: comparing two of them orders two names as comparing the names does, unless they are
    // equal. Long texts keep a copy of their first bytes in the head for this.
    std::uint32_t Prefix() const {
        std::uint32_t word;
        std::memcpy(&word, inlineHead_, sizeof word);
        return __builtin_bswap32(word);
    }
    std::uint32_t Hash() const { return hash_; }
    std::uint32_t References() const { return references_; }

    // The process-wide entry of every null or empty text: never counted, never released.
    static BindingString& SharedEmpty() { return sharedEmpty_; }
    bool IsSharedEmpty() const { return this == &sharedEmpty_; }

    static constexpr bool IsInline(std::size_t size) {
        return kHeadSize + size + 1 <= kLargestEntry;
    }
    // The pooled size of the entry of a text of `size` bytes.
    static constexpr std::size_t EntrySize(std::size_t size) {
        return IsInline(size) ? (kHeadSize + size + 1 + 7) & ~std::size_t{7} : kLongEntry;
    }

private:
    friend class BindingContext;
    static constexpr std::size_t kLongPointerOffset = 24;

    constexpr BindingString() = default;

    static BindingString sharedEmpty_;

    // The next entry of the same bucket of the context's string table.
    BindingString* next_ = nullptr;
    std::uint32_t hash_ = kFnv1aBasis;
    std::uint32_t size_ = 0;
    std::uint32_t references_ = 0;
    // The first bytes of an inline text, which runs on past the object within its record, or
    // the copy of the first bytes of a long one; zero past the text's end.
    char inlineHead_[4] = {};
};

static_assert(sizeof(BindingString) == 24);

// Constant-initialised, so that a test for it is a compare with a fixed address.
constinit inline BindingString BindingString::sharedEmpty_;

}  // namespace Tavix::Client
