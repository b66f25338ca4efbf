#pragma once
// The pooled records behind the payload of a value: what a blob, an enum, a collection and a
// structure point to. Every record comes from the context's slabs; element arrays come from the
// slabs, the context's bulk pages or the heap by their size, and blob bytes from the heap.

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "binding/value.h"
#include "support/fatal.h"

namespace Tavix::Client {

class BindingContext;
class BindingString;

namespace Internal {

struct BlobHeader {
    std::vector<std::uint8_t> bytes;
};

// Element arrays of up to this many values come from the slabs.
inline constexpr std::size_t kPooledElements = 72 / sizeof(BindingValue);

struct CollectionHeader {
    BindingValue* begin;
    BindingValue* end;
    BindingValue* capacity;

    std::size_t Size() const { return static_cast<std::size_t>(end - begin); }
    std::size_t Capacity() const { return static_cast<std::size_t>(capacity - begin); }
};

// User space on the platforms we build for lies below this address, so the address of a string
// entry fits in the six bytes a value leaves free.
inline constexpr std::uintptr_t kHeldAddressLimit = std::uintptr_t{1} << 48;
static_assert(std::endian::native == std::endian::little && sizeof(void*) == 8,
              "a name's address is kept as the low six bytes of a 64-bit word");

// A node of the red-black tree of a structure: 40 bytes. The colour lives in the low bit of the
// left link, and the field name's address in the six bytes of the value that the value leaves
// to its holder.
struct StructureNode {
    std::uintptr_t leftAndColour;
    StructureNode* right;
    BindingValue value;

    StructureNode* Left() const {
        return reinterpret_cast<StructureNode*>(leftAndColour & ~std::uintptr_t{1});
    }
    void SetLeft(StructureNode* left) {
        leftAndColour = reinterpret_cast<std::uintptr_t>(left) | (leftAndColour & 1);
    }
    bool IsRed() const { return (leftAndColour & 1) != 0; }
    void SetRed(bool red) { leftAndColour = (leftAndColour & ~std::uintptr_t{1}) | (red ? 1 : 0); }

    // Set after the value is made: making a value zeroes these bytes, and moving a value's bytes
    // into the node overwrites them.
    inline BindingString* Name() const;
    inline void SetName(BindingString* name);
};

struct StructureData {
    BindingContext* context;
    StructureNode* root;
    // The node of the greatest name, or null when there is none. Writers that add fields in
    // name order, as the JSON this system writes has them, append past it without a search.
    StructureNode* last;
    std::uint32_t count;
    std::uint32_t reserved;
};

// Hands `count` values, whose bytes lie at `elements`, to `collection`, an empty collection, in
// an array of exactly that size. The values move bytewise and `elements` is then raw memory. For
// builders that gather the elements of a collection before they know their number.
void AdoptElements(BindingValue& collection, BindingValue* elements, std::size_t count);

static_assert(sizeof(BlobHeader) <= 24);
static_assert(sizeof(CollectionHeader) == 24);
static_assert(sizeof(StructureNode) == 40);
static_assert(sizeof(StructureData) == 32);
static_assert(sizeof(BindingEnumValue) == 16);

}  // namespace Internal

// The payload of a value, for the code of this library that works on the records directly.
struct BindingValueAccess {
    static void* Record(const BindingValue& value) { return value.payload_.record; }
    static BindingString* String(const BindingValue& value) { return value.payload_.string; }
    static Internal::CollectionHeader* Collection(const BindingValue& value) {
        return static_cast<Internal::CollectionHeader*>(value.payload_.record);
    }
    static Internal::StructureData* Structure(const BindingValue& value) {
        return static_cast<Internal::StructureData*>(value.payload_.record);
    }
    static Internal::BlobHeader* Blob(const BindingValue& value) {
        return static_cast<Internal::BlobHeader*>(value.payload_.record);
    }
    static BindingEnumValue* Enum(const BindingValue& value) {
        return static_cast<BindingEnumValue*>(value.payload_.record);
    }
    // The six bytes a value leaves to its holder, as the low 48 bits of a word (little-endian).
    // Read and written as four bytes and two, always the same way: a load that spans stores of
    // other widths cannot take its bytes from them and waits for them to reach the cache.
    static std::uintptr_t HolderBits(const BindingValue& value) {
        std::uint32_t low;
        std::uint16_t high;
        std::memcpy(&low, value.holderBytes_, sizeof low);
        std::memcpy(&high, value.holderBytes_ + sizeof low, sizeof high);
        return std::uintptr_t{low} | (std::uintptr_t{high} << 32);
    }
    static void SetHolderBits(BindingValue& value, std::uintptr_t bits) {
        const auto low = static_cast<std::uint32_t>(bits);
        const auto high = static_cast<std::uint16_t>(bits >> 32);
        std::memcpy(value.holderBytes_, &low, sizeof low);
        std::memcpy(value.holderBytes_ + sizeof low, &high, sizeof high);
    }
};

namespace Internal {

inline BindingString* StructureNode::Name() const {
    return reinterpret_cast<BindingString*>(BindingValueAccess::HolderBits(value));
}

inline void StructureNode::SetName(BindingString* name) {
    const auto address = reinterpret_cast<std::uintptr_t>(name);
    if (address >= kHeldAddressLimit) [[unlikely]] {
        FatalReport(kFatalAddressBeyond48Bits);
    }
    BindingValueAccess::SetHolderBits(value, address);
}

}  // namespace Internal

}  // namespace Tavix::Client
