#include "support/format.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <string>
#include <string_view>

namespace Tavix::Client {
namespace {

using namespace std::string_literals;

TEST(FormatTest, PositionsPrintTheirArgumentByDefaultConversion) {
    EXPECT_EQ(Format("%2 before %1", "a", "b"), "b before a");
    EXPECT_EQ(Format("%1%2/", 'x', "yz"s), "xyz/");
    EXPECT_EQ(Format("%1 %1", 7), "7 7");
    EXPECT_EQ(Format("Wait: future<%1>", std::string_view("int")), "Wait: future<int>");
    EXPECT_EQ(Format("plain text"), "plain text");
}

TEST(FormatTest, EachRowHasItsDefaultAndItsWidth) {
    EXPECT_EQ(Format("%1", std::numeric_limits<std::int64_t>::min()), "-9223372036854775808");
    EXPECT_EQ(Format("%1", std::numeric_limits<std::uint64_t>::max()), "18446744073709551615");
    EXPECT_EQ(Format("%1", std::numeric_limits<std::uint32_t>::max()), "4294967295");
    EXPECT_EQ(Format("%1", -5), "-5");
    EXPECT_EQ(Format("%1", 'A'), "A");
    EXPECT_EQ(Format("%1", 2.5), "2.5");
    EXPECT_EQ(Format("%1", 2.5f), "2.5");
    // A 64-bit argument keeps all its bits whatever length the pattern wrote.
    EXPECT_EQ(Format("%x", std::int64_t{0x123456789A}), "123456789a");
    EXPECT_EQ(Format("%hhd", 300), "300");
    EXPECT_EQ(Format("%d", 'A'), "65");
    EXPECT_EQ(Format("%x", static_cast<char>(-1)), "ffffffff");
    EXPECT_EQ(Format("%d", std::numeric_limits<std::uint32_t>::max()), "-1");
    EXPECT_EQ(Format("%c", 66), "B");
    EXPECT_EQ(Format("%.3f|%e", 1.0, 0.5), "1.000|5.000000e-01");
    EXPECT_EQ(Format("%s", static_cast<const char*>(nullptr)), "(null)");
}

TEST(FormatTest, PositionsWithDirectivesMixWithSequentialOnes) {
    EXPECT_EQ(Format("%2$-6s|%d", 7, "ab"), "ab    |7");
    EXPECT_EQ(Format("%2$05d", 1, 42), "00042");
    // A position does not advance the sequential counter.
    EXPECT_EQ(Format("%2 then %s then %s", "one", "two"), "two then one then two");
    EXPECT_EQ(Format("%1$s %1$s", "echo"), "echo echo");
}

TEST(FormatTest, UnsuitableConversionsFallBackToTheDefault) {
    EXPECT_EQ(Format("[%d]", "text"), "[text]");
    EXPECT_EQ(Format("[%s]", 42), "[42]");
    EXPECT_EQ(Format("[%s]", std::int64_t{-1} << 40), "[-1099511627776]");
    EXPECT_EQ(Format("[%x]", 1.5), "[1.5]");
    EXPECT_EQ(Format("[%5.2s]", "abc"), "[   ab]");
    EXPECT_EQ(Format("[%-4c]", 'z'), "[z   ]");
}

TEST(FormatTest, PercentNNeverWritesAndPrintsTheArgument) {
    int target = 5;
    EXPECT_EQ(Format("[%n]", target), "[5]");
    EXPECT_EQ(Format("[%n]", "text"), "[text]");
    EXPECT_EQ(Format("[%lln]", std::uint64_t{9}), "[9]");
    EXPECT_EQ(target, 5);
}

TEST(FormatTest, NumbersAboveTheArgumentCountAreWidths) {
    EXPECT_EQ(Format("[%3d]", 5, 6), "[  5]");
    EXPECT_EQ(Format("[%3d]", 5, 6, 7), "[7d]");
    // The pattern ends after `%3`: the conversion is the argument's default.
    EXPECT_EQ(Format("%1 %2 %3", "a", "b"), "a b   a");
    EXPECT_EQ(Format("%0"), "");
    EXPECT_EQ(Format("[%1]"), "[");
}

TEST(FormatTest, PercentSignsAtTheEdges) {
    EXPECT_EQ(Format("100%%"), "100%");
    EXPECT_EQ(Format("%%%1%%", 3), "%3%");
    EXPECT_EQ(Format("value: %", 42), "value: 42");
    EXPECT_EQ(Format("value: %", 4.25), "value: 4.25");
    EXPECT_EQ(Format("100%"), "100");
}

TEST(FormatTest, MissingArgumentsStopTheRendering) {
    EXPECT_EQ(Format("%s and %s, done", "a"), "a and ");
    EXPECT_EQ(Format("before %d after"), "before ");
    EXPECT_EQ(Format("%s %s %s!", 1, 2), "1 2 ");
}

TEST(FormatTest, StarsTakeNumbersFromArguments) {
    EXPECT_EQ(Format("[%*d]", 5, 42), "[   42]");
    EXPECT_EQ(Format("[%.*f]", 2, 3.14159), "[3.14]");
    EXPECT_EQ(Format("[%*.*f]", 6, 1, 2.25), "[   2.2]");
    EXPECT_EQ(Format("[%2$*1$d]", 4, 7), "[   7]");
    EXPECT_EQ(Format("[%*d]", -3, 1), "[1  ]");
    EXPECT_EQ(Format("[%*d]", std::int64_t{0x100000004}, 1), "[   1]");
    EXPECT_EQ(Format("[%*d]", static_cast<char>(3), 1), "[  1]");
    // Digits behind a `*` that no `$` follows are dropped.
    EXPECT_EQ(Format("[%*12d]", 3, 9), "[  9]");
    // A text or a double is no number, and a star beyond the arguments has nothing to read.
    EXPECT_EQ(Format("a%*d", "x", 1), "a");
    EXPECT_EQ(Format("a%*d", 1.5, 1), "a");
    EXPECT_EQ(Format("a%*d", 1), "a");
    EXPECT_EQ(Format("a%1$*3$d", 1), "a");
}

TEST(FormatTest, OutputIsCutSilentlyAt4095Bytes) {
    const std::string longText(5000, 'a');
    EXPECT_EQ(Format("%1", longText), std::string(kFormatMaximumLength, 'a'));
    EXPECT_EQ(Format(longText), std::string(kFormatMaximumLength, 'a'));
    EXPECT_EQ(Format(longText.substr(0, 4094) + "%1", 12345), longText.substr(0, 4094) + "1");
    EXPECT_EQ(Format(longText.substr(0, 4093) + "%%%%x"), longText.substr(0, 4093) + "%%");

    const std::string padded = Format("%99999d", 7);
    EXPECT_EQ(padded, std::string(kFormatMaximumLength, ' '));
    EXPECT_EQ(Format("%.99999f", 1.0).size(), kFormatMaximumLength);
    EXPECT_EQ(Format("x%-5000sy", "z").size(), kFormatMaximumLength);
    // A width the runtime cannot print at all ends the rendering with what came before.
    EXPECT_EQ(Format("ab%99999999999dcd", 1), "ab");
}

TEST(FormatTest, DirectivesStopAtSixtyCharacters) {
    // '%', flags, a width of one digit and the conversion: 59 characters still fit.
    const std::string fits = "x%" + std::string(56, '0') + "1dy";
    EXPECT_EQ(Format(fits, 7), "x7y");
    const std::string tooLong = "x%" + std::string(57, '0') + "1dy";
    EXPECT_EQ(Format(tooLong, 7), "x");
    const std::string longWidth = "x%" + std::string(70, '9') + "dy";
    EXPECT_EQ(Format(longWidth, 7), "x");
}

}  // namespace

// An outside type joins Format through its own ToFormatText.
namespace FormatExtensionTest {

struct Version {
    int major;
    int minor;
};
std::string ToFormatText(const Version& version) {
    return std::to_string(version.major) + "." + std::to_string(version.minor);
}

struct TypeRecord {
    const char* kind;
    const char* name;
};
std::string ToFormatText(const TypeRecord& record) {
    return std::string(record.kind) + ":" + record.name;
}

TEST(FormatTest, TypesWithTextFormPrintAsTexts) {
    EXPECT_EQ(Format("v%1 (%2)", Version{18, 0}, TypeRecord{"backend", "arx"}),
              "v18.0 (backend:arx)");
    EXPECT_EQ(Format("[%d|%8s]", Version{1, 2}, Version{3, 4}), "[1.2|     3.4]");
}

}  // namespace FormatExtensionTest
}  // namespace Tavix::Client
