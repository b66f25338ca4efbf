#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "core/host.h"
#include "core/module.h"

// The copy of the fake plug-in linked into this test.
extern "C" void load_arx_matchmaking(Tavix::Client::PluginLoadBlock* block);

namespace Tavix::TestHost {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

std::vector<std::string> LogTexts(const Host& host) {
    std::vector<std::string> texts;
    for (const RecordedLogLine& line : host.Calls().LogLines()) {
        texts.push_back(line.text);
    }
    return texts;
}

// The same life through both ways of loading.
class ModuleLifeTest : public ::testing::TestWithParam<bool> {
protected:
    LoadResult Load(CoreVersion core = {}) {
        return GetParam() ? OpenModule(host, FAKE_PLUGIN_PATH, core)
                          : LoadModule(host, &load_arx_matchmaking, core);
    }

    Host host;
};

TEST_P(ModuleLifeTest, LoadsAttachesRunsAndShutsDown) {
    LoadResult loaded = Load({18, 7, 3});
    ASSERT_NE(loaded.module, nullptr) << loaded.error;
    Module& module = *loaded.module;
    EXPECT_EQ(module.ShortName(), "fake-plugin");
    EXPECT_EQ(module.Block().major, 18u);
    EXPECT_EQ(module.Block().minor, 0u) << "the export writes its own version over the core's";
    EXPECT_NE(module.Block().apiDescription, nullptr);
    EXPECT_THAT(host.Calls().Calls(), IsEmpty()) << "the export must not call the host";

    ASSERT_TRUE(module.Attach());
    EXPECT_TRUE(host.IsSubscribed("fake.echo", module.ClientId()));
    EXPECT_THAT(LogTexts(host), ElementsAre("fake-plugin: attached"));

    host.RunUntilIdle();
    host.AdvanceBy(1.0);
    EXPECT_THAT(LogTexts(host), ElementsAre("fake-plugin: attached", "fake-plugin: tick 1",
                                            "fake-plugin: tick 2", "fake-plugin: tick 3"));
    const auto requests = host.Calls().Requests();
    ASSERT_EQ(requests.size(), 3u);
    EXPECT_EQ(requests[0].url, "/fake/v1/ping");
    EXPECT_EQ(requests[0].clientId, module.ClientId());
    EXPECT_EQ(host.OutstandingResponses(), 0u);

    host.Publish("fake.echo", Value::Text("hi"));
    host.RunUntilIdle();
    const auto events = host.Calls().Events();
    ASSERT_EQ(events.size(), 1u);
    EXPECT_EQ(events[0].name, "fake.echoed");
    EXPECT_EQ(events[0].payload, Value::Text("hi"));
    EXPECT_EQ(events[0].clientId, module.ClientId());

    const Client::MemoryCounters counters = module.ReadMemoryCounters();
    EXPECT_EQ(counters.allocations, 4u);
    EXPECT_EQ(counters.reserved, 0u);

    EXPECT_THAT(module.Shutdown(), IsEmpty());
    EXPECT_TRUE(module.IsShutDown());
    EXPECT_EQ(LogTexts(host).back(), "fake-plugin: stopped");
    EXPECT_EQ(host.PendingCount(), 0u) << "the module's next tick must not outlive it";
    host.AdvanceBy(5.0);
}

TEST_P(ModuleLifeTest, ARefusedCoreVersionIsAnError) {
    LoadResult loaded = Load({17, 9, 9});
    EXPECT_EQ(loaded.module, nullptr);
    EXPECT_THAT(loaded.error, HasSubstr("plug-in operations"));
}

TEST_P(ModuleLifeTest, DestroyingARunningModuleShutsItDown) {
    {
        LoadResult loaded = Load();
        ASSERT_NE(loaded.module, nullptr) << loaded.error;
        ASSERT_TRUE(loaded.module->Attach());
    }
    EXPECT_EQ(LogTexts(host).back(), "fake-plugin: stopped");
    EXPECT_TRUE(host.Subscriptions().empty());
}

INSTANTIATE_TEST_SUITE_P(ByPathAndByFunction, ModuleLifeTest, ::testing::Bool(),
                         [](const ::testing::TestParamInfo<bool>& param) {
                             return param.param ? "dlopen" : "pointer";
                         });

TEST(ModuleOpen, ReportsLibrariesThatCannotBeUsed) {
    Host host;
    LoadResult missing = OpenModule(host, "/nonexistent/libarx_matchmaking.so");
    EXPECT_EQ(missing.module, nullptr);
    EXPECT_THAT(missing.error, HasSubstr("cannot load /nonexistent/libarx_matchmaking.so"));

    // Any shared library without the export.
    LoadResult noExport = OpenModule(host, "libm.so.6");
    EXPECT_EQ(noExport.module, nullptr);
    EXPECT_THAT(noExport.error, HasSubstr("has no export load_arx_matchmaking"));

    LoadResult noFunction = LoadModule(host, nullptr);
    EXPECT_EQ(noFunction.module, nullptr);
    EXPECT_FALSE(noFunction.error.empty());
}

TEST(ModuleOpen, EachModuleGetsItsOwnClientId) {
    Host host;
    LoadResult first = LoadModule(host, &load_arx_matchmaking);
    LoadResult second = OpenModule(host, FAKE_PLUGIN_PATH);
    ASSERT_NE(first.module, nullptr);
    ASSERT_NE(second.module, nullptr) << second.error;
    EXPECT_NE(first.module->ClientId(), second.module->ClientId());
    EXPECT_EQ(first.module->Interface().operations, host.Operations());
    ASSERT_TRUE(first.module->Attach());
    ASSERT_TRUE(second.module->Attach());

    // One event, both subscribed: each module answers with its own client id.
    host.Publish("fake.echo", Value::None());
    host.RunUntilIdle();
    std::vector<std::uint32_t> senders;
    for (const RecordedEvent& event : host.Calls().Events()) {
        senders.push_back(event.clientId);
    }
    EXPECT_THAT(senders, ElementsAre(first.module->ClientId(), second.module->ClientId()));

    first.module->Shutdown();
    EXPECT_FALSE(host.IsSubscribed("fake.echo", first.module->ClientId()));
    EXPECT_TRUE(host.IsSubscribed("fake.echo", second.module->ClientId()));
}

}  // namespace
}  // namespace Tavix::TestHost
