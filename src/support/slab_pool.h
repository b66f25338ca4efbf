#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <unordered_map>
#include <unordered_set>

namespace Tavix::Client {

inline constexpr std::size_t kSlabPageSize = 4096;
inline constexpr std::size_t kSlabRegionSize = 0x10000;
inline constexpr std::size_t kSlabPagesPerRegion = kSlabRegionSize / kSlabPageSize;

// The process-wide store of 4 KiB pages behind every slab allocation. It takes memory from the
// system in 64 KiB regions, hands out their pages one at a time, and gives a region back as soon
// as all sixteen of its pages have come back. One plain mutex guards it; nothing else runs under
// that mutex.
class SlabPool {
public:
    // Where regions come from: `map` returns a zeroed, read-write, 64 KiB-aligned block of
    // kSlabRegionSize bytes or null; `unmap` gives one back.
    struct RegionSource {
        void* (*map)();
        void (*unmap)(void* region);
    };

    // The pool's state, for tests and diagnostics.
    struct Statistics {
        std::size_t regionsInUse = 0;    // regions held now
        std::size_t heapRegions = 0;     // of those, regions the heap gave when the system refused
        std::size_t pagesAvailable = 0;  // free pages within the regions held
        std::size_t pagesInUse = 0;      // pages handed out and not yet back
        std::uint64_t regionsAcquired = 0;  // since the pool was made
        std::uint64_t regionsReturned = 0;
    };

    // The pool of the process: made at first use, and kept until the library is unloaded (or the
    // process ends) with no page in use.
    static SlabPool& Instance();

    // Memory mappings of the operating system.
    static RegionSource SystemRegionSource();

    // A separate pool, for tests that need exact numbers or a source that refuses.
    explicit SlabPool(RegionSource source = SystemRegionSource());
    // Gives back every region still held; no page of it may be in use any more.
    ~SlabPool();

    SlabPool(const SlabPool&) = delete;
    SlabPool& operator=(const SlabPool&) = delete;

    // A 4096-aligned page. When the system refuses a region the pool takes one from the heap
    // instead; when the heap refuses too, the process ends in a fatal report. Never null.
    void* AcquirePage();

    // Gives back a page from AcquirePage of this pool.
    void ReleasePage(void* page);
    // Gives back many pages under one lock, for an owner that drops all of its pages at once.
    void ReleasePages(void* const* pages, std::size_t count);

    Statistics GetStatistics() const;

private:
    struct Region {
        std::byte* base = nullptr;
        std::array<std::byte*, kSlabPagesPerRegion> freePages{};
        std::size_t freeCount = 0;
        bool fromHeap = false;
    };

    Region* AddRegion();
    void ReleaseLocked(void* page);
    void RemoveRegion(Region* region);

    mutable std::mutex mutex_;
    RegionSource source_;
    // Every region, system-mapped or from the heap, is aligned to its size, so a page's address
    // with its low 16 bits cleared names its region: one entry per region finds all its pages.
    std::unordered_map<std::uintptr_t, Region*> pageTable_;
    std::unordered_set<Region*> availableRegions_;
    Statistics statistics_;
};

// Pages on their way back to a pool, handed over in groups so that the pool's lock is taken once
// a group rather than once a page.
class PageBatch {
public:
    explicit PageBatch(SlabPool& pool) : pool_(pool) {}
    ~PageBatch() { Flush(); }
    PageBatch(const PageBatch&) = delete;
    PageBatch& operator=(const PageBatch&) = delete;

    void Add(void* page) {
        if (count_ == kCapacity) {
            Flush();
        }
        pages_[count_++] = page;
    }
    void Flush();

private:
    static constexpr std::size_t kCapacity = 64;
    SlabPool& pool_;
    std::size_t count_ = 0;
    void* pages_[kCapacity];
};

}  // namespace Tavix::Client
