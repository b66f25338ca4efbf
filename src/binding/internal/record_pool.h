#pragma once
// The small-record store of one context: its slabs, over the process-wide page pool. It keeps
// its own count of what is handed out, for tests and for measuring a tree.

#include <cstddef>

#include "support/slab.h"

namespace Tavix::Client::Internal {

class RecordPool {
public:
    void* Allocate(std::size_t size) {
        ++outstanding_;
        bytesInUse_ += SlotSize(size);
        return Tavix::Client::Allocate(slabs_, size);
    }
    void Release(std::size_t size, void* record) {
        --outstanding_;
        bytesInUse_ -= SlotSize(size);
        Tavix::Client::Release(slabs_, size, record);
    }
    // Drops every record at once and hands all pages back.
    void ReleaseAll() {
        outstanding_ = 0;
        bytesInUse_ = 0;
        slabs_.ReleaseAll();
    }
    // The same for an owner that goes away: the slab table goes too, rather than being cut
    // afresh for nobody.
    void Clear() {
        outstanding_ = 0;
        bytesInUse_ = 0;
        slabs_.Clear();
    }
    std::size_t Outstanding() const { return outstanding_; }
    std::size_t BytesInUse() const { return bytesInUse_; }
    std::size_t PagesHeld() const { return slabs_.PagesHeld(); }
    SlabPool& Pool() const { return slabs_.Pool(); }

private:
    // Slots come in steps of four bytes.
    static constexpr std::size_t SlotSize(std::size_t size) { return (size + 3) & ~std::size_t{3}; }

    SlabContext slabs_;
    std::size_t outstanding_ = 0;
    std::size_t bytesInUse_ = 0;
};

}  // namespace Tavix::Client::Internal
