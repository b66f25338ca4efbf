#include "support/failure.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "support/named_pattern.h"

namespace Tavix::Client {
namespace {

using namespace std::string_literals;
using ::testing::IsEmpty;
using ::testing::Pair;
using ::testing::UnorderedElementsAre;

struct Expansion {
    std::string pattern;
    MessageParameterMap parameters;
};

template <typename... Parameters>
Expansion Expand(std::string_view pattern, Parameters... parameters) {
    const MessageParameter arguments[] = {MessageParameter(), std::move(parameters)...};
    Expansion result;
    ExpandNamedPattern(pattern, arguments + 1, sizeof...(Parameters), result.pattern,
                       result.parameters);
    return result;
}

MessageParameter Text(const char* text) {
    return MessageParameter::String(text);
}

TEST(FailureTest, NamedParametersLabelArgumentsInOrder) {
    const Failure failure("Error response for {method} {url}: {error}", "GET", "/x/y"s, "gone");
    EXPECT_STREQ(failure.GetMessage(), "Error response for GET /x/y: gone");
    EXPECT_EQ(failure.errorCode, 0);
    EXPECT_THAT(failure.parameters,
                UnorderedElementsAre(Pair("method", Text("GET")), Pair("url", Text("/x/y")),
                                     Pair("error", Text("gone"))));

    const Expansion expanded =
        Expand("Error response for {method} {url}: {error}", Text("a"), Text("b"), Text("c"));
    EXPECT_EQ(expanded.pattern, "Error response for %1 %2: %3");
}

TEST(FailureTest, CodeIsRecordedOnlyWhenNotZero) {
    const Failure withCode(404, "Error response for {method} {url}: {error}", "GET", "/a", "no");
    EXPECT_EQ(withCode.errorCode, 404);
    EXPECT_EQ(withCode.parameters.at("errorCode_int"), MessageParameter::Signed(404));
    EXPECT_STREQ(withCode.GetMessage(), "Error response for GET /a: no");

    const Failure zero(0, "Couldn't convert LCDS call parameters: {error}", "bad");
    EXPECT_EQ(zero.errorCode, 0);
    EXPECT_EQ(zero.parameters.count("errorCode_int"), 0u);
    EXPECT_STREQ(zero.GetMessage(), "Couldn't convert LCDS call parameters: bad");
}

TEST(FailureTest, MessageIsNullUntilSetAndMovesWithTheFailure) {
    Failure empty;
    EXPECT_EQ(empty.GetMessage(), nullptr);
    EXPECT_EQ(empty.errorCode, 0);
    EXPECT_THAT(empty.parameters, IsEmpty());

    static const char kBorrowed[] = "borrowed text";
    empty.SetBorrowedMessage(kBorrowed);
    EXPECT_EQ(empty.GetMessage(), kBorrowed);
    empty.SetMessage("owned text");
    EXPECT_STREQ(empty.GetMessage(), "owned text");

    Failure original(500, "Expected '{expected}' as LCDS response for {destination}.{method}", "A",
                     "svc", "call");
    const Failure moved(std::move(original));
    EXPECT_STREQ(moved.GetMessage(), "Expected 'A' as LCDS response for svc.call");
    EXPECT_EQ(moved.errorCode, 500);
    EXPECT_EQ(moved.parameters.size(), 4u);
}

TEST(FailureTest, BracesAndPercentSignsOutsideParameters) {
    const Failure braces("{{name}} is {value}, }} and }", "v");
    EXPECT_STREQ(braces.GetMessage(), "{name} is v, } and }");
    EXPECT_THAT(braces.parameters, UnorderedElementsAre(Pair("value", Text("v"))));

    const Failure percent("100%% of {what}", "it");
    EXPECT_STREQ(percent.GetMessage(), "100% of it");
    EXPECT_EQ(Expand("100%% {a}", Text("x")).pattern, "100%% %1");
}

TEST(FailureTest, ParametersBeyondTheArgumentsAreDropped) {
    const Failure failure("{first} and {second}!", "x");
    EXPECT_STREQ(failure.GetMessage(), "x and !");
    EXPECT_THAT(failure.parameters, UnorderedElementsAre(Pair("first", Text("x"))));

    const Failure none("nothing for {anyone}");
    EXPECT_STREQ(none.GetMessage(), "nothing for ");
    EXPECT_THAT(none.parameters, IsEmpty());

    // An unclosed parameter produces nothing, and a trailing backslash ends the expansion.
    EXPECT_EQ(Expand("open {a", Text("x")).pattern, "open ");
    EXPECT_THAT(Expand("open {a", Text("x")).parameters, IsEmpty());
    EXPECT_EQ(Expand("x {a\\", Text("x")).pattern, "x ");
}

TEST(FailureTest, LaterParameterOfTheSameNameWins) {
    const Failure failure("{a} then {a}", "first", "second");
    EXPECT_STREQ(failure.GetMessage(), "first then second");
    EXPECT_THAT(failure.parameters, UnorderedElementsAre(Pair("a", Text("second"))));
}

TEST(FailureTest, ReferenceIsClosedBeforeDigitsThatFollowIt) {
    EXPECT_EQ(Expand("{count}0 items", Text("5")).pattern, "%1$s0 items");
    EXPECT_STREQ(Failure("{count}0 items", "5").GetMessage(), "50 items");
    EXPECT_STREQ(Failure("{price}$", "3").GetMessage(), "3$");
    EXPECT_STREQ(Failure("{a} {b!}9", "1", "2").GetMessage(), "19");
}

TEST(NamedPatternTest, FallbackReplacesAnEmptyArgument) {
    const Expansion empty = Expand("{who?nobody} said {what}", Text(""), Text("hi"));
    EXPECT_EQ(empty.pattern, "nobody said %2");
    EXPECT_THAT(empty.parameters, UnorderedElementsAre(Pair("what", Text("hi"))));

    const Expansion given = Expand("{who?nobody} said", Text("ann"));
    EXPECT_EQ(given.pattern, "%1 said");
    EXPECT_THAT(given.parameters, UnorderedElementsAre(Pair("who", Text("ann"))));

    for (const MessageParameter& blank :
         {MessageParameter::Bool(false), MessageParameter::Signed(0), MessageParameter::Unsigned(0),
          MessageParameter::Double(0.0), MessageParameter()}) {
        EXPECT_EQ(Expand("[{v?-}]", blank).pattern, "[-]");
    }
    EXPECT_EQ(Expand("[{v?-}]", MessageParameter::Signed(-1)).pattern, "[%1]");
}

TEST(NamedPatternTest, HiddenParametersAreRecordedNotPrinted) {
    const Expansion expanded = Expand("value  {v!} end {w}", Text("1"), Text("2"));
    EXPECT_EQ(expanded.pattern, "value end %2");
    EXPECT_THAT(expanded.parameters,
                UnorderedElementsAre(Pair("v", Text("1")), Pair("w", Text("2"))));
    EXPECT_STREQ(Failure("value  {v!} end {w}", "1", "2").GetMessage(), "value end 2");
}

TEST(NamedPatternTest, TypedNamesGetTheSuffixOfTheirArgument) {
    const Expansion expanded = Expand(
        "{#count}{#flag}{#ratio}{#label}{#given_int}{#when_time}{#plain_x}",
        MessageParameter::Signed(3), MessageParameter::Bool(true), MessageParameter::Double(0.5),
        Text("l"), MessageParameter::Unsigned(7), Text("t"), MessageParameter::Unsigned(9));
    EXPECT_EQ(expanded.pattern, "%1%2%3%4%5%6%7");
    EXPECT_THAT(expanded.parameters,
                UnorderedElementsAre(Pair("count_int", MessageParameter::Signed(3)),
                                     Pair("flag_bool", MessageParameter::Bool(true)),
                                     Pair("ratio_float", MessageParameter::Double(0.5)),
                                     Pair("label_str", Text("l")),
                                     Pair("given_int", MessageParameter::Unsigned(7)),
                                     Pair("when_time", Text("t")),
                                     Pair("plain_x_int", MessageParameter::Unsigned(9))));
}

TEST(NamedPatternTest, ModifiersConvertTheRecordedValue) {
    const Expansion asText =
        Expand("{n@str} {b@str} {d@str} {s@str}", MessageParameter::Signed(-12),
               MessageParameter::Bool(false), MessageParameter::Double(1.5), Text("same"));
    EXPECT_EQ(asText.pattern, "%1 %2 %3 %4");
    EXPECT_THAT(asText.parameters,
                UnorderedElementsAre(Pair("n", Text("-12")), Pair("b", Text("false")),
                                     Pair("d", Text("1.500000")), Pair("s", Text("same"))));

    const Expansion hex = Expand("id {id@hex}", MessageParameter::Unsigned(255));
    EXPECT_EQ(hex.pattern, "id %1$016llX");
    EXPECT_THAT(hex.parameters, UnorderedElementsAre(Pair("id", Text("00000000000000FF"))));
    EXPECT_EQ(Format(hex.pattern, std::uint64_t{255}), "id 00000000000000FF");

    // A typed name follows the converted type.
    EXPECT_THAT(Expand("{#n@str}", MessageParameter::Signed(4)).parameters,
                UnorderedElementsAre(Pair("n_str", Text("4"))));
    // Hex applies to integers only.
    EXPECT_EQ(Expand("{s@hex}", Text("x")).pattern, "%1");
}

TEST(NamedPatternTest, DirectivesAndEscapes) {
    const Expansion directive =
        Expand("[{n:5d}] [{w:-4}]", MessageParameter::Signed(42), Text("ab"));
    EXPECT_EQ(directive.pattern, "[%1$5d] [%2$-4s]");
    EXPECT_EQ(Format(directive.pattern, 42, "ab"), "[   42] [ab  ]");

    const Expansion escaped = Expand("{a\\}b\\:c!?x}", Text(""));
    EXPECT_EQ(escaped.pattern, "x");
    const Expansion named = Expand("{a\\}b{c} tail", Text("v"));
    EXPECT_EQ(named.pattern, "%1 tail");
    EXPECT_THAT(named.parameters, UnorderedElementsAre(Pair("a}bc", Text("v"))));
}

TEST(NamedPatternTest, PercentDirectivesTakeTheRunningIndex) {
    const Expansion expanded =
        Expand("{a} %s %1 %3$d {c}", Text("x"), Text("y"), Text("z"), Text("w"));
    EXPECT_EQ(expanded.pattern, "%1 %2$s %1 %3$d %4");
    EXPECT_THAT(expanded.parameters,
                UnorderedElementsAre(Pair("a", Text("x")), Pair("c", Text("w"))));
    EXPECT_STREQ(Failure("{a} %s!", "x", "y").GetMessage(), "x y!");
    // A percent parameter beyond the arguments is dropped like a named one.
    EXPECT_EQ(Expand("{a} %d.", Text("x")).pattern, "%1 .");
}

}  // namespace
}  // namespace Tavix::Client
