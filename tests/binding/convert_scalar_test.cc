#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <string>

#include "binding/convert.h"
#include "binding/record_builder.h"
#include "binding/registry.h"

namespace Tavix::Client {
namespace {

BindingValue Text(const char* text) {
    BindingValue value;
    value.SetString(text);
    return value;
}
BindingValue Signed(std::int64_t number) {
    BindingValue value;
    value.SetSigned(number);
    return value;
}
BindingValue Unsigned(std::uint64_t number) {
    BindingValue value;
    value.SetUnsigned(number);
    return value;
}
BindingValue Float(double number) {
    BindingValue value;
    value.SetFloat(number);
    return value;
}
BindingValue Bool(bool flag) {
    BindingValue value;
    value.SetBool(flag);
    return value;
}

constexpr std::int64_t kInt32Low = std::numeric_limits<std::int32_t>::min();
constexpr std::int64_t kInt32High = std::numeric_limits<std::int32_t>::max();

// The outcome of one int32 assignment: the number, or the message.
std::string Int32(const BindingValue& input) {
    BindingResult result;
    const std::int64_t read =
        AssignSigned(result, input, "queueId", kInt32Low, kInt32High, "int32");
    return result.Ok() ? std::to_string(read) : std::string(result.ErrorText());
}

std::string Uint(const BindingValue& input, std::uint64_t highest, const char* type) {
    BindingResult result;
    const std::uint64_t read = AssignUnsigned(result, input, "count", highest, type);
    return result.Ok() ? std::to_string(read) : std::string(result.ErrorText());
}

TEST(ConvertSignedTest, ReadsTextsInEveryBaseAndRefusesLeftovers) {
    EXPECT_EQ(Int32(Text("0x10")), "16");
    EXPECT_EQ(Int32(Text("010")), "8");
    EXPECT_EQ(Int32(Text("  -42")), "-42");
    EXPECT_EQ(Int32(Text("")), "0");
    EXPECT_EQ(Int32(Text("12abc")),
              "Value 12abc for 'queueId' of type int32 is in an incorrect format");
    EXPECT_EQ(Int32(Text("2147483648")),
              "Value 2147483648 for 'queueId' of type int32 is out of range");
    EXPECT_EQ(Int32(Text("99999999999999999999")),
              "Value 99999999999999999999 for 'queueId' of type int32 is out of range");
}

TEST(ConvertSignedTest, KeepsNumbersWithinTheLimits) {
    EXPECT_EQ(Int32(Signed(kInt32Low)), "-2147483648");
    EXPECT_EQ(Int32(Signed(kInt32Low - 1)),
              "Value -2147483649 for 'queueId' of type int32 is out of range");
    EXPECT_EQ(Int32(Unsigned(2147483647)), "2147483647");
    EXPECT_EQ(Int32(Unsigned(std::numeric_limits<std::uint64_t>::max())),
              "Value 18446744073709551615 for 'queueId' of type int32 is out of range");
    EXPECT_EQ(Int32(Float(1.9)), "1");
    EXPECT_EQ(Int32(Float(-1.9)), "-1");
    EXPECT_EQ(Int32(Float(3e9)), "Value 3e+09 for 'queueId' of type int32 is out of range");
    EXPECT_EQ(Int32(Float(std::nan(""))), "0");
    BindingValue enumInput;
    enumInput.SetEnum(-7, nullptr);
    EXPECT_EQ(Int32(enumInput), "-7");
}

TEST(ConvertSignedTest, WidestKindsSurviveTheirRoundedLimits) {
    BindingResult result;
    const std::int64_t low = std::numeric_limits<std::int64_t>::min();
    const std::int64_t high = std::numeric_limits<std::int64_t>::max();
    EXPECT_EQ(AssignSigned(result, Float(9223372036854775808.0), "t", low, high, "int64"), high);
    EXPECT_EQ(AssignSigned(result, Float(-9223372036854775808.0), "t", low, high, "int64"), low);
    EXPECT_EQ(AssignUnsigned(result, Float(18446744073709551616.0), "t",
                             std::numeric_limits<std::uint64_t>::max(), "uint64"),
              std::numeric_limits<std::uint64_t>::max());
    EXPECT_TRUE(result.Ok());
}

TEST(ConvertUnsignedTest, RefusesSignsAndNegativeNumbers) {
    EXPECT_EQ(Uint(Text("-1"), 4294967295u, "uint32"),
              "Value -1 for 'count' of type uint32 is out of range");
    EXPECT_EQ(Uint(Text(" -1"), std::numeric_limits<std::uint64_t>::max(), "uint64"),
              "Value  -1 for 'count' of type uint64 is out of range");
    EXPECT_EQ(Uint(Text("0xFF"), 255, "uint8"), "255");
    EXPECT_EQ(Uint(Text("256"), 255, "uint8"),
              "Value 256 for 'count' of type uint8 is out of range");
    EXPECT_EQ(
        Uint(Text("18446744073709551616"), std::numeric_limits<std::uint64_t>::max(), "uint64"),
        "Value 18446744073709551616 for 'count' of type uint64 is out of range");
    EXPECT_EQ(Uint(Signed(-1), 255, "uint8"), "Value -1 for 'count' of type uint8 is out of range");
    EXPECT_EQ(Uint(Float(-0.5), 255, "uint8"),
              "Value -0.5 for 'count' of type uint8 is out of range");
    EXPECT_EQ(Uint(Float(254.9), 255, "uint8"), "254");
    EXPECT_EQ(Uint(Float(255.5), 255, "uint8"),
              "Value 255.5 for 'count' of type uint8 is out of range");
    EXPECT_EQ(Uint(Unsigned(70000), 65535, "uint16"),
              "Value 70000 for 'count' of type uint16 is out of range");
    BindingValue negativeEnum;
    negativeEnum.SetEnum(-2, nullptr);
    EXPECT_EQ(Uint(negativeEnum, 255, "uint8"),
              "Value -2 for 'count' of type uint8 is out of range");
}

TEST(ConvertFloatTest, AcceptsNumbersAndRefusesInfinitiesAndUnderflow) {
    const double limit = std::numeric_limits<float>::max();
    BindingResult result;
    EXPECT_EQ(AssignFloat(result, Text("2.5"), "ratio", -limit, limit, "float"), 2.5);
    EXPECT_EQ(AssignFloat(result, Unsigned(7), "ratio", -limit, limit, "float"), 7.0);
    EXPECT_TRUE(
        std::isnan(AssignFloat(result, Float(std::nan("")), "ratio", -limit, limit, "float")));
    ASSERT_TRUE(result.Ok());

    AssignFloat(result, Float(1e39), "ratio", -limit, limit, "float");
    EXPECT_EQ(result.ErrorText(), "Value 1e+39 for 'ratio' of type float is out of range");

    const double dmax = std::numeric_limits<double>::max();
    BindingResult infinite;
    AssignFloat(infinite, Float(-INFINITY), "ratio", -dmax, dmax, "double");
    EXPECT_EQ(infinite.ErrorText(), "Value -inf for 'ratio' of type double is out of range");
    BindingResult tiny;
    AssignFloat(tiny, Text("1e-400"), "ratio", -dmax, dmax, "double");
    EXPECT_EQ(tiny.ErrorText(), "Value 1e-400 for 'ratio' of type double is out of range");
    BindingResult junk;
    AssignFloat(junk, Text("1.5x"), "ratio", -dmax, dmax, "double");
    EXPECT_EQ(junk.ErrorText(), "Value 1.5x for 'ratio' of type double is in an incorrect format");
}

TEST(ConvertScalarTest, BoolIsNeitherNumberNorTextAndNeedsItsExactWords) {
    BindingResult asSigned;
    AssignSigned(asSigned, Bool(true), "queueId", kInt32Low, kInt32High, "int32");
    EXPECT_EQ(asSigned.ErrorText(),
              "Couldn't assign value to 'queueId' of type int32 because the input is of an "
              "invalid type bool.");
    BindingResult asFloat;
    AssignFloat(asFloat, Bool(false), "ratio", -1.0, 1.0, "double");
    EXPECT_EQ(asFloat.ErrorText(),
              "Couldn't assign value to 'ratio' of type double because the input is of an invalid "
              "type bool.");

    BindingResult words;
    EXPECT_TRUE(AssignBool(words, Text("true"), "ready"));
    EXPECT_TRUE(AssignBool(words, Text("1"), "ready"));
    EXPECT_FALSE(AssignBool(words, Text("0"), "ready"));
    EXPECT_TRUE(words.Ok());
    AssignBool(words, Text("True"), "ready");
    EXPECT_EQ(words.ErrorText(),
              "Value True for 'ready' of type bool is in an incorrect format. Options are "
              "\"true\", \"false\", \"1\", \"0\".");
    BindingResult empty;
    AssignBool(empty, Text(""), "ready");
    EXPECT_FALSE(empty.Ok());
    BindingResult number;
    AssignBool(number, Unsigned(1), "ready");
    EXPECT_EQ(number.ErrorText(),
              "Couldn't assign value to 'ready' of type bool because the input is of an invalid "
              "type unsigned.");
}

TEST(ConvertScalarTest, EmptyInputIsRequiredAndTheFirstErrorStays) {
    BindingResult result;
    AssignString(result, BindingValue(), "summonerName", nullptr);
    EXPECT_EQ(result.ErrorText(), "A value for 'summonerName' is required.");
    EXPECT_EQ(AssignSigned(result, Signed(5), "other", kInt32Low, kInt32High, "int32"), 0);
    AssignBool(result, Text("nope"), "other");
    EXPECT_EQ(result.ErrorText(), "A value for 'summonerName' is required.");
}

enum class Role : std::uint8_t { Fill = 0, Top = 3, Support = 5 };

class ConvertEnumTest : public ::testing::Test {
protected:
    ConvertEnumTest() {
        DeclareEnum<Role>(registry, "Role")
            .AddEnumerator("FILL", 0)
            .AddEnumerator("TOP", 3)
            .AddEnumerator("SUPPORT", 5);
        role = registry.FindTypeByName("Role");
    }
    std::string Read(const BindingValue& input) {
        BindingResult result;
        const std::int32_t read = AssignEnum(result, input, "position", role);
        return result.Ok() ? std::to_string(read) : std::string(result.ErrorText());
    }

