// The module's side of the boundary: the export and its version test, the names, attach with its
// log target, shutdown and the memory counters, through the test host.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "frame/plugin_identity.h"
#include "log/log_core.h"
#include "log/log_target.h"
#include "log/plugin_log_target.h"
#include "support/format.h"
#include "test_module.h"

namespace Tavix::Client::Testing {
namespace {

TEST(PluginApiVersionTest, CompatibleWhenMajorMatchesAndMinorPatchAreNotBehind) {
    const PluginApiVersion plugin{18, 2, 1, {}, {}};
    struct Case {
        PluginApiVersion core;
        bool compatible;
    };
    const Case cases[] = {
        {{18, 2, 1, {}, {}}, true},
        {{18, 2, 0, {}, {}}, false},  // equal minor needs the
                                      // patch
        {{18, 3, 0, {}, {}}, true},   // a higher minor ignores the patch
        {{18, 1, 9, {}, {}}, false},
        {{19, 2, 1, {}, {}}, false},
        {{17, 9, 9, {}, {}}, false},
        {{18, 2, 1, "beta", "7"}, true},  // pre-release and build play no part
    };
    for (const Case& c : cases) {
        EXPECT_EQ(IsCompatible(c.core, plugin), c.compatible) << ToText(c.core);
    }
}

TEST(PluginApiVersionTest, PrintsNumbersThenPrereleaseThenBuild) {
    EXPECT_EQ(ToText(kPluginApiVersion), "18.0.0");
    EXPECT_EQ(ToText(PluginApiVersion{1, 2, 3, "rc.1", {}}), "1.2.3-rc.1");
    EXPECT_EQ(ToText(PluginApiVersion{1, 2, 3, {}, "42"}), "1.2.3+42");
    EXPECT_EQ(ToText(PluginApiVersion{1, 2, 3, "rc.1", "42"}), "1.2.3-rc.1+42");
    EXPECT_EQ(Format("%1 / %2", kPluginApiVersion, kBackendPluginType), "18.0.0 / backend:");
}

class CapturingTarget : public LogTarget {
public:
    bool Write(const LogMessage& message) override {
        lines.emplace_back(message.text);
        return true;
    }
    std::vector<std::string> lines;
};

TEST(PluginNameTest, PrefixFollowsTheTypeExactly) {
    EXPECT_EQ(GetFullNameFromShortNameAndType("x", kBackendPluginType).fullName, "txp-be-x");
    EXPECT_EQ(GetFullNameFromShortNameAndType("x", kFrontendPluginType).fullName, "txp-fe-x");

    CapturingTarget target;
    LogTargetConfig config;
    config.level = LogLevel::Okay;
    config.format = "#M";
    Install(target, config);
    const PluginName name = GetFullNameFromShortNameAndType("x", PluginType{"Backend", {}});
    target.Close();

    EXPECT_EQ(name.fullName, "txp-xx-x");
    EXPECT_EQ(name.shortName, "x");
    EXPECT_EQ(name.typeName, "Backend");
    ASSERT_EQ(target.lines.size(), 1u);
    EXPECT_EQ(target.lines[0],
              "            Plugin Manager| GetFullNameFromShortNameAndType(\"x\", \"Backend\") "
              "called with an unknown type");
}

class LoadTest : public ::testing::Test {
protected:
    TestHost::LoadResult Load(TestHost::CoreVersion core) {
        return TestHost::LoadModule(host, &LoadTestModule, core);
    }
    TestHost::Host host;
};

TEST_F(LoadTest, AnyCore18LoadsAndTheBlockCarriesThePluginsOwnVersion) {
    for (const TestHost::CoreVersion core :
         {TestHost::CoreVersion{18, 0, 0}, TestHost::CoreVersion{18, 7, 3}}) {
        TestHost::LoadResult loaded = Load(core);
        ASSERT_TRUE(loaded.module) << loaded.error;
        const PluginLoadBlock& block = loaded.module->Block();
        EXPECT_EQ(block.major, 18u);
        EXPECT_EQ(block.minor, 0u);
        EXPECT_EQ(block.patch, 0u);
        ASSERT_NE(block.operations, nullptr);
        EXPECT_NE(block.apiDescription, nullptr);
        EXPECT_STREQ(block.shortName, "test-module");

        auto* module = static_cast<AppModule*>(block.module);
        EXPECT_EQ(module->GetCoreApiVersion().minor, core.minor);
        EXPECT_EQ(module->GetPluginName().fullName, "txp-be-test-module");
        EXPECT_EQ(module->GetApiNamespace(), "TestModule");
        EXPECT_EQ(module->GetApiTags(),
                  (std::vector<std::string>{"Plugins", "Plugin test-module"}));
        // Nothing of the host is called before Attach.
        EXPECT_TRUE(host.Calls().Calls().empty());
    }
}

TEST_F(LoadTest, AttachHandsTheLogToTheHostAndBindsTheModule) {
    TestHost::LoadResult loaded = Load({18, 7, 3});
    ASSERT_TRUE(loaded.module);
    auto* module = static_cast<AppModule*>(loaded.module->Block().module);

    ASSERT_TRUE(loaded.module->Attach());

    EXPECT_EQ(module->GetUserAgent(), "TavixClient/18.7.3 (test-module)");
    EXPECT_EQ(module->GetClientId(), loaded.module->ClientId());
    EXPECT_EQ(module->GetShortName(), "test-module");
    EXPECT_NE(module->GetLogTarget(), nullptr);
    EXPECT_EQ(LogCore::GetLevel(), LogLevel::Okay);
    EXPECT_EQ(LogCore::GetIgnoredGroups(), kLogGroupXtr);
    for (LogTargetInterface* builtIn :
         {LogCore::GetStdOutTarget(), LogCore::GetStdErrTarget(), LogCore::GetDebuggerTarget()}) {
        EXPECT_FALSE(builtIn->IsAttached(builtIn)) << builtIn->GetName(builtIn);
    }

    // An OKAY line now reaches the host, unformatted, with its level.
    Log(LogLevel::Okay, kLogGroupDbg, "hello %d", 7);
    const auto lines = host.Calls().LogLines();
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(lines.back().level, 0);
    EXPECT_EQ(lines.back().text, "hello 7");
    // "XTR" stays ignored.
    Log(LogLevel::Always, kLogGroupXtr, "dropped");
    EXPECT_EQ(host.Calls().LogLines().size(), lines.size());
}

TEST_F(LoadTest, SecondModuleLeavesTheExistingHostTargetAlone) {
    TestHost::LoadResult first = Load({18, 0, 0});
    TestHost::LoadResult second = Load({18, 0, 0});
    ASSERT_TRUE(first.module && second.module);
    ASSERT_TRUE(first.module->Attach());
    ASSERT_TRUE(second.module->Attach());
    EXPECT_NE(static_cast<AppModule*>(first.module->Block().module)->GetLogTarget(), nullptr);
    EXPECT_EQ(static_cast<AppModule*>(second.module->Block().module)->GetLogTarget(), nullptr);

    // When the installing module goes, its target leaves the core with it.
    first.module->Shutdown();
    EXPECT_EQ(LogCore::FindTarget("PluginLogTarget"), nullptr);
}

TEST_F(LoadTest, ShutdownStopsTheModuleAndTheLogCoreGoesWithTheLastModule) {
    const int referencesBefore = LogCore::ReferenceCount();
    TestHost::LoadResult loaded = Load({18, 0, 0});
    ASSERT_TRUE(loaded.module);
    EXPECT_EQ(LogCore::ReferenceCount(), referencesBefore + 1);
    ASSERT_TRUE(loaded.module->Attach());
    {
        // A timer still running at shutdown is cleared by the stop; its job dies with the module.
        TestHost::Host::ModuleCall call(host, loaded.module->ClientId());
        static_cast<TestModule*>(static_cast<AppModule*>(loaded.module->Block().module))
            ->SetTimer("t", 1.0, [] {});
    }
    const std::vector<std::string> left = loaded.module->Shutdown();
    EXPECT_TRUE(left.empty());
    EXPECT_EQ(LogCore::ReferenceCount(), referencesBefore);
}

TEST_F(LoadTest, MemoryCountersAreACopyOfTheTrackedAllocator) {
    TestHost::LoadResult loaded = Load({18, 0, 0});
    ASSERT_TRUE(loaded.module);
    const MemoryCounters before = loaded.module->ReadMemoryCounters();
    void* block = Allocate(1000);
    const MemoryCounters during = loaded.module->ReadMemoryCounters();
    Release(block);
    const MemoryCounters after = loaded.module->ReadMemoryCounters();

    EXPECT_EQ(during.allocations, before.allocations + 1);
    EXPECT_GE(during.allocatedBytes, before.allocatedBytes + 1000);
    EXPECT_GE(during.peakLiveBytes, during.allocatedBytes - during.freedBytes);
    EXPECT_EQ(after.frees, during.frees + 1);
    EXPECT_EQ(after.freedBytes - during.freedBytes, during.allocatedBytes - before.allocatedBytes);
    EXPECT_EQ(after.reserved, 0u);
}

}  // namespace
}  // namespace Tavix::Client::Testing
