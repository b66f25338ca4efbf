#include "support/format.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <limits>
#include <memory>
#include <string>
#include <string_view>
#include <type_traits>

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
    // A 64-bit argument under a directive without a length keeps all its bits.
    EXPECT_EQ(Format("%x", std::int64_t{0x123456789A}), "123456789a");
    EXPECT_EQ(Format("%d", 'A'), "65");
    EXPECT_EQ(Format("%x", static_cast<char>(-1)), "ffffffff");
    EXPECT_EQ(Format("%d", std::numeric_limits<std::uint32_t>::max()), "-1");
    EXPECT_EQ(Format("%c", 66), "B");
    EXPECT_EQ(Format("%.3f|%e", 1.0, 0.5), "1.000|5.000000e-01");
    EXPECT_EQ(Format("%s", static_cast<const char*>(nullptr)), "(null)");
}

// Every length on every integer row: `hh` and `h` narrow and `l`, `ll`, `j`, `z` and `t` widen as a
// cast to their type would; `L` names no integer type and leaves the row's own width.
TEST(FormatTest, LengthsConvertIntegersAsACastToTheirTypeWould) {
    const char* const asSigned = "%1$hhd|%1$hd|%1$d|%1$ld|%1$lld|%1$jd|%1$zd|%1$td|%1$Ld";
    const char* const asUnsigned = "%1$hhu|%1$hu|%1$u|%1$lu|%1$llu|%1$ju|%1$zu|%1$tu|%1$Lu";
    const char* const asHex = "%1$hhx|%1$hx|%1$x|%1$lx|%1$llx|%1$jx|%1$zx|%1$tx|%1$Lx";
    const std::string wideMinus70000 = "18446744073709481616";
    const std::string wideMinus56 = "18446744073709551560";
    const std::string allOnes = "18446744073709551615";
    const std::string big = "20015998369791";

    EXPECT_EQ(Format("%hd", 70000), "4464");
    EXPECT_EQ(Format("%hhu", 300), "44");

    EXPECT_EQ(Format(asSigned, 70000), "112|4464|70000|70000|70000|70000|70000|70000|70000");
    EXPECT_EQ(Format(asUnsigned, -70000),
              "144|61072|4294897296|" + wideMinus70000 + "|" + wideMinus70000 + "|" +
                  wideMinus70000 + "|" + wideMinus70000 + "|" + wideMinus70000 + "|4294897296");

    EXPECT_EQ(Format(asSigned, std::uint32_t{4294967295}),
              "-1|-1|-1|4294967295|4294967295|4294967295|4294967295|4294967295|-1");
    EXPECT_EQ(Format(asHex, std::uint32_t{300}), "2c|12c|12c|12c|12c|12c|12c|12c|12c");

    EXPECT_EQ(
        Format(asSigned, std::int64_t{0x12345678FFFF}),
        "-1|-1|" + big + "|" + big + "|" + big + "|" + big + "|" + big + "|" + big + "|" + big);
    EXPECT_EQ(Format(asHex, std::int64_t{-2}),
              "fe|fffe|fffffffffffffffe|fffffffffffffffe|fffffffffffffffe|fffffffffffffffe|"
              "fffffffffffffffe|fffffffffffffffe|fffffffffffffffe");

    EXPECT_EQ(Format(asSigned, std::numeric_limits<std::uint64_t>::max()),
              "-1|-1|-1|-1|-1|-1|-1|-1|-1");
    EXPECT_EQ(Format(asUnsigned, std::numeric_limits<std::uint64_t>::max()),
              "255|65535|" + allOnes + "|" + allOnes + "|" + allOnes + "|" + allOnes + "|" +
                  allOnes + "|" + allOnes + "|" + allOnes);

    const char minus56 = static_cast<char>(-56);
    EXPECT_EQ(Format(asSigned, minus56), "-56|-56|-56|-56|-56|-56|-56|-56|-56");
    EXPECT_EQ(Format(asUnsigned, minus56), "200|65480|4294967240|" + wideMinus56 + "|" +
                                               wideMinus56 + "|" + wideMinus56 + "|" + wideMinus56 +
                                               "|" + wideMinus56 + "|4294967240");
    EXPECT_EQ(Format(asHex, minus56),
              "c8|ffc8|ffffffc8|ffffffffffffffc8|ffffffffffffffc8|ffffffffffffffc8|"
              "ffffffffffffffc8|ffffffffffffffc8|ffffffc8");

    // Flags, widths, precisions and stars around a length go through the runtime's print.
    EXPECT_EQ(Format("[%+6hd|%-#8hx|%.5hhu|%#lo]", 70000, 70000, 300, -1),
              "[ +4464|0x1170  |00044|01777777777777777777777]");
    EXPECT_EQ(Format("[%*hd|%2$0*1$hhx]", 7, 70000), "[   4464|0000070]");
}

