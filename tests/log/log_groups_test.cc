#include <gtest/gtest.h>

#include <set>
#include <string>

#include "log/log_groups.h"

namespace Tavix::Client {
namespace {

// One test, since registration changes the process-wide table for good.
TEST(RegisterGroupTest, GroupsFillTheTableOnceAndThenGetNoBit) {
    LogGroupMask mask = 99;
    RegisterGroup(&mask, "LOC");
    EXPECT_EQ(mask, kLogGroupLoc);
    RegisterGroup(&mask, "DBG");
    EXPECT_EQ(mask, kLogGroupDbg);
    RegisterGroup(&mask, "NETWORK");
    EXPECT_EQ(mask, kLogGroupNet);

    RegisterGroup(&mask, "ZQA");
    EXPECT_EQ(mask, LogGroupMask{1} << 9);
    LogGroupMask again = 0;
    RegisterGroup(&again, "ZQA and more");
    EXPECT_EQ(again, mask);
    RegisterGroup(&again, "zqa");
    EXPECT_EQ(again, LogGroupMask{1} << 10);
    RegisterGroup(&again, "ZQ");
    EXPECT_EQ(again, LogGroupMask{1} << 11);

    char names[16];
    GroupNames(names, sizeof names, (LogGroupMask{1} << 9) | (LogGroupMask{1} << 10));
    EXPECT_STREQ(names, "ZQA;zqa");

    for (int index = 12; index < 64; ++index) {
        const std::string name = "#" + std::to_string(index);
        RegisterGroup(&mask, name.c_str());
        ASSERT_EQ(mask, LogGroupMask{1} << index) << name;
    }
    RegisterGroup(&mask, "NEW");
    EXPECT_EQ(mask, 0u);
    RegisterGroup(&mask, "#63");
    EXPECT_EQ(mask, LogGroupMask{1} << 63);
    RegisterGroup(&mask, nullptr);
    EXPECT_EQ(mask, 0u);
    RegisterGroup(nullptr, "DBG");
}

}  // namespace
}  // namespace Tavix::Client
