#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "log/log.h"
#include "log/log_target.h"
#include "log/memory.h"
#include "log_test_support.h"

namespace Tavix::Client {
namespace {

// Appends each line one character at a time into one shared text and takes no lock of its own:
// if two messages were ever written at once their characters would interleave.
class CharacterTarget : public LogTarget {
public:
    ~CharacterTarget() override { Detach(); }
    const char* GetName() const override { return "CharacterTarget"; }
    bool Write(const LogMessage& message) override {
        for (const char* at = message.text; *at != '\0'; ++at) {
            text.push_back(*at);
        }
        text.push_back('\n');
        return true;
    }
    std::string text;
};

class LogConcurrencyTest : public Testing::FreshLogCore {};

TEST_F(LogConcurrencyTest, LinesOfTwoThreadsNeverInterleave) {
    constexpr int kLines = 2000;
    CharacterTarget target;
    Install(target, LogTargetConfig{LogLevel::Okay, 0, 0, "#M"});
    auto writer = [](char tag) {
        for (int index = 0; index < kLines; ++index) {
            Log(LogLevel::Warn, kLogGroupDbg, "%c-%04d-%c%c%c%c", tag, index, tag, tag, tag, tag);
        }
    };
    std::thread first(writer, 'a');
    std::thread second(writer, 'b');
    first.join();
    second.join();

    int lines[2] = {0, 0};
    std::size_t start = 0;
    while (start < target.text.size()) {
        const std::size_t end = target.text.find('\n', start);
        ASSERT_NE(end, std::string::npos);
        const std::string line = target.text.substr(start, end - start);
        ASSERT_EQ(line.size(), 11u) << line;
        const char tag = line[0];
        ASSERT_TRUE(tag == 'a' || tag == 'b') << line;
        EXPECT_EQ(line.substr(7), std::string(4, tag)) << line;
        EXPECT_EQ(std::stoi(line.substr(2, 4)), lines[tag - 'a']) << line;
        ++lines[tag - 'a'];
        start = end + 1;
    }
    EXPECT_EQ(lines[0], kLines);
    EXPECT_EQ(lines[1], kLines);
}

TEST_F(LogConcurrencyTest, LevelChangesBesideLoggingAreSafe) {
    CharacterTarget target;
    Install(target, LogTargetConfig{LogLevel::Okay, 0, 0, "#M"});
    std::atomic<bool> stop{false};
    std::thread writer([&] {
        while (!stop.load()) {
            Log(LogLevel::Warn, kLogGroupDbg, "x");
        }
    });
    for (int round = 0; round < 500; ++round) {
        LogCore::SetLevel(round % 2 == 0 ? LogLevel::Error : LogLevel::Okay);
        LogCore::SetIgnoredGroups(round % 3 == 0 ? kLogGroupDbg : 0);
        target.SetLevel(round % 2 == 0 ? LogLevel::Okay : LogLevel::Always);
    }
    stop.store(true);
    writer.join();
    LogCore::SetLevel(LogLevel::Okay);
    LogCore::SetIgnoredGroups(0);
    target.SetLevel(LogLevel::Okay);
    const std::size_t before = target.text.size();
    Log(LogLevel::Warn, kLogGroupDbg, "last");
    EXPECT_EQ(target.text.substr(before), "last\n");
}

TEST(MemoryConcurrencyTest, CountersStayExactWhileTwoThreadsAllocateAndOneReads) {
    constexpr int kRounds = 20000;
    AllocationCounterValues before{};
    ReadCounters(&before);
    std::atomic<int> running{2};
    std::atomic<bool> wentBackwards{false};

    auto allocator = [&](std::size_t size) {
        for (int round = 0; round < kRounds; ++round) {
            void* block = Allocate(size);
            static_cast<char*>(block)[0] = 1;
            Release(block);
        }
        running.fetch_sub(1);
    };
    std::thread small(allocator, 24);
    std::thread large(allocator, 1000);
    std::thread reader([&] {
        AllocationCounterValues last = before;
        while (running.load() > 0) {
            AllocationCounterValues now{};
            ReadCounters(&now);
            if (now.allocations < last.allocations || now.frees < last.frees ||
                now.bytesAllocated < last.bytesAllocated || now.bytesFreed < last.bytesFreed) {
                wentBackwards.store(true);
            }
            last = now;
        }
    });
    small.join();
    large.join();
    reader.join();

    AllocationCounterValues after{};
    ReadCounters(&after);
    EXPECT_FALSE(wentBackwards.load());
    EXPECT_EQ(after.allocations - before.allocations, 2u * kRounds);
    EXPECT_EQ(after.frees - before.frees, 2u * kRounds);
    EXPECT_EQ(after.bytesAllocated - before.bytesAllocated, after.bytesFreed - before.bytesFreed);
    EXPECT_GE(after.bytesAllocated - before.bytesAllocated, kRounds * (24u + 1000u));
    EXPECT_GE(after.peakBytes, 1000u);
}

}  // namespace
}  // namespace Tavix::Client
