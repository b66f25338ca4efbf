#include "binding/internal/structure_tree.h"

#include <cstring>
#include <new>

#include "binding/binding_string.h"
#include "binding/context.h"

namespace Tavix::Client::Internal {
namespace {

// A red-black tree of n nodes is at most 2 log2(n + 1) high; 96 levels cover any count that
// memory can hold.
constexpr std::size_t kMaxHeight = 96;

StructureNode* Child(StructureNode* node, bool right) {
    return right ? node->right : node->Left();
}

void SetChild(StructureNode* node, bool right, StructureNode* child) {
    if (right) {
        node->right = child;
    } else {
        node->SetLeft(child);
    }
}

// Puts `replacement` where `old` hung below `parent` (or at the root).
void Replace(StructureData& data, StructureNode* parent, StructureNode* old,
             StructureNode* replacement) {
    if (parent == nullptr) {
        data.root = replacement;
    } else if (parent->Left() == old) {
        parent->SetLeft(replacement);
    } else {
        parent->right = replacement;
    }
}

// A left rotation when `toLeft` (the right child takes the node's place), else a right one.
// Returns the child that was lifted.
StructureNode* Rotate(StructureNode* node, bool toLeft) {
    StructureNode* lifted = Child(node, toLeft);
    SetChild(node, toLeft, Child(lifted, !toLeft));
    SetChild(lifted, !toLeft, node);
    return lifted;
}

// The first four bytes of a name as BindingString::Prefix gives them.
std::uint32_t PrefixOf(std::string_view name) {
    if (name.size() >= 4) {
        std::uint32_t word;
        std::memcpy(&word, name.data(), sizeof word);
        return __builtin_bswap32(word);
    }
    std::uint32_t prefix = 0;
    for (std::size_t i = 0; i < name.size(); ++i) {
        prefix |= std::uint32_t{static_cast<unsigned char>(name[i])} << (24 - 8 * i);
    }
    return prefix;
}

// Orders `name`, whose prefix is `prefix`, against a node's name. The prefixes decide nearly
// every comparison without a look at the texts.
int CompareWithNode(std::string_view name, std::uint32_t prefix, const StructureNode* node) {
    const std::uint32_t other = node->Name()->Prefix();
    if (prefix != other) {
        return prefix < other ? -1 : 1;
    }
    return CompareNames(name, node->Name()->View());
}

}  // namespace

int CompareNames(std::string_view a, std::string_view b) {
    const std::size_t common = a.size() < b.size() ? a.size() : b.size();
    // Most names of a structure already differ in their first byte.
    if (common != 0 && a[0] != b[0]) {
        return static_cast<unsigned char>(a[0]) < static_cast<unsigned char>(b[0]) ? -1 : 1;
    }
    // Names are short: a plain loop beats a call for them.
    if (common <= 16) {
        for (std::size_t i = 1; i < common; ++i) {
            if (a[i] != b[i]) {
                return static_cast<unsigned char>(a[i]) < static_cast<unsigned char>(b[i]) ? -1 : 1;
            }
        }
    } else {
        const int bytes = std::memcmp(a.data(), b.data(), common);
        if (bytes != 0) {
            return bytes;
        }
    }
    return a.size() < b.size() ? -1 : (a.size() > b.size() ? 1 : 0);
}

StructureNode* FindNode(const StructureData& data, std::string_view name) {
    StructureNode* node = data.root;
    const std::uint32_t prefix = PrefixOf(name);
    while (node != nullptr) {
        const int order = CompareWithNode(name, prefix, node);
        if (order == 0) {
            return node;
        }
        node = order < 0 ? node->Left() : node->right;
    }
    return nullptr;
}

namespace {

StructureNode* FindOrInsert(StructureData& data, std::string_view name, const HashedName* hashed,
                            BindingString* interned) {
    // A literal name is known by its address, which makes interning it cheap. Interned before
    // the descent, it runs beside the descent, whose turns defeat prediction, rather than after
    // it. A name that turns out to be there gives its reference back.
    bool holdsReference = false;
    if (interned == nullptr && hashed != nullptr && hashed->IsLiteral()) {
        interned = data.context->Intern(*hashed);
        holdsReference = true;
    }
    StructureNode* path[kMaxHeight];
    bool wentRight[kMaxHeight];
    std::size_t depth = 0;
    StructureNode* node = data.root;
    const std::uint32_t prefix = PrefixOf(name);
    bool greatest = data.last == nullptr;
    if (!greatest) {
        const int order = CompareWithNode(name, prefix, data.last);
        if (order == 0) {
            if (holdsReference) {
                data.context->ReleaseString(interned);
            }
            return data.last;
        }
        greatest = order > 0;
    }
    if (greatest) {
        // Past every name: the way down is the right spine.
        for (; node != nullptr; node = node->right) {
            path[depth] = node;
            wentRight[depth] = true;
            ++depth;
        }
    }
    while (node != nullptr) {
        // The prefixes alone decide nearly every step.
        const std::uint32_t other = node->Name()->Prefix();
        bool right = prefix > other;
        if (prefix == other) [[unlikely]] {
            const int order = CompareNames(name, node->Name()->View());
            if (order == 0) {
                if (holdsReference) {
                    data.context->ReleaseString(interned);
                }
                return node;
            }
            right = order > 0;
        }
        path[depth] = node;
        wentRight[depth] = right;
        ++depth;
        node = right ? node->right : node->Left();
    }

    BindingContext& context = *data.context;
    auto* created = static_cast<StructureNode*>(context.AllocateRecord(sizeof(StructureNode)));
    created->leftAndColour = 1;  // red, no left child
    created->right = nullptr;
    new (&created->value) BindingValue(&context);
    if (interned != nullptr) {
        if (!holdsReference) {
            BindingContext::Retain(interned);
        }
        created->SetName(interned);
    } else {
        created->SetName(context.Intern(hashed != nullptr ? *hashed : HashedName(name)));
    }
    ++data.count;
    if (greatest) {
        data.last = created;
    }
    if (depth == 0) {
        created->SetRed(false);
        data.root = created;
        return created;
    }
    SetChild(path[depth - 1], wentRight[depth - 1], created);

    // Restore the rules upward. The node being fixed is red and hangs below path[k - 1].
    std::size_t k = depth;
    while (k >= 1 && path[k - 1]->IsRed()) {
        StructureNode* parent = path[k - 1];
        // A red parent is never the root, so a grandparent exists.
        StructureNode* grand = path[k - 2];
        const bool parentIsRight = wentRight[k - 2];
        StructureNode* uncle = Child(grand, !parentIsRight);
        if (uncle != nullptr && uncle->IsRed()) {
            parent->SetRed(false);
            uncle->SetRed(false);
            grand->SetRed(true);
            k -= 2;
            continue;
        }
        StructureNode* greatGrand = k >= 3 ? path[k - 3] : nullptr;
        if (wentRight[k - 1] != parentIsRight) {
            // The inner case: turn it into the outer one first.
            SetChild(grand, parentIsRight, Rotate(parent, !parentIsRight));
        }
        StructureNode* top = Rotate(grand, parentIsRight);
        Replace(data, greatGrand, grand, top);
        top->SetRed(false);
        grand->SetRed(true);
        break;
    }
    data.root->SetRed(false);
    return created;
}

}  // namespace

StructureNode* FindOrInsertNode(StructureData& data, std::string_view name,
                                const HashedName* hashed) {
    return FindOrInsert(data, name, hashed, nullptr);
}

StructureNode* FindOrInsertNode(StructureData& data, BindingString& name) {
    return FindOrInsert(data, name.View(), nullptr, &name);
}

namespace {

StructureNode* LinkHalves(StructureNode* const* nodes, std::size_t count, std::size_t depth,
                          std::size_t redDepth) {
    if (count == 0) {
        return nullptr;
    }
    const std::size_t middle = count / 2;
    StructureNode* node = nodes[middle];
    node->leftAndColour = depth == redDepth ? 1 : 0;
    node->SetLeft(LinkHalves(nodes, middle, depth + 1, redDepth));
    node->right = LinkHalves(nodes + middle + 1, count - middle - 1, depth + 1, redDepth);
    return node;
}

}  // namespace

void BuildFromAscending(StructureData& data, StructureNode* const* nodes, std::size_t count) {
    if (count == 0) {
        return;
    }
    // Halving puts the last level at depth floor(log2(count)); it is full, and all black, only
    // when count + 1 is a power of two.
    std::size_t deepest = 0;
    while ((std::size_t{2} << deepest) <= count) {
        ++deepest;
    }
    const bool full = ((count + 1) & count) == 0;
    data.root = LinkHalves(nodes, count, 0, full ? ~std::size_t{0} : deepest);
    data.last = nodes[count - 1];
    data.count = static_cast<std::uint32_t>(count);
}

int CheckTree(const StructureNode* node) {
    if (node == nullptr) {
        return 1;
    }
    const StructureNode* left = node->Left();
    const StructureNode* right = node->right;
    if (node->IsRed() &&
        ((left != nullptr && left->IsRed()) || (right != nullptr && right->IsRed()))) {
        return -1;
    }
    if (left != nullptr && CompareNames(left->Name()->View(), node->Name()->View()) >= 0) {
        return -1;
    }
    if (right != nullptr && CompareNames(right->Name()->View(), node->Name()->View()) <= 0) {
        return -1;
    }
    const int leftHeight = CheckTree(left);
    const int rightHeight = CheckTree(right);
    if (leftHeight < 0 || rightHeight < 0 || leftHeight != rightHeight) {
        return -1;
    }
    return leftHeight + (node->IsRed() ? 0 : 1);
}

}  // namespace Tavix::Client::Internal
