#include <gtest/gtest.h>

#include <string>

#include "binding/yaml.h"

namespace Tavix::Client {
namespace {

BindingResult Parse(std::string_view text) {
    BindingResult result;
    ParseYaml(result, text);
    return result;
}

// The value of field "a" of a one-line mapping.
BindingResult Field(const std::string& value) {
    BindingResult result = Parse("a: " + value + "\n");
    EXPECT_TRUE(result.Ok()) << value << ": " << result.ErrorText();
    BindingResult field;
    field = result.GetField("a");
    EXPECT_TRUE(result.HasField("a")) << value;
    return field;
}

TEST(YamlTest, PlainScalarsAreTypedByTheirText) {
    EXPECT_EQ(Field("1").Kind(), BindingValueKind::Unsigned);
    EXPECT_EQ(Field("1").GetUnsigned(), 1u);
    EXPECT_EQ(Field("-1").Kind(), BindingValueKind::Signed);
    EXPECT_EQ(Field("-1").GetSigned(), -1);
    EXPECT_EQ(Field("1.5").GetFloat(), 1.5);
    EXPECT_EQ(Field("-0.25").GetFloat(), -0.25);
    // Numbers go through a double: 1e3 and 1.0 are integral, hexadecimal is read, a leading
    // zero is decimal.
    EXPECT_EQ(Field("1e3").GetUnsigned(), 1000u);
    EXPECT_EQ(Field("1.0").Kind(), BindingValueKind::Unsigned);
    EXPECT_EQ(Field("0x1F").GetUnsigned(), 31u);
    EXPECT_EQ(Field("010").GetUnsigned(), 10u);
    EXPECT_EQ(Field("9007199254740993").GetUnsigned(), 9007199254740992u);
    // Integral but beyond 64 bits: kept as a float rather than cut.
    EXPECT_EQ(Field("1e30").Kind(), BindingValueKind::Float);
    EXPECT_EQ(Field("-1e30").Kind(), BindingValueKind::Float);
    EXPECT_EQ(Field("nan").Kind(), BindingValueKind::Float);
    EXPECT_EQ(Field("inf").GetString(), "inf");
    EXPECT_EQ(Field("-inf").GetString(), "-inf");
    EXPECT_EQ(Field("1.5x").GetString(), "1.5x");
    EXPECT_EQ(Field("abc").GetString(), "abc");
    // Literal and folded blocks are typed like plain text.
    EXPECT_EQ(Field("|-\n  42").GetUnsigned(), 42u);
    EXPECT_EQ(Field(">-\n  yes").GetBool(), true);
}

TEST(YamlTest, EveryWordOfTheTables) {
    for (const char* word : {"~", "null", "Null", "NULL"}) {
        EXPECT_TRUE(Field(word).IsEmpty()) << word;
    }
    EXPECT_TRUE(Field("").IsEmpty());
    for (const char* word :
         {"true", "True", "TRUE", "y", "Y", "yes", "Yes", "YES", "on", "On", "ON"}) {
        const BindingResult value = Field(word);
        EXPECT_EQ(value.Kind(), BindingValueKind::Bool) << word;
        EXPECT_TRUE(value.GetBool()) << word;
    }
    for (const char* word :
         {"false", "False", "FALSE", "n", "N", "no", "No", "NO", "off", "Off", "OFF"}) {
        const BindingResult value = Field(word);
        EXPECT_EQ(value.Kind(), BindingValueKind::Bool) << word;
        EXPECT_FALSE(value.GetBool()) << word;
    }
    // Compared exactly.
    EXPECT_EQ(Field("tRUE").GetString(), "tRUE");
    EXPECT_EQ(Field("nULL").GetString(), "nULL");
}

TEST(YamlTest, QuotedScalarsAreStrings) {
    EXPECT_EQ(Field("'1'").GetString(), "1");
    EXPECT_EQ(Field("\"yes\"").GetString(), "yes");
    EXPECT_EQ(Field("\"\"").Kind(), BindingValueKind::String);
    EXPECT_EQ(Field("'~'").GetString(), "~");
    // An escaped NUL is kept with what follows it.
    EXPECT_EQ(Field("\"a\\0b\"").GetString(), std::string("a\0b", 3));
}

TEST(YamlTest, TheFourTagsDecide) {
    EXPECT_EQ(Field("!!str 1").GetString(), "1");
    EXPECT_EQ(Field("!!str yes").GetString(), "yes");
    EXPECT_EQ(Field("!!int 12").GetUnsigned(), 12u);
    EXPECT_EQ(Field("!!int 18446744073709551615").GetUnsigned(), 18446744073709551615u);
    EXPECT_EQ(Field("!!int -9223372036854775808").GetSigned(), INT64_MIN);
    EXPECT_EQ(Field("!!float 2").Kind(), BindingValueKind::Float);
    EXPECT_EQ(Field("!!float 2").GetFloat(), 2.0);
    EXPECT_TRUE(Field("!!bool Yes").GetBool());
    EXPECT_EQ(Field("!!bool off").Kind(), BindingValueKind::Bool);
    EXPECT_FALSE(Field("!!bool off").GetBool());
    EXPECT_TRUE(Field("!!bool maybe").IsEmpty());
    // A verbatim tag is the same tag.
    EXPECT_EQ(Field("!<tag:yaml.org,2002:str> 5").GetString(), "5");

    EXPECT_EQ(Parse("a: !!int abc").ErrorText(),
              "Value abc for 'yaml' of type uint64_t is in an incorrect format");
    EXPECT_EQ(Parse("a: !!int -x").ErrorText(),
              "Value -x for 'yaml' of type int64_t is in an incorrect format");
    EXPECT_EQ(Parse("a: !!float x").ErrorText(),
              "Value x for 'yaml' of type double is in an incorrect format");
    EXPECT_EQ(Parse("a: !custom 1").ErrorText(), "Unsupported YAML tag '!custom'.");
    EXPECT_EQ(Parse("a: !!map 1").ErrorText(), "Unsupported YAML tag 'tag:yaml.org,2002:map'.");
}

TEST(YamlTest, BuildsNestedSequencesAndMappings) {
    const BindingResult result = Parse("b:\n  - 1\n  - [x, {y: 2}]\n  -\na: {}\nc: []\nd: ~\n");
    ASSERT_TRUE(result.Ok()) << result.ErrorText();
    EXPECT_EQ(result.Size(), 4u);
    const BindingValue& list = result.GetField("b");
    ASSERT_EQ(list.Size(), 3u);
    EXPECT_EQ(list.GetAt(1).GetAt(1).GetField("y").GetUnsigned(), 2u);
    EXPECT_TRUE(list.GetAt(2).IsEmpty());
    EXPECT_EQ(result.GetField("a").Kind(), BindingValueKind::Structure);
    EXPECT_EQ(result.GetField("c").Kind(), BindingValueKind::Collection);
    EXPECT_TRUE(result.HasField("d"));
    EXPECT_TRUE(result.GetField("d").IsEmpty());

    const BindingResult root = Parse("- 1\n- two\n");
    EXPECT_EQ(root.Size(), 2u);
    EXPECT_EQ(Parse("plain").GetString(), "plain");
    // A key given twice keeps its last value whole.
    const BindingResult twice =
        Parse("a: [1, 2]\na: [3]\nb: {x: 1}\nb: 5\nc: {y: 1}\nc: {y: 2}\ny: 3\n");
    ASSERT_TRUE(twice.Ok()) << twice.ErrorText();
    EXPECT_EQ(twice.GetField("a").Size(), 1u);
    EXPECT_EQ(twice.GetField("b").GetUnsigned(), 5u);
    EXPECT_EQ(twice.GetField("c").GetField("y").GetUnsigned(), 2u);
    EXPECT_EQ(twice.GetField("y").GetUnsigned(), 3u);
}

TEST(YamlTest, MappingKeysAreUntypedStrings) {
    const BindingResult result = Parse("1: a\ntrue: b\n~: c\n!!str 2: d\n\"\": e\n");
    ASSERT_TRUE(result.Ok()) << result.ErrorText();
    EXPECT_EQ(result.GetField("1").GetString(), "a");
    EXPECT_EQ(result.GetField("true").GetString(), "b");
    EXPECT_EQ(result.GetField("~").GetString(), "c");
    EXPECT_EQ(result.GetField("2").GetString(), "d");
    EXPECT_EQ(result.GetField("").GetString(), "e");

    EXPECT_EQ(Parse("!!int 1: a").ErrorText(),
              "Invalid mapping key. Only string scalar keys are allowed. At line: 1 col: 1");
    EXPECT_EQ(Parse("x: 1\n? [a]\n: b\n").ErrorText(),
              "Unexpected start of sequence. At line: 2 col: 3");
    EXPECT_EQ(Parse("x: 1\n? {a: 1}\n: b\n").ErrorText(),
              "Unexpected start of mapping. At line: 2 col: 3");
    EXPECT_EQ(Parse("a: &k 1\n*k : 2\n").ErrorText(),
              "Invalid mapping key. Only string scalar keys are allowed. At line: 2 col: 1");
}

TEST(YamlTest, AnchorsAndAliasesCopy) {
    const BindingResult scalars = Parse("a: &n 7\nb: *n\nc: &s 'x'\nd: *s\n");
    ASSERT_TRUE(scalars.Ok()) << scalars.ErrorText();
    EXPECT_EQ(scalars.GetField("b").GetUnsigned(), 7u);
    EXPECT_EQ(scalars.GetField("d").GetString(), "x");

    const BindingResult lists = Parse("a: &l [1, [2]]\nb: *l\n");
    ASSERT_TRUE(lists.Ok()) << lists.ErrorText();
    const BindingValue& a = lists.GetField("a");
    const BindingValue& b = lists.GetField("b");
    ASSERT_EQ(b.Size(), 2u);
    EXPECT_EQ(b.GetAt(1).GetAt(0).GetUnsigned(), 2u);
    // Separate copies: no node is shared.
    EXPECT_NE(&a.GetAt(0), &b.GetAt(0));

    const BindingResult maps = Parse("base: &m {x: 1, y: [a]}\nlist:\n  - *m\n  - *m\n");
    ASSERT_TRUE(maps.Ok()) << maps.ErrorText();
    EXPECT_EQ(maps.GetField("list").GetAt(1).GetField("y").GetAt(0).GetString(), "a");

    // An anchor inside a sequence is found again by its index.
    const BindingResult indexed = Parse("a: [0, &e {k: v}]\nb: *e\n");
    EXPECT_EQ(indexed.GetField("b").GetField("k").GetString(), "v");

    // An anchor on a key stands for the key's text, in the same mapping or later.
    const BindingResult keys = Parse("&k a: 1\nb: *k\nc: {d: *k}\n");
    ASSERT_TRUE(keys.Ok()) << keys.ErrorText();
    EXPECT_EQ(keys.GetField("b").GetString(), "a");
    EXPECT_EQ(keys.GetField("c").GetField("d").GetString(), "a");
}

TEST(YamlTest, AliasFailures) {
    EXPECT_EQ(Parse("a: &x [1, *x]").ErrorText(),
              "Cannot deserialize cyclic aliases. Alias \"x\". At line: 1 col: 11");
    EXPECT_EQ(Parse("a: &x {b: {c: *x}}").ErrorText(),
              "Cannot deserialize cyclic aliases. Alias \"x\". At line: 1 col: 15");
    EXPECT_EQ(Parse("a: 1\nb: *nowhere\n").ErrorText(),
              "Undefined alias encountered: \"nowhere\". At line: 2 col: 4");
    EXPECT_EQ(Parse("a: &x 1\nb: &x 2\n").ErrorText(),
              "Duplicate occurrence of anchor \"x\". At line: 2 col: 4");
    EXPECT_EQ(Parse("&x a: &x 1\n").ErrorText(),
              "Duplicate occurrence of anchor \"x\". At line: 1 col: 7");
}

TEST(YamlTest, DocumentsAndParserErrors) {
    for (const char* blank : {"", "   \n", "# only a comment\n", "---\n...\n"}) {
        const BindingResult result = Parse(blank);
        EXPECT_TRUE(result.Ok()) << blank;
        EXPECT_TRUE(result.IsEmpty()) << blank;
    }
    EXPECT_EQ(Parse("a: 1\n---\nb: 2\n").ErrorText(), "Multi-document YAML is not supported.");
    EXPECT_EQ(Parse("---\n---\nb: 2\n").ErrorText(), "Multi-document YAML is not supported.");
    // libyaml's own text and its zero-based mark.
    EXPECT_EQ(Parse("a: [1, 2\nb: 3\n").ErrorText(),
              "YAML parser error: did not find expected ',' or ']'. At line: 1 col: 1");
    EXPECT_EQ(Parse("a: 'open").ErrorText(),
              "YAML parser error: found unexpected end of stream. At line: 0 col: 8");

    BindingResult reused;
    reused.SetError("stale");
    ParseYaml(reused, std::string_view());
    EXPECT_TRUE(reused.Ok());
}

TEST(YamlTest, NestedAliasesCannotExplode) {
    std::string laughs =
        "a: &a [\"lol\",\"lol\",\"lol\",\"lol\",\"lol\",\"lol\",\"lol\",\"lol\",\"lol\"]\n";
    for (char level = 'b'; level <= 'i'; ++level) {
        const char previous = static_cast<char>(level - 1);
        laughs += std::string(1, level) + ": &" + level + " [";
        for (int i = 0; i < 9; ++i) {
            laughs += std::string(i == 0 ? "" : ",") + "*" + previous;
        }
        laughs += "]\n";
    }
    const BindingResult result = Parse(laughs);
    ASSERT_FALSE(result.Ok());
    EXPECT_EQ(result.ErrorText().substr(0, 41), "Aliases expand the YAML document beyond 7");
    EXPECT_NE(result.ErrorText().find("At line: "), std::string_view::npos);

    // The same pattern a few levels deep stays within the bound.
    const std::size_t cut = laughs.find("e: ");
    const BindingResult small = Parse(laughs.substr(0, cut));
    ASSERT_TRUE(small.Ok()) << small.ErrorText();
    EXPECT_EQ(small.GetField("d").GetAt(8).GetAt(8).GetAt(8).GetAt(8).GetString(), "lol");
}

TEST(YamlTest, NestingStopsAtTheDepthLimit) {
    // A megabyte of open brackets ends at the limit, long before the parser slows down.
    const std::string deep(1u << 20, '[');
    EXPECT_EQ(Parse(deep).ErrorText(),
              "YAML value nests deeper than 256 levels. At line: 1 col: 257");
    const std::string limit = std::string(256, '[') + std::string(256, ']');
    EXPECT_TRUE(Parse(limit).Ok());

    // An alias may not carry a value past the limit either.
    std::string nested = "a: &x " + std::string(200, '[') + std::string(200, ']') + "\nb: *x\n";
    EXPECT_TRUE(Parse(nested).Ok());
    nested = "a: &x " + std::string(200, '[') + std::string(200, ']') +
             "\nb: " + std::string(60, '[') + "*x" + std::string(60, ']') + "\n";
    EXPECT_EQ(Parse(nested).ErrorText(),
              "YAML value nests deeper than 256 levels. At line: 2 col: 64");
}

}  // namespace
}  // namespace Tavix::Client
