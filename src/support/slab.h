#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <utility>
#include <vector>

#include "support/slab_pool.h"

namespace Tavix::Client {

// Slots come in 18 sizes, 4 to 72 bytes in steps of 4.
inline constexpr std::size_t kSizeClassCount = 18;
inline constexpr std::size_t kSizeClassStep = 4;
inline constexpr std::size_t kLargestSlabSlot = kSizeClassCount * kSizeClassStep;

// Every size class carries a block of its own, so that a small tree needs no page at all.
inline constexpr std::size_t kInlineBlockSize = 144;

// A block cut into equal slots: a page from the pool, or a size class's inline block. The
// header sits in the block's first slots. Slots are numbered from the block's start in units of
// the slot size; a free slot's first two bytes hold the number of the next free slot, and 0,
// which can never name a slot, ends the chain.
struct Slab {
    Slab* next = nullptr;  // neighbours in the class's list of slabs with free slots
    Slab* previous = nullptr;
    std::uint16_t size = 0;  // of the whole block, in bytes
    std::uint16_t used = 0;  // slots handed out
    // 0 when the slab is full. Slot numbers fit 16 bits, but every allocation reads this field
    // right after the previous release wrote it, and 16-bit stores and loads defeat the
    // processor's store-to-load forwarding: the 32-bit field halves the time of an
    // allocate-release pair. It takes the header's padding, so the header stays 24 bytes.
    std::uint32_t firstFree = 0;
};

// The first slot past the header. With two pointers the header takes 24 bytes here, which gives
// 6 for 4-byte slots, 3 for 8, 2 for 12 and 1 for 40. A slot is aligned to the largest power of
// two dividing its size, at most 16: records that hold pointers must use a multiple of 8.
constexpr std::size_t FirstUsableIndex(std::size_t slotSize) {
    return (sizeof(Slab) + slotSize - 1) / slotSize;
}

// One slot size of a context: the list of its slabs with free slots, and its inline block. The
// inline block is cut into slots when the class serves its first allocation; until then the
// slot size is 0 and the block's bytes are not looked at.
struct SizeClass {
    Slab* head = nullptr;
    // Pages that are full, linked through the same fields; the inline slab is never here. They
    // are known so that a context that goes away can hand back every page at once.
    Slab* full = nullptr;
    // The page whose slots are being cut, a run at a time, and the number of its first uncut
    // slot. A page is chained only as far as it is used: a class that holds a few records of a
    // tree never writes the chain of a whole page.
    Slab* cutting = nullptr;
    // Pages of the pool that the class holds now; kept on the slow paths only.
    std::uint32_t pagesHeld = 0;
    std::uint16_t slotSize = 0;
    std::uint16_t cutEnd = 0;
    alignas(16) std::byte inlineBlock[kInlineBlockSize];

    // Provided, so that making a table does not zero the inline blocks first.
    SizeClass() noexcept {}
    // The inline slab and the list point into the object itself.
    SizeClass(const SizeClass&) = delete;
    SizeClass& operator=(const SizeClass&) = delete;

    Slab* InlineSlab() { return reinterpret_cast<Slab*>(inlineBlock); }
    bool InInlineBlock(const void* address) const {
        const auto* byte = static_cast<const std::byte*>(address);
        return byte >= inlineBlock && byte < inlineBlock + kInlineBlockSize;
    }
};

// The slab state of one value tree: its table of size classes, made at first use, and the pool
// its pages come from. Used from one thread at a time, without a lock. All slots must have been
// released when it is destroyed.
class SlabContext {
public:
    explicit SlabContext(SlabPool& pool = SlabPool::Instance()) : pool_(&pool) {}

    SlabContext(const SlabContext&) = delete;
    SlabContext& operator=(const SlabContext&) = delete;
    // Moving keeps the size classes where they are: only the table's ownership changes.
    SlabContext(SlabContext&& other) noexcept
        : classes_(std::move(other.classes_)),
          table_(std::exchange(other.table_, nullptr)),
          pool_(other.pool_) {}
    SlabContext& operator=(SlabContext&& other) noexcept {
        if (this != &other) {
            classes_ = std::move(other.classes_);
            table_ = std::exchange(other.table_, nullptr);
            pool_ = other.pool_;
        }
        return *this;
    }

    bool HasTable() const { return table_ != nullptr; }
    SlabPool& Pool() const { return *pool_; }

    // Pages of the pool held now, over all classes.
    std::size_t PagesHeld() const;

    // Forgets every slot handed out, in one go: all pages go back to the pool and the inline
    // slabs are cut afresh. For an owner that drops all its records together, which spares the
    // release of each one.
    void ReleaseAll();
    // Like ReleaseAll, but the table goes as well: the context is as if new.
    void Clear();

private:
    friend SizeClass& SizeClassFor(SlabContext& context, std::size_t size);

    void BuildTable();
    void ReturnPages(SizeClass& sizeClass, PageBatch& batch);