    BindingRegistry registry;
    const BindingTypeDescriptor* role = nullptr;
};

TEST_F(ConvertEnumTest, ReadsNamesNumbersAndNumericTexts) {
    EXPECT_EQ(Read(Signed(3)), "3");
    EXPECT_EQ(Read(Unsigned(5)), "5");
    EXPECT_EQ(Read(Unsigned(0x100000003ull)), "3");
    EXPECT_EQ(Read(Text("3")), "3");
    EXPECT_EQ(Read(Text("0x5")), "5");
    EXPECT_EQ(Read(Text("SUPPORT")), "5");
    BindingValue otherEnum;
    otherEnum.SetEnum(3, nullptr);
    EXPECT_EQ(Read(otherEnum), "3");
}

TEST_F(ConvertEnumTest, RefusesUnknownNamesNumbersAndKinds) {
    EXPECT_EQ(Read(Text("support")),
              "support is not a valid Role enumeration value for 'position'.");
    EXPECT_EQ(Read(Text("12abc")), "12abc is not a valid Role enumeration value for 'position'.");
    EXPECT_EQ(Read(Signed(4)), "4 is not a valid Role enumeration value for 'position'.");
    EXPECT_EQ(Read(Bool(true)),
              "Couldn't assign value to 'position' of enum type because the input is of an "
              "invalid type bool.");
    EXPECT_EQ(Read(Float(3.0)),
              "Couldn't assign value to 'position' of enum type because the input is of an "
              "invalid type float.");
}

TEST_F(ConvertEnumTest, StringFieldsTakeEnumeratorNamesButNoNumbers) {
    BindingValue top;
    top.SetEnum(3, &StaticType::Record<Role>());
    BindingResult result;
    EXPECT_EQ(AssignString(result, top, "lane", &registry), "TOP");
    ASSERT_TRUE(result.Ok());

    BindingValue unnamed;
    unnamed.SetEnum(9, &StaticType::Record<Role>());
    AssignString(result, unnamed, "lane", &registry);
    EXPECT_EQ(result.ErrorText(), "9 is not a valid enumeration value for 'lane'.");

    BindingResult number;
    AssignString(number, Unsigned(3), "lane", &registry);
    EXPECT_EQ(number.ErrorText(),
              "Couldn't assign value to 'lane' because the input is not a string.");
}

}  // namespace
}  // namespace Tavix::Client