// A length is left out where it would make the runtime read another kind of argument (`%ls` a
// wide text, `%lc` a wide character) or where no type goes with it.
TEST(FormatTest, LengthsThatSuitNoConversionOfTheArgumentAreLeftOut) {
    EXPECT_EQ(Format("[%ls|%hs|%Ls|%5lls]", "wide", "short", "long", "ll"),
              "[wide|short|long|   ll]");
    EXPECT_EQ(Format("[%lc|%hhc|%Lc]", 'A', 66, std::int64_t{67}), "[A|B|C]");
    EXPECT_EQ(Format("[%hf|%lf|%jg|%.3Le]", 2.5, 2.5, 2.5, 1e300),
              "[2.500000|2.500000|2.5|1.000e+300]");
    // A replaced conversion keeps a length that suits its replacement.
    EXPECT_EQ(Format("[%hs|%ls|%hn]", 70000, -1, 70000), "[4464|-1|4464]");
}

// What the runtime prints for `directive` given a value of exactly the type the directive reads.
template <typename Value>
std::string RuntimePrint(const std::string& directive, Value value) {
    char buffer[512];
    const int printed = std::snprintf(buffer, sizeof buffer, directive.c_str(), value);
    return printed < 0 ? std::string("<failed>")
                       : std::string(buffer, static_cast<std::size_t>(printed));
}

// `value` converted to the integer type that `length` names for `conversion`.
template <typename Value>
std::string PrintAtLength(const std::string& head, std::string_view length, char conversion,
                          Value value) {
    const std::string directive = head + std::string(length) + conversion;
    const bool isSigned = conversion == 'd' || conversion == 'i';
    if (length == "hh") {
        return isSigned ? RuntimePrint(directive, static_cast<signed char>(value))
                        : RuntimePrint(directive, static_cast<unsigned char>(value));
    }
    if (length == "h") {
        return isSigned ? RuntimePrint(directive, static_cast<short>(value))
                        : RuntimePrint(directive, static_cast<unsigned short>(value));
    }
    if (length == "l") {
        return isSigned ? RuntimePrint(directive, static_cast<long>(value))
                        : RuntimePrint(directive, static_cast<unsigned long>(value));
    }
    if (length == "ll") {
        return isSigned ? RuntimePrint(directive, static_cast<long long>(value))
                        : RuntimePrint(directive, static_cast<unsigned long long>(value));
    }
    if (length == "j") {
        return isSigned ? RuntimePrint(directive, static_cast<std::intmax_t>(value))
                        : RuntimePrint(directive, static_cast<std::uintmax_t>(value));
    }
    if (length == "z") {
        return isSigned
                   ? RuntimePrint(directive, static_cast<std::make_signed_t<std::size_t>>(value))
                   : RuntimePrint(directive, static_cast<std::size_t>(value));
    }
    if (length == "t") {
        return isSigned ? RuntimePrint(directive, static_cast<std::ptrdiff_t>(value))
                        : RuntimePrint(directive,
                                       static_cast<std::make_unsigned_t<std::ptrdiff_t>>(value));
    }
    return isSigned ? RuntimePrint(directive, static_cast<int>(value))
                    : RuntimePrint(directive, static_cast<unsigned>(value));
}

