#pragma once
// Field access by a name that the reader holds only as text. The same few names recur in every
// record of a kind, so a name met lately is known again by its text alone and goes into the
// structure without hashing or a search of the string table.

#include <cstddef>
#include <string_view>

#include "binding/binding_string.h"
#include "binding/internal/records.h"
#include "binding/internal/structure_tree.h"
#include "binding/value.h"

namespace Tavix::Client::Internal {

class RecentNames {
public:
    // The field `name` of `structure`, which must already be a structure; made when missing.
    // The cache holds no reference: a field's name lives as long as its node. A caller that
    // releases nodes of a structure filled through the cache (a key given twice replacing a
    // container) empties it through `Clear`.
    BindingValue& Field(BindingValue& structure, std::string_view name) {
        StructureData& data = *BindingValueAccess::Structure(structure);
        BindingString*& cached = slots_[Slot(name)];
        if (cached != nullptr && cached->View() == name) {
            return FindOrInsertNode(data, *cached)->value;
        }
        StructureNode* node = FindOrInsertNode(data, name, nullptr);
        cached = node->Name();
        return node->value;
    }

    // Empties `field` for a new value; a container there may hold names that the cache knows.
    void Clear(BindingValue& field) {
        if (field.Kind() == BindingValueKind::Collection ||
            field.Kind() == BindingValueKind::Structure) {
            for (BindingString*& slot : slots_) {
                slot = nullptr;
            }
        }
        field.Reset();
    }

private:
    static constexpr std::size_t kSlots = 64;

    static std::size_t Slot(std::string_view name) {
        std::size_t mix = name.size();
        if (!name.empty()) {
            mix = mix * 31 + static_cast<unsigned char>(name.front());
            mix = mix * 31 + static_cast<unsigned char>(name.back());
            mix = mix * 31 + static_cast<unsigned char>(name[name.size() / 2]);
        }
        return mix & (kSlots - 1);
    }

    BindingString* slots_[kSlots] = {};
};

}  // namespace Tavix::Client::Internal
