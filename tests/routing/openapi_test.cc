// The OpenAPI document of a module, as a host gets it from the module's "OpenApi" function: every
// kind of field and argument, every place an argument can come from, the failures a route lists,
// and hostile names; each document also passes the standard validator.

#include "routing/openapi.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "binding/record_builder.h"
#include "routes_module.h"
#include "routing/openapi_validator.h"

namespace Tavix::Client::Testing {

// One field of every kind a record can have.
struct Kinds {
    bool flag = false;
    std::int8_t i8 = 0;
    std::uint8_t u8 = 0;
    std::int16_t i16 = 0;
    std::uint16_t u16 = 0;
    std::int32_t i32 = 0;
    std::uint32_t u32 = 0;
    std::int64_t i64 = 0;
    std::uint64_t u64 = 0;
    float f32 = 0;
    double f64 = 0;
    std::string text;
    std::vector<std::uint8_t> bytes;
    Color color = Color::Red;
    std::optional<std::int32_t> maybe;
    std::vector<Point> points;
    std::map<std::string, std::int32_t> counts;
    Point origin;
    BindingValue anything;
    BindingCallback callback;
};

// A record that holds records of its own kind.
struct Node {
    std::string name;
    std::vector<Node> children;
};

namespace {

using json = nlohmann::json;

void DeclareKinds(BindingDispatcher& registry) {
    DeclareRecord<Kinds>(registry, "Kinds")
        .Description("Every kind")
        .Field("flag", &Kinds::flag)
        .Field("i8", &Kinds::i8)
        .Field("u8", &Kinds::u8)
        .Field("i16", &Kinds::i16)
        .Field("u16", &Kinds::u16)
        .Field("i32", &Kinds::i32)
        .Field("u32", &Kinds::u32)
        .Field("i64", &Kinds::i64)
        .Field("u64", &Kinds::u64)
        .Field("f32", &Kinds::f32)
        .Field("f64", &Kinds::f64)
        .Field("text", &Kinds::text, "Some text", BindingFieldFlags::Required)
        .Field("bytes", &Kinds::bytes)
        .Field("color", &Kinds::color)
        .Field("maybe", &Kinds::maybe)
        .Field("points", &Kinds::points)
        .Field("counts", &Kinds::counts)
        .Field("origin", &Kinds::origin, "Where it starts")
        .Field("anything", &Kinds::anything)
        .Field("callback", &Kinds::callback);
    DeclareRecord<Node>(registry, "Node")
        .Field("name", &Node::name)
        .Field("children", &Node::children);
}

class OpenApiTest : public RoutesTest {
protected:
    // The document as the host receives it from the module's "OpenApi" function, as JSON.
    json Document() {
        const HostFunctionRecord* record =
            TestHost::FindFunctionRecordNamed(Api(), kOpenApiFunction);
        if (record == nullptr) {
            ADD_FAILURE() << "no function record \"OpenApi\"";
            return json();
        }
        const TestHost::ApiAnswer answer = Call(kMethodGet, record->url);
        EXPECT_EQ(ErrorAndStatus(answer), "(ok) 0");
        text = answer.value.ToJson();
        return json::parse(text);
    }

