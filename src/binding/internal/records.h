#pragma once
// The pooled records behind the payload of a value: what a blob, an enum, a collection and a
// structure point to. Every record comes from the context's slabs; element arrays and blob bytes
// come from the heap.

#include <cstddef>
#include <cstdint>
#include <vector>

#include "binding/value.h"

namespace Tavix::Client {

class BindingContext;
class BindingString;

namespace Internal {

struct BlobHeader {
    std::vector<std::uint8_t> bytes;
};

// Element arrays of up to this many values come from the slabs, larger ones from the heap.
inline constexpr std::size_t kPooledElements = 72 / sizeof(BindingValue);

struct CollectionHeader {
    BindingValue* begin;
    BindingValue* end;
    BindingValue* capacity;

    std::size_t Size() const { return static_cast<std::size_t>(end - begin); }
    std::size_t Capacity() const { return static_cast<std::size_t>(capacity - begin); }
};

// A node of the red-black tree of a structure. The colour lives in the low bit of the left link,
// which keeps a node at 48 bytes.
struct StructureNode {
    std::uintptr_t leftAndColour;
    StructureNode* right;
    BindingString* name;
    BindingValue value;

    StructureNode* Left() const {
        return reinterpret_cast<StructureNode*>(leftAndColour & ~std::uintptr_t{1});
    }
    void SetLeft(StructureNode* left) {
        leftAndColour = reinterpret_cast<std::uintptr_t>(left) | (leftAndColour & 1);
    }
    bool IsRed() const { return (leftAndColour & 1) != 0; }
    void SetRed(bool red) { leftAndColour = (leftAndColour & ~std::uintptr_t{1}) | (red ? 1 : 0); }
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
static_assert(sizeof(StructureNode) == 48);
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
};

}  // namespace Tavix::Client
