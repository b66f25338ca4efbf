#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "arx/host_boundary.h"
#include "log/log.h"
#include "log/log_core.h"
#include "log/plugin_log_target.h"
#include "log_test_support.h"

namespace Tavix::Client {
namespace {

using ::testing::ElementsAre;
using ::testing::Pair;

// A host table whose log entry records its calls; it checks that it is handed its own address.
struct FakeHost {
    HostOperations operations{};
    std::vector<std::pair<int, std::string>> written;

    FakeHost() { operations.WriteLog = &FakeHost::WriteLog; }

    static void WriteLog(HostOperations* self, std::int32_t level, const char* message) {
        auto* host = reinterpret_cast<FakeHost*>(self);
        host->written.emplace_back(level, message);
    }
};

class PluginLogTargetTest : public Testing::FreshLogCore {};

TEST_F(PluginLogTargetTest, HandsLevelAndBareTextToTheHost) {
    FakeHost host;
    PluginLogTarget target(&host.operations);
    EXPECT_STREQ(target.GetName(), "PluginLogTarget");
    // The layout the module sets at attach; the host still gets the text alone.
    Install(target, LogTargetConfig{LogLevel::Okay, 0, 0, "#D| #L| #G| #M"});
    LogCore::SetLevel(LogLevel::Okay);
    Log(LogLevel::Always, kLogGroupDbg, "search %d started", 7);
    Log(LogLevel::Okay, kLogGroupDbg | kLogGroupNet, "ends in a line feed\n");
    EXPECT_THAT(host.written,
                ElementsAre(Pair(3, "search 7 started"), Pair(0, "ends in a line feed\n")));
}

TEST_F(PluginLogTargetTest, IsFoundByNameAndLeavesTheCoreWhenDestroyed) {
    FakeHost host;
    {
        PluginLogTarget target(&host.operations);
        Install(target, LogTargetConfig{LogLevel::Warn, 0, 0, "#M"});
        EXPECT_EQ(LogCore::FindTarget("PluginLogTarget"), target.Interface());
        Log(LogLevel::Okay, kLogGroupDbg, "below its level");
    }
    EXPECT_EQ(LogCore::FindTarget("PluginLogTarget"), nullptr);
    Log(LogLevel::Always, kLogGroupDbg, "after it is gone");
    EXPECT_TRUE(host.written.empty());
}

TEST_F(PluginLogTargetTest, WithoutALogEntryTheWriteFails) {
    HostOperations bare{};
    PluginLogTarget target(&bare);
    PluginLogTarget orphan(nullptr);
    const LogMessage message{{}, LogLevel::Error, kLogGroupDbg, "nowhere"};
    EXPECT_FALSE(target.Write(message));
    EXPECT_FALSE(orphan.Write(message));
    LogTargetInterface* table = target.Interface();
    EXPECT_FALSE(table->Write(table, &message));
}

TEST_F(PluginLogTargetTest, InterfaceWriteReachesTheHost) {
    FakeHost host;
    PluginLogTarget target(&host.operations);
    LogTargetInterface* table = target.Interface();
    const LogMessage message{{}, LogLevel::Warn, kLogGroupDbg, "direct"};
    EXPECT_TRUE(table->Write(table, &message));
    EXPECT_EQ(table->GetVersion(table), 1);
    EXPECT_STREQ(table->GetName(table), "PluginLogTarget");
    EXPECT_THAT(host.written, ElementsAre(Pair(1, "direct")));
}

}  // namespace
}  // namespace Tavix::Client
