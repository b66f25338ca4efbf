#include <gtest/gtest.h>

#include <functional>

#include "core/host.h"
#include "module_side.h"

namespace Tavix::TestHost {
namespace {

class HostDeathTest : public ::testing::Test {
protected:
    void SetUp() override { GTEST_FLAG_SET(death_test_style, "threadsafe"); }

    Host host;
    ModuleSide module{host};
};

// A host that runs module callbacks while the module is busy, other than from YieldToHost,
// breaks the one promise modules rely on for having no locks.
TEST_F(HostDeathTest, ReenteringAModuleOutsideYieldAborts) {
    module.Schedule("busy", 0.0, [&] { host.RunUntilIdle(); });
    module.Schedule("other", 0.0, [] {});
    EXPECT_DEATH(host.RunUntilIdle(),
                 "arx test host: a call into module 0 was made while module 0 is running and not "
                 "in YieldToHost");
}

TEST_F(HostDeathTest, AWaitThatCanNeverEndAborts) {
    module.Schedule("awaiting", 0.0, [&] {
        module.BeginWait("Wait: future<MaybeType<Failure, bool>>");
        for (;;) {
            module.Yield();
        }
    });
    EXPECT_DEATH(host.RunUntilIdle(),
                 "waits in YieldToHost, but nothing is due and nothing is scheduled; open waits: "
                 "\"Wait: future<MaybeType<Failure, bool>>\"");
}

TEST_F(HostDeathTest, AWaitOutlastingTheLimitAborts) {
    std::function<void()> tick = [&] { module.Schedule("tick", 1.0, tick); };
    module.Schedule("tick", 1.0, tick);
    module.Schedule("awaiting", 0.0, [&] {
        for (;;) {
            module.Yield();
        }
    });
    host.SetWaitLimit(30.0);
    EXPECT_DEATH(host.RunUntilIdle(), "still waits after 30\\.0+ seconds of virtual time");
}

TEST_F(HostDeathTest, YieldsNestedTooDeepAbort) {
    // Each callback posts the next and yields into it.
    std::function<void()> dive = [&] {
        module.Schedule("dive", 0.0, dive);
        module.Yield();
    };
    module.Schedule("dive", 0.0, dive);
    host.SetMaxYieldDepth(8);
    EXPECT_DEATH(host.RunUntilIdle(), "YieldToHost nested deeper than 8 levels");
}

TEST_F(HostDeathTest, UnbalancedEndWaitAborts) {
    EXPECT_DEATH(module.EndWait(), "EndWait without a BeginWait");
}

TEST_F(HostDeathTest, ResponsesMustBeReleasedOnceAndBeforeReuse) {
    Client::HostResponse response;
    module.Request(Client::kMethodGet, "/x", response);
    Client::HostResponse copy = response;
    response.release(&response);
    EXPECT_DEATH(copy.release(&response), "released twice");

    module.Request(Client::kMethodGet, "/x", response);
    EXPECT_DEATH(module.Request(Client::kMethodGet, "/y", response),
                 "filled again before its release function was called \\(GET /y\\)");
    response.release(&response);
}

}  // namespace
}  // namespace Tavix::TestHost
