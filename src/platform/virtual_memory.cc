#include "platform/virtual_memory.h"

#include <sys/mman.h>

#include <array>
#include <cstdint>
#include <mutex>

namespace Tavix::Platform {

namespace {

void* MapAnywhere(std::size_t size) {
    void* address = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    return address == MAP_FAILED ? nullptr : address;
}

// Regions returned by the pool and not yet given to the kernel, most recent last.
struct RetainedRegions {
    std::mutex lock;
    std::array<void*, kRetainedRegions> regions{};
    std::size_t count = 0;
};

RetainedRegions& Retained() {
    static RetainedRegions retained;
    return retained;
}

void* MapFromKernel();

}  // namespace

void* MapAlignedRegion() {
    RetainedRegions& retained = Retained();
    {
        std::lock_guard<std::mutex> guard(retained.lock);
        if (retained.count != 0) {
            return retained.regions[--retained.count];
        }
    }
    return MapFromKernel();
}

void UnmapRegion(void* region) {
    if (region == nullptr) {
        return;
    }
    RetainedRegions& retained = Retained();
    {
        std::lock_guard<std::mutex> guard(retained.lock);
        if (retained.count < kRetainedRegions) {
            retained.regions[retained.count++] = region;
            return;
        }
    }
    munmap(region, kRegionSize);
}

void ReleaseRetainedRegions() {
    RetainedRegions& retained = Retained();
    std::lock_guard<std::mutex> guard(retained.lock);
    while (retained.count != 0) {
        munmap(retained.regions[--retained.count], kRegionSize);
    }
}

std::size_t RetainedRegionCount() {
    RetainedRegions& retained = Retained();
    std::lock_guard<std::mutex> guard(retained.lock);
    return retained.count;
}

namespace {

void* MapFromKernel() {
    // The kernel often hands out consecutive mappings that happen to be aligned already; trying
    // the exact size first saves the trim in that case.
    void* first = MapAnywhere(kRegionSize);
    if (first == nullptr) {
        return nullptr;
    }
    if (reinterpret_cast<std::uintptr_t>(first) % kRegionSize == 0) {
        return first;
    }
    munmap(first, kRegionSize);

    // Twice the size always contains one aligned region; the slack on both sides goes back.
    const std::size_t span = 2 * kRegionSize;
    void* wide = MapAnywhere(span);
    if (wide == nullptr) {
        return nullptr;
    }
    const auto start = reinterpret_cast<std::uintptr_t>(wide);
    const std::uintptr_t aligned = (start + kRegionSize - 1) & ~(std::uintptr_t{kRegionSize} - 1);
    const std::size_t head = aligned - start;
    const std::size_t tail = span - head - kRegionSize;
    if (head != 0) {
        munmap(wide, head);
    }
    if (tail != 0) {
        munmap(reinterpret_cast<void*>(aligned + kRegionSize), tail);
    }
    return reinterpret_cast<void*>(aligned);
}

}  // namespace

}  // namespace Tavix::Platform
