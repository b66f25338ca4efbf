// Faults of the host that end the process with the fatal report: a core whose plug-in API cannot
// host the module, and a host operation asked of a module not yet attached.

#include <gtest/gtest.h>

#include "test_module.h"

namespace Tavix::Client::Testing {
namespace {

void LoadWithCore(TestHost::CoreVersion core) {
    TestHost::Host host;
    TestHost::LoadModule(host, &LoadTestModule, core);
}

TEST(AppModuleDeathTest, OlderOrNewerMajorCoreIsFatal) {
    EXPECT_DEATH(LoadWithCore({17, 9, 9}),
                 "test-module which supports plugin API 18\\.0\\.0 is not compatible with "
                 "core's plugin API 17\\.9\\.9(.|\n)*Expression: ALE-EECF0606");
    EXPECT_DEATH(LoadWithCore({19, 0, 0}),
                 "core's plugin API 19\\.0\\.0(.|\n)*Expression: ALE-EECF0606");
}

// A module that is loaded but not attached knows no host: asking for one is a fault of the host,
// reported, never a null pointer followed.
TEST(AppModuleDeathTest, AHostCallBeforeAttachIsFatal) {
    EXPECT_DEATH(
        {
            TestHost::Host host;
            TestHost::LoadResult loaded = TestHost::LoadModule(host, &LoadTestModule);
            auto* module =
                static_cast<TestModule*>(static_cast<AppModule*>(loaded.module->Block().module));
            module->PostJob(
                "too early", [] {}, 0);
        },
        "Expression: ALE-7C2F4A61");
}

}  // namespace
}  // namespace Tavix::Client::Testing
