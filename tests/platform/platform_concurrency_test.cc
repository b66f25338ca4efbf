#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <thread>

#include "platform/clock.h"
#include "platform/thread_id.h"

namespace Tavix::Platform {
namespace {

TEST(ThreadIdConcurrencyTest, EachThreadHasItsOwnId) {
    std::uintptr_t other = 0;
    std::thread worker([&] { other = CurrentThreadId(); });
    worker.join();
    EXPECT_NE(other, 0u);
    EXPECT_NE(other, CurrentThreadId());
}

// A reader on another thread sees either the old or the new source, each with its own context,
// never a mix; checked by sources whose result depends on their context.
TEST(ClockConcurrencyTest, ReaderNeverPairsASourceWithAnotherContext) {
    static std::int64_t values[2] = {100, 200};
    auto readFirst = [](void* context) -> std::int64_t {
        return *static_cast<std::int64_t*>(context);
    };
    auto readSecondNegated = [](void* context) -> std::int64_t {
        return -*static_cast<std::int64_t*>(context);
    };
    std::atomic<bool> stop{false};
    std::atomic<int> bad{0};
    std::thread reader([&] {
        while (!stop.load()) {
            const std::int64_t now = MonotonicNanoseconds();
            if (now != 100 && now != -200 && now <= 1'000) {
                bad.fetch_add(1);
            }
        }
    });
    for (int round = 0; round < 2'000; ++round) {
        SetClockSource(readFirst, &values[0]);
        SetClockSource(readSecondNegated, &values[1]);
    }
    stop.store(true);
    reader.join();
    ResetClockSource();
    EXPECT_EQ(bad.load(), 0);
}

}  // namespace
}  // namespace Tavix::Platform
