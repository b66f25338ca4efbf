// Regions for the slab pool: aligned, fresh ones zeroed, and a few returned ones kept for reuse.

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "platform/virtual_memory.h"

namespace Tavix::Platform {
namespace {

TEST(VirtualMemoryTest, ReturnedRegionsAreReusedUpToTheBoundThenUnmapped) {
    ReleaseRetainedRegions();
    std::vector<void*> regions;
    for (std::size_t i = 0; i < kRetainedRegions + 2; ++i) {
        regions.push_back(MapAlignedRegion());
        ASSERT_NE(regions.back(), nullptr);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(regions.back()) % kRegionSize, 0u);
    }
    for (void* region : regions) {
        static_cast<unsigned char*>(region)[kRegionSize - 1] = 7;
        UnmapRegion(region);
    }
    EXPECT_EQ(RetainedRegionCount(), kRetainedRegions);

    // The last region kept is the first one handed out again, with its bytes as they were.
    void* reused = MapAlignedRegion();
    EXPECT_EQ(reused, regions[kRetainedRegions - 1]);
    EXPECT_EQ(static_cast<unsigned char*>(reused)[kRegionSize - 1], 7);
    EXPECT_EQ(RetainedRegionCount(), kRetainedRegions - 1);
    UnmapRegion(reused);

    ReleaseRetainedRegions();
    EXPECT_EQ(RetainedRegionCount(), 0u);
    void* fresh = MapAlignedRegion();
    ASSERT_NE(fresh, nullptr);
    EXPECT_EQ(static_cast<unsigned char*>(fresh)[kRegionSize - 1], 0);
    UnmapRegion(fresh);
    ReleaseRetainedRegions();
}

}  // namespace
}  // namespace Tavix::Platform
