// Jobs and named timers, driven by the test host's virtual clock.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "log/log_target.h"
#include "test_module.h"

namespace Tavix::Client::Testing {
namespace {

using TimersTest = HostedModuleTest;

TEST_F(TimersTest, JobDelaysAreMeasuredFromNowAndNeverNegative) {
    host.SetTime(10'000'000'000);
    int ran = 0;
    InModule([&] {
        plugin->PostJob(
            "late", [&] { ++ran; }, host.Now() - 5'000'000'000);
        plugin->PostJob(
            "soon", [&] { ++ran; }, host.Now() + 1'500'000'000);
    });
    const auto schedules = host.Calls().Schedules();
    ASSERT_EQ(schedules.size(), 2u);
    EXPECT_EQ(schedules[0].description, "late");
    EXPECT_EQ(schedules[0].delaySeconds, 0.0);
    EXPECT_DOUBLE_EQ(schedules[1].delaySeconds, 1.5);

    host.RunUntilIdle();
    EXPECT_EQ(ran, 1);
    host.AdvanceBy(1.5);
    EXPECT_EQ(ran, 2);
    EXPECT_EQ(plugin->PendingJobs(), 0u);
}

TEST_F(TimersTest, JobIdsAreNeverReused) {
    const std::uint64_t first = plugin->NextJobId();
    InModule([&] {
        plugin->PostJob(
            "a", [] {}, 0);
        plugin->PostJob(
            "b", [] {}, 0);
    });
    host.RunUntilIdle();
    EXPECT_EQ(plugin->PendingJobs(), 0u);
    // A job posted by a job, and one posted after the table emptied, still get fresh ids.
    InModule([&] {
        plugin->PostJob(
            "c",
            [&] {
                plugin->PostJob(
                    "d", [] {}, 0);
            },
            0);
    });
    host.RunUntilIdle();
    EXPECT_EQ(plugin->NextJobId(), first + 4);
}

TEST_F(TimersTest, ExpiriesAreAPeriodApartFromStartToStart) {
    std::vector<double> starts;
    InModule([&] {
        plugin->SetTimer("tick", 0.1, [&] {
            starts.push_back(Seconds());
            host.SetTime(host.Now() + 50'000'000);  // the function takes half a period
        });
    });
    EXPECT_EQ(host.Calls().Schedules().front().description, "Timer: tick");
    host.AdvanceBy(0.55);
    ASSERT_EQ(starts.size(), 5u);
    for (std::size_t i = 0; i < starts.size(); ++i) {
        EXPECT_NEAR(starts[i], 0.1 * static_cast<double>(i + 1), 1e-6) << "expiry " << i;
    }
    // One job at a time: the timer never piles up callbacks in the host.
    EXPECT_EQ(host.PendingCount(), 1u);
}

TEST_F(TimersTest, SlowFunctionIsFollowedByOneImmediateJobNotABurst) {
    int runs = 0;
    InModule([&] {
        plugin->SetTimer("slow", 0.1, [&] {
            if (++runs == 1) {
                host.SetTime(host.Now() + 350'000'000);
            }
        });
    });
    host.AdvanceBy(0.1);
    // The late expiry runs on the host's next turn, and only once.
    EXPECT_EQ(runs, 2);
    const auto schedules = host.Calls().Schedules();
    ASSERT_EQ(schedules.size(), 3u);
    EXPECT_EQ(schedules[1].delaySeconds, 0.0);
    EXPECT_NEAR(schedules[2].delaySeconds, 0.1, 1e-9);
    EXPECT_EQ(host.PendingCount(), 1u);
}

TEST_F(TimersTest, SettingANameAgainReplacesTheFunctionAndPeriod) {
    int first = 0;
    int second = 0;
    InModule([&] {
        plugin->SetTimer("t", 1.0, [&] { ++first; });
        plugin->SetTimer("t", 0.25, [&] { ++second; });
    });
    host.AdvanceBy(1.0);
    EXPECT_EQ(first, 0);
    EXPECT_EQ(second, 4);
}

TEST_F(TimersTest, JobOfACancelledTimerNeverRunsTheTimerSetAfterIt) {
    int old = 0;
    int renewed = 0;
    InModule([&] {
        plugin->SetTimer("t", 1.0, [&] { ++old; });
        plugin->CancelTimer("t");
    });
    host.AdvanceBy(0.5);
    InModule([&] { plugin->SetTimer("t", 1.0, [&] { ++renewed; }); });
    host.AdvanceBy(0.7);  // the cancelled timer's job comes due at 1.0
    EXPECT_EQ(old, 0);
    EXPECT_EQ(renewed, 0);
    host.AdvanceBy(0.35);
    EXPECT_EQ(renewed, 1);
    EXPECT_EQ(old, 0);
}

// Sees only messages that carry the "NET" group.
class NetGroupTarget : public LogTarget {
public:
    bool Write(const LogMessage& message) override {
        texts.emplace_back(message.text);
        return true;
    }
    std::vector<std::string> texts;
};

TEST_F(TimersTest, CancelledTimerLeavesOneWarningUnderDbgAndNet) {
    NetGroupTarget net;
    LogTargetConfig config;
    config.level = LogLevel::Okay;
    config.includedGroups = kLogGroupNet;
    config.format = "#M";
    Install(net, config);

    int runs = 0;
    InModule([&] {
        plugin->SetTimer("gone", 0.5, [&] { ++runs; });
        plugin->CancelTimer("gone");
    });
    host.Calls().Clear();
    host.AdvanceBy(2.0);

    EXPECT_EQ(runs, 0);
    const auto lines = host.Calls().LogLines();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].level, 1);
    EXPECT_EQ(lines[0].text, "test-module: Couldn't find timer named gone");
    EXPECT_EQ(net.texts, std::vector<std::string>{lines[0].text});
    EXPECT_EQ(host.PendingCount(), 0u);
    net.Close();
}

TEST_F(TimersTest, FunctionMayCancelOrReplaceItsOwnTimer) {
    int cancelling = 0;
    int replacing = 0;
    int replacement = 0;
    InModule([&] {
        plugin->SetTimer("once", 0.1, [&] {
            ++cancelling;
            plugin->CancelTimer("once");
        });
        plugin->SetTimer("swap", 0.1, [&] {
            ++replacing;
            plugin->SetTimer("swap", 1.0, [&] { ++replacement; });
        });
    });
    host.AdvanceBy(1.05);
    EXPECT_EQ(cancelling, 1);
    EXPECT_FALSE(plugin->HasTimer("once"));
    EXPECT_EQ(replacing, 1);
    EXPECT_EQ(replacement, 0);
    host.AdvanceBy(0.1);
    EXPECT_EQ(replacement, 1);
    // "once" posted nothing more, and "swap" has exactly its own next job.
    EXPECT_EQ(host.PendingCount(), 1u);
}

TEST_F(TimersTest, StopClearsTimersAndTheirLastJobsEndQuietly) {
    int runs = 0;
    InModule([&] { plugin->SetTimer("t", 0.1, [&] { ++runs; }); });
    InModule([&] { plugin->AppClient::OnStop(); });
    host.Calls().Clear();
    host.AdvanceBy(0.2);
    EXPECT_EQ(runs, 0);
    EXPECT_FALSE(plugin->HasTimer("t"));
    EXPECT_EQ(host.Calls().LogLines().size(), 1u);
}

}  // namespace
}  // namespace Tavix::Client::Testing