    std::vector<SizeClass> classes_;
    // The vector's entries, or null before the first use: one load tells both.
    SizeClass* table_ = nullptr;
    SlabPool* pool_;
};

namespace internal {

// The slow paths, kept out of line so that the common case stays a few instructions.
SizeClass& SizeClassOutOfRange(SlabContext& context, std::size_t size);
// A slab for a class whose list is empty: its inline block on first use, later a page.
Slab* AddSlab(SlabContext& context, SizeClass& sizeClass, std::size_t slotSize);
// Chains the next run of uncut slots of the page being cut, when `slab` is that page, and makes
// it the slab's free chain; false when the slab has no uncut slot.
bool CutMore(SizeClass& sizeClass, Slab* slab, std::size_t slotSize);
void ReturnPageSlab(SlabContext& context, SizeClass& sizeClass, Slab* slab);

inline void PushFull(SizeClass& sizeClass, Slab* slab) {
    slab->previous = nullptr;
    slab->next = sizeClass.full;
    if (sizeClass.full != nullptr) {
        sizeClass.full->previous = slab;
    }
    sizeClass.full = slab;
}

inline void UnlinkFull(SizeClass& sizeClass, Slab* slab) {
    if (slab->previous != nullptr) {
        slab->previous->next = slab->next;
    } else {
        sizeClass.full = slab->next;
    }
    if (slab->next != nullptr) {
        slab->next->previous = slab->previous;
    }
}

inline std::uint16_t ReadSlotIndex(const std::byte* slot) {
    std::uint16_t index;
    std::memcpy(&index, slot, sizeof index);
    return index;
}

inline void WriteSlotIndex(std::byte* slot, std::uint16_t index) {
    std::memcpy(slot, &index, sizeof index);
}

// Computed from the size rather than read from the class, so that a constant size at the call
// site turns the slot arithmetic into constants.
constexpr std::size_t SlotSizeFor(std::size_t size) {
    return size == 0 ? kSizeClassStep : ((size - 1) / kSizeClassStep + 1) * kSizeClassStep;
}

}  // namespace internal

// The class that serves `size` bytes: the size rounded up to a multiple of 4, entry
// size / 4 - 1. A size of 0 gets the smallest class; a size above kLargestSlabSlot is a
// programming fault and ends in a fatal report. The first call makes the context's table.
inline SizeClass& SizeClassFor(SlabContext& context, std::size_t size) {
    // A size of 0 wraps around to a huge index and takes the slow path.
    const std::size_t index = (size - 1) / kSizeClassStep;
    if (index >= kSizeClassCount) [[unlikely]] {
        return internal::SizeClassOutOfRange(context, size);
    }
    if (context.table_ == nullptr) [[unlikely]] {
        context.BuildTable();
    }
    return context.table_[index];
}

// A slot of at least `size` bytes (at most kLargestSlabSlot). Never null.
inline void* Allocate(SlabContext& context, std::size_t size) {
    SizeClass& sizeClass = SizeClassFor(context, size);
    const std::size_t slotSize = internal::SlotSizeFor(size);
    Slab* slab = sizeClass.head;
    if (slab == nullptr) [[unlikely]] {
        slab = internal::AddSlab(context, sizeClass, slotSize);
    }
    std::byte* slot = reinterpret_cast<std::byte*>(slab) + std::size_t{slab->firstFree} * slotSize;
    const std::uint16_t next = internal::ReadSlotIndex(slot);
    ++slab->used;
    slab->firstFree = next;
    if (next == 0 && !internal::CutMore(sizeClass, slab, slotSize)) {
        // Full: off the list until a slot comes back.
        sizeClass.head = slab->next;
        if (slab->next != nullptr) {
            slab->next->previous = nullptr;
        }
        if (slab != sizeClass.InlineSlab()) {
            internal::PushFull(sizeClass, slab);
        } else {
            slab->next = nullptr;
        }
    }
    return slot;
}

// Gives back a slot that Allocate returned for the same context and the same size; nothing in a
// slot records its size. A null address is ignored, and so is a release that no live slot can
// match: into a context that never allocated, into an empty inline block, or outside the inline
// block of a class that holds no page.
inline void Release(SlabContext& context, std::size_t size, void* address) {
    if (address == nullptr || !context.HasTable()) {
        return;
    }
    SizeClass& sizeClass = SizeClassFor(context, size);
    const std::size_t slotSize = internal::SlotSizeFor(size);
    auto* slot = static_cast<std::byte*>(address);
    Slab* slab;
    if (sizeClass.InInlineBlock(slot)) {
        slab = sizeClass.InlineSlab();
        if (sizeClass.slotSize == 0 || slab->used == 0) [[unlikely]] {
            return;
        }
    } else {
        if (sizeClass.pagesHeld == 0) [[unlikely]] {
            return;
        }
        slab = reinterpret_cast<Slab*>(reinterpret_cast<std::uintptr_t>(slot) &
                                       ~std::uintptr_t{kSlabPageSize - 1});
    }
    if (slab->firstFree == 0) {
        // It was full and off the list: it goes in front, where the next allocation looks.
        if (slab != sizeClass.InlineSlab()) {
            internal::UnlinkFull(sizeClass, slab);
        }
        slab->previous = nullptr;
        slab->next = sizeClass.head;
        if (sizeClass.head != nullptr) {
            sizeClass.head->previous = slab;
        }
        sizeClass.head = slab;
    }
    const auto index =
        static_cast<std::uint16_t>((slot - reinterpret_cast<std::byte*>(slab)) / slotSize);
    internal::WriteSlotIndex(slot, static_cast<std::uint16_t>(slab->firstFree));
    slab->firstFree = index;
    --slab->used;
    if (slab->used == 0 && slab != sizeClass.InlineSlab()) {
        internal::ReturnPageSlab(context, sizeClass, slab);
    }
}

}  // namespace Tavix::Client
