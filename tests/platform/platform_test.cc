#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "platform/clock.h"
#include "platform/debugger_console.h"
#include "platform/executable_path.h"
#include "platform/local_time.h"
#include "platform/thread_id.h"

namespace Tavix::Platform {
namespace {

struct VirtualClock {
    std::int64_t now = 0;
    int readings = 0;

    static std::int64_t Read(void* context) {
        auto* clock = static_cast<VirtualClock*>(context);
        ++clock->readings;
        return clock->now;
    }
};

class ClockTest : public ::testing::Test {
protected:
    void TearDown() override { ResetClockSource(); }
};

TEST_F(ClockTest, InstalledSourceIsReadWithItsContextUntilReset) {
    VirtualClock clock{5'000};
    SetClockSource(&VirtualClock::Read, &clock);
    EXPECT_EQ(MonotonicNanoseconds(), 5'000);
    clock.now = 7'000;
    EXPECT_EQ(MonotonicNanoseconds(), 7'000);
    EXPECT_EQ(clock.readings, 2);

    VirtualClock other{-3};
    SetClockSource(&VirtualClock::Read, &other);
    EXPECT_EQ(MonotonicNanoseconds(), -3);
    EXPECT_EQ(clock.readings, 2);

    ResetClockSource();
    const std::int64_t first = MonotonicNanoseconds();
    const std::int64_t second = MonotonicNanoseconds();
    EXPECT_GT(first, 0);
    EXPECT_LE(first, second);
    EXPECT_EQ(other.readings, 1);
}

TEST_F(ClockTest, NullSourceRestoresTheSystemClock) {
    VirtualClock clock{42};
    SetClockSource(&VirtualClock::Read, &clock);
    SetClockSource(nullptr, &clock);
    MonotonicNanoseconds();
    EXPECT_EQ(clock.readings, 0);
}

TEST_F(ClockTest, ElapsedSecondsCountFromTheFirstReadingOfEachSource) {
    VirtualClock clock{1'000'000'000};
    SetClockSource(&VirtualClock::Read, &clock);
    EXPECT_DOUBLE_EQ(SecondsSinceFirstReading(), 0.0);
    clock.now += 1'500'000'000;
    EXPECT_DOUBLE_EQ(SecondsSinceFirstReading(), 1.5);

    // A new source restarts the base, since its time line has nothing to do with the old one.
    VirtualClock later{90'000'000'000};
    SetClockSource(&VirtualClock::Read, &later);
    EXPECT_DOUBLE_EQ(SecondsSinceFirstReading(), 0.0);
    later.now += 250'000'000;
    EXPECT_DOUBLE_EQ(SecondsSinceFirstReading(), 0.25);
}

TEST(LocalTimeTest, FieldsAreInTheirRangesWithTheYearInFull) {
    const LocalTime now = CurrentLocalTime();
    EXPECT_GE(now.year, 2000);
    EXPECT_TRUE(now.month >= 1 && now.month <= 12);
    EXPECT_TRUE(now.day >= 1 && now.day <= 31);
    EXPECT_TRUE(now.hour >= 0 && now.hour <= 23);
    EXPECT_TRUE(now.minute >= 0 && now.minute <= 59);
    EXPECT_TRUE(now.second >= 0 && now.second <= 60);
    EXPECT_TRUE(now.millisecond >= 0 && now.millisecond <= 999);
}

TEST(ThreadIdTest, IsTheKernelsIdAndStable) {
    const std::uintptr_t id = CurrentThreadId();
    EXPECT_NE(id, 0u);
    EXPECT_EQ(id, CurrentThreadId());
    // The main thread's kernel id is the process id.
    EXPECT_EQ(id, static_cast<std::uintptr_t>(getpid()));
}

TEST(ExecutablePathTest, ReadsThisProgramsFullPath) {
    char path[kExecutablePathSize];
    const std::size_t length = ReadExecutablePath(path, sizeof path);
    ASSERT_GT(length, 0u);
    EXPECT_EQ(length, std::strlen(path));
    EXPECT_EQ(path[0], '/');
    EXPECT_STREQ(FileNamePart(path), "platform_test");
}

TEST(ExecutablePathTest, ShortBufferIsCutAndTerminated) {
    char full[kExecutablePathSize];
    ReadExecutablePath(full, sizeof full);
    std::vector<char> small(6, 'x');
    EXPECT_EQ(ReadExecutablePath(small.data(), small.size()), 5u);
    EXPECT_EQ(std::string(small.data()), std::string(full, 5));

    char one = 'x';
    EXPECT_EQ(ReadExecutablePath(&one, 1), 0u);
    EXPECT_EQ(one, '\0');
    EXPECT_EQ(ReadExecutablePath(nullptr, 10), 0u);
}

TEST(ExecutablePathTest, FileNameIsWhatFollowsTheLastSeparatorOfEitherKind) {
    EXPECT_STREQ(FileNamePart("/usr/bin/game"), "game");
    EXPECT_STREQ(FileNamePart("C:\\Games\\Client\\client.exe"), "client.exe");
    EXPECT_STREQ(FileNamePart("mixed/dir\\name"), "name");
    EXPECT_STREQ(FileNamePart("plain"), "plain");
    EXPECT_STREQ(FileNamePart("/trailing/"), "");
    EXPECT_EQ(FileNamePart(nullptr), nullptr);
}

TEST(DebuggerConsoleTest, ObserverSeesEachTextAndWritesGoNowhereWithoutIt) {
    std::vector<std::string> seen;
    SetDebuggerConsoleObserver(
        [](const char* text, void* context) {
            static_cast<std::vector<std::string>*>(context)->emplace_back(text);
        },
        &seen);
    WriteDebuggerConsole("first\n");
    WriteDebuggerConsole(nullptr);
    WriteDebuggerConsole("second");
    SetDebuggerConsoleObserver(nullptr, nullptr);
    WriteDebuggerConsole("unseen");
    EXPECT_THAT(seen, ::testing::ElementsAre("first\n", "second"));
}

}  // namespace
}  // namespace Tavix::Platform
