// The OpenAPI document of the built plug-in library, fetched as arx-host --openapi fetches it: a
// valid document for the standard validator, with the nine routes and the two that describe the
// module, their bodies, results and failures, and the records as the module's own Help lists them.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include <map>
#include <set>
#include <string>
#include <vector>

#include "core/host.h"
#include "core/module.h"
#include "core/self_description.h"
#include "routing/openapi_validator.h"

namespace {

using json = nlohmann::json;
using Tavix::Client::Testing::OpenApiValidationFailure;

const std::string kRef = "#/components/schemas/";
const std::string kSearch = "ArxMatchmakingMatchmakingSearchResource";
const std::string kSearchError = "ArxMatchmakingMatchmakingSearchErrorResource";
const std::string kReadyCheck = "ArxMatchmakingMatchmakingReadyCheckResource";

class OpenApiDocumentTest : public ::testing::Test {
protected:
    void SetUp() override {
        loaded = Tavix::TestHost::OpenModule(host, ARX_PLUGIN_PATH);
        ASSERT_TRUE(loaded.module) << loaded.error;
        const Tavix::TestHost::OpenApiFetch fetch =
            Tavix::TestHost::FetchOpenApiDocument(*loaded.module);
        ASSERT_TRUE(fetch.Ok()) << fetch.error << " (" << fetch.status << ")";
        text = fetch.json;
        document = json::parse(text);
    }

    // The module's own Help, in Full form, as JSON.
    json Help() {
        const Tavix::Client::HostFunctionRecord* record = Tavix::TestHost::FindFunctionRecordNamed(
            *loaded.module->Block().apiDescription, Tavix::Client::kHelpFunction);
        if (record == nullptr) {
            ADD_FAILURE() << "no function \"Help\"";
            return json();
        }
        Tavix::TestHost::ApiCall call;
        call.url = record->url;
        call.clientId = loaded.module->ClientId();
        const Tavix::TestHost::ApiAnswer answer = loaded.module->CallRecord(*record, call);
        EXPECT_FALSE(answer.error) << *answer.error;
        return json::parse(answer.value.ToJson());
    }

    static json ResultSchema(const json& operation) {
        return operation["responses"]["200"]["content"]["application/json"]["schema"];
    }

