#include "frame/host_value.h"

#include <cstring>
#include <vector>

#include "log/memory.h"

namespace Tavix::Client {
namespace {

// One collection or structure whose elements are being released. The tree is walked with this
// explicit stack instead of recursion: a value that arrives from outside can nest arbitrarily deep.
struct PendingArray {
    void* array;
    std::uint32_t count;
    std::uint32_t next;
    bool structure;
};

void FreeOwned(const void* pointer) {
    // Owned payloads are declared const for the readers' sake; they were allocated mutable.
    Release(const_cast<void*>(pointer));
}

// Frees the payload of a scalar or text value at once; queues the elements of a container.
// Either way `value` ends zeroed.
void Take(HostValue& value, std::vector<PendingArray>& pending) {
    switch (value.tag) {
        case kHostValueOwnedString:
            FreeOwned(value.payload.text.data);
            break;
        case kHostValueOwnedBlob:
            FreeOwned(value.payload.blob.data);
            break;
        case kHostValueCollection:
            if (value.payload.collection.items != nullptr) {
                pending.push_back(
                    {value.payload.collection.items, value.payload.collection.count, 0, false});
            }
            break;
        case kHostValueStructure:
            if (value.payload.structure.entries != nullptr) {
                pending.push_back(
                    {value.payload.structure.entries, value.payload.structure.count, 0, true});
            }
            break;
        default:
            break;
    }
    std::memset(static_cast<void*>(&value), 0, sizeof value);
}

}  // namespace

void ReleaseHostValue(HostValue& value) {
    std::vector<PendingArray> pending;
    Take(value, pending);
    while (!pending.empty()) {
        PendingArray& top = pending.back();
        if (top.next == top.count) {
            Release(top.array);
            pending.pop_back();
            continue;
        }
        const std::uint32_t index = top.next++;
        if (top.structure) {
            HostMapEntry& entry = static_cast<HostMapEntry*>(top.array)[index];
            if (entry.keyOwned != 0) {
                FreeOwned(entry.key);
            }
            entry.key = nullptr;
            entry.keyOwned = 0;
            // `top` may dangle once Take grows the stack.
            Take(entry.value, pending);
        } else {
            Take(static_cast<HostValue*>(top.array)[index], pending);
        }
    }
}

}  // namespace Tavix::Client
