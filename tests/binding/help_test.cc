// The registry describing itself: the type texts of both forms, the Epytext escaping, and whole
// descriptions in Full and Epytext form, read back as JSON.

#include "binding/help.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "binding/json.h"
#include "binding/record_builder.h"
#include "binding/registry.h"

namespace Tavix::Client {
namespace HelpSample {

enum class Level : std::int32_t { Beta = 1, Gamma = 2, Alpha = 3 };

struct Point {
    std::int32_t x = 0;
    std::optional<Level> level;
};

// Refers to itself through a vector.
struct Node {
    std::string name;
    std::vector<Node> children;
};

}  // namespace HelpSample

namespace {

using HelpSample::Level;
using HelpSample::Node;
using HelpSample::Point;

// ---- Type texts and escaping ------------------------------------------------------------------

TEST(HelpTypeTexts, NameEveryKindInBothForms) {
    BindingTypeDescriptor point;
    point.name = "Point";
    const struct {
        BindingTypeRef reference;
        const char* type;
        const char* elementType;
        const char* text;
    } cases[] = {
        {{BindingKind::Bool}, "bool", "", "bool"},
        {{BindingKind::Uint64}, "uint64", "", "uint64"},
        {{BindingKind::Object}, "object", "", "object"},
        {{BindingKind::Blob}, "blob", "", "bytearray"},
        {{BindingKind::Callback}, "callback", "", "callback"},
        {{BindingKind::Struct, BindingKind::None, &point}, "Point", "", "L{Point}"},
        {{BindingKind::Enum, BindingKind::None, &point}, "Point", "", "L{Point}"},
        // Without a descriptor, Full still says what kind of type it is.
        {{BindingKind::Struct}, "struct", "", "L{}"},
        {{BindingKind::Enum}, "enum", "", "L{}"},
        {{BindingKind::Vector, BindingKind::Struct, &point}, "vector", "Point", "list[L{Point}]"},
        {{BindingKind::Vector, BindingKind::Blob}, "vector", "blob", "list[bytearray]"},
        {{BindingKind::Map, BindingKind::Int16}, "map", "int16", "dict[int16]"},
        {{BindingKind::Vector, BindingKind::Struct}, "vector", "struct", "list[L{}]"},
        {{BindingKind::None}, "", "", ""},
        {{static_cast<BindingKind>(20)}, "", "", ""},
    };
    for (const auto& test : cases) {
        const BindingFullTypeIdentifier identifier = TypeIdentifier(test.reference);
        EXPECT_EQ(identifier.type, test.type) << test.text;
        EXPECT_EQ(identifier.elementType, test.elementType) << test.text;
        EXPECT_EQ(TypeText(test.reference), test.text);
    }
}

TEST(HelpTypeTexts, EpytextEscapesBracesAndALeadingDashOnly) {
    EXPECT_EQ(EscapeEpytext("-a {b} - c-"), "E{-}a E{lb}bE{rb} - c-");
    EXPECT_EQ(EscapeEpytext("}{"), "E{rb}E{lb}");
    EXPECT_EQ(EscapeEpytext(" -x"), " -x");
    EXPECT_EQ(EscapeEpytext(""), "");
}

// ---- Whole descriptions -----------------------------------------------------------------------

class HelpTest : public ::testing::Test {
protected:
    void SetUp() override {
        registry.RegisterBuiltins();
        level = DeclareEnum<Level>(registry, "Level")
                    .SetDescription("Levels")
                    .AddTags({"t"})
                    .AddEnumerator("Alpha", 3, "Last {x}")
                    .AddEnumerator("Beta", 1, "First")
                    .AddEnumerator("Gamma", 2)
                    .Descriptor();
        point = DeclareRecord<Point>(registry, "Point")
                    .Description("A square")
                    .Field("x", &Point::x, "Left {x}")
                    .Field("level", &Point::level)
                    .Descriptor();

        auto moveBuilder = registry.DeclareFunction("Move", 2);
        moveBuilder.SetDescription("-Moves {the} piece")
            .SetHelp("See {rules}.")
            .AddArgument("to", "Target {square}")
            .AddArgument("payload")
            .AddTags({"game", "$builtin"});
        move = moveBuilder.Descriptor();
        move->arguments[0].type = {BindingKind::Struct, BindingKind::None, point};
        move->arguments[0].optional = true;
        move->arguments[1].type = {BindingKind::Blob};
        move->threadSafe = true;

        jump = registry.DeclareFunction("Jump", 0).Descriptor();
        jump->returnType = {BindingKind::Vector, BindingKind::Struct, point};
        jump->async = true;

        moved = registry.DeclareEvent("OnMoved", point).event;
        moved->tags = {"game"};
    }

    std::string Json(const BindingValue& value) const { return WriteJson(value, &registry, ""); }

