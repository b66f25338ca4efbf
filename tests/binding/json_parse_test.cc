#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <string>

#include "binding/binding_string.h"
#include "binding/context.h"
#include "binding/internal/records.h"
#include "binding/internal/structure_tree.h"
#include "binding/json.h"

namespace Tavix::Client {
namespace {

BindingResult Parse(const std::string& text) {
    BindingResult result;
    ParseJson(result, text.c_str());
    return result;
}

TEST(JsonParseTest, BlankTextIsAnEmptyValue) {
    for (const char* text : {"", "   ", " \t\r\n "}) {
        BindingResult result;
        result.SetError("stale");
        ParseJson(result, text);
        EXPECT_TRUE(result.Ok()) << '"' << text << '"';
        EXPECT_TRUE(result.IsEmpty());
    }
    BindingResult null;
    ParseJson(null, nullptr);
    EXPECT_TRUE(null.Ok());
    EXPECT_TRUE(Parse(" null ").IsEmpty());
}

TEST(JsonParseTest, NumbersTakeTheirKindAtTheEdges) {
    struct Case {
        const char* text;
        BindingValueKind kind;
    };
    const Case cases[] = {
        {"0", BindingValueKind::Unsigned},
        {"1", BindingValueKind::Unsigned},
        {"-0", BindingValueKind::Signed},
        {"-1", BindingValueKind::Signed},
        {"1.0", BindingValueKind::Float},
        {"1e2", BindingValueKind::Float},
        {"4294967296", BindingValueKind::Unsigned},
        {"18446744073709551615", BindingValueKind::Unsigned},
        {"18446744073709551616", BindingValueKind::Float},
        {"-9223372036854775808", BindingValueKind::Signed},
        {"-9223372036854775809", BindingValueKind::Float},
    };
    for (const Case& c : cases) {
        BindingResult result = Parse(c.text);
        ASSERT_TRUE(result.Ok()) << c.text;
        EXPECT_EQ(result.Kind(), c.kind) << c.text;
    }
    EXPECT_EQ(Parse("18446744073709551615").GetUnsigned(), 18446744073709551615ull);
    EXPECT_EQ(Parse("-9223372036854775808").GetSigned(), -9223372036854775807 - 1);
    EXPECT_EQ(Parse("18446744073709551616").GetFloat(), 18446744073709551616.0);
    EXPECT_EQ(Parse("1.7976931348623157e308").GetFloat(), 1.7976931348623157e308);
    EXPECT_EQ(Parse("-2.5e-3").GetFloat(), -2.5e-3);
    EXPECT_EQ(Parse("[1e400]").ErrorText(),
              "Error: Number too big to be stored in double. at offset 1.");
    // A long mantissa takes another path through the reader, which overflows silently.
    EXPECT_EQ(Parse("[144476073551411e296]").ErrorText(),
              "Error: Number too big to be stored in double. at offset 1.");
}

TEST(JsonParseTest, BuildsContainersStringsAndNulls) {
    BindingResult result = Parse(
        R"({"b":[1,null,{"x":true}],"a":"t\u00e9\n","dup":1,"dup":"last","n":null,"e":{},"z":[]})");
    ASSERT_TRUE(result.Ok()) << result.ErrorText();
    EXPECT_EQ(result.Size(), 6u);
    const BindingValue& list = result.GetField("b");
    ASSERT_EQ(list.Size(), 3u);
    EXPECT_TRUE(list.GetAt(1).IsEmpty());
    EXPECT_TRUE(list.GetAt(2).GetField("x").GetBool());
    EXPECT_EQ(result.GetField("a").GetString(), "t\xC3\xA9\n");
    EXPECT_EQ(result.GetField("dup").GetString(), "last");
    EXPECT_TRUE(result.HasField("n"));
    EXPECT_TRUE(result.GetField("n").IsEmpty());
    EXPECT_EQ(result.GetField("e").Kind(), BindingValueKind::Structure);
    EXPECT_EQ(result.GetField("z").Kind(), BindingValueKind::Collection);
    EXPECT_EQ(Parse(R"("ab\u0000cd")").GetString(), "ab");
    EXPECT_EQ(Parse(R"({"k\u0000ey":1})").GetField("k").GetUnsigned(), 1u);
}

// Array elements gather apart from their collection until the array closes, and the gathering
// outgrows its first buffer; nested containers inside must land where they belong.
TEST(JsonParseTest, LongAndNestedArraysKeepEveryElementInPlace) {
    std::string text = "[";
    for (int i = 0; i < 300; ++i) {
        text += i == 0 ? "" : ",";
        if (i % 3 == 0) {
            text += "[" + std::to_string(i) + ",[" + std::to_string(i + 1) + "],{\"k\":[" +
                    std::to_string(i + 2) + "]}]";
        } else if (i % 3 == 1) {
            text += "{\"s\":\"v" + std::to_string(i) + "\",\"l\":[1,2,3,4,5,6,7,8,9]}";
        } else {
            text += std::to_string(i);
        }
    }
    text += "]";
    BindingResult result = Parse(text);
    ASSERT_TRUE(result.Ok()) << result.ErrorText();
    ASSERT_EQ(result.Size(), 300u);
    for (std::size_t i = 0; i < 300; ++i) {
        const BindingValue& element = result.GetAt(i);
        if (i % 3 == 0) {
            ASSERT_EQ(element.Size(), 3u) << i;
            EXPECT_EQ(element.GetAt(0).GetUnsigned(), i);
            EXPECT_EQ(element.GetAt(1).GetAt(0).GetUnsigned(), i + 1);
            EXPECT_EQ(element.GetAt(2).GetField("k").GetAt(0).GetUnsigned(), i + 2);
        } else if (i % 3 == 1) {
            EXPECT_EQ(element.GetField("s").GetString(), "v" + std::to_string(i));
            ASSERT_EQ(element.GetField("l").Size(), 9u) << i;
            EXPECT_EQ(element.GetField("l").GetAt(8).GetUnsigned(), 9u);
        } else {
            EXPECT_EQ(element.GetUnsigned(), i);
        }
    }
    EXPECT_EQ(WriteJson(Parse("[[],[[]],{},[{}]]"), nullptr, nullptr), "[[],[[]],{},[{}]]");
}

TEST(JsonParseTest, FailureInsideOpenArraysDropsTheGatheredElements) {
    std::string text = "[";
    for (int i = 0; i < 100; ++i) {
        text += "[\"s" + std::to_string(i) + "\",{\"a\":[1,2,3,4,5]},";
    }
    text += "x";
    BindingResult result = Parse(text);
    EXPECT_FALSE(result.Ok());
    EXPECT_EQ(result.Size(), 1u);
}

// Names met again are found by their text alone; names that only share their length and some
// bytes, and names cut at a NUL, must still be told apart.
TEST(JsonParseTest, RecurringNamesReachTheirOwnFields) {
    BindingResult result = Parse(
        R"([{"axmya":1,"aymxa":2,"b\u0000c":3,"b":4},{"aymxa":5,"axmya":6,"b":7,"b\u0000d":8}])");
    ASSERT_TRUE(result.Ok()) << result.ErrorText();
    const BindingValue& first = result.GetAt(0);
    EXPECT_EQ(first.Size(), 3u);
    EXPECT_EQ(first.GetField("axmya").GetUnsigned(), 1u);
    EXPECT_EQ(first.GetField("aymxa").GetUnsigned(), 2u);
    EXPECT_EQ(first.GetField("b").GetUnsigned(), 4u);
    const BindingValue& second = result.GetAt(1);
    EXPECT_EQ(second.Size(), 3u);
    EXPECT_EQ(second.GetField("aymxa").GetUnsigned(), 5u);
    EXPECT_EQ(second.GetField("axmya").GetUnsigned(), 6u);
    EXPECT_EQ(second.GetField("b").GetUnsigned(), 8u);
    EXPECT_EQ(result.Context()->StringCount(), 3u);
}

// Fields are gathered and linked into their tree when the object closes, whatever order and
// repeats the names come in.
TEST(JsonParseTest, ObjectsOfAnySizeAndOrderBecomeBalancedStructures) {
    for (const std::size_t count : {1u, 2u, 3u, 7u, 8u, 64u, 65u, 300u}) {
        std::string ascending = "{";
        std::string descending = "{";
        for (std::size_t i = 0; i < count; ++i) {
            char name[32];
            std::snprintf(name, sizeof name, "f%04zu", i);
            ascending += std::string(i == 0 ? "" : ",") + "\"" + name + "\":" + std::to_string(i);
            std::snprintf(name, sizeof name, "f%04zu", count - 1 - i);
            descending += std::string(i == 0 ? "" : ",") + "\"" + name + "\":[" +
                          std::to_string(count - 1 - i) + "]";
        }
        BindingResult up = Parse(ascending + "}");
        BindingResult down = Parse(descending + "}");
        ASSERT_TRUE(up.Ok() && down.Ok()) << count;
        EXPECT_EQ(up.Size(), count);
        EXPECT_EQ(down.Size(), count);
        EXPECT_GT(Internal::CheckTree(BindingValueAccess::Structure(up)->root), 0) << count;
        EXPECT_GT(Internal::CheckTree(BindingValueAccess::Structure(down)->root), 0) << count;
        std::size_t expected = 0;
        bool inOrder = true;
        down.ForEachField([&](const BindingString&, const BindingValue& value) {
            inOrder = inOrder && value.GetAt(0).GetUnsigned() == expected++;
        });
        EXPECT_TRUE(inOrder) << count;
        // A field added later still finds its place.
        up.Field("f0000x").SetBool(true);
        up.Field("g").SetBool(true);
        EXPECT_EQ(up.Size(), count + 2);
        EXPECT_GT(Internal::CheckTree(BindingValueAccess::Structure(up)->root), 0) << count;
    }

    // A repeated name keeps its last value.
    BindingResult repeated = Parse(R"({"b":1,"a":{"yy":[2]},"b":2,"a":3,"yy":5,"b":{"q":6}})");
    ASSERT_TRUE(repeated.Ok()) << repeated.ErrorText();
    EXPECT_EQ(WriteJson(repeated, nullptr, nullptr), R"({"a":3,"b":{"q":6},"yy":5})");
    EXPECT_EQ(repeated.Context()->StringCount(), 4u);

    // The value dropped for a repeat held the only use of "zz", which comes again right after.
    BindingResult reused = Parse(R"({"o":{"a":{"zz":1},"a":2},"zz":{"zz":4},"p":"xy"})");
    ASSERT_TRUE(reused.Ok()) << reused.ErrorText();
    EXPECT_EQ(WriteJson(reused, nullptr, nullptr), R"({"o":{"a":2},"p":"xy","zz":{"zz":4}})");
    reused.ForEachField([](const BindingString& name, const BindingValue&) {
        EXPECT_EQ(name.References(), name.View() == "zz" ? 2u : 1u) << name.View();
    });
}

TEST(JsonParseTest, ErrorsNameTheReasonAndTheOffset) {
    struct Case {
        const char* text;
        const char* message;
    };
    const Case cases[] = {
        {"5 6", "Error: The document root must not be followed by other values. at offset 2."},
        {"[1,]", "Error: Invalid value. at offset 3."},
        {"tru", "Error: Invalid value. at offset 3."},
        {"{1:2}", "Error: Missing a name for object member. at offset 1."},
        {R"({"a" 1})", "Error: Missing a colon after a name of object member. at offset 5."},
        {R"({"a":1 "b":2})", "Error: Missing a comma or '}' after an object member. at offset 7."},
        {"[1 2]", "Error: Missing a comma or ']' after an array element. at offset 3."},
        {R"("\u12G4")", "Error: Incorrect hex digit after \\u escape in string. at offset 1."},
        {R"("\uD800x")", "Error: The surrogate pair in string is invalid. at offset 1."},
        {R"("\q")", "Error: Invalid escape character in string. at offset 1."},
        {R"(["abc)", "Error: Missing a closing quotation mark in string. at offset 5."},
        {"1.", "Error: Miss fraction part in number. at offset 2."},
        {"1e+", "Error: Miss exponent in number. at offset 3."},
        {"[1,2", "Error: Missing a comma or ']' after an array element. at offset 4."},
        {"{\"a\":1} // c",
         "Error: The document root must not be followed by other values. at offset 8."},
        {"[NaN]", "Error: Invalid value. at offset 1."},
    };
    for (const Case& c : cases) {
        BindingResult result = Parse(c.text);
        EXPECT_FALSE(result.Ok()) << c.text;
        EXPECT_EQ(result.ErrorText(), c.message) << c.text;
        EXPECT_EQ(result.Size(), 1u) << "only the error field stays: " << c.text;
    }
}

TEST(JsonParseTest, NestingIsBoundedAndDeepDocumentsFailCleanly) {
    const std::size_t limit = kBindingMaxDepth;
    std::string deepest = std::string(limit, '[') + "1" + std::string(limit, ']');
    BindingResult fits = Parse(deepest);
    ASSERT_TRUE(fits.Ok()) << fits.ErrorText();
    const BindingValue* inner = &fits;
    for (std::size_t i = 0; i < limit; ++i) {
        inner = &inner->GetAt(0);
    }
    EXPECT_EQ(inner->GetUnsigned(), 1u);

    std::string objects;
    for (std::size_t i = 0; i <= limit; ++i) {
        objects += "{\"a\":";
    }
    BindingResult tooDeep = Parse(objects + "1" + std::string(limit + 1, '}'));
    EXPECT_EQ(tooDeep.ErrorText(), "Error: The document nests deeper than 256 levels. at offset " +
                                       std::to_string(5 * limit + 1) + ".");

    BindingResult megabyte = Parse(std::string(1 << 20, '['));
    EXPECT_FALSE(megabyte.Ok());
    EXPECT_EQ(megabyte.ErrorText(), "Error: The document nests deeper than 256 levels. at offset " +
                                        std::to_string(limit + 1) + ".");
}

}  // namespace
}  // namespace Tavix::Client