// What a directive of `head`, `length` and `conversion` must print for `value`: the runtime's own
// rendering of the value at the type the directive names, after the conversion has been
// replaced by the row's default where the row does not allow it.
template <typename Value>
std::string Expected(const std::string& head, std::string_view length, char conversion,
                     Value value) {
    if constexpr (std::is_same_v<Value, const char*>) {
        return RuntimePrint(head + "s", value);
    } else if constexpr (std::is_floating_point_v<Value>) {
        const char valid = std::strchr("gaefGAEF", conversion) != nullptr ? conversion : 'g';
        return length == "L" ? RuntimePrint(head + "L" + valid, static_cast<long double>(value))
                             : RuntimePrint(head + valid, value);
    } else {
        const char* allowed = std::is_same_v<Value, char> ? "cdiouxX"
                              : std::is_signed_v<Value>   ? "dciouxX"
                                                          : "ucdioxX";
        const char valid = std::strchr(allowed, conversion) != nullptr ? conversion : allowed[0];
        if (valid == 'c') {
            return RuntimePrint(head + "c", static_cast<int>(value));
        }
        if (length.empty() || length == "L") {
            return PrintAtLength(head, sizeof(Value) == 8 ? "ll" : "", valid, value);
        }
        return PrintAtLength(head, length, valid, value);
    }
}

// Every combination of flags, width, precision, length and conversion, with or without stars,
// prints every row's value as the runtime prints a value of the type the final directive reads.
// A value handed over at another width than the one the runtime reads prints other digits (or,
// for a text under `%ls`, reads past its end, which the sanitized build reports).
template <typename Value>
void CheckEveryDirective(Value value) {
    static const char* const lengths[] = {"", "hh", "h", "l", "ll", "j", "z", "t", "L"};
    for (const std::string_view flags : {"", "-+", "#0", " "}) {
        for (const std::string_view width : {"", "9", "*"}) {
            for (const std::string_view precision : {"", ".3", ".*"}) {
                const bool starWidth = width == "*";
                const bool starPrecision = precision == ".*";
                // The stars take 9 and 3.
                const std::string head = "%" + std::string(flags) +
                                         (starWidth ? "9" : std::string(width)) +
                                         (starPrecision ? ".3" : std::string(precision));
                for (const char* length : lengths) {
                    for (const char conversion : std::string_view("diouxXcsnpfgaE")) {
                        const std::string written = "%" + std::string(flags) + std::string(width) +
                                                    std::string(precision) + length + conversion;
                        const std::string rendered = starWidth && starPrecision
                                                         ? Format(written, 9, 3, value)
                                                     : starWidth     ? Format(written, 9, value)
                                                     : starPrecision ? Format(written, 3, value)
                                                                     : Format(written, value);
                        ASSERT_EQ(rendered, Expected(head, length, conversion, value)) << written;
                    }
                }
            }
        }
    }
}

TEST(FormatTest, EveryDirectivePrintsItsArgumentAtTheTypeItNames) {
    for (const std::int32_t value : {std::numeric_limits<std::int32_t>::min(), -70000, -1, 70000}) {
        CheckEveryDirective(value);
    }
    for (const std::uint32_t value : {300u, 2147483648u, 4294967295u}) {
        CheckEveryDirective(value);
    }
    for (const std::int64_t value : {std::numeric_limits<std::int64_t>::min(), std::int64_t{-2},
                                     std::int64_t{0x12345678FFFF}}) {
        CheckEveryDirective(value);
    }
    for (const std::uint64_t value : {std::numeric_limits<std::uint64_t>::max(),
                                      std::uint64_t{0x8000000000000001}, std::uint64_t{70000}}) {
        CheckEveryDirective(value);
    }
    for (const char value : {static_cast<char>(-56), 'A'}) {
        CheckEveryDirective(value);
    }
    for (const double value : {-2.5, 1e300, 0.1}) {
        CheckEveryDirective(value);
    }
    // A heap block of exactly the text's size, so that reading it as anything wider runs off it.
    const std::unique_ptr<char[]> text(new char[4]{'a', 'b', 'c', '\0'});
    CheckEveryDirective(static_cast<const char*>(text.get()));
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
