#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "binding/json.h"
#include "binding/record_builder.h"
#include "binding/registry.h"

namespace Tavix::Client {
namespace {

std::string Compact(const BindingValue& value) {
    return WriteJson(value, nullptr, nullptr);
}

TEST(JsonWriteTest, WritesScalarsTheShortestWay) {
    BindingValue value;
    EXPECT_EQ(Compact(value), "");
    value.SetBool(false);
    EXPECT_EQ(Compact(value), "false");
    value.SetSigned(std::numeric_limits<std::int64_t>::min());
    EXPECT_EQ(Compact(value), "-9223372036854775808");
    value.SetUnsigned(std::numeric_limits<std::uint64_t>::max());
    EXPECT_EQ(Compact(value), "18446744073709551615");
    const std::pair<double, const char*> floats[] = {
        {1.0, "1.0"},      {0.5, "0.5"}, {1e21, "1e21"},
        {-0.0, "-0.0"},    {0.1, "0.1"}, {1.7976931348623157e308, "1.7976931348623157e308"},
        {5e-324, "5e-324"}};
    for (const auto& [number, text] : floats) {
        value.SetFloat(number);
        EXPECT_EQ(Compact(value), text);
    }
    value.SetString("q\"\\\b\f\n\r\t\x01\x1f\xC3\xA9/");
    EXPECT_EQ(Compact(value), R"("q\"\\\b\f\n\r\t\u0001\u001F)"
                              "\xC3\xA9/\"");
}

TEST(JsonWriteTest, BlobsAreBase64AndEnumsNumbersUnlessNamed) {
    const std::pair<std::vector<std::uint8_t>, const char*> blobs[] = {
        {{}, R"("")"},
        {{'f'}, R"("Zg==")"},
        {{'f', 'o'}, R"("Zm8=")"},
        {{'f', 'o', 'o'}, R"("Zm9v")"},
        {{0xFB, 0xFF, 0xBF, 0x00}, R"("+/+/AA==")"}};
    for (const auto& [bytes, text] : blobs) {
        BindingValue value;
        value.SetBlob(std::span<const std::uint8_t>(bytes));
        EXPECT_EQ(Compact(value), text);
    }

    enum class Phase : std::int32_t { Idle = 0, Found = -7 };
    BindingRegistry registry;
    DeclareEnum<Phase>(registry, "Phase").AddEnumerator("FOUND", -7);
    BindingValue value;
    value.At(0).SetEnum(-7, &StaticType::Record<Phase>());
    value.At(1).SetEnum(0, &StaticType::Record<Phase>());
    EXPECT_EQ(Compact(value), "[-7,0]");
    EXPECT_EQ(WriteJson(value, &registry, nullptr), R"(["FOUND",0])");
}

TEST(JsonWriteTest, ContainersKeepNameOrderAndNestedNulls) {
    BindingValue value;
    value.Field("b").SetUnsigned(1);
    value.Field("a").At(1).SetString("x");
    value.Field("c").MakeStructure();
    value.Field("d").MakeCollection();
    value.Field("n");
    value.Field("nan").SetFloat(std::nan(""));
    value.Field("\xC3\xA9").SetBool(true);
    EXPECT_EQ(Compact(value), R"({"a":[null,"x"],"b":1,"c":{},"d":[],"n":null,"nan":null,")"
                              "\xC3\xA9\":true}");
    BindingValue holdsEmpty;
    holdsEmpty.Append();
    EXPECT_EQ(Compact(holdsEmpty), "[null]");
}

TEST(JsonWriteTest, IndentedTextUsesTheGivenLineBreak) {
    BindingValue value;
    value.Field("b").At(0).SetUnsigned(1);
    value.Field("a").SetBool(true);
    const std::string unix = WriteJson(value, nullptr, "\n");
    EXPECT_EQ(unix, "{\n    \"a\": true,\n    \"b\": [\n        1\n    ]\n}");
    EXPECT_EQ(WriteJson(value, nullptr, "\r\n"),
              "{\r\n    \"a\": true,\r\n    \"b\": [\r\n        1\r\n    ]\r\n}");
    EXPECT_EQ(WriteJson(value, nullptr, ""), R"({"a":true,"b":[1]})");
}

TEST(JsonWriteTest, ParseWriteParseKeepsTheTree) {
    const char* text =
        R"({"z":[1,-2,3.5,1.0,"s",null,true,{}],"a":{"k":[[]],"n":null},"big":18446744073709551615,)"
        R"("neg":-9223372036854775808,"f":1e-300,"esc":"\"\u0001\\"})";
    BindingResult first;
    ParseJson(first, text);
    ASSERT_TRUE(first.Ok()) << first.ErrorText();
    const std::string written = Compact(first);
    EXPECT_EQ(written,
              R"({"a":{"k":[[]],"n":null},"big":18446744073709551615,"esc":"\"\u0001\\",)"
              R"("f":1e-300,"neg":-9223372036854775808,"z":[1,-2,3.5,1.0,"s",null,true,{}]})");
    BindingResult second;
    ParseJson(second, written.c_str());
    ASSERT_TRUE(second.Ok());
    EXPECT_EQ(Compact(second), written);
    EXPECT_EQ(second.GetField("z").GetAt(3).Kind(), BindingValueKind::Float);

    // A non-negative signed value and a blob change kind on the way back.
    BindingValue changed;
    changed.At(0).SetSigned(4);
    const std::uint8_t bytes[] = {1, 2};
    changed.At(1).SetBlob(std::span<const std::uint8_t>(bytes));
    BindingResult back;
    ParseJson(back, Compact(changed).c_str());
    EXPECT_EQ(back.GetAt(0).Kind(), BindingValueKind::Unsigned);
    EXPECT_EQ(back.GetAt(1).GetString(), "AQI=");
}

}  // namespace
}  // namespace Tavix::Client
