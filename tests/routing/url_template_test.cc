// URL templates: the expression text, decoding, and the matcher that stands in for the
// expression, checked against the standard library's ECMAScript engine on the same inputs.

#include "routing/url_template.h"

#include <gtest/gtest.h>

#include <map>
#include <random>
#include <regex>
#include <string>
#include <vector>

#include "routing/url_pattern.h"

namespace Tavix::Client {
namespace {

TEST(CompileUrlTemplateTest, EscapesTheTwelveBytesOfTheLiteralPartsAndNothingElse) {
    const CompiledUrlTemplate compiled = CompileUrlTemplate("/arx-matchmaking/a.b/{id}");
    EXPECT_EQ(compiled.pattern, "/arx-matchmaking/a\\.b/([^/]*)");
    EXPECT_EQ(CompileUrlTemplate("^$.*+?()[]|\\-/{x}").pattern,
              "\\^\\$\\.\\*\\+\\?\\(\\)\\[\\]\\|\\\\-/([^/]*)");
}

TEST(CompileUrlTemplateTest, ReadsTheThreeCaptureFormsInOrder) {
    const CompiledUrlTemplate compiled = CompileUrlTemplate("/s/{id}/r/{+rest}{#frag}");
    EXPECT_EQ(compiled.pattern, "/s/([^/]*)/r/(.*)#(.*)");
    const std::vector<RouteCapture> expected = {{RouteCaptureKind::Segment, "id"},
                                                {RouteCaptureKind::Rest, "rest"},
                                                {RouteCaptureKind::Fragment, "frag"}};
    EXPECT_EQ(compiled.captures, expected);
}

TEST(CompileUrlTemplateTest, AKindMarkCountsOnlyAtTheStartOfTheName) {
    EXPECT_EQ(CompileUrlTemplate("{a+b}").captures,
              (std::vector<RouteCapture>{{RouteCaptureKind::Segment, "a+b"}}));
    EXPECT_EQ(CompileUrlTemplate("{+a#}").captures,
              (std::vector<RouteCapture>{{RouteCaptureKind::Rest, "a#"}}));
    EXPECT_EQ(CompileUrlTemplate("{#+a}").captures,
              (std::vector<RouteCapture>{{RouteCaptureKind::Fragment, "+a"}}));
}

TEST(CompileUrlTemplateTest, StrayBracesFollowTheReadingRules) {
    // A "}" outside a parameter is a capture of no group; a "{" inside one starts it over and
    // keeps the name; an unclosed parameter is dropped.
    const CompiledUrlTemplate stray = CompileUrlTemplate("/a}/{x{y}/{z");
    EXPECT_EQ(stray.pattern, "/a/([^/]*)/");
    const std::vector<RouteCapture> expected = {{RouteCaptureKind::None, ""},
                                                {RouteCaptureKind::Segment, "xy"}};
    EXPECT_EQ(stray.captures, expected);
}

TEST(UrlDecodeTest, DecodesPlusAndPercentEscapesByTheirRules) {
    EXPECT_EQ(UrlDecode("%41"), "A");
    EXPECT_EQ(UrlDecode("%4a%4A"), "JJ");
    EXPECT_EQ(UrlDecode("a+b"), "a b");
    EXPECT_EQ(UrlDecode("%zz"), std::string(1, '\x10'));
    EXPECT_EQ(UrlDecode("%4"), "4");
    EXPECT_EQ(UrlDecode("x%"), "x");
    // The first digit's value is multiplied and cut to eight bits before the second joins it.
    EXPECT_EQ(UrlDecode("%g1"), std::string(1, '\x01'));
    EXPECT_EQ(UrlDecode("%00z"), std::string("\0z", 2));
}

// What the standard engine makes of the template's own expression.
bool RegexMatch(const std::string& templateText, const std::string& path,
                std::vector<std::string>& groups) {
    static std::map<std::string, std::regex> compiled;
    auto found = compiled.find(templateText);
    if (found == compiled.end()) {
        found =
            compiled
                .emplace(templateText, std::regex(CompileUrlTemplate(templateText).pattern,
                                                  std::regex::ECMAScript | std::regex::optimize))
                .first;
    }
    std::smatch match;
    if (!std::regex_match(path, match, found->second)) {
        return false;
    }
    groups.clear();
    for (std::size_t i = 1; i < match.size(); ++i) {
        groups.push_back(match[i].str());
    }
    return true;
}

void ExpectSameAsRegex(const std::string& templateText, const std::string& path) {
    std::vector<std::string> expected;
    const bool regexMatched = RegexMatch(templateText, path, expected);
    const UrlPattern pattern(templateText);
    std::vector<std::string_view> groups(pattern.GroupCount());
    const bool matched = pattern.Match(path, groups);
    ASSERT_EQ(matched, regexMatched) << "template " << templateText << " path " << path;
    if (matched) {
        EXPECT_EQ(std::vector<std::string>(groups.begin(), groups.end()), expected)
            << "template " << templateText << " path " << path;
    }
}

const std::vector<std::string> kTemplates = {
    "/x/{id}",    "/x/{id}/y",    "/{a}/{b}",      "/{a}{b}",   "{a}/{+b}",
    "/x/{+rest}", "/x/{+a}/{+b}", "{+a}.{b}",      "/x{#frag}", "/x/{id}{#f}",
    "{+a}#{+b}",  "/a.b/{id}",    "/{a}-{b}/{+c}", "{a}",       "{+a}{+b}{+c}",
    "/x/{a}/",    "/x/{a}}/{b}",  "{#a}{#b}",      "/{a}?{b}",  "{+a}/{a}"};

TEST(UrlPatternTest, AgreesWithTheStandardEngineOnChosenPaths) {
    const std::vector<std::string> paths = {
        "",         "/",        "/x",   "/x/",      "/x/1",    "/x/1/y", "/x/1/2",
        "/x/a/b/c", "/x/1?q=2", "/x#f", "/x/1#f#g", "/x/a\nb", "/a.b/7", "/axb/7",
        "/1-2/3/4", "a.b.c",    "#a#b", "/x/a}/b",  "/1?2",    "/a/b/a", "//"};
    for (const std::string& templateText : kTemplates) {
        for (const std::string& path : paths) {
            ExpectSameAsRegex(templateText, path);
        }
    }
}

TEST(UrlPatternTest, AgreesWithTheStandardEngineOnRandomPaths) {
    // Short paths over the bytes that the templates give a meaning, line ends included.
    const std::string alphabet = "/x#.-?ab\n\r}";
    std::mt19937 random(17);
    std::uniform_int_distribution<std::size_t> length(0, 9);
    std::uniform_int_distribution<std::size_t> pick(0, alphabet.size() - 1);
    for (int round = 0; round < 400; ++round) {
        std::string path;
        for (std::size_t n = length(random); n > 0; --n) {
            path.push_back(alphabet[pick(random)]);
        }
        for (const std::string& templateText : kTemplates) {
            ExpectSameAsRegex(templateText, path);
        }
    }
}

TEST(UrlPatternTest, AMegabyteSegmentMatchesWithoutRecursion) {
    const std::string segment(1 << 20, 'a');
    std::vector<std::string_view> groups(2);
    ASSERT_TRUE(UrlPattern("/x/{id}").Match("/x/" + segment, groups));
    EXPECT_EQ(groups[0].size(), segment.size());
    ASSERT_TRUE(UrlPattern("/{a}/{+b}").Match("/" + segment + "/" + segment, groups));
    EXPECT_EQ(groups[0].size(), segment.size());
    EXPECT_FALSE(UrlPattern("/{a}/{b}").Match("/" + segment + "/" + segment + "/", groups));
}

}  // namespace
}  // namespace Tavix::Client
