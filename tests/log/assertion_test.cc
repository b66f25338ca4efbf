#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "capturing_target.h"
#include "log/assertion.h"
#include "log_test_support.h"

namespace Tavix::Client {
namespace {

std::string Formatted(const char* expression, const char* file, int line, const char* function,
                      const char* description) {
    std::string text = "left over";
    FormatAssertion(text, expression, file, line, function, description);
    return text;
}

TEST(FormatAssertionTest, OnlyTheExpression) {
    EXPECT_EQ(Formatted("ALE-EECF0606", "", 0, "", ""),
              "Assertion failed!\n\nExpression: ALE-EECF0606");
    EXPECT_EQ(Formatted("ALE-EECF0606", nullptr, 0, nullptr, nullptr),
              "Assertion failed!\n\nExpression: ALE-EECF0606");
}

TEST(FormatAssertionTest, EveryPiece) {
    EXPECT_EQ(Formatted("x > 0", "await.cc", 120, "Await", "no turn left"),
              "Assertion failed!\n\n"
              "File: await.cc\n"
              "Line: 120\n\n"
              "Function: Await\n\n"
              "Expression: x > 0\n\n"
              "Description: no turn left");
}

TEST(FormatAssertionTest, PiecesAppearOnlyWhenGiven) {
    EXPECT_EQ(Formatted("", "", -7, "", ""), "Assertion failed!\n\nLine: -7\n\n");
    EXPECT_EQ(Formatted("", "", 0, "", "why"), "Assertion failed!\n\n\n\nDescription: why");
    EXPECT_EQ(Formatted(nullptr, nullptr, 0, nullptr, nullptr), "Assertion failed!\n\n");
    EXPECT_EQ(Formatted("e", "f.cc", 0, "", ""), "Assertion failed!\n\nFile: f.cc\nExpression: e");
}

class ReportAssertionTest : public Testing::FreshLogCore {};

TEST_F(ReportAssertionTest, LogsTheReportAsAnErrorOfTheDebugGroup) {
    Testing::CapturingTarget target;
    Install(target, LogTargetConfig{LogLevel::Okay, 0, 0, "#L|#G|#M"});
    // A percent sign in the report must not be read as a conversion.
    ReportAssertion("ALE-0000ABCD", "100% broken", "", 0, "");
    ASSERT_EQ(target.lines.size(), 1u);
    EXPECT_EQ(target.lines[0],
              " ERROR|DBG|Assertion failed!\n\nExpression: ALE-0000ABCD\n\n"
              "Description: 100% broken\n");
}

}  // namespace
}  // namespace Tavix::Client
