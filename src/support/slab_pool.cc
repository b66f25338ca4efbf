#include "support/slab_pool.h"

#include <atomic>
#include <cstdlib>
#include <mutex>
#include <vector>

#include "platform/virtual_memory.h"
#include "support/fatal.h"

namespace Tavix::Client {

namespace {

static_assert(Platform::kRegionSize == kSlabRegionSize);

// The tables start small: most processes hold a region or two.
constexpr std::size_t kInitialBuckets = 8;

// The pool of the process, made at first use.
std::atomic<SlabPool*> gPool{nullptr};
constinit std::mutex gPoolCreation;

// A library that is unloaded, or a process that ends, gives its regions back to the system, and
// the pool goes with them: otherwise every unload of the plug-in would leave the pool and up to
// the retained regions behind. Only a pool with no page in use goes: a static object destroyed
// after this one may still hold pages and release them, so the pool stays for it.
struct PoolAtUnload {
    ~PoolAtUnload() {
        SlabPool* const pool = gPool.load(std::memory_order_acquire);
        if (pool == nullptr || pool->GetStatistics().pagesInUse != 0) {
            return;
        }
        gPool.store(nullptr, std::memory_order_release);
        delete pool;
        Platform::ReleaseRetainedRegions();
    }
} poolAtUnload;

}  // namespace

SlabPool& SlabPool::Instance() {
    SlabPool* pool = gPool.load(std::memory_order_acquire);
    if (pool == nullptr) {
        // Made again only by a static destructor that runs after the pool went; that late pool
        // lives on to the end.
        std::lock_guard<std::mutex> guard(gPoolCreation);
        pool = gPool.load(std::memory_order_relaxed);
        if (pool == nullptr) {
            pool = new SlabPool();
            gPool.store(pool, std::memory_order_release);
        }
    }
    return *pool;
}

SlabPool::RegionSource SlabPool::SystemRegionSource() {
    return RegionSource{&Platform::MapAlignedRegion, &Platform::UnmapRegion};
}

SlabPool::SlabPool(RegionSource source)
    : source_(source), pageTable_(kInitialBuckets), availableRegions_(kInitialBuckets) {
    pageTable_.max_load_factor(1.0f);
    availableRegions_.max_load_factor(1.0f);
}

SlabPool::~SlabPool() {
    std::vector<Region*> regions;
    for (const auto& [base, region] : pageTable_) {
        regions.push_back(region);
    }
    for (Region* region : regions) {
        RemoveRegion(region);
    }
}

SlabPool::Region* SlabPool::AddRegion() {
    auto* region = new Region();
    region->base = static_cast<std::byte*>(source_.map());
    if (region->base == nullptr) {
        // A refused mapping is survivable: the heap can give an aligned block of the same size,
        // which only costs that it is not returned to the system page by page.
        region->base =
            static_cast<std::byte*>(std::aligned_alloc(kSlabRegionSize, kSlabRegionSize));
        region->fromHeap = true;
        if (region->base == nullptr) {
            delete region;
            FatalReport(kFatalSlabPoolOutOfMemory);
        }
        ++statistics_.heapRegions;
    }
    // From the top down, so that the last entry, which goes out first, is the lowest page.
    for (std::size_t i = kSlabPagesPerRegion; i-- > 0;) {
        region->freePages[region->freeCount++] = region->base + i * kSlabPageSize;
    }
    pageTable_.emplace(reinterpret_cast<std::uintptr_t>(region->base), region);
    availableRegions_.insert(region);
    ++statistics_.regionsInUse;
    ++statistics_.regionsAcquired;
    statistics_.pagesAvailable += kSlabPagesPerRegion;
    return region;
}

void SlabPool::RemoveRegion(Region* region) {
    pageTable_.erase(reinterpret_cast<std::uintptr_t>(region->base));
    availableRegions_.erase(region);
    if (region->fromHeap) {
        std::free(region->base);
        --statistics_.heapRegions;
    } else {
        source_.unmap(region->base);
    }
    statistics_.pagesAvailable -= region->freeCount;
    statistics_.pagesInUse -= kSlabPagesPerRegion - region->freeCount;
    --statistics_.regionsInUse;
    ++statistics_.regionsReturned;
    delete region;
}

void* SlabPool::AcquirePage() {
    std::lock_guard<std::mutex> lock(mutex_);
    Region* region = availableRegions_.empty() ? AddRegion() : *availableRegions_.begin();
    std::byte* page = region->freePages[--region->freeCount];
    if (region->freeCount == 0) {
        availableRegions_.erase(region);
    }
    --statistics_.pagesAvailable;
    ++statistics_.pagesInUse;
    return page;
}

void SlabPool::ReleasePage(void* page) {
    std::lock_guard<std::mutex> lock(mutex_);
    ReleaseLocked(page);
}

void SlabPool::ReleasePages(void* const* pages, std::size_t count) {
    if (count == 0) {
        return;
    }
    std::lock_guard<std::mutex> lock(mutex_);
    for (std::size_t i = 0; i < count; ++i) {
        ReleaseLocked(pages[i]);
    }
}

void PageBatch::Flush() {
    pool_.ReleasePages(pages_, count_);
    count_ = 0;
}

void SlabPool::ReleaseLocked(void* page) {
    if ((reinterpret_cast<std::uintptr_t>(page) & (kSlabPageSize - 1)) != 0) {
        return;  // Inside a page, not its start: no page of any pool.
    }
    const auto found = pageTable_.find(reinterpret_cast<std::uintptr_t>(page) &
                                       ~std::uintptr_t{kSlabRegionSize - 1});
    if (found == pageTable_.end()) {
        // Not a page of this pool: giving it to a region would corrupt that region.
        return;
    }
    Region* region = found->second;
    for (std::size_t i = 0; i < region->freeCount; ++i) {
        if (region->freePages[i] == page) {
            return;  // Already back: a second release must not count it twice.
        }
    }
    region->freePages[region->freeCount++] = static_cast<std::byte*>(page);
    if (region->freeCount == 1) {
        // A region with other free pages is in the set already.
        availableRegions_.insert(region);
    }
    ++statistics_.pagesAvailable;
    --statistics_.pagesInUse;
    if (region->freeCount == kSlabPagesPerRegion) {
        RemoveRegion(region);
    }
}

SlabPool::Statistics SlabPool::GetStatistics() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return statistics_;
}

}  // namespace Tavix::Client
