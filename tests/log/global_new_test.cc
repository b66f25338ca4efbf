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

TEST(GlobalNewTest, NewAndDeleteMoveTheCounters) {
    const AllocationCounterValues before = ReadAll();
    auto* number = new int(7);
    const AllocationCounterValues during = ReadAll();
    EXPECT_EQ(during.allocations - before.allocations, 1u);
    EXPECT_GE(during.bytesAllocated - before.bytesAllocated, sizeof(int));
    delete number;
    const AllocationCounterValues after = ReadAll();
    EXPECT_EQ(after.frees - before.frees, 1u);
    EXPECT_EQ(after.bytesFreed - before.bytesFreed, during.bytesAllocated - before.bytesAllocated);
}

TEST(GlobalNewTest, ArrayAndNothrowFormsAreCountedToo) {
    const AllocationCounterValues before = ReadAll();
    auto* numbers = new long[32];
    auto* maybe = new (std::nothrow) char[5];
    ASSERT_NE(maybe, nullptr);
    EXPECT_EQ(ReadAll().allocations - before.allocations, 2u);
    EXPECT_GE(ReadAll().bytesAllocated - before.bytesAllocated, 32 * sizeof(long) + 5);
    delete[] numbers;
    delete[] maybe;
    EXPECT_EQ(ReadAll().frees - before.frees, 2u);
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
