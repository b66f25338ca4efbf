// The document at /openapi.json: the module's own, with the event stream, the action list and
// each host action beside its paths.

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "http/api_document.h"

namespace Tavix::TestHost {
namespace {

using nlohmann::json;

const char* const kModuleDocument = R"({
  "openapi": "3.0.0",
  "info": {"title": "arx-matchmaking", "version": "1.0.0"},
  "paths": {
    "/arx-matchmaking/v1/search": {"get": {"summary": "the search"}},
    "/sim": {"get": {"summary": "the module's own"}}
  }
})";

std::vector<HostAction> Actions() {
    HostAction pop;
    pop.path = "/sim/pop";
    pop.title = "Pop a match";
    pop.parameters = {{"after", "0"}, {"queue", ""}};
    HostAction clock;
    clock.method = "PUT";
    clock.path = "/sim/clock";
    return {pop, clock};
}

TEST(ApiDocumentTest, TheFrontsPathsGoBesideTheModulesOwn) {
    const ApiDocument served = WithFrontPaths(kModuleDocument, Actions());
    ASSERT_EQ(served.error, "");
    const json document = json::parse(served.json);
    EXPECT_EQ(document["info"]["title"], "arx-matchmaking");
    const json& paths = document["paths"];
    EXPECT_EQ(paths["/arx-matchmaking/v1/search"]["get"]["summary"], "the search");
    // A path the module serves itself is the module's to describe.
    EXPECT_EQ(paths["/sim"]["get"]["summary"], "the module's own");

    const json& events = paths["/events"]["get"];
    ASSERT_TRUE(events["responses"]["200"]["content"].contains("text/event-stream"));
    EXPECT_EQ(events["parameters"][0]["name"], "uri");
    EXPECT_EQ(events["parameters"][0]["in"], "query");

    const json& pop = paths["/sim/pop"]["post"];
    EXPECT_EQ(pop["summary"], "Pop a match");
    ASSERT_EQ(pop["parameters"].size(), 2u);
    EXPECT_EQ(pop["parameters"][0]["name"], "after");
    EXPECT_EQ(pop["parameters"][0]["schema"]["default"], "0");
    EXPECT_FALSE(pop["parameters"][1]["schema"].contains("default"));
    // Named by its path when it has no title; methods in lower case, as the format has them.
    EXPECT_EQ(paths["/sim/clock"]["put"]["summary"], "/sim/clock");
}

TEST(ApiDocumentTest, ADocumentWithoutPathsGetsTheFrontsOnly) {
    const ApiDocument served = WithFrontPaths(R"({"openapi": "3.0.0"})", {});
    ASSERT_EQ(served.error, "");
    const json document = json::parse(served.json);
    EXPECT_EQ(document["paths"].size(), 2u);
    EXPECT_TRUE(document["paths"].contains("/sim"));
}

TEST(ApiDocumentTest, ADocumentThatIsNoJsonObjectIsRefused) {
    for (const char* text : {"", "[]", "{\"openapi\": ", "null"}) {
        const ApiDocument served = WithFrontPaths(text, Actions());
        EXPECT_EQ(served.error, "the module's API document is not a JSON object") << text;
        EXPECT_EQ(served.json, "");
    }
}

}  // namespace
}  // namespace Tavix::TestHost
