#include "support/slab.h"

#include <new>

#include "support/fatal.h"

namespace Tavix::Client {

namespace {

// The wide header still leaves every class at least one slot in its inline block, so 144 bytes
// keep serving a small tree without a page.
constexpr bool InlineBlocksHoldASlot() {
    for (std::size_t slot = kSizeClassStep; slot <= kLargestSlabSlot; slot += kSizeClassStep) {
        if (kInlineBlockSize / slot <= FirstUsableIndex(slot)) {
            return false;
        }
    }
    return true;
}
static_assert(InlineBlocksHoldASlot());
static_assert(kSlabPageSize / kSizeClassStep <= 0xFFFF, "slot numbers are 16-bit");

// Slots of a page are chained in runs of about this many bytes.
constexpr std::size_t kCutBytes = 512;

// Chains slots [first, end) of the block at `base`; the last holds 0.
void ChainSlots(std::byte* base, std::size_t first, std::size_t end, std::size_t slotSize) {
    for (std::size_t i = first; i + 1 < end; ++i) {
        internal::WriteSlotIndex(base + i * slotSize, static_cast<std::uint16_t>(i + 1));
    }
    internal::WriteSlotIndex(base + (end - 1) * slotSize, 0);
}

// Makes `block` a slab of `slotSize` with its first `cut` slots chained (all when `cut` is 0),
// and puts it in front of the class's list.
Slab* MakeSlab(SizeClass& sizeClass, void* block, std::size_t blockSize, std::size_t slotSize,
               std::size_t cut = 0) {
    auto* slab = new (block) Slab();
    slab->size = static_cast<std::uint16_t>(blockSize);
    const std::size_t first = FirstUsableIndex(slotSize);
    const std::size_t total = blockSize / slotSize;
    const std::size_t end = cut != 0 && first + cut < total ? first + cut : total;
    ChainSlots(static_cast<std::byte*>(block), first, end, slotSize);
    if (end != total) {
        sizeClass.cutting = slab;
        sizeClass.cutEnd = static_cast<std::uint16_t>(end);
    }
    slab->firstFree = static_cast<std::uint32_t>(first);
    slab->used = 0;
    slab->next = sizeClass.head;
    if (sizeClass.head != nullptr) {
        sizeClass.head->previous = slab;
    }
    sizeClass.head = slab;
    return slab;
}

}  // namespace

std::size_t SlabContext::PagesHeld() const {
    std::size_t total = 0;
    for (const SizeClass& sizeClass : classes_) {
        total += sizeClass.pagesHeld;
    }
    return total;
}

// Gives every page of the class, on its list with free slots and on its full list, back to the
// pool; the inline block stays with the class.
void SlabContext::ReturnPages(SizeClass& sizeClass, PageBatch& batch) {
    for (Slab* list : {sizeClass.head, sizeClass.full}) {
        while (list != nullptr) {
            Slab* next = list->next;
            if (list != sizeClass.InlineSlab()) {
                batch.Add(list);
            }
            list = next;
        }
    }
}

void SlabContext::ReleaseAll() {
    if (table_ == nullptr) {
        return;
    }
    PageBatch batch(*pool_);
    for (SizeClass& sizeClass : classes_) {
        if (sizeClass.slotSize == 0) {
            continue;
        }
        if (sizeClass.pagesHeld != 0) {
            ReturnPages(sizeClass, batch);
            sizeClass.pagesHeld = 0;
        } else if (sizeClass.head == sizeClass.InlineSlab() && sizeClass.InlineSlab()->used == 0) {
            continue;
        }
        sizeClass.head = nullptr;
        sizeClass.full = nullptr;
        sizeClass.cutting = nullptr;
        MakeSlab(sizeClass, sizeClass.inlineBlock, kInlineBlockSize, sizeClass.slotSize);
    }
}

void SlabContext::Clear() {
    if (table_ == nullptr) {
        return;
    }
    {
        PageBatch batch(*pool_);
        for (SizeClass& sizeClass : classes_) {
            if (sizeClass.pagesHeld != 0) {
                ReturnPages(sizeClass, batch);
            }
        }
    }
    std::vector<SizeClass>().swap(classes_);
    table_ = nullptr;
}

void SlabContext::BuildTable() {
    // Each class cuts its inline block when it first serves: a tree uses a few of the classes.
    std::vector<SizeClass> table(kSizeClassCount);
    // Swapping hands over the buffer; the classes themselves never move.
    classes_.swap(table);
    table_ = classes_.data();
}

namespace internal {

SizeClass& SizeClassOutOfRange(SlabContext& context, std::size_t size) {
    if (size == 0) {
        return SizeClassFor(context, 1);
    }
    FatalReportWithMessage(kFatalSlabSizeOutOfRange, "Slab allocation of %1 bytes", size);
}

Slab* AddSlab(SlabContext& context, SizeClass& sizeClass, std::size_t slotSize) {
    if (sizeClass.slotSize == 0) {
        sizeClass.slotSize = static_cast<std::uint16_t>(slotSize);
        return MakeSlab(sizeClass, sizeClass.inlineBlock, kInlineBlockSize, slotSize);
    }
    ++sizeClass.pagesHeld;
    return MakeSlab(sizeClass, context.Pool().AcquirePage(), kSlabPageSize, slotSize,
                    kCutBytes / slotSize);
}

bool CutMore(SizeClass& sizeClass, Slab* slab, std::size_t slotSize) {
    if (slab != sizeClass.cutting) {
        return false;
    }
    const std::size_t first = sizeClass.cutEnd;
    const std::size_t total = kSlabPageSize / slotSize;
    std::size_t end = first + kCutBytes / slotSize;
    if (end >= total) {
        end = total;
        sizeClass.cutting = nullptr;
    }
    ChainSlots(reinterpret_cast<std::byte*>(slab), first, end, slotSize);
    sizeClass.cutEnd = static_cast<std::uint16_t>(end);
    slab->firstFree = static_cast<std::uint32_t>(first);
    return true;
}

void ReturnPageSlab(SlabContext& context, SizeClass& sizeClass, Slab* slab) {
    if (slab->previous != nullptr) {
        slab->previous->next = slab->next;
    } else {
        sizeClass.head = slab->next;
    }
    if (slab->next != nullptr) {
        slab->next->previous = slab->previous;
    }
    if (slab == sizeClass.cutting) {
        sizeClass.cutting = nullptr;
    }
    --sizeClass.pagesHeld;
    context.Pool().ReleasePage(slab);
}

}  // namespace internal

}  // namespace Tavix::Client
