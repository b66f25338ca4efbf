#include <gtest/gtest.h>

#include <cmath>
#include <string>

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
