// Linked with the module's global new and delete: every allocation of this process is counted.

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <new>
#include <vector>

#include "log/memory.h"

namespace Tavix::Client {
namespace {

AllocationCounterValues ReadAll() {
    AllocationCounterValues values{};
    ReadCounters(&values);
    return values;
}

// The allocation functions are called by name, not through new-expressions: the optimiser may
// leave out the allocation of a new-expression whose block nobody reads, but not a call. Each
// test reads the counters into locals before it checks anything, since the checks themselves
// may allocate and free.

TEST(GlobalNewTest, NewAndDeleteMoveTheCounters) {
    const AllocationCounterValues before = ReadAll();
    void* block = ::operator new(sizeof(int));
    const AllocationCounterValues during = ReadAll();
    ::operator delete(block);
    const AllocationCounterValues after = ReadAll();

    EXPECT_EQ(during.allocations - before.allocations, 1u);
    EXPECT_GE(during.bytesAllocated - before.bytesAllocated, sizeof(int));
    EXPECT_EQ(after.frees - before.frees, 1u);
    EXPECT_EQ(after.bytesFreed - before.bytesFreed, during.bytesAllocated - before.bytesAllocated);
}

TEST(GlobalNewTest, ArrayAndNothrowFormsAreCountedToo) {
    const AllocationCounterValues before = ReadAll();
    void* numbers = ::operator new[](32 * sizeof(long));
    void* maybe = ::operator new[](5, std::nothrow);
    void* single = ::operator new(3, std::nothrow);
    const AllocationCounterValues during = ReadAll();
    ::operator delete[](numbers);
    ::operator delete[](maybe, std::nothrow);
    ::operator delete(single, std::nothrow);
    const AllocationCounterValues after = ReadAll();

    EXPECT_NE(maybe, nullptr);
    EXPECT_NE(single, nullptr);
    EXPECT_EQ(during.allocations - before.allocations, 3u);
    EXPECT_GE(during.bytesAllocated - before.bytesAllocated, 32 * sizeof(long) + 5 + 3);
    EXPECT_EQ(after.frees - before.frees, 3u);
    EXPECT_EQ(after.bytesFreed - before.bytesFreed, during.bytesAllocated - before.bytesAllocated);
}

TEST(GlobalNewTest, ZeroSizedNewGivesDistinctBlocks) {
    void* first = ::operator new(0);
    void* second = ::operator new(0);
    EXPECT_NE(first, nullptr);
    EXPECT_NE(first, second);
    ::operator delete(first);
    ::operator delete(second);
}

TEST(GlobalNewTest, OverAlignedObjectsAreAlignedAndReturned) {
    struct alignas(256) Wide {
        unsigned char bytes[300];
    };
    const AllocationCounterValues before = ReadAll();
    {
        std::vector<std::unique_ptr<Wide>> objects;
        for (int index = 0; index < 8; ++index) {
            objects.push_back(std::make_unique<Wide>());
            EXPECT_EQ(reinterpret_cast<std::uintptr_t>(objects.back().get()) % 256, 0u);
            objects.back()->bytes[299] = 1;
        }
        auto* array = new Wide[3];
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(array) % 256, 0u);
        delete[] array;
    }
    const AllocationCounterValues after = ReadAll();
    // The vector's own blocks come and go as well; all of them are given back.
    EXPECT_EQ(after.allocations - before.allocations, after.frees - before.frees);
    EXPECT_EQ(after.bytesAllocated - before.bytesAllocated, after.bytesFreed - before.bytesFreed);
}

}  // namespace
}  // namespace Tavix::Client