    // The text of the last document, for the validator.
    std::string text;
};

const std::string kRef = "#/components/schemas/";

// The validator must be there and must say no: otherwise every check below passes in silence.
TEST(OpenApiValidator, RefusesADocumentWithoutInfoOrPaths) {
    EXPECT_EQ(OpenApiValidationFailure(R"({"openapi":"3.0.3","info":{"title":"t","version":"1"},)"
                                       R"("paths":{}})"),
              "");
    EXPECT_THAT(OpenApiValidationFailure(R"({"openapi":"3.0.3","paths":{}})"),
                ::testing::HasSubstr("'info' is a required property"));
    EXPECT_THAT(OpenApiValidationFailure("{\"openapi\":\"3.0.3\",\"x\":\"\xFF\"}"),
                ::testing::HasSubstr("UnicodeDecodeError"));
}

TEST_F(OpenApiTest, EveryKindOfFieldHasItsSchema) {
    Load([](RouteDeclarer& routes, BindingDispatcher& dispatcher) {
        DeclareKinds(dispatcher);
        routes.Get("/test/v1/tree",
                   []() -> ResourceOf<std::vector<Node>> { return std::vector<Node>(); });
        routes.OpenApi("/test/v1/openapi");
    });
    const json document = Document();
    EXPECT_EQ(OpenApiValidationFailure(text), "");
    EXPECT_EQ(document["openapi"], "3.0.3");
    EXPECT_EQ(document["info"], json::parse(R"({"title":"routes-module","version":"18.0.0"})"));

    const json& schemas = document["components"]["schemas"];
    EXPECT_EQ(schemas.size(), plugin->GetDispatcher().Types().size());
    const json& kinds = schemas["Kinds"];
    EXPECT_EQ(kinds["type"], "object");
    EXPECT_EQ(kinds["description"], "Every kind");
    EXPECT_EQ(kinds["required"], json::parse(R"(["text"])"));
    const std::map<std::string, std::string> expected = {
        {"flag", R"({"type":"boolean"})"},
        {"i8", R"({"type":"integer","format":"int32","minimum":-128,"maximum":127})"},
        {"u8", R"({"type":"integer","format":"int32","minimum":0,"maximum":255})"},
        {"i16", R"({"type":"integer","format":"int32","minimum":-32768,"maximum":32767})"},
        {"u16", R"({"type":"integer","format":"int32","minimum":0,"maximum":65535})"},
        {"i32", R"({"type":"integer","format":"int32"})"},
        {"u32", R"({"type":"integer","format":"int64","minimum":0,"maximum":4294967295})"},
        {"i64", R"({"type":"integer","format":"int64"})"},
        {"u64", R"({"type":"integer","minimum":0})"},
        {"f32", R"({"type":"number","format":"float"})"},
        {"f64", R"({"type":"number","format":"double"})"},
        {"text", R"({"type":"string","description":"Some text"})"},
        {"bytes", R"({"type":"string","format":"byte"})"},
        {"color", R"({"$ref":"#/components/schemas/Color"})"},
        {"maybe", R"({"type":"integer","format":"int32","nullable":true})"},
        {"points", R"({"type":"array","items":{"$ref":"#/components/schemas/Point"}})"},
        {"counts",
         R"({"type":"object","additionalProperties":{"type":"integer","format":"int32"}})"},
        // A "$ref" has no siblings, so a described reference wraps it.
        {"origin",
         R"({"allOf":[{"$ref":"#/components/schemas/Point"}],"description":"Where it starts"})"},
        {"anything", R"({})"},
        {"callback", R"({"type":"integer","format":"int64","minimum":0,"maximum":4294967295})"},
    };
    ASSERT_EQ(kinds["properties"].size(), expected.size());
    for (const auto& [name, schema] : expected) {
        EXPECT_EQ(kinds["properties"][name], json::parse(schema)) << name;
    }

    EXPECT_EQ(schemas["Color"],
              json::parse(R"({"type":"string","enum":["Red","Green"],"x-enumerators":[)"
                          R"({"name":"Red","value":0},{"name":"Green","value":1}]})"));
    EXPECT_EQ(schemas["Shape"]["properties"]["color"],
              json::parse(R"({"allOf":[{"$ref":"#/components/schemas/Color"}],"nullable":true})"));
    // A record inside itself is a reference to its own schema, not an endless nesting.
    EXPECT_EQ(schemas["Node"]["properties"]["children"]["items"]["$ref"], kRef + "Node");
    EXPECT_EQ(document["paths"]["/test/v1/tree"]["get"]["responses"]["200"]["content"]
                      ["application/json"]["schema"],
              json::parse(R"({"type":"array","items":{"$ref":"#/components/schemas/Node"}})"));
}

TEST_F(OpenApiTest, ArgumentsGoWhereTheRouteTakesThemFrom) {
    Load([](RouteDeclarer& routes, BindingDispatcher& dispatcher) {
        DeclareKinds(dispatcher);
        routes
            .Get("/test/v1/kinds/{id}",
                 [](std::uint16_t, std::optional<std::string>, std::string) -> ResourceOf<Kinds> {
                     return Kinds();
                 })
            .PathArgument("id", "Which kinds")
            .QueryArgument("filter")
            .HeaderArgument("Token")
            .SetDescription("Reads {kinds}")
            .Fails(404, "No such kinds.")
            .Fails(500, "Broken.")
            .Fails(404, "Gone.")
            .Fails(0, "Refused.");
        routes.Put("/test/v1/kinds", [](Kinds, Shape) { return Resource(); })
            .BodyArgument("kinds", "The new kinds")
            .BodyArgument("shape");
        routes
            .Declare(kMethodAny, "/test/v1/any/{+rest}",
                     [](std::string, std::int32_t, bool) -> ResourceOf<double> { return 1.0; })
            .Argument("rest")
            .Argument("count");
        routes.Help("/test/v1/help");
        routes.OpenApi("/test/v1/openapi");
    });
    const json document = Document();
    EXPECT_EQ(OpenApiValidationFailure(text), "");
    const json& paths = document["paths"];

    const json& get = paths["/test/v1/kinds/{id}"]["get"];
    EXPECT_EQ(get["operationId"], "GetTestV1KindsById");
    EXPECT_EQ(get["description"], "Reads {kinds}");
    EXPECT_EQ(get["tags"], json::parse(R"(["Plugins","Plugin routes-module"])"));
    EXPECT_EQ(get["parameters"],
              json::parse(
                  R"([{"name":"id","in":"path","required":true,"description":"Which kinds",)"
                  R"("schema":{"type":"integer","format":"int32","minimum":0,"maximum":65535}},)"
                  R"({"name":"filter","in":"query","required":false,"schema":{"type":"string"}},)"
                  R"({"name":"token","in":"header","required":true,"schema":{"type":"string"}}])"));
    EXPECT_EQ(
        get["responses"],
        json::parse(R"({"200":{"description":"Success.","content":{"application/json":)"
                    R"({"schema":{"$ref":"#/components/schemas/Kinds"}}}},)"
                    R"("404":{"description":"No such kinds.\nGone."},)"
                    R"("500":{"description":"Broken."},"default":{"description":"Refused."}})"));

    // The first body argument is the body; the second can only come as a named parameter.
    const json& put = paths["/test/v1/kinds"]["put"];
    EXPECT_EQ(put["requestBody"]["required"], true);
    EXPECT_EQ(put["requestBody"]["description"], "The new kinds");
    for (const char* type : {"application/json", "application/x-msgpack", "application/x-yaml"}) {
        EXPECT_EQ(put["requestBody"]["content"][type]["schema"]["$ref"], kRef + "Kinds");
    }
    EXPECT_EQ(put["x-hostParameters"],
              json::parse(R"([{"position":1,"name":"shape","required":true,)"
                          R"("schema":{"$ref":"#/components/schemas/Shape"}}])"));
    EXPECT_EQ(put["responses"]["200"], json::parse(R"({"description":"Success, with no value."})"));

    // A route of any method stands under every method; an unnamed argument has no place in a URL.
    const json& any = paths["/test/v1/any/{rest}"];
    EXPECT_EQ(any.size(), 7u);
    EXPECT_EQ(any["patch"]["operationId"], "TestV1AnyByRest_patch");
    EXPECT_EQ(
        any["get"]["parameters"],
        json::parse(R"([{"name":"rest","in":"path","required":true,"schema":{"type":"string"}},)"
                    R"({"name":"count","in":"query","required":true,)"
                    R"("schema":{"type":"integer","format":"int32"}}])"));
    EXPECT_EQ(any["get"]["x-hostParameters"],
              json::parse(R"([{"position":2,"required":false,"schema":{"type":"boolean"}}])"));

    const json& help = paths["/test/v1/help"]["get"];
    EXPECT_EQ(help["operationId"], "Help");
    EXPECT_EQ(help["responses"]["200"]["content"]["application/json"]["schema"]["$ref"],
              kRef + "BindingFullApiHelp");
    EXPECT_EQ(help["responses"]["400"]["description"], "The help could not be built.");
    EXPECT_EQ(
        document["tags"],
        json::parse(R"([{"name":"Plugins"},{"name":"Plugin routes-module"},{"name":"$builtin"}])"));
}

// Quotes, braces, line ends, bytes that are no UTF-8, names that are no component names, and a
// path parameter without a name: the document stays valid and its references still resolve.
TEST_F(OpenApiTest, HostileNamesKeepTheDocumentValid) {
    Load([](RouteDeclarer& routes, BindingDispatcher& dispatcher) {
        const std::string odd = "Odd \"one\" {x}\n\xC3\xA9\xFF";
        DeclareRecord<Node>(dispatcher, odd)
            .Description(odd)
            .Field(odd, &Node::name, odd, BindingFieldFlags::Required)
            .Field("children", &Node::children);
        // Its component name, taken by the first of the two in name order.
        DeclareRecord<Point>(dispatcher, "Odd__one___x_____");
        routes
            .Get("/test/v1/odd/{}/{na\"me}", [](std::string) -> ResourceOf<Node> { return Node(); })
            .PathArgument("na\"me", odd)
            .SetDescription(odd)
            .Fails(404, odd)
            .AddTags({odd});
        routes.OpenApi("/test/v1/openapi");
    });
    const json document = Document();
    EXPECT_EQ(OpenApiValidationFailure(text), "");

    const std::string valid = "Odd \"one\" {x}\n\xC3\xA9\xEF\xBF\xBD";
    const json& schemas = document["components"]["schemas"];
    ASSERT_TRUE(schemas.contains("Odd__one___x_____")) << schemas.dump();
    const json& odd = schemas["Odd__one___x_____"];
    EXPECT_EQ(odd["description"], valid);
    EXPECT_EQ(odd["required"], json::array({valid}));
    EXPECT_EQ(odd["properties"][valid]["description"], valid);
    // The record that the odd one's children name is the odd one, under its own key.
    EXPECT_EQ(odd["properties"]["children"]["items"]["$ref"], kRef + "Odd__one___x_____");
    EXPECT_EQ(schemas["Odd__one___x______2"], json::parse(R"({"type":"object","properties":{}})"));

    const json& get = document["paths"]["/test/v1/odd/{parameter1}/{na\"me}"]["get"];
    EXPECT_EQ(get["description"], valid);
    EXPECT_EQ(get["responses"]["404"]["description"], valid);
    EXPECT_EQ(get["parameters"][0]["name"], "parameter1");
    EXPECT_EQ(get["parameters"][1]["name"], "na\"me");
    EXPECT_EQ(get["parameters"][1]["description"], valid);
    EXPECT_EQ(get["responses"]["200"]["content"]["application/json"]["schema"]["$ref"],
              kRef + "Odd__one___x_____");
}

}  // namespace
}  // namespace Tavix::Client::Testing