    Tavix::TestHost::Host host;
    Tavix::TestHost::LoadResult loaded;
    std::string text;
    json document;
};

TEST_F(OpenApiDocumentTest, IsValidAndHasExactlyTheRoutesOfThePlugIn) {
    EXPECT_EQ(OpenApiValidationFailure(text), "");
    EXPECT_EQ(document["info"]["title"], "arx-matchmaking");

    // Every path with its methods, and the function behind each, the way the host calls them.
    std::map<std::string, std::string> operations;
    for (const auto& [path, item] : document["paths"].items()) {
        for (const auto& [method, operation] : item.items()) {
            operations[method + " " + path] = operation["operationId"];
        }
    }
    const std::map<std::string, std::string> expected = {
        {"get /arx-matchmaking/v1/search", "GetArxMatchmakingV1Search"},
        {"post /arx-matchmaking/v1/search", "PostArxMatchmakingV1Search"},
        {"delete /arx-matchmaking/v1/search", "DeleteArxMatchmakingV1Search"},
        {"put /arx-matchmaking/v1/search", "PutArxMatchmakingV1Search"},
        {"get /arx-matchmaking/v1/search/errors", "GetArxMatchmakingV1SearchErrors"},
        {"get /arx-matchmaking/v1/search/errors/{id}", "GetArxMatchmakingV1SearchErrorsById"},
        {"get /arx-matchmaking/v1/ready-check", "GetArxMatchmakingV1ReadyCheck"},
        {"post /arx-matchmaking/v1/ready-check/accept", "PostArxMatchmakingV1ReadyCheckAccept"},
        {"post /arx-matchmaking/v1/ready-check/decline", "PostArxMatchmakingV1ReadyCheckDecline"},
        {"get /arx-matchmaking/v1/help", "Help"},
        {"get /arx-matchmaking/v1/openapi", "OpenApi"},
    };
    EXPECT_EQ(operations, expected);
}

TEST_F(OpenApiDocumentTest, RoutesCarryTheirBodiesResultsAndFailures) {
    const json& paths = document["paths"];
    const json& search = paths["/arx-matchmaking/v1/search"];
    EXPECT_EQ(ResultSchema(search["get"]), json({{"$ref", kRef + kSearch}}));
    EXPECT_EQ(search["put"]["requestBody"]["required"], true);
    EXPECT_EQ(search["put"]["requestBody"]["content"]["application/json"]["schema"],
              json({{"$ref", kRef + kSearch}}));
    EXPECT_EQ(ResultSchema(paths["/arx-matchmaking/v1/search/errors"]["get"]),
              json({{"type", "array"}, {"items", {{"$ref", kRef + kSearchError}}}}));
    const json& error = paths["/arx-matchmaking/v1/search/errors/{id}"]["get"];
    EXPECT_EQ(ResultSchema(error), json({{"$ref", kRef + kSearchError}}));
    ASSERT_EQ(error["parameters"].size(), 1u);
    EXPECT_EQ(error["parameters"][0]["name"], "id");
    EXPECT_EQ(error["parameters"][0]["in"], "path");
    EXPECT_EQ(error["parameters"][0]["schema"]["type"], "integer");
    EXPECT_EQ(ResultSchema(paths["/arx-matchmaking/v1/ready-check"]["get"]),
              json({{"$ref", kRef + kReadyCheck}}));

    // Only the routes with a record to give have content in their success; every route of the
    // nine lists the statuses it can fail with.
    std::map<std::string, std::set<std::string>> statuses;
    for (const auto& [path, item] : paths.items()) {
        for (const auto& [method, operation] : item.items()) {
            for (const auto& [status, response] : operation["responses"].items()) {
                statuses[method + " " + path].insert(status);
            }
        }
    }
    const std::map<std::string, std::set<std::string>> expected = {
        {"get /arx-matchmaking/v1/search", {"200", "404"}},
        {"post /arx-matchmaking/v1/search", {"200", "404", "500"}},
        {"delete /arx-matchmaking/v1/search", {"200", "404", "500"}},
        {"put /arx-matchmaking/v1/search", {"200"}},
        {"get /arx-matchmaking/v1/search/errors", {"200", "404"}},
        {"get /arx-matchmaking/v1/search/errors/{id}", {"200", "404"}},
        {"get /arx-matchmaking/v1/ready-check", {"200", "404"}},
        {"post /arx-matchmaking/v1/ready-check/accept", {"200", "404", "500"}},
        {"post /arx-matchmaking/v1/ready-check/decline", {"200", "404", "500"}},
        {"get /arx-matchmaking/v1/help", {"200", "400"}},
        {"get /arx-matchmaking/v1/openapi", {"200"}},
    };
    EXPECT_EQ(statuses, expected);
    EXPECT_EQ(search["get"]["responses"]["404"]["description"], "No matchmaking search exists.");
    EXPECT_FALSE(search["post"]["responses"]["200"].contains("content"));
}

TEST_F(OpenApiDocumentTest, TheSearchRecordHasItsFieldsAndKinds) {
    const json& schemas = document["components"]["schemas"];
    const json& properties = schemas[kSearch]["properties"];
    std::vector<std::string> names;
    for (const auto& [name, schema] : properties.items()) {
        names.push_back(name);
    }
    EXPECT_THAT(names, ::testing::UnorderedElementsAre("queueId", "isCurrentlyInQueue", "lobbyId",
                                                       "searchState", "timeInQueue",
                                                       "estimatedQueueTime", "readyCheck",
                                                       "dodgeData", "lowPriorityData", "errors"));
    EXPECT_EQ(properties["queueId"], json::parse(R"({"type":"integer","format":"int32"})"));
    EXPECT_EQ(properties["isCurrentlyInQueue"], json::parse(R"({"type":"boolean"})"));
    EXPECT_EQ(properties["timeInQueue"], json::parse(R"({"type":"number","format":"float"})"));
    EXPECT_EQ(properties["searchState"]["$ref"], kRef + "ArxMatchmakingMatchmakingSearchState");
    EXPECT_EQ(properties["readyCheck"]["$ref"], kRef + kReadyCheck);
    EXPECT_EQ(properties["errors"]["items"]["$ref"], kRef + kSearchError);
    EXPECT_EQ(schemas["ArxMatchmakingMatchmakingSearchState"]["enum"],
              json::parse(R"(["Invalid","AbandonedLowPriorityQueue","Canceled","Searching",)"
                          R"("Found","Error","ServiceError","ServiceShutdown"])"));
}

// The document and the Help come from the same registry: one schema per type, and each record
// with the fields its Help lists, each enum with its values.
TEST_F(OpenApiDocumentTest, EveryTypeOfTheHelpIsAComponentWithTheSameMembers) {
    const json help = Help();
    const json& schemas = document["components"]["schemas"];
    ASSERT_TRUE(help["types"].is_array());
    EXPECT_EQ(schemas.size(), help["types"].size());
    for (const json& type : help["types"]) {
        const std::string name = type["name"];
        ASSERT_TRUE(schemas.contains(name)) << name;
        std::set<std::string> members;
        for (const char* list : {"fields", "values"}) {
            if (type[list].is_array()) {
                for (const json& member : type[list]) {
                    members.insert(member["name"].get<std::string>());
                }
            }
        }
        std::set<std::string> described;
        if (schemas[name].contains("enum")) {
            for (const json& value : schemas[name]["enum"]) {
                described.insert(value.get<std::string>());
            }
        } else {
            for (const auto& [field, schema] : schemas[name]["properties"].items()) {
                described.insert(field);
            }
        }
        EXPECT_EQ(described, members) << name;
    }
}

}  // namespace
