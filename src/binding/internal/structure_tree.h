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

StructureNode* FindNode(const StructureData& data, std::string_view name);

// The node of `name`, created with an empty child value when it is missing. The name is hashed
// for interning only when the node is new, unless `hashed` already carries the hash.
StructureNode* FindOrInsertNode(StructureData& data, std::string_view name,
                                const HashedName* hashed);
// The same for a name already interned in the structure's context: a new node takes one more
// reference to `name` and neither hashes nor searches the string table.
StructureNode* FindOrInsertNode(StructureData& data, BindingString& name);

// Links `count` nodes, whose names ascend strictly, into a balanced tree and makes it the tree
// of `data`, which must have none yet. Each node needs its name and value only. Built by halving,
// every path ends at one of two depths; the nodes of the deeper level, when it is not full, are
// the red ones.
void BuildFromAscending(StructureData& data, StructureNode* const* nodes, std::size_t count);

// In-order walk; the recursion follows the tree's height, at most about twice log2 of the count.
template <typename Fn>
void ForEachNode(StructureNode* node, Fn& fn) {
    while (node != nullptr) {
        ForEachNode(node->Left(), fn);
        fn(*node);
        node = node->right;
    }
}

// Checks the red-black rules and the order; returns the black height, or -1 when broken.
int CheckTree(const StructureNode* node);

}  // namespace Tavix::Client::Internal
