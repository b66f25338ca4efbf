#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <new>

#include "log/memory.h"

namespace Tavix::Client {
namespace {

// A heap whose block sizes are exactly the sizes asked for, and which fails on demand.
struct FakeHeap {
    static constexpr std::size_t kHeader = 16;
    static inline bool failNext = false;

    static void* Allocate(std::size_t size) {
        if (failNext) {
            failNext = false;
            return nullptr;
        }
        auto* block = static_cast<unsigned char*>(std::malloc(size + kHeader));
        std::memcpy(block, &size, sizeof size);
        return block + kHeader;
    }
    static void Release(void* pointer) {
        if (pointer != nullptr) {
            std::free(static_cast<unsigned char*>(pointer) - kHeader);
        }
    }
    static std::size_t SizeOf(const void* pointer) {
        std::size_t size = 0;
        std::memcpy(&size, static_cast<const unsigned char*>(pointer) - kHeader, sizeof size);
        return size;
    }
    static void* Reallocate(void* pointer, std::size_t size) {
        if (failNext) {
            failNext = false;
            return nullptr;
        }
        void* block = Allocate(size);
        if (pointer != nullptr) {
            const std::size_t old = SizeOf(pointer);
            std::memcpy(block, pointer, old < size ? old : size);
            Release(pointer);
        }
        return block;
    }
    static char* Duplicate(const char* text) {
        auto* copy = static_cast<char*>(Allocate(std::strlen(text) + 1));
        if (copy != nullptr) {
            std::strcpy(copy, text);
        }
        return copy;
    }
};

constexpr RuntimeHeap kFakeHeap = {FakeHeap::Allocate, FakeHeap::Release, FakeHeap::Reallocate,
                                   FakeHeap::Duplicate, FakeHeap::SizeOf};

class TrackedHooksTest : public ::testing::Test {
protected:
    void SetUp() override { FakeHeap::failNext = false; }

    AllocationCounterValues Values() const {
        return AllocationCounterValues{
            counters.peakBytes.load(),      counters.peakAllocations.load(),
            counters.bytesAllocated.load(), counters.allocations.load(),
            counters.bytesFreed.load(),     counters.frees.load()};
    }

