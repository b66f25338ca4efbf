#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

namespace Tavix::Client {

// The counted memory layer: every allocation of the module passes through these. A null result
// of the runtime is handed on.
void* Allocate(std::size_t size);
// A null pointer does nothing.
void Release(void* pointer);
// A null pointer allocates; the old block counts as freed and the new one as allocated.
void* Reallocate(void* pointer, std::size_t size);
char* DuplicateText(const char* text);
// The runtime's size of the block, which may exceed the size asked for; 0 for null.
std::size_t AllocationSize(const void* pointer);

// Live bytes are bytesAllocated - bytesFreed, live allocations allocations - frees. Each counter
// is exact on its own; read beside allocation on other threads the six need not agree.
struct AllocationCounters {
    std::atomic<std::uint64_t> peakBytes{0};
    std::atomic<std::uint64_t> peakAllocations{0};
    std::atomic<std::uint64_t> bytesAllocated{0};
    std::atomic<std::uint64_t> allocations{0};
    std::atomic<std::uint64_t> bytesFreed{0};
    std::atomic<std::uint64_t> frees{0};
};

// A copy of the six counters, in the same order.
struct AllocationCounterValues {
    std::uint64_t peakBytes;
    std::uint64_t peakAllocations;
    std::uint64_t bytesAllocated;
    std::uint64_t allocations;
    std::uint64_t bytesFreed;
    std::uint64_t frees;
};

void ReadCounters(AllocationCounterValues* values);

// After an allocation: when live bytes exceed the peak, the peak becomes them and the peak count
// the live allocations. Not one atomic step, so under contention the peak may be a little low.
void UpdatePeak(AllocationCounters& counters);

// The process-wide allocator. A null hook falls back to malloc, free, realloc, strdup or
// malloc_usable_size.
struct AllocatorHooks {
    void* (*allocate)(std::size_t size, void* context);
    void (*release)(void* pointer, void* context);
    void* (*reallocate)(void* pointer, std::size_t size, void* context);
    char* (*duplicate)(const char* text, void* context);
    std::size_t (*sizeOf)(const void* pointer, void* context);
    void* context;
};

// The heap underneath the tracked hooks; the process's uses malloc and its relatives.
struct RuntimeHeap {
    void* (*allocate)(std::size_t size);
    void (*release)(void* pointer);
    void* (*reallocate)(void* pointer, std::size_t size);
    char* (*duplicate)(const char* text);
    std::size_t (*sizeOf)(const void* pointer);
};

const RuntimeHeap& ProcessHeap();

// What the tracked hooks count into and allocate from; it must outlive the hooks.
struct TrackedHeap {
    AllocationCounters* counters;
    const RuntimeHeap* heap;
};

// Hooks that allocate from `tracked.heap` and count into `tracked.counters`.
AllocatorHooks TrackedHooks(TrackedHeap* tracked);

// The first use of the layer (by any of the operations above) zeroes the process's counters and
// installs the tracked hooks over the process heap. Replacing them is for a host or a test that
// brings its own heap, before any other thread allocates.
void InstallAllocatorHooks(const AllocatorHooks& hooks);
AllocatorHooks InstalledAllocatorHooks();

}  // namespace Tavix::Client
