#include "log/memory.h"

#include <malloc.h>

#include <cstdlib>
#include <cstring>

namespace Tavix::Client {
namespace {

void* HeapAllocate(std::size_t size) {
    return std::malloc(size);
}
void HeapRelease(void* pointer) {
    std::free(pointer);
}
void* HeapReallocate(void* pointer, std::size_t size) {
    return std::realloc(pointer, size);
}
char* HeapDuplicate(const char* text) {
    return strdup(text);
}
std::size_t HeapSizeOf(const void* pointer) {
    return malloc_usable_size(const_cast<void*>(pointer));
}

constexpr RuntimeHeap kProcessHeap = {HeapAllocate, HeapRelease, HeapReallocate, HeapDuplicate,
                                      HeapSizeOf};

// All of this is constant-initialised, so allocations made by other static initialisers before
// this file's turn find it ready.
AllocationCounters processCounters;
TrackedHeap processTracked{&processCounters, &kProcessHeap};
AllocatorHooks hooks{};

enum FirstUse : int { kUnused, kInstalling, kInstalled };
std::atomic<int> firstUse{kUnused};

void EnsureFirstUse() {
    if (firstUse.load(std::memory_order_acquire) == kInstalled) {
        return;
    }
    int expected = kUnused;
    if (firstUse.compare_exchange_strong(expected, kInstalling, std::memory_order_acq_rel)) {
        for (auto* counter : {&processCounters.peakBytes, &processCounters.peakAllocations,
                              &processCounters.bytesAllocated, &processCounters.allocations,
                              &processCounters.bytesFreed, &processCounters.frees}) {
            counter->store(0, std::memory_order_relaxed);
        }
        hooks = TrackedHooks(&processTracked);
        firstUse.store(kInstalled, std::memory_order_release);
        return;
    }
    // The first use belongs to the module's load, on one thread; another thread only gets here
    // if it allocates in the same instant, and waits the few stores above.
    while (firstUse.load(std::memory_order_acquire) != kInstalled) {
    }
}

TrackedHeap& Tracked(void* context) {
    return *static_cast<TrackedHeap*>(context);
}

void* TrackedAllocate(std::size_t size, void* context) {
    TrackedHeap& tracked = Tracked(context);
    void* block = tracked.heap->allocate(size);
    AllocationCounters& counters = *tracked.counters;
    counters.bytesAllocated.fetch_add(block != nullptr ? tracked.heap->sizeOf(block) : 0,
                                      std::memory_order_relaxed);
    counters.allocations.fetch_add(1, std::memory_order_relaxed);
    UpdatePeak(counters);
    return block;
}

void TrackedRelease(void* pointer, void* context) {
    if (pointer == nullptr) {
        return;
    }
    TrackedHeap& tracked = Tracked(context);
    const std::size_t size = tracked.heap->sizeOf(pointer);
    tracked.heap->release(pointer);
    tracked.counters->bytesFreed.fetch_add(size, std::memory_order_relaxed);
    tracked.counters->frees.fetch_add(1, std::memory_order_relaxed);
}

void* TrackedReallocate(void* pointer, std::size_t size, void* context) {
    TrackedHeap& tracked = Tracked(context);
    const std::size_t oldSize = pointer != nullptr ? tracked.heap->sizeOf(pointer) : 0;
    void* block = tracked.heap->reallocate(pointer, size);
    const std::size_t newSize = block != nullptr ? tracked.heap->sizeOf(block) : 0;
    AllocationCounters& counters = *tracked.counters;
    counters.bytesFreed.fetch_add(oldSize, std::memory_order_relaxed);
    counters.frees.fetch_add(1, std::memory_order_relaxed);
    counters.bytesAllocated.fetch_add(newSize, std::memory_order_relaxed);
    counters.allocations.fetch_add(1, std::memory_order_relaxed);
    UpdatePeak(counters);
    return block;
}

char* TrackedDuplicate(const char* text, void* context) {
    if (text == nullptr) {
        return nullptr;
    }
    TrackedHeap& tracked = Tracked(context);
    char* copy = tracked.heap->duplicate(text);
    AllocationCounters& counters = *tracked.counters;
    counters.bytesAllocated.fetch_add(copy != nullptr ? tracked.heap->sizeOf(copy) : 0,
                                      std::memory_order_relaxed);
    counters.allocations.fetch_add(1, std::memory_order_relaxed);
    UpdatePeak(counters);
    return copy;
}

std::size_t TrackedSizeOf(const void* pointer, void* context) {
    return pointer != nullptr ? Tracked(context).heap->sizeOf(pointer) : 0;
}

// Frees are read before allocations: a block is counted allocated before it can be counted
// freed, so the difference read this way cannot go below zero unless a failed reallocation was
// counted as a free; then the live figure is taken as zero.
std::uint64_t Live(const std::atomic<std::uint64_t>& added,
                   const std::atomic<std::uint64_t>& removed) {
    const std::uint64_t gone = removed.load(std::memory_order_acquire);
    const std::uint64_t total = added.load(std::memory_order_acquire);
    return total > gone ? total - gone : 0;
}

}  // namespace

const RuntimeHeap& ProcessHeap() {
    return kProcessHeap;
}

AllocatorHooks TrackedHooks(TrackedHeap* tracked) {
    return AllocatorHooks{TrackedAllocate,  TrackedRelease, TrackedReallocate,
                          TrackedDuplicate, TrackedSizeOf,  tracked};
}

void UpdatePeak(AllocationCounters& counters) {
    const std::uint64_t liveBytes = Live(counters.bytesAllocated, counters.bytesFreed);
    if (liveBytes > counters.peakBytes.load(std::memory_order_relaxed)) {
        counters.peakBytes.store(liveBytes, std::memory_order_relaxed);
        counters.peakAllocations.store(Live(counters.allocations, counters.frees),
                                       std::memory_order_relaxed);
    }
}

void InstallAllocatorHooks(const AllocatorHooks& replacement) {
    EnsureFirstUse();
    hooks = replacement;
}

AllocatorHooks InstalledAllocatorHooks() {
    EnsureFirstUse();
    return hooks;
}

void* Allocate(std::size_t size) {
    EnsureFirstUse();
    return hooks.allocate != nullptr ? hooks.allocate(size, hooks.context) : std::malloc(size);
}

void Release(void* pointer) {
    EnsureFirstUse();
    if (hooks.release != nullptr) {
        hooks.release(pointer, hooks.context);
    } else {
        std::free(pointer);
    }
}

void* Reallocate(void* pointer, std::size_t size) {
    EnsureFirstUse();
    return hooks.reallocate != nullptr ? hooks.reallocate(pointer, size, hooks.context)
                                       : std::realloc(pointer, size);
}

char* DuplicateText(const char* text) {
    EnsureFirstUse();
    if (hooks.duplicate != nullptr) {
        return hooks.duplicate(text, hooks.context);
    }
    return text != nullptr ? strdup(text) : nullptr;
}

std::size_t AllocationSize(const void* pointer) {
    EnsureFirstUse();
    if (hooks.sizeOf != nullptr) {
        return hooks.sizeOf(pointer, hooks.context);
    }
    return HeapSizeOf(pointer);
}

void ReadCounters(AllocationCounterValues* values) {
    EnsureFirstUse();
    if (values == nullptr) {
        return;
    }
    values->peakBytes = processCounters.peakBytes.load(std::memory_order_relaxed);
    values->peakAllocations = processCounters.peakAllocations.load(std::memory_order_relaxed);
    values->bytesAllocated = processCounters.bytesAllocated.load(std::memory_order_relaxed);
    values->allocations = processCounters.allocations.load(std::memory_order_relaxed);
    values->bytesFreed = processCounters.bytesFreed.load(std::memory_order_relaxed);
    values->frees = processCounters.frees.load(std::memory_order_relaxed);
}

}  // namespace Tavix::Client
