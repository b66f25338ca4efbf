#pragma once
// The ordered map of a structure: a red-black tree keyed by the field names, compared as byte
// strings (unsigned, the shorter first on a tie). Fields are only ever added one by one or all
// released together, so the tree needs no single removal and its nodes no parent link.

#include <cstddef>
#include <string_view>

#include "binding/hashed_name.h"
#include "binding/internal/records.h"

namespace Tavix::Client::Internal {

int CompareNames(std::string_view a, std::string_view b);

// Fields that wait unordered before the tree takes them in. Long enough for the records a
// builder typically writes; short enough that a search through them costs about what a descent
// through the tree does.
inline constexpr std::size_t kMaxUnordered = 16;

// OrderFields when there are unordered fields.
[[gnu::noinline]] void OrderUnordered(StructureData& data);

// The node of `name`, ordered or not, or null.
StructureNode* FindNode(const StructureData& data, std::string_view name);

// The node of `name`, created with an empty child value when it is missing; a new node joins
// the unordered fields. The name is hashed for interning only when the node is new.
StructureNode* FindOrInsertNode(StructureData& data, std::string_view name);
// The same for a name already interned in the structure's context, handed over with one
// reference: a new node keeps it, and finding the node gives it back.
StructureNode* FindOrInsertNode(StructureData& data, BindingString* name);

// Takes the unordered fields into the tree, so that it holds every field in name order. Every
// walk in name order comes first through here. Nodes stay where they are: references to the
// values remain valid.
inline void OrderFields(StructureData& data) {
    if (data.unordered != nullptr) {
        OrderUnordered(data);
    }
}

// Links `count` nodes, whose names ascend strictly, into a balanced tree and makes it the tree
// of `data`, which must have no fields yet. Each node needs its name and value only.
void BuildFromAscending(StructureData& data, StructureNode* const* nodes, std::size_t count);

// In-order walk of the ordered fields; the recursion follows the tree's height, at most about
// twice log2 of the count.
template <typename Fn>
void ForEachNode(StructureNode* node, Fn& fn) {
    while (node != nullptr) {
        ForEachNode(node->Left(), fn);
        fn(*node);
        node = node->right;
    }
}

// Orders the fields, then checks the red-black rules, the order and the count; returns the
// black height, or -1 when something is broken.
int CheckTree(StructureData& data);

}  // namespace Tavix::Client::Internal
