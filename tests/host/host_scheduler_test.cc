#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "core/host.h"
#include "module_side.h"

namespace Tavix::TestHost {
namespace {

using ::testing::ElementsAre;

constexpr std::int64_t kSecond = 1'000'000'000;

struct Ran {
    std::string name;
    std::int64_t at;
};

class SchedulerTest : public ::testing::Test {
protected:
    void ScheduleNamed(const char* name, double delay) {
        module.Schedule(name, delay, [this, name] { ran.push_back({name, host.Now()}); });
    }
    std::vector<std::string> Names() const {
        std::vector<std::string> names;
        for (const Ran& entry : ran) {
            names.push_back(entry.name);
        }
        return names;
    }

    Host host;
    ModuleSide module{host};
    std::vector<Ran> ran;
};

TEST_F(SchedulerTest, RunsByDueTimeThenPostingOrderAtThatTime) {
    ScheduleNamed("late", 2.0);
    ScheduleNamed("first at 1", 1.0);
    ScheduleNamed("second at 1", 1.0);
    ScheduleNamed("now", 0.0);
    ScheduleNamed("negative", -5.0);

    EXPECT_EQ(host.AdvanceBy(3.0), 5u);

    EXPECT_THAT(Names(), ElementsAre("now", "negative", "first at 1", "second at 1", "late"));
    EXPECT_EQ(ran[0].at, 0);
    EXPECT_EQ(ran[2].at, kSecond);
    EXPECT_EQ(ran[4].at, 2 * kSecond);
    EXPECT_EQ(host.Now(), 3 * kSecond);
}

TEST_F(SchedulerTest, RunUntilIdleRunsOnlyWhatIsDueWithoutMovingTheClock) {
    ScheduleNamed("later", 0.001);
    module.Schedule("chain", 0.0, [this] {
        ran.push_back({"chain", host.Now()});
        ScheduleNamed("posted while running", 0.0);
    });

    EXPECT_EQ(host.RunUntilIdle(), 2u);

    EXPECT_THAT(Names(), ElementsAre("chain", "posted while running"));
    EXPECT_EQ(host.Now(), 0);
    EXPECT_EQ(host.PendingCount(), 1u);
    EXPECT_THAT(host.PendingDescriptions(), ElementsAre("later"));
    EXPECT_EQ(host.NextDueTime(), kSecond / 1000);
}

TEST_F(SchedulerTest, AdvanceByStopsAtItsTargetAndKeepsLaterWork) {
    // A periodic job that re-posts itself, as a module's timer does.
    std::function<void()> tick = [this, &tick] {
        ran.push_back({"tick", host.Now()});
        module.Schedule("tick", 0.4, tick);
    };
    module.Schedule("tick", 0.4, tick);

    host.AdvanceBy(1.0);

    ASSERT_EQ(ran.size(), 2u);
    EXPECT_EQ(ran[0].at, 400'000'000);
    EXPECT_EQ(ran[1].at, 800'000'000);
    EXPECT_EQ(host.Now(), kSecond);
    EXPECT_EQ(host.NextDueTime(), 1'200'000'000);

    host.AdvanceBy(0.2);
    EXPECT_EQ(ran.size(), 3u);
    EXPECT_EQ(ran.back().at, 1'200'000'000);
}

TEST_F(SchedulerTest, HostPostsAndSetTimeShareTheQueue) {
    host.Post(
        "host work",
        [this] {
            ran.push_back({"host", host.Now()});
        },
        1.0);
    ScheduleNamed("module work", 1.0);

    host.SetTime(kSecond / 2);
    EXPECT_EQ(host.RunUntilIdle(), 0u);
    host.SetTime(kSecond);
    host.SetTime(0);  // time never goes back
    EXPECT_EQ(host.Now(), kSecond);
    EXPECT_EQ(host.RunUntilIdle(), 2u);
    EXPECT_THAT(Names(), ElementsAre("host", "module work"));
}

TEST_F(SchedulerTest, ScheduleCallsAreRecordedWithDescriptionAndDelay) {
    std::string description = "Timer: arx-matchmaking.tick-search";
    module.Schedule(description.c_str(), 0.1, [] {});
    description.assign(description.size(), 'x');

    const auto schedules = host.Calls().Schedules();
    ASSERT_EQ(schedules.size(), 1u);
    EXPECT_EQ(schedules[0].description, "Timer: arx-matchmaking.tick-search");
    EXPECT_DOUBLE_EQ(schedules[0].delaySeconds, 0.1);
    EXPECT_THAT(host.PendingDescriptions(), ElementsAre("Timer: arx-matchmaking.tick-search"));
}

TEST_F(SchedulerTest, ClockSourceReadsTheVirtualClock) {
    host.AdvanceBy(2.5);
    EXPECT_EQ(Host::ReadClock(&host), 2'500'000'000);
}

// Yielding inside a callback runs what is due; a wait on something later lets time pass to it.
TEST_F(SchedulerTest, YieldRunsDueWorkAndWaitsForLaterWork) {
    bool done = false;
    module.Schedule("waiter", 0.0, [&] {
        module.Schedule("now", 0.0, [&] { ran.push_back({"now", host.Now()}); });
        module.Schedule("in 5s", 5.0, [&] { done = true; });
        module.BeginWait("Wait: future<bool>");
        int turns = 0;
        while (!done) {
            module.Yield();
            ++turns;
        }
        module.EndWait();
        ran.push_back({"waited " + std::to_string(turns), host.Now()});
    });

    host.RunUntilIdle();

    EXPECT_THAT(Names(), ElementsAre("now", "waited 2"));
    EXPECT_EQ(ran.back().at, 5 * kSecond);
    EXPECT_TRUE(host.OpenWaits().empty());
    const auto waits = host.Calls().Waits();
    ASSERT_EQ(waits.size(), 2u);
    EXPECT_TRUE(waits[0].begin);
    EXPECT_EQ(waits[0].label, "Wait: future<bool>");
    EXPECT_FALSE(waits[1].begin);
}

TEST_F(SchedulerTest, NestedWaitsAreRecordedInOrder) {
    module.Schedule("outer", 0.0, [&] {
        module.BeginWait("outer");
        bool innerDone = false;
        module.Schedule("inner", 0.0, [&] {
            module.BeginWait("inner");
            EXPECT_EQ(host.OpenWaits().size(), 2u);
            module.EndWait();
            innerDone = true;
        });
        while (!innerDone) {
            module.Yield();
        }
        module.EndWait();
    });
    host.RunUntilIdle();

    std::vector<std::string> sequence;
    for (const RecordedCall& call : host.Calls().Calls()) {
        if (const auto* wait = std::get_if<RecordedWait>(&call)) {
            sequence.push_back(wait->begin ? "begin " + wait->label : "end");
        } else if (std::holds_alternative<RecordedYield>(call)) {
            sequence.push_back("yield");
        }
    }
    EXPECT_THAT(sequence, ElementsAre("begin outer", "yield", "begin inner", "end", "end"));
}

}  // namespace
}  // namespace Tavix::TestHost
