#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "log/line_format.h"
#include "log/log_core.h"
#include "log/log_groups.h"
#include "log/log_level.h"
#include "platform/clock.h"
#include "platform/thread_id.h"

namespace Tavix::Client {
namespace {

constexpr Platform::LocalTime kTime{2024, 3, 7, 9, 5, 2, 45};

std::string Render(const char* layout, const char* text, std::size_t size = kLogLineSize,
                   LogLevel level = LogLevel::Warn, LogGroupMask groups = kLogGroupDbg) {
    // An exact-size heap buffer, so that a write past `size` is caught by the address checker.
    std::vector<char> buffer(size);
    const LogMessage message{kTime, level, groups, text};
    FormatLine(buffer.data(), buffer.size(), layout, message);
    return std::string(buffer.data());
}

TEST(LineFormatTest, EachCodeIsReplaced) {
    EXPECT_EQ(Render("#D", "x"), "2024-03-07T09:05:02.045\n");
    EXPECT_EQ(Render("#L", "x", kLogLineSize, LogLevel::Error), " ERROR\n");
    EXPECT_EQ(Render("#G", "x", kLogLineSize, LogLevel::Warn, kLogGroupDbg | kLogGroupNet),
              "DBG;NET\n");
    EXPECT_EQ(Render("#M", "the text"), "the text\n");
    EXPECT_EQ(Render("#D| #L| #G| #M", "hello"), "2024-03-07T09:05:02.045|   WARN| DBG| hello\n");

    char thread[32];
    std::snprintf(thread, sizeof thread, "%p",
                  reinterpret_cast<void*>(Platform::CurrentThreadId()));
    EXPECT_EQ(Render("<#T>", "x"), std::string("<") + thread + ">\n");
}

TEST(LineFormatTest, ExecutableNameComesFromTheCore) {
    LogCore::AddReference();
    EXPECT_EQ(Render("#E: #M", "started"), "line_format_test: started\n");
    LogCore::ReleaseReference();
    EXPECT_EQ(Render("#E", "x"), "<unknown>\n");
}

struct VirtualClock {
    std::int64_t now;
    static std::int64_t Read(void* context) { return static_cast<VirtualClock*>(context)->now; }
};

TEST(LineFormatTest, ElapsedTimeIsCountedInSinglePrecision) {
    VirtualClock clock{7'000'000'000};
    Platform::SetClockSource(&VirtualClock::Read, &clock);
    EXPECT_EQ(Render("#H", "x"), "000000.000\n");
    clock.now += 12'500'000'000;
    EXPECT_EQ(Render("#H", "x"), "000012.500\n");
    clock.now += 250'000'000;
    EXPECT_EQ(Render("[#H]", "x"), "[000012.750]\n");
    // At 100000 s a 32-bit float steps by 1/128 s: .123 reads as .125 and, times 1000 in the same
    // precision, as 128 thousandths.
    clock.now = 7'000'000'000 + 100'000'123'000'000;
    EXPECT_EQ(Render("#H", "x"), "100000.128\n");
    Platform::ResetClockSource();
}

TEST(LineFormatTest, HashFollowedByAnyOtherCharacterPrintsThatCharacter) {
    EXPECT_EQ(Render("##", "x"), "#\n");
    EXPECT_EQ(Render("100##M", "x"), "100#M\n");
    EXPECT_EQ(Render("#x#y#|", "x"), "xy|\n");
    EXPECT_EQ(Render("#m", "x"), "m\n");
}

TEST(LineFormatTest, LoneHashAtTheEndPrintsNothing) {
    EXPECT_EQ(Render("#M#", "text"), "text\n");
    EXPECT_EQ(Render("#", "text"), "\n");
}

TEST(LineFormatTest, LayoutWithoutMessageCodePrintsNoText) {
    EXPECT_EQ(Render("[#L]", "secret", kLogLineSize, LogLevel::Okay), "[  OKAY]\n");
}

TEST(LineFormatTest, EmptyLayoutGivesAnEmptyLine) {
    EXPECT_EQ(Render("", "text"), "\n");
    EXPECT_EQ(Render(nullptr, "text"), "\n");
}

TEST(LineFormatTest, LineEndsAreKeptAndNeverDoubled) {
    EXPECT_EQ(Render("#M", "done\n"), "done\n");
    EXPECT_EQ(Render("<#M>", "two\nlines"), "<two\nlines>\n");
    EXPECT_EQ(Render("#M", "ends\n\n"), "ends\n\n");
    EXPECT_EQ(Render("literal\n", "x"), "literal\n");
    EXPECT_EQ(Render("#M", ""), "\n");
    EXPECT_EQ(Render("#M", nullptr), "\n");
}

TEST(LineFormatTest, TextThatFillsTheBufferStillEndsInALineFeed) {
    // Up to 4092 bytes stay whole.
    EXPECT_EQ(Render("#M", std::string(4092, 'a').c_str()), std::string(4092, 'a') + "\n");
    // From 4093 bytes on the text is cut to 4091.
    EXPECT_EQ(Render("#M", std::string(4093, 'b').c_str()), std::string(4091, 'b') + "\n");
    EXPECT_EQ(Render("#M", std::string(9000, 'c').c_str()), std::string(4091, 'c') + "\n");
    // Literal characters obey the same room.
    EXPECT_EQ(Render(std::string(5000, 'd').c_str(), "x"), std::string(4091, 'd') + "\n");
    // A prefix takes its share of the room.
    EXPECT_EQ(Render("ab#M", std::string(5000, 'e').c_str()), "ab" + std::string(4089, 'e') + "\n");
}

TEST(LineFormatTest, SmallBuffersAreNeverOverrun) {
    EXPECT_EQ(Render("#M", "abcdefghij", 8), "abc\n");
    EXPECT_EQ(Render("#M", "abcd", 8), "abcd\n");
    EXPECT_EQ(Render("#D", "x", 8), "202\n");
    EXPECT_EQ(Render("abcdefgh", "x", 5), "\n");
    EXPECT_EQ(Render("#M", "abc", 3), "\n");
    EXPECT_EQ(Render("#M", "abc", 2), "\n");
    EXPECT_EQ(Render("#M", "abc", 1), "");
}

TEST(LevelNameTest, TextsArePaddedToSixCharacters) {
    EXPECT_STREQ(LevelName(LogLevel::Okay), "  OKAY");
    EXPECT_STREQ(LevelName(LogLevel::Warn), "  WARN");
    EXPECT_STREQ(LevelName(LogLevel::Error), " ERROR");
    EXPECT_STREQ(LevelName(LogLevel::Always), "ALWAYS");
    EXPECT_STREQ(LevelName(static_cast<LogLevel>(9)), "  ????");
}

TEST(TimestampTest, BothFormsAndTheirCuts) {
    char text[32];
    EXPECT_EQ(FormatTimestamp(text, sizeof text, kTime), 23);
    EXPECT_STREQ(text, "2024-03-07T09:05:02.045");
    EXPECT_EQ(FormatFileTimestamp(text, sizeof text, kTime), 19);
    EXPECT_STREQ(text, "2024-03-07T09-05-02");

    const Platform::LocalTime wide{12345, 12, 31, 23, 59, 60, 999};
    EXPECT_EQ(FormatTimestamp(text, sizeof text, wide), 24);
    EXPECT_STREQ(text, "12345-12-31T23:59:60.999");

    EXPECT_EQ(FormatTimestamp(text, 5, kTime), 4);
    EXPECT_STREQ(text, "2024");
    EXPECT_EQ(FormatFileTimestamp(text, 11, kTime), 10);
    EXPECT_STREQ(text, "2024-03-07");
    EXPECT_EQ(FormatTimestamp(text, 0, kTime), 0);
}

TEST(GroupNamesTest, NamesOfTheSetBitsLowestFirst) {
    char text[64];
    EXPECT_EQ(GroupNames(text, sizeof text, 0), 0u);
    EXPECT_STREQ(text, "");
    GroupNames(text, sizeof text, kLogGroupNet | kLogGroupDbg | kLogGroupLoc);
    EXPECT_STREQ(text, "DBG;NET;LOC");
    GroupNames(text, sizeof text, LogGroupMask{1} << 63);
    EXPECT_STREQ(text, "???");
    // Cut to what the buffer holds.
    EXPECT_EQ(GroupNames(text, 6, kLogGroupDbg | kLogGroupGen), 5u);
    EXPECT_STREQ(text, "DBG;G");
}

}  // namespace
}  // namespace Tavix::Client
