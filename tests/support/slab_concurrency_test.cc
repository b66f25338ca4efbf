#include <gtest/gtest.h>

#include <cstdint>
#include <thread>
#include <vector>

#include "support/slab.h"

namespace Tavix::Client {
namespace {

// One tree's worth of work: fill several pages of three classes with values that name their
// owner, check them, release half, refill, and release everything.
bool ChurnOneContext(SlabPool& pool, std::uint64_t owner) {
    SlabContext context(pool);
    struct Record {
        std::size_t size;
        std::uint64_t* slot;
        std::uint64_t value;
    };
    bool intact = true;
    for (int round = 0; round < 20; ++round) {
        std::vector<Record> records;
        for (std::uint64_t i = 0; i < 3000; ++i) {
            const std::size_t size = i % 3 == 0 ? 8 : (i % 3 == 1 ? 16 : 40);
            auto* slot = static_cast<std::uint64_t*>(Allocate(context, size));
            const std::uint64_t value =
                (owner << 48) | (i << 8) | static_cast<std::uint64_t>(round);
            *slot = value;
            records.push_back({size, slot, value});
        }
        for (std::size_t i = 0; i < records.size(); i += 2) {
            intact = intact && *records[i].slot == records[i].value;
            Release(context, records[i].size, records[i].slot);
        }
        for (std::size_t i = 0; i < records.size(); i += 2) {
            records[i].slot = static_cast<std::uint64_t*>(Allocate(context, records[i].size));
            *records[i].slot = records[i].value;
        }
        for (const Record& record : records) {
            intact = intact && *record.slot == record.value;
            Release(context, record.size, record.slot);
        }
        intact = intact && context.PagesHeld() == 0;
    }
    return intact;
}

TEST(SlabConcurrencyTest, TwoContextsOnTwoThreadsShareOnlyThePool) {
    SlabPool pool;
    bool firstIntact = false;
    bool secondIntact = false;
    std::thread first([&] { firstIntact = ChurnOneContext(pool, 1); });
    std::thread second([&] { secondIntact = ChurnOneContext(pool, 2); });
    first.join();
    second.join();
    EXPECT_TRUE(firstIntact);
    EXPECT_TRUE(secondIntact);
    const SlabPool::Statistics stats = pool.GetStatistics();
    EXPECT_EQ(stats.pagesInUse, 0u);
    EXPECT_EQ(stats.regionsInUse, 0u);
    EXPECT_EQ(stats.regionsAcquired, stats.regionsReturned);
}

TEST(SlabConcurrencyTest, ContextsOfTheProcessPoolRunSideBySide) {
    bool intact[2] = {false, false};
    std::thread first([&] { intact[0] = ChurnOneContext(SlabPool::Instance(), 3); });
    std::thread second([&] { intact[1] = ChurnOneContext(SlabPool::Instance(), 4); });
    first.join();
    second.join();
    EXPECT_TRUE(intact[0]);
    EXPECT_TRUE(intact[1]);
}

}  // namespace
}  // namespace Tavix::Client
