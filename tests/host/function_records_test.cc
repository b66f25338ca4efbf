// The host's reading of function records: describing them, picking one for a request, and calling
// it, against the fake plug-in, whose records are written from the boundary header alone.

#include "core/function_records.h"

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

class FunctionRecordsTest : public ::testing::Test {
protected:
    void SetUp() override {
        LoadResult loaded = LoadModule(host, &load_arx_matchmaking);
        ASSERT_NE(loaded.module, nullptr) << loaded.error;
        module = std::move(loaded.module);
        ASSERT_TRUE(module->Attach());
    }

    const Client::ApiDescription& Api() const { return *module->Block().apiDescription; }

    Host host;
    std::unique_ptr<Module> module;
};

TEST_F(FunctionRecordsTest, DescribesEachRecordOnOneLine) {
    std::vector<std::string> lines;
    for (const FunctionInfo& function : module->Functions()) {
        lines.push_back(DescribeLine(function));
    }
    EXPECT_THAT(lines, ElementsAre("GET /fake/v1/echo/{word} GetFakeV1EchoByWord word:path",
                                   "* /fake/v1/any FakeAny"));
}

TEST_F(FunctionRecordsTest, PicksTheRecordByMethodAndPath) {
    const Client::HostFunctionRecord* echo = &Api().functions[0];
    const Client::HostFunctionRecord* any = &Api().functions[1];
    EXPECT_EQ(FindFunctionRecord(Api(), Client::kMethodGet, "", "/fake/v1/echo/hi"), echo);
    EXPECT_EQ(FindFunctionRecord(Api(), Client::kMethodGet, "", "/fake/v1/echo/hi?x=1"), echo);
    EXPECT_EQ(FindFunctionRecord(Api(), Client::kMethodPost, "", "/fake/v1/echo/hi"), nullptr);
    EXPECT_EQ(FindFunctionRecord(Api(), Client::kMethodGet, "", "/fake/v1/echo/hi/there"), nullptr);
    EXPECT_EQ(FindFunctionRecord(Api(), Client::kMethodNamed, "PURGE", "/fake/v1/any"), any);
}

TEST(UrlFitsTemplateTest, ReadsTemplatesSegmentBySegment) {
    EXPECT_TRUE(UrlFitsTemplate("/a/b", "/a/b"));
    EXPECT_FALSE(UrlFitsTemplate("/a/b/", "/a/b"));
    EXPECT_TRUE(UrlFitsTemplate("/a/7", "/a/{id}"));
    EXPECT_TRUE(UrlFitsTemplate("/a/", "/a/{id}"));
    EXPECT_TRUE(UrlFitsTemplate("/a/item-7.json", "/a/item-{id}.json"));
    EXPECT_FALSE(UrlFitsTemplate("/a/item-7.xml", "/a/item-{id}.json"));
    EXPECT_TRUE(UrlFitsTemplate("/f/a/b/c", "/f/{+path}"));
    EXPECT_FALSE(UrlFitsTemplate("/f", "/f/{+path}"));
}

TEST_F(FunctionRecordsTest, CallsTheEntryAndReleasesTheAnswer) {
    ApiCall call;
    call.url = "/fake/v1/echo/hi";
    const ApiAnswer echoed = module->CallApi(call);
    EXPECT_TRUE(echoed.called);
    EXPECT_EQ(echoed.value, Value::Text("/fake/v1/echo/hi"));
    EXPECT_TRUE(echoed.released);

    call.method = Client::kMethodDelete;
    call.url = "/fake/v1/any";
    const ApiAnswer refused = module->CallApi(call);
    EXPECT_EQ(refused.error, "nope");
    EXPECT_EQ(refused.status, 404u);

    call.url = "/fake/v1/nothing";
    EXPECT_FALSE(module->CallApi(call).called);
}

}  // namespace
}  // namespace Tavix::TestHost