    AllocationCounters counters;
    TrackedHeap tracked{&counters, &kFakeHeap};
    AllocatorHooks hooks = TrackedHooks(&tracked);
};

void ExpectCounters(const AllocationCounterValues& seen, std::uint64_t peakBytes,
                    std::uint64_t peakAllocations, std::uint64_t bytesAllocated,
                    std::uint64_t allocations, std::uint64_t bytesFreed, std::uint64_t frees) {
    EXPECT_EQ(seen.peakBytes, peakBytes);
    EXPECT_EQ(seen.peakAllocations, peakAllocations);
    EXPECT_EQ(seen.bytesAllocated, bytesAllocated);
    EXPECT_EQ(seen.allocations, allocations);
    EXPECT_EQ(seen.bytesFreed, bytesFreed);
    EXPECT_EQ(seen.frees, frees);
}

TEST_F(TrackedHooksTest, AllocationAndReleaseAreCountedBySize) {
    void* block = hooks.allocate(100, hooks.context);
    ASSERT_NE(block, nullptr);
    ExpectCounters(Values(), 100, 1, 100, 1, 0, 0);
    EXPECT_EQ(hooks.sizeOf(block, hooks.context), 100u);
    hooks.release(block, hooks.context);
    ExpectCounters(Values(), 100, 1, 100, 1, 100, 1);
}

TEST_F(TrackedHooksTest, FailedAllocationCountsTheAttemptButNoBytes) {
    FakeHeap::failNext = true;
    EXPECT_EQ(hooks.allocate(64, hooks.context), nullptr);
    ExpectCounters(Values(), 0, 0, 0, 1, 0, 0);
}

TEST_F(TrackedHooksTest, ReleaseOfNullChangesNothing) {
    hooks.release(nullptr, hooks.context);
    ExpectCounters(Values(), 0, 0, 0, 0, 0, 0);
    EXPECT_EQ(hooks.sizeOf(nullptr, hooks.context), 0u);
}

TEST_F(TrackedHooksTest, ReallocationCountsOneFreeAndOneAllocation) {
    void* block = hooks.reallocate(nullptr, 10, hooks.context);
    ASSERT_NE(block, nullptr);
    // From null: a free of 0 bytes, so the live count stays at none.
    ExpectCounters(Values(), 10, 0, 10, 1, 0, 1);

    std::memcpy(block, "123456789", 10);
    block = hooks.reallocate(block, 40, hooks.context);
    ASSERT_NE(block, nullptr);
    EXPECT_STREQ(static_cast<char*>(block), "123456789");
    ExpectCounters(Values(), 40, 0, 50, 2, 10, 2);

    block = hooks.reallocate(block, 4, hooks.context);
    ExpectCounters(Values(), 40, 0, 54, 3, 50, 3);
    hooks.release(block, hooks.context);
}

TEST_F(TrackedHooksTest, FailedReallocationCountsTheOldBlockAsFreed) {
    void* block = hooks.allocate(30, hooks.context);
    FakeHeap::failNext = true;
    EXPECT_EQ(hooks.reallocate(block, 60, hooks.context), nullptr);
    ExpectCounters(Values(), 30, 1, 30, 2, 30, 1);
    FakeHeap::Release(block);
}

TEST_F(TrackedHooksTest, DuplicateCopiesAndCounts) {
    char* copy = hooks.duplicate("tracked", hooks.context);
    ASSERT_NE(copy, nullptr);
    EXPECT_STREQ(copy, "tracked");
    ExpectCounters(Values(), 8, 1, 8, 1, 0, 0);
    EXPECT_EQ(hooks.duplicate(nullptr, hooks.context), nullptr);
    ExpectCounters(Values(), 8, 1, 8, 1, 0, 0);
    hooks.release(copy, hooks.context);
}

TEST_F(TrackedHooksTest, PeakHoldsTheHighestLiveBytesWithTheirCount) {
    void* a = hooks.allocate(100, hooks.context);
    void* b = hooks.allocate(50, hooks.context);
    ExpectCounters(Values(), 150, 2, 150, 2, 0, 0);
    hooks.release(a, hooks.context);
    void* c = hooks.allocate(20, hooks.context);
    void* d = hooks.allocate(20, hooks.context);
    // 90 live bytes in three blocks: below the peak, which keeps its count of two.
    ExpectCounters(Values(), 150, 2, 190, 4, 100, 1);
    void* e = hooks.allocate(61, hooks.context);
    ExpectCounters(Values(), 151, 4, 251, 5, 100, 1);
    for (void* block : {b, c, d, e}) {
        hooks.release(block, hooks.context);
    }
    EXPECT_EQ(Values().peakBytes, 151u);
}

TEST_F(TrackedHooksTest, UpdatePeakNeverSeesLessThanNothingLive) {
    // A failed reallocation counts a free of a block that stays: live bytes read as zero then.
    counters.bytesAllocated = 10;
    counters.bytesFreed = 30;
    counters.allocations = 1;
    counters.frees = 2;
    UpdatePeak(counters);
    EXPECT_EQ(counters.peakBytes.load(), 0u);
    EXPECT_EQ(counters.peakAllocations.load(), 0u);
}

// The process-wide layer: observed by differences, since the process allocates beside the test.
AllocationCounterValues ReadAll() {
    AllocationCounterValues values{};
    ReadCounters(&values);
    return values;
}

TEST(MemoryLayerTest, AllocateAndReleaseMoveTheProcessCounters) {
    const AllocationCounterValues before = ReadAll();
    void* block = Allocate(100);
    ASSERT_NE(block, nullptr);
    const std::size_t size = AllocationSize(block);
    EXPECT_GE(size, 100u);
    AllocationCounterValues after = ReadAll();
    EXPECT_EQ(after.allocations - before.allocations, 1u);
    EXPECT_EQ(after.bytesAllocated - before.bytesAllocated, size);
    EXPECT_GE(after.peakBytes, after.bytesAllocated - after.bytesFreed);

    Release(block);
    after = ReadAll();
    EXPECT_EQ(after.frees - before.frees, 1u);
    EXPECT_EQ(after.bytesFreed - before.bytesFreed, size);
}

TEST(MemoryLayerTest, ReleaseOfNullChangesNoCounter) {
    const AllocationCounterValues before = ReadAll();
    Release(nullptr);
    const AllocationCounterValues after = ReadAll();
    EXPECT_EQ(std::memcmp(&before, &after, sizeof before), 0);
}

TEST(MemoryLayerTest, ReallocateFromNullCountsAFreeOfNoBytes) {
    const AllocationCounterValues before = ReadAll();
    void* block = Reallocate(nullptr, 24);
    ASSERT_NE(block, nullptr);
    const AllocationCounterValues after = ReadAll();
    EXPECT_EQ(after.frees - before.frees, 1u);
    EXPECT_EQ(after.bytesFreed - before.bytesFreed, 0u);
    EXPECT_EQ(after.allocations - before.allocations, 1u);
    EXPECT_EQ(after.bytesAllocated - before.bytesAllocated, AllocationSize(block));
    Release(block);
}

TEST(MemoryLayerTest, DuplicateTextCopiesAndIsCounted) {
    const AllocationCounterValues before = ReadAll();
    char* copy = DuplicateText("matchmaking");
    ASSERT_NE(copy, nullptr);
    EXPECT_STREQ(copy, "matchmaking");
    EXPECT_EQ(ReadAll().allocations - before.allocations, 1u);
    Release(copy);
    EXPECT_EQ(DuplicateText(nullptr), nullptr);
    EXPECT_EQ(AllocationSize(nullptr), 0u);
}

TEST(MemoryLayerTest, HooksWithoutEntriesFallBackToTheRuntime) {
    const AllocatorHooks tracked = InstalledAllocatorHooks();
    InstallAllocatorHooks(AllocatorHooks{});
    const AllocationCounterValues before = ReadAll();
    void* block = Allocate(16);
    char* copy = DuplicateText("plain");
    void* grown = Reallocate(block, 64);
    EXPECT_STREQ(copy, "plain");
    EXPECT_GE(AllocationSize(grown), 64u);
    Release(copy);
    Release(grown);
    const AllocationCounterValues after = ReadAll();
    InstallAllocatorHooks(tracked);
    EXPECT_EQ(std::memcmp(&before, &after, sizeof before), 0);
}

}  // namespace
}  // namespace Tavix::Client
