#pragma once
// The work list of a tree release: containers whose children are still to be released. It keeps
// a few entries in place and spills to the heap, so that releasing a tree of any depth needs no
// recursion and a small tree needs no allocation.

#include <cstddef>
#include <cstring>

#include "binding/value_kind.h"
#include "log/memory.h"

namespace Tavix::Client::Internal {

class ReleaseStack {
public:
    ReleaseStack() = default;
    ReleaseStack(const ReleaseStack&) = delete;
    ReleaseStack& operator=(const ReleaseStack&) = delete;
    ~ReleaseStack() {
        if (entries_ != inline_) {
            Tavix::Client::Release(entries_);
        }
    }

    void Push(BindingValueKind kind, void* record) {
        if (size_ == capacity_) {
            Grow();
        }
        entries_[size_++] = Entry{record, kind};
    }

    bool Pop(BindingValueKind& kind, void*& record) {
        if (size_ == 0) {
            return false;
        }
        const Entry& entry = entries_[--size_];
        kind = entry.kind;
        record = entry.record;
        return true;
    }

private:
    struct Entry {
        void* record;
        BindingValueKind kind;
    };

    void Grow() {
        const std::size_t capacity = capacity_ * 2;
        auto* entries = static_cast<Entry*>(Tavix::Client::Allocate(capacity * sizeof(Entry)));
        std::memcpy(static_cast<void*>(entries), entries_, size_ * sizeof(Entry));
        if (entries_ != inline_) {
            Tavix::Client::Release(entries_);
        }
        entries_ = entries;
        capacity_ = capacity;
    }

    static constexpr std::size_t kInline = 16;
    Entry inline_[kInline];
    Entry* entries_ = inline_;
    std::size_t size_ = 0;
    std::size_t capacity_ = kInline;
};

}  // namespace Tavix::Client::Internal
