// A core whose plug-in API cannot host the module ends the process with the fatal report.

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

}  // namespace
}  // namespace Tavix::Client::Testing
