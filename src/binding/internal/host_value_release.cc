#include "binding/internal/host_value_release.h"

#include <cstdint>
#include <cstring>

#include "log/memory.h"

namespace Tavix::Client::Internal {
namespace {

struct PendingArray {
    void* array;
    std::uint32_t count;
    std::uint32_t next;
    bool structure;
};

// A growable stack of arrays still to be walked, from the tracked allocator.
class PendingStack {
public:
    PendingStack() = default;
    PendingStack(const PendingStack&) = delete;
    PendingStack& operator=(const PendingStack&) = delete;
    ~PendingStack() { Release(entries_); }

    bool Empty() const { return size_ == 0; }
    PendingArray& Top() { return entries_[size_ - 1]; }
    void Pop() { --size_; }
    void Push(const PendingArray& entry) {
        if (size_ == capacity_) {
            capacity_ = capacity_ == 0 ? 16 : capacity_ * 2;
            entries_ =
                static_cast<PendingArray*>(Reallocate(entries_, capacity_ * sizeof(PendingArray)));
        }
        entries_[size_++] = entry;
    }

private:
    PendingArray* entries_ = nullptr;
    std::size_t size_ = 0;
    std::size_t capacity_ = 0;
};

void FreeOwned(const void* pointer) {
    Release(const_cast<void*>(pointer));
}

void Take(HostValue& value, PendingStack& pending) {
    switch (value.tag) {
        case kHostValueOwnedString:
            FreeOwned(value.payload.text.data);
            break;
        case kHostValueOwnedBlob:
            FreeOwned(value.payload.blob.data);
            break;
        case kHostValueCollection:
            if (value.payload.collection.items != nullptr) {
                pending.Push(
                    {value.payload.collection.items, value.payload.collection.count, 0, false});
            }
            break;
        case kHostValueStructure:
            if (value.payload.structure.entries != nullptr) {
                pending.Push(
                    {value.payload.structure.entries, value.payload.structure.count, 0, true});
            }
            break;
        default:
            break;
    }
    std::memset(static_cast<void*>(&value), 0, sizeof value);
}

}  // namespace

void ReleaseOwnedHostValue(HostValue& value) {
    PendingStack pending;
    Take(value, pending);
    while (!pending.Empty()) {
        PendingArray& top = pending.Top();
        if (top.next == top.count) {
            Release(top.array);
            pending.Pop();
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
            // `top` is not used past this point: Take may move the stack.
            Take(entry.value, pending);
        } else {
            Take(static_cast<HostValue*>(top.array)[index], pending);
        }
    }
}

}  // namespace Tavix::Client::Internal