    BindingRegistry registry;
    const BindingTypeDescriptor* level = nullptr;
    const BindingTypeDescriptor* point = nullptr;
    BindingFunctionDescriptor* move = nullptr;
    BindingFunctionDescriptor* jump = nullptr;
    BindingEventDescriptor* moved = nullptr;
};

TEST_F(HelpTest, FullRecordsInNameOrderWithEnumValuesByName) {
    BindingValue help;
    BuildHelp(registry, help, {move, jump}, {point, level}, {moved}, BindingHelpFormat::Full);
    EXPECT_EQ(
        Json(help),
        R"({"events":[{"description":"","name":"OnMoved","nameSpace":"","tags":["game"],)"
        R"("type":{"elementType":"","type":"Point"}}],)"
        R"("functions":[{"arguments":[],"async":"Point","description":"","help":"","name":"Jump",)"
        R"("nameSpace":"","returns":{"elementType":"Point","type":"vector"},"tags":[],)"
        R"("threadSafe":false},)"
        R"({"arguments":[{"description":"Target {square}","name":"to","optional":true,)"
        R"("type":{"elementType":"","type":"Point"}},{"description":"","name":"payload",)"
        R"("optional":false,"type":{"elementType":"","type":"blob"}}],"async":"",)"
        R"("description":"-Moves {the} piece","help":"See {rules}.","name":"Move","nameSpace":"",)"
        R"("returns":{"elementType":"","type":""},"tags":["game","$builtin"],"threadSafe":true}],)"
        R"("types":[{"description":"Levels","fields":[],"name":"Level","nameSpace":"","size":4,)"
        R"("tags":["t"],"values":[{"description":"Last {x}","name":"Alpha","value":3},)"
        R"({"description":"First","name":"Beta","value":1},)"
        R"({"description":"","name":"Gamma","value":2}]},)"
        R"({"description":"A square","fields":[{"description":"Left {x}","name":"x","offset":0,)"
        R"("optional":false,"type":{"elementType":"","type":"int32"}},{"description":"",)"
        R"("name":"level","offset":4,"optional":true,"type":{"elementType":"","type":"Level"}}],)"
        R"("name":"Point","nameSpace":"","size":12,"tags":[],"values":[]}]})");
}

TEST_F(HelpTest, EpytextTextsWithEnumeratorsByNumber) {
    BindingValue help;
    BuildHelp(registry, help, {move, jump}, {point, level}, {moved}, BindingHelpFormat::Epytext);
    const BindingValue& functions = help.GetField("functions");
    // Escaped in the descriptions of a function; an argument without one has only its type.
    EXPECT_EQ(functions.GetField("Move").GetString(),
              "E{-}Moves E{lb}theE{rb} piece\r\n\r\n"
              "See E{lb}rulesE{rb}.\r\n\r\n"
              "@param to: (optional) Target E{lb}squareE{rb}\r\n"
              "@type to: L{Point}\r\n"
              "@type payload: bytearray\r\n"
              "@tags: game,$builtin\r\n"
              "@threadsafe: true\r\n");
    EXPECT_EQ(functions.GetField("Jump").GetString(),
              "@rtype: list[L{Point}]\r\n"
              "@async: list[L{Point}]\r\n");
    // A field's description stands as it is.
    EXPECT_EQ(help.GetField("types").GetField("Point").GetString(),
              "A square\r\n\r\n"
              "@ivar x: Left {x}\r\n"
              "@type x: int32\r\n"
              "@ivar level: \r\n"
              "@type level: L{Level}\r\n");
    EXPECT_EQ(help.GetField("types").GetField("Level").GetString(),
              "Levels\r\n\r\n"
              "@cvar Beta: (1) First\r\n"
              "@cvar Gamma: (2)\r\n"
              "@cvar Alpha: (3) Last {x}\r\n"
              "@tags: t\r\n"
              "@size: 4\r\n");
    // An event keeps its description's lines even when it has none.
    EXPECT_EQ(help.GetField("events").GetField("OnMoved").GetString(), "\r\n\r\n@tags: game\r\n");
}

TEST_F(HelpTest, ItemsSortAsBytesAndEmptyListsStayEmpty) {
    std::vector<const BindingFunctionDescriptor*> functions;
    for (const char* name : {"b", "\xC3\xA9t\xC3\xA9", "ab", "B", "a"}) {
        functions.push_back(registry.DeclareFunction(name, 0).Descriptor());
    }
    for (const BindingHelpFormat format : {BindingHelpFormat::Full, BindingHelpFormat::Epytext}) {
        BindingValue help;
        BuildHelp(registry, help, functions, {}, {}, format);
        std::vector<std::string> names;
        const BindingValue& listed = help.GetField("functions");
        if (format == BindingHelpFormat::Full) {
            for (const BindingValue& function : listed.Elements()) {
                names.emplace_back(function.GetField("name").GetString());
            }
        } else {
            listed.ForEachField([&](const BindingString& name, const BindingValue&) {
                names.emplace_back(name.View());
            });
        }
        EXPECT_EQ(names, (std::vector<std::string>{"B", "a", "ab", "b", "\xC3\xA9t\xC3\xA9"}));
        EXPECT_TRUE(help.HasField("types"));
        EXPECT_TRUE(help.GetField("types").IsEmpty());
        EXPECT_TRUE(help.GetField("events").IsEmpty());
    }
}

TEST_F(HelpTest, TheWholeRegistryPutsTheFirstNameFirst) {
    DeclareRecord<Node>(registry, "Aardvark");
    BindingValue help;
    BuildHelp(registry, help, BindingHelpFormat::Full);
    const auto types = help.GetField("types").Elements();
    ASSERT_EQ(types.size(), registry.Types().size());
    EXPECT_EQ(types[0].GetField("name").GetString(), "Aardvark");
    EXPECT_EQ(types[1].GetField("name").GetString(), "BindingAsyncCancelEvent");
    EXPECT_EQ(help.GetField("functions").Size(), registry.Functions().size());
    EXPECT_EQ(help.GetField("events").GetAt(0).GetField("name").GetString(), "OnCallback");
}

TEST_F(HelpTest, ARegistryThatLostAFullRecordDescribesNothingOfThatList) {
    registry.RemoveType(registry.FindTypeByName("BindingFullFunctionHelp"));
    BindingValue help;
    BuildHelp(registry, help, {move}, {point}, {moved}, BindingHelpFormat::Full);
    EXPECT_TRUE(help.GetField("functions").IsEmpty());
    EXPECT_EQ(help.GetField("types").Size(), 1u);
    EXPECT_EQ(help.GetField("events").Size(), 1u);
}

TEST_F(HelpTest, ARecordInsideItselfIsNamedNotFollowed) {
    const BindingTypeDescriptor* node = DeclareRecord<Node>(registry, "Node")
                                            .Field("name", &Node::name)
                                            .Field("children", &Node::children)
                                            .Descriptor();
    ASSERT_EQ(node->fields[1].type.descriptor, node);
    BindingValue full;
    BuildHelp(registry, full, {}, {node}, {}, BindingHelpFormat::Full);
    EXPECT_EQ(Json(full.GetField("types").GetAt(0).GetField("fields").GetAt(1).GetField("type")),
              R"({"elementType":"Node","type":"vector"})");
    BindingValue epytext;
    BuildHelp(registry, epytext, {}, {node}, {}, BindingHelpFormat::Epytext);
    EXPECT_EQ(epytext.GetField("types").GetField("Node").GetString(),
              "@ivar name: \r\n@type name: string\r\n"
              "@ivar children: \r\n@type children: list[L{Node}]\r\n");
}

// Texts that break naive writers: quotes, braces, line ends, backslashes and UTF-8 beyond ASCII.
TEST_F(HelpTest, HostileTextsGiveValidJsonAndEscapedEpytext) {
    const std::string name = "Odd \"name\" {x}\n\xC3\xA9\\";
    const std::string description = "-\"quoted\" {braces}\r\nnext line \xE2\x9C\x93";
    auto odd = registry.DeclareFunction(name, 1);
    odd.SetDescription(description).AddArgument(name, description).AddTags({name});
    odd.Descriptor()->arguments[0].type = {BindingKind::String};
    auto oddType = registry.DeclareType<Node>(name);
    oddType.SetDescription(description).AddField<std::string>(name, 0, description);
    const BindingTypeDescriptor* type = oddType.Descriptor();

    for (const BindingHelpFormat format : {BindingHelpFormat::Full, BindingHelpFormat::Epytext}) {
        BindingValue help;
        BuildHelp(registry, help, {odd.Descriptor()}, {type}, {}, format);
        const nlohmann::json parsed = nlohmann::json::parse(Json(help));
        if (format == BindingHelpFormat::Full) {
            EXPECT_EQ(parsed["functions"][0]["name"], name);
            EXPECT_EQ(parsed["functions"][0]["description"], description);
            EXPECT_EQ(parsed["types"][0]["fields"][0]["name"], name);
        } else {
            EXPECT_EQ(parsed["functions"][name],
                      "E{-}\"quoted\" E{lb}bracesE{rb}\r\nnext line \xE2\x9C\x93\r\n\r\n"
                      "@param " +
                          name +
                          ": E{-}\"quoted\" E{lb}bracesE{rb}\r\nnext line "
                          "\xE2\x9C\x93\r\n@type " +
                          name + ": string\r\n@tags: " + name + "\r\n");
            EXPECT_EQ(parsed["types"][name],
                      "E{-}\"quoted\" E{lb}bracesE{rb}\r\nnext line \xE2\x9C\x93\r\n\r\n"
                      "@ivar " +
                          name + ": " + description + "\r\n@type " + name + ": string\r\n");
        }
    }
}

}  // namespace
}  // namespace Tavix::Client
