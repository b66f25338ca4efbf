#include "support/slab.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <set>
#include <utility>
#include <vector>

#include "platform/virtual_memory.h"

namespace Tavix::Client {
namespace {

std::uintptr_t Address(const void* pointer) {
    return reinterpret_cast<std::uintptr_t>(pointer);
}

std::byte* InlineStart(SlabContext& context, std::size_t size) {
    return SizeClassFor(context, size).inlineBlock;
}

// Slots handed out from the inline blocks, over the classes that have served.
std::size_t InlineSlotsInUse(SlabContext& context) {
    std::size_t total = 0;
    for (std::size_t size = kSizeClassStep; size <= kLargestSlabSlot; size += kSizeClassStep) {
        const SizeClass& sizeClass = SizeClassFor(context, size);
        if (sizeClass.slotSize != 0) {
            total += SizeClassFor(context, size).InlineSlab()->used;
        }
    }
    return total;
}

// Every test gets a pool of its own, so that the numbers it reads are its own.
class SlabTest : public ::testing::Test {
protected:
    SlabPool pool;
    SlabContext context{pool};

    SlabPool::Statistics Stats() const { return pool.GetStatistics(); }
};

TEST_F(SlabTest, FirstSlotOfEachInlineBlockLiesPastTheHeader) {
    static_assert(sizeof(Slab) == 24);
    EXPECT_EQ(FirstUsableIndex(4), 6u);
    EXPECT_EQ(FirstUsableIndex(8), 3u);
    EXPECT_EQ(FirstUsableIndex(12), 2u);
    EXPECT_EQ(FirstUsableIndex(40), 1u);

    EXPECT_FALSE(context.HasTable());
    EXPECT_EQ(Allocate(context, 8), InlineStart(context, 8) + 3 * 8);
    EXPECT_EQ(Allocate(context, 8), InlineStart(context, 8) + 4 * 8);
    EXPECT_EQ(Allocate(context, 4), InlineStart(context, 4) + 6 * 4);
    EXPECT_EQ(Allocate(context, 12), InlineStart(context, 12) + 2 * 12);
    EXPECT_EQ(Allocate(context, 40), InlineStart(context, 40) + 1 * 40);
    EXPECT_EQ(Allocate(context, 72), InlineStart(context, 72) + 1 * 72);
    // Sizes round up to the next multiple of four; 0 takes the smallest class.
    EXPECT_EQ(Allocate(context, 5), InlineStart(context, 8) + 5 * 8);
    EXPECT_EQ(Allocate(context, 0), InlineStart(context, 4) + 7 * 4);
    EXPECT_EQ(&SizeClassFor(context, 37), &SizeClassFor(context, 40));
    EXPECT_EQ(SizeClassFor(context, 40).slotSize, 40u);
    EXPECT_EQ(InlineSlotsInUse(context), 8u);
    EXPECT_EQ(context.PagesHeld(), 0u);
    EXPECT_EQ(Stats().pagesInUse, 0u);
}

TEST_F(SlabTest, SmallTreeTakesNoPage) {
    std::vector<std::pair<std::size_t, void*>> records;
    for (int i = 0; i < 5; ++i) {
        for (std::size_t size : {4, 8, 12, 40}) {
            if (size == 40 && i >= 2) {
                continue;  // the 40-byte inline block holds two
            }
            void* slot = Allocate(context, size);
            std::memset(slot, 0xA5, size);
            records.emplace_back(size, slot);
        }
    }
    EXPECT_EQ(Stats().regionsAcquired, 0u);
    for (auto record = records.rbegin(); record != records.rend(); ++record) {
        Release(context, record->first, record->second);
    }
    EXPECT_EQ(InlineSlotsInUse(context), 0u);

    // The emptied inline block stays: the next slot is the first one again.
    EXPECT_EQ(Allocate(context, 40), InlineStart(context, 40) + 40);
    EXPECT_EQ(Stats().regionsAcquired, 0u);
}

TEST_F(SlabTest, PageComesAndGoesWithItsSlots) {
    void* inlineSlots[2] = {Allocate(context, 40), Allocate(context, 40)};
    EXPECT_EQ(SizeClassFor(context, 40).head, nullptr);

    void* fromPage = Allocate(context, 40);
    EXPECT_EQ(Address(fromPage) % kSlabPageSize, 40u);
    SlabPool::Statistics stats = Stats();
    EXPECT_EQ(stats.regionsInUse, 1u);
    EXPECT_EQ(stats.pagesInUse, 1u);
    EXPECT_EQ(stats.pagesAvailable, kSlabPagesPerRegion - 1);
    // A fresh region hands out its lowest page first.
    EXPECT_EQ(Address(fromPage) % kSlabRegionSize, 40u);

    Release(context, 40, fromPage);
    stats = Stats();
    EXPECT_EQ(stats.pagesInUse, 0u);
    EXPECT_EQ(stats.regionsInUse, 0u);
    EXPECT_EQ(stats.regionsReturned, 1u);
    // Only the inline slab, full, is left: the list is empty again.
    EXPECT_EQ(SizeClassFor(context, 40).head, nullptr);

    Release(context, 40, inlineSlots[1]);
    EXPECT_EQ(SizeClassFor(context, 40).head, SizeClassFor(context, 40).InlineSlab());
    Release(context, 40, inlineSlots[0]);
    EXPECT_EQ(SizeClassFor(context, 40).head, SizeClassFor(context, 40).InlineSlab());
    EXPECT_EQ(SizeClassFor(context, 40).InlineSlab()->used, 0u);
}

TEST_F(SlabTest, FullPageReturnsToTheFrontOfTheList) {
    const std::size_t perPage = kSlabPageSize / 40 - FirstUsableIndex(40);
    std::vector<void*> slots;
    for (std::size_t i = 0; i < 2 + perPage + 1; ++i) {
        slots.push_back(Allocate(context, 40));
    }
    auto* firstPage = reinterpret_cast<Slab*>(Address(slots[2]) & ~(kSlabPageSize - 1));
    auto* secondPage = reinterpret_cast<Slab*>(Address(slots.back()) & ~(kSlabPageSize - 1));
    ASSERT_NE(firstPage, secondPage);
    EXPECT_EQ(firstPage->firstFree, 0u);
    EXPECT_EQ(SizeClassFor(context, 40).head, secondPage);
    EXPECT_EQ(Stats().pagesInUse, 2u);

    void* freed = slots[10];
    Release(context, 40, freed);
    EXPECT_EQ(SizeClassFor(context, 40).head, firstPage);
    EXPECT_EQ(firstPage->next, secondPage);
    EXPECT_EQ(secondPage->previous, firstPage);
    EXPECT_EQ(Allocate(context, 40), freed);
    // Full again: off the list, and the second page leads.
    EXPECT_EQ(SizeClassFor(context, 40).head, secondPage);
    EXPECT_EQ(secondPage->previous, nullptr);

    // Emptying the second page, which is the head, hands it back and leaves the list empty.
    Release(context, 40, slots.back());
    EXPECT_EQ(SizeClassFor(context, 40).head, nullptr);
    EXPECT_EQ(Stats().pagesInUse, 1u);
    for (std::size_t i = 0; i + 1 < slots.size(); ++i) {
        Release(context, 40, slots[i]);
    }
    EXPECT_EQ(Stats().regionsInUse, 0u);
    EXPECT_EQ(context.PagesHeld(), 0u);
    EXPECT_EQ(InlineSlotsInUse(context), 0u);
}

TEST_F(SlabTest, ReleaseAllHandsBackFullAndPartialPagesAndStartsAfresh) {
    const std::size_t perPage = kSlabPageSize / 40 - FirstUsableIndex(40);
    std::vector<void*> slots;
    // Two full pages and a partial third, with the first page full again after a slot came back.
    for (std::size_t i = 0; i < 2 + 2 * perPage + 5; ++i) {
        slots.push_back(Allocate(context, 40));
    }
    Release(context, 40, slots[3]);
    EXPECT_EQ(Allocate(context, 40), slots[3]);
    for (int i = 0; i < 20; ++i) {
        Allocate(context, 8);
    }
    EXPECT_EQ(Stats().pagesInUse, 4u);
    EXPECT_EQ(context.PagesHeld(), 4u);

    context.ReleaseAll();
    EXPECT_EQ(Stats().pagesInUse, 0u);
    EXPECT_EQ(Stats().regionsInUse, 0u);
    EXPECT_EQ(context.PagesHeld(), 0u);
    EXPECT_EQ(InlineSlotsInUse(context), 0u);
    EXPECT_EQ(SizeClassFor(context, 40).full, nullptr);
    // The classes serve as in a fresh context: inline slots first, then a new page.
    EXPECT_EQ(Allocate(context, 40), InlineStart(context, 40) + 1 * 40);
    EXPECT_EQ(Allocate(context, 40), InlineStart(context, 40) + 2 * 40);
    EXPECT_EQ(Allocate(context, 8), InlineStart(context, 8) + 3 * 8);
    void* fromPage = Allocate(context, 40);
    EXPECT_EQ(Address(fromPage) % kSlabPageSize, 40u);
    EXPECT_EQ(Stats().pagesInUse, 1u);
    Release(context, 40, fromPage);
    EXPECT_EQ(Stats().pagesInUse, 0u);
}

TEST_F(SlabTest, SeventeenPagesTakeTwoRegionsAndReturnBoth) {
    const std::size_t inlineSlots = kInlineBlockSize / 8 - FirstUsableIndex(8);
    const std::size_t perPage = kSlabPageSize / 8 - FirstUsableIndex(8);
    std::vector<std::uint64_t*> slots;
    for (std::size_t i = 0; i < inlineSlots + 17 * perPage; ++i) {
        auto* slot = static_cast<std::uint64_t*>(Allocate(context, 8));
        *slot = i;
        slots.push_back(slot);
    }
    const SlabPool::Statistics full = Stats();
    EXPECT_EQ(full.regionsAcquired, 2u);
    EXPECT_EQ(full.regionsInUse, 2u);
    EXPECT_EQ(full.pagesInUse, 17u);
    EXPECT_EQ(full.pagesAvailable, 2 * kSlabPagesPerRegion - 17);
    EXPECT_EQ(context.PagesHeld(), 17u);

    std::set<std::uint64_t*> distinct(slots.begin(), slots.end());
    EXPECT_EQ(distinct.size(), slots.size());
    for (std::size_t i = 0; i < slots.size(); ++i) {
        ASSERT_EQ(*slots[i], i) << "slot " << i << " was overwritten";
    }

    // Release in an order that is neither that of allocation nor its reverse.
    for (std::size_t i = 0; i < slots.size(); i += 2) {
        Release(context, 8, slots[i]);
    }
    for (std::size_t i = 1; i < slots.size(); i += 2) {
        Release(context, 8, slots[i]);
    }
    const SlabPool::Statistics empty = Stats();
    EXPECT_EQ(empty.regionsInUse, 0u);
    EXPECT_EQ(empty.regionsReturned, 2u);
    EXPECT_EQ(empty.pagesInUse, 0u);
    EXPECT_EQ(empty.pagesAvailable, 0u);
    EXPECT_EQ(context.PagesHeld(), 0u);
}

TEST_F(SlabTest, ReleasesThatCannotMatchAnAllocationAreIgnored) {
    std::uint64_t outside = 0x1122334455667788;
    // A context that never allocated builds nothing for a release.
    Release(context, 40, &outside);
    EXPECT_FALSE(context.HasTable());

    void* kept = Allocate(context, 8);
    // A class that has nothing handed out, an empty inline block, and a null address change
    // nothing.
    Release(context, 40, &outside);
    Release(context, 12, &outside);
    Release(context, 40, InlineStart(context, 40) + 40);
    Release(context, 8, nullptr);
    EXPECT_EQ(outside, 0x1122334455667788u);
    // The 40-byte class has not served yet: its inline block is still uncut.
    EXPECT_EQ(SizeClassFor(context, 40).slotSize, 0u);
    EXPECT_EQ(SizeClassFor(context, 40).head, nullptr);
    EXPECT_EQ(InlineSlotsInUse(context), 1u);

    // Once it has served and its block is empty again, a release there matches nothing either.
    Release(context, 40, Allocate(context, 40));
    Release(context, 40, InlineStart(context, 40) + 40);
    EXPECT_EQ(SizeClassFor(context, 40).head, SizeClassFor(context, 40).InlineSlab());
    EXPECT_EQ(SizeClassFor(context, 40).InlineSlab()->firstFree, FirstUsableIndex(40));
    EXPECT_EQ(SizeClassFor(context, 40).InlineSlab()->used, 0u);
    EXPECT_EQ(InlineSlotsInUse(context), 1u);

    // A class whose pages all went back holds none to match an outside address.
    std::vector<void*> slots;
    for (int i = 0; i < 3; ++i) {
        slots.push_back(Allocate(context, 40));
    }
    EXPECT_EQ(context.PagesHeld(), 1u);
    for (void* slot : slots) {
        Release(context, 40, slot);
    }
    EXPECT_EQ(context.PagesHeld(), 0u);
    Release(context, 40, &outside);
    EXPECT_EQ(outside, 0x1122334455667788u);

    Release(context, 8, kept);
    EXPECT_EQ(InlineSlotsInUse(context), 0u);
}

TEST_F(SlabTest, MovedContextKeepsItsSlots) {
    void* slot = Allocate(context, 12);
    SlabContext moved(std::move(context));
    EXPECT_TRUE(moved.HasTable());
    EXPECT_FALSE(context.HasTable());
    Release(moved, 12, slot);
    EXPECT_EQ(Allocate(moved, 12), slot);
    Release(moved, 12, slot);
}

TEST_F(SlabTest, SlotsOfAPageComeInOrderAfterReleasedOnes) {
    const std::size_t perPage = kSlabPageSize / 12 - FirstUsableIndex(12);
    const std::size_t inlineSlots = kInlineBlockSize / 12 - FirstUsableIndex(12);
    // Garbage left in a recycled page must not be read as a chain.
    void* dirty = pool.AcquirePage();
    std::memset(dirty, 0xFF, kSlabPageSize);
    pool.ReleasePage(dirty);

    std::vector<std::byte*> slots;
    for (std::size_t i = 0; i < inlineSlots + perPage; ++i) {
        slots.push_back(static_cast<std::byte*>(Allocate(context, 12)));
        std::memset(slots.back(), 0xEE, 12);
    }
    std::byte* page = slots[inlineSlots];
    EXPECT_EQ(Address(page) % kSlabPageSize, FirstUsableIndex(12) * 12);
    for (std::size_t i = 0; i < perPage; ++i) {
        EXPECT_EQ(slots[inlineSlots + i], page + i * 12);
    }
    EXPECT_EQ(std::set<std::byte*>(slots.begin(), slots.end()).size(), slots.size());
    EXPECT_EQ(context.PagesHeld(), 1u);

    // Released slots go out again, newest first, before the next page is started.
    Release(context, 12, slots[inlineSlots + 7]);
    Release(context, 12, slots[inlineSlots + 3]);
    EXPECT_EQ(Allocate(context, 12), slots[inlineSlots + 3]);
    EXPECT_EQ(Allocate(context, 12), slots[inlineSlots + 7]);
    EXPECT_EQ(context.PagesHeld(), 1u);
    auto* second = static_cast<std::byte*>(Allocate(context, 12));
    EXPECT_EQ(context.PagesHeld(), 2u);

    // A slot released while the page is only partly used comes back before the rest.
    Release(context, 12, second);
    auto* again = static_cast<std::byte*>(Allocate(context, 12));
    EXPECT_EQ(again, second);
    auto* next = static_cast<std::byte*>(Allocate(context, 12));
    EXPECT_EQ(next, second + 12);
    Release(context, 12, next);
    Release(context, 12, again);
    for (std::byte* slot : slots) {
        Release(context, 12, slot);
    }
    EXPECT_EQ(context.PagesHeld(), 0u);
    EXPECT_EQ(Stats().pagesInUse, 0u);
}

TEST_F(SlabTest, ClearHandsBackEveryPageAndTheTable) {
    for (int i = 0; i < 300; ++i) {
        Allocate(context, 24);
        Allocate(context, 72);
    }
    EXPECT_GT(context.PagesHeld(), 2u);
    context.Clear();
    EXPECT_FALSE(context.HasTable());
    EXPECT_EQ(Stats().pagesInUse, 0u);
    // The context is as new: the next slot is the first of the inline block again.
    EXPECT_EQ(Allocate(context, 24), InlineStart(context, 24) + FirstUsableIndex(24) * 24);
    context.Clear();
    context.Clear();
    EXPECT_FALSE(context.HasTable());
}

// Pages handed back in groups, from two regions at once, are counted as one by one and give
// both regions back; a group may hold pages that are not the pool's.
// A page is chained a run at a time, as far as it is used. Batches that fill pages, empty them
// in either order and fill them again must get every slot once, and the pages must all go back.
TEST_F(SlabTest, PagesCutInRunsHandOutEverySlotOnce) {
    for (std::size_t size : {4, 8, 40, 72}) {
        for (int round = 0; round < 3; ++round) {
            std::vector<void*> slots;
            for (int i = 0; i < 1024; ++i) {
                slots.push_back(Allocate(context, size));
            }
            std::set<std::uintptr_t> distinct;
            for (void* slot : slots) {
                distinct.insert(Address(slot));
            }
            ASSERT_EQ(distinct.size(), slots.size()) << size << " round " << round;
            for (auto it = distinct.begin(); std::next(it) != distinct.end(); ++it) {
                ASSERT_GE(*std::next(it) - *it, size) << size;
            }
            if (round % 2 == 0) {
                std::reverse(slots.begin(), slots.end());
            }
            // Half back and half again in the middle of a page being cut.
            for (std::size_t i = 0; i < slots.size(); i += 2) {
                Release(context, size, slots[i]);
            }
            for (std::size_t i = 0; i < slots.size(); i += 2) {
                slots[i] = Allocate(context, size);
            }
            for (void* slot : slots) {
                Release(context, size, slot);
            }
            EXPECT_EQ(context.PagesHeld(), 0u) << size;
        }
    }
    EXPECT_EQ(Stats().pagesInUse, 0u);
}

TEST(SlabPoolTest, ABatchGivesBackPagesOfSeveralRegionsUnderOneLock) {
    SlabPool pool;
    std::vector<void*> pages;
    for (std::size_t i = 0; i < kSlabPagesPerRegion + 3; ++i) {
        pages.push_back(pool.AcquirePage());
    }
    EXPECT_EQ(pool.GetStatistics().regionsInUse, 2u);
    std::uint64_t foreign[8] = {};
    {
        PageBatch batch(pool);
        for (std::size_t i = 0; i < pages.size(); i += 2) {
            batch.Add(pages[i]);
        }
        batch.Add(foreign);
        batch.Flush();
        EXPECT_EQ(pool.GetStatistics().pagesInUse, pages.size() / 2);
        for (std::size_t i = 1; i < pages.size(); i += 2) {
            batch.Add(pages[i]);
        }
        // The rest goes when the batch does.
        EXPECT_EQ(pool.GetStatistics().pagesInUse, pages.size() / 2);
    }
    const SlabPool::Statistics stats = pool.GetStatistics();
    EXPECT_EQ(stats.pagesInUse, 0u);
    EXPECT_EQ(stats.regionsInUse, 0u);
    EXPECT_EQ(stats.regionsReturned, 2u);
    EXPECT_EQ(foreign[0], 0u);
}

TEST(SlabPoolTest, PagesAreAlignedAndComeFromTheLowestAddressUp) {
    SlabPool pool;
    std::vector<void*> pages;
    for (std::size_t i = 0; i < kSlabPagesPerRegion; ++i) {
        pages.push_back(pool.AcquirePage());
        EXPECT_EQ(Address(pages.back()) % kSlabPageSize, 0u);
    }
    EXPECT_EQ(Address(pages[0]) % kSlabRegionSize, 0u);
    for (std::size_t i = 1; i < pages.size(); ++i) {
        EXPECT_EQ(Address(pages[i]), Address(pages[0]) + i * kSlabPageSize);
    }
    EXPECT_EQ(pool.GetStatistics().pagesAvailable, 0u);
    void* next = pool.AcquirePage();
    EXPECT_EQ(pool.GetStatistics().regionsInUse, 2u);

    // A page back makes its region available again, and a foreign or repeated release is
    // ignored.
    pool.ReleasePage(pages[5]);
    pool.ReleasePage(pages[5]);
    std::uint64_t foreign[8] = {};
    pool.ReleasePage(foreign);
    pool.ReleasePage(static_cast<std::byte*>(pages[3]) + 8);
    EXPECT_EQ(pool.GetStatistics().pagesInUse, kSlabPagesPerRegion);

    for (std::size_t i = 0; i < pages.size(); ++i) {
        if (i != 5) {
            pool.ReleasePage(pages[i]);
        }
    }
    pool.ReleasePage(next);
    const SlabPool::Statistics stats = pool.GetStatistics();
    EXPECT_EQ(stats.regionsInUse, 0u);
    EXPECT_EQ(stats.regionsReturned, 2u);
}

// A region that handed out all its pages becomes available again with the first page back: the
// next request takes that page and maps nothing.
TEST(SlabPoolTest, APageBackInAFullRegionServesTheNextRequest) {
    SlabPool pool;
    std::vector<void*> pages;
    for (std::size_t i = 0; i < kSlabPagesPerRegion; ++i) {
        pages.push_back(pool.AcquirePage());
    }
    ASSERT_EQ(pool.GetStatistics().pagesAvailable, 0u);

    for (const std::size_t returned : {std::size_t{7}, std::size_t{0}, kSlabPagesPerRegion - 1}) {
        pool.ReleasePage(pages[returned]);
        EXPECT_EQ(pool.AcquirePage(), pages[returned]) << returned;
        const SlabPool::Statistics stats = pool.GetStatistics();
        EXPECT_EQ(stats.regionsAcquired, 1u) << returned;
        EXPECT_EQ(stats.regionsInUse, 1u) << returned;
        EXPECT_EQ(stats.pagesAvailable, 0u) << returned;
    }
    // Full again, so the next request does map a second region.
    void* next = pool.AcquirePage();
    EXPECT_NE(Address(next) & ~std::uintptr_t{kSlabRegionSize - 1},
              Address(pages[0]) & ~std::uintptr_t{kSlabRegionSize - 1});
    EXPECT_EQ(pool.GetStatistics().regionsAcquired, 2u);

    pool.ReleasePage(next);
    for (void* page : pages) {
        pool.ReleasePage(page);
    }
    EXPECT_EQ(pool.GetStatistics().regionsInUse, 0u);
}

TEST(SlabPoolTest, RefusedRegionFallsBackToTheHeap) {
    SlabPool pool(SlabPool::RegionSource{[]() -> void* { return nullptr; }, [](void*) {}});
    SlabContext context(pool);
    std::vector<void*> slots;
    for (int i = 0; i < 200; ++i) {
        slots.push_back(Allocate(context, 40));
    }
    SlabPool::Statistics stats = pool.GetStatistics();
    EXPECT_EQ(stats.heapRegions, 1u);
    EXPECT_EQ(stats.pagesInUse, 2u);
    for (void* slot : slots) {
        Release(context, 40, slot);
    }
    stats = pool.GetStatistics();
    EXPECT_EQ(stats.heapRegions, 0u);
    EXPECT_EQ(stats.regionsInUse, 0u);
}

TEST(SlabPoolTest, ProcessPoolAndSystemRegions) {
    EXPECT_EQ(&SlabPool::Instance(), &SlabPool::Instance());
    SlabContext context;
    EXPECT_EQ(&context.Pool(), &SlabPool::Instance());

    Platform::ReleaseRetainedRegions();  // so that the next region is fresh from the kernel
    void* region = Platform::MapAlignedRegion();
    ASSERT_NE(region, nullptr);
    EXPECT_EQ(Address(region) % Platform::kRegionSize, 0u);
    auto* bytes = static_cast<unsigned char*>(region);
    EXPECT_EQ(bytes[0], 0u);
    EXPECT_EQ(bytes[Platform::kRegionSize - 1], 0u);
    bytes[Platform::kRegionSize - 1] = 1;
    Platform::UnmapRegion(region);
    Platform::UnmapRegion(nullptr);
}

}  // namespace
}  // namespace Tavix::Client
