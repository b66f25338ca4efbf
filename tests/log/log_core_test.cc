#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "capturing_target.h"
#include "log/console_log_targets.h"
#include "log/log.h"
#include "log/log_core.h"
#include "log/log_interface.h"
#include "log_test_support.h"
#include "platform/debugger_console.h"
#include "platform/thread_id.h"

namespace Tavix::Client {
namespace {

using Testing::CapturingTarget;
using Testing::DestroyLogCore;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Testing::OpenConfig;

constexpr LogLevel kLevels[] = {LogLevel::Okay, LogLevel::Warn, LogLevel::Error, LogLevel::Always};

class LogCoreTest : public Testing::FreshLogCore {};

TEST_F(LogCoreTest, MessageLevelMustReachTheCoreThreshold) {
    CapturingTarget target;
    Install(target, OpenConfig());
    for (LogLevel threshold : kLevels) {
        LogCore::SetLevel(threshold);
        for (LogLevel level : kLevels) {
            target.texts.clear();
            Log(level, kLogGroupDbg, "message");
            const bool passes = static_cast<int>(level) >= static_cast<int>(threshold);
            EXPECT_EQ(target.texts.size(), passes ? 1u : 0u)
                << "level " << static_cast<int>(level) << " threshold "
                << static_cast<int>(threshold);
        }
    }
}

TEST_F(LogCoreTest, IgnoredGroupDropsAMessageWhateverItsLevel) {
    CapturingTarget target;
    Install(target, OpenConfig());
    EXPECT_EQ(LogCore::GetIgnoredGroups(), kLogGroupXtr);
    Log(LogLevel::Always, kLogGroupXtr, "extra");
    Log(LogLevel::Always, kLogGroupXtr | kLogGroupDbg, "extra and debug");
    Log(LogLevel::Always, kLogGroupDbg, "debug");
    EXPECT_THAT(target.texts, ElementsAre("debug"));

    LogCore::SetIgnoredGroups(0);
    Log(LogLevel::Always, kLogGroupXtr, "extra");
    EXPECT_THAT(target.texts, ElementsAre("debug", "extra"));
}

TEST_F(LogCoreTest, MaskZeroPassesEveryGroupFilterButNotTheLevels) {
    CapturingTarget target;
    Install(target, LogTargetConfig{LogLevel::Warn, kLogGroupNet, ~kLogGroupNet, "#M"});
    LogCore::SetIgnoredGroups(~LogGroupMask{0});
    LogCore::SetLevel(LogLevel::Okay);
    Log(LogLevel::Warn, 0, "no groups");
    Log(LogLevel::Okay, 0, "below the target");
    Log(LogLevel::Warn, kLogGroupNet, "ignored by the core");
    EXPECT_THAT(target.texts, ElementsAre("no groups"));
}

TEST_F(LogCoreTest, TargetGroupFilters) {
    CapturingTarget everything("Everything");
    CapturingTarget onlyNet("OnlyNet");
    Install(everything, LogTargetConfig{LogLevel::Okay, 0, kLogGroupGen, "#M"});
    Install(onlyNet, LogTargetConfig{LogLevel::Okay, kLogGroupNet, kLogGroupGen, "#M"});
    LogCore::SetLevel(LogLevel::Okay);
    Log(LogLevel::Warn, kLogGroupDbg, "dbg");
    Log(LogLevel::Warn, LogGroupMask{1} << 40, "high");
    Log(LogLevel::Warn, kLogGroupDbg | kLogGroupNet, "dbg+net");
    Log(LogLevel::Warn, kLogGroupGen, "gen");
    Log(LogLevel::Warn, kLogGroupNet | kLogGroupGen, "net+gen");
    EXPECT_THAT(everything.texts, ElementsAre("dbg", "high", "dbg+net"));
    EXPECT_THAT(onlyNet.texts, ElementsAre("dbg+net"));
}

TEST_F(LogCoreTest, EachTargetAppliesItsOwnLevel) {
    CapturingTarget chatty("Chatty");
    CapturingTarget quiet("Quiet");
    Install(chatty, OpenConfig());
    Install(quiet, LogTargetConfig{LogLevel::Error, 0, 0, "#M"});
    LogCore::SetLevel(LogLevel::Okay);
    Log(LogLevel::Warn, kLogGroupDbg, "warn");
    Log(LogLevel::Error, kLogGroupDbg, "error");
    EXPECT_THAT(chatty.texts, ElementsAre("warn", "error"));
    EXPECT_THAT(quiet.texts, ElementsAre("error"));
}

TEST_F(LogCoreTest, DisabledCoreLogsNothingUntilEnabled) {
    CapturingTarget target;
    Install(target, OpenConfig());
    LogCore::Disable();
    Log(LogLevel::Always, kLogGroupDbg, "lost");
    LogCore::Enable();
    Log(LogLevel::Always, kLogGroupDbg, "kept");
    EXPECT_THAT(target.texts, ElementsAre("kept"));
}

TEST_F(LogCoreTest, TargetsWriteInListOrderAndRemovalTakesEveryOccurrence) {
    std::vector<std::string> order;
    struct Recorder : CapturingTarget {
        Recorder(const char* name, std::vector<std::string>& order)
            : CapturingTarget(name), order_(order) {}
        bool Write(const LogMessage& message) override {
            order_.emplace_back(GetName());
            return CapturingTarget::Write(message);
        }
        std::vector<std::string>& order_;
    };
    Recorder first("First", order);
    Recorder second("Second", order);
    Install(second, OpenConfig());
    Install(first, OpenConfig());
    LogCore::AddTarget(second.Interface());
    Log(LogLevel::Always, kLogGroupDbg, "one");
    EXPECT_THAT(order, ElementsAre("Second", "First", "Second"));

    order.clear();
    LogCore::RemoveTarget(second.Interface());
    Log(LogLevel::Always, kLogGroupDbg, "two");
    EXPECT_THAT(order, ElementsAre("First"));
}

TEST_F(LogCoreTest, TargetThatDetachesWhileWritingDoesNotHideTheNextOne) {
    struct Leaving : CapturingTarget {
        using CapturingTarget::CapturingTarget;
        bool Write(const LogMessage& message) override {
            Detach();
            return CapturingTarget::Write(message);
        }
    };
    Leaving leaving("Leaving");
    CapturingTarget staying("Staying");
    Install(leaving, OpenConfig());
    Install(staying, OpenConfig());
    Log(LogLevel::Always, kLogGroupDbg, "first");
    Log(LogLevel::Always, kLogGroupDbg, "second");
    EXPECT_THAT(leaving.texts, ElementsAre("first"));
    EXPECT_THAT(staying.texts, ElementsAre("first", "second"));
    EXPECT_FALSE(leaving.IsAttached());
}

TEST_F(LogCoreTest, TargetMayLogFromItsOwnWrite) {
    struct Echo : CapturingTarget {
        using CapturingTarget::CapturingTarget;
        bool Write(const LogMessage& message) override {
            CapturingTarget::Write(message);
            if (texts.size() == 1) {
                Log(LogLevel::Always, kLogGroupDbg, "echo of %s", message.text);
            }
            return true;
        }
    };
    Echo echo;
    Install(echo, OpenConfig());
    Log(LogLevel::Always, kLogGroupDbg, "call");
    EXPECT_THAT(echo.texts, ElementsAre("call", "echo of call"));
}

TEST_F(LogCoreTest, FindTargetComparesNamesExactly) {
    CapturingTarget plugin("PluginLogTarget");
    EXPECT_EQ(LogCore::FindTarget("PluginLogTarget"), nullptr);
    Install(plugin, OpenConfig());
    EXPECT_EQ(LogCore::FindTarget("PluginLogTarget"), plugin.Interface());
    EXPECT_EQ(LogCore::FindTarget("pluginlogtarget"), nullptr);
    EXPECT_EQ(LogCore::FindTarget("PluginLogTarge"), nullptr);
    EXPECT_EQ(LogCore::FindTarget(nullptr), nullptr);
}

TEST_F(LogCoreTest, BuiltInTargetsHaveTheirSettingsAndSurviveClose) {
    DestroyLogCore();
    LogCore::AddReference();
    LogTargetInterface* stdErr = LogCore::GetStdErrTarget();
    LogTargetInterface* stdOut = LogCore::GetStdOutTarget();
    LogTargetInterface* debugger = LogCore::GetDebuggerTarget();

    EXPECT_STREQ(stdErr->GetName(stdErr), "StdErrLogTarget");
    EXPECT_STREQ(stdOut->GetName(stdOut), "StdOutLogTarget");
    EXPECT_STREQ(debugger->GetName(debugger), "DebuggerConsoleLogTarget");
    EXPECT_EQ(LogCore::FindTarget("StdErrLogTarget"), stdErr);
    EXPECT_EQ(LogCore::FindTarget("DebuggerConsoleLogTarget"), debugger);
    EXPECT_EQ(LogCore::FindTarget("StdOutLogTarget"), nullptr);

    const LogMessage message{};
    EXPECT_EQ(stdErr->GetLevel(stdErr), LogLevel::Warn);
    EXPECT_EQ(stdErr->GetIncludedGroups(stdErr), kLogGroupDbg);
    EXPECT_EQ(stdErr->GetExcludedGroups(stdErr), kLogGroupGen);
    EXPECT_STREQ(stdErr->GetFormat(stdErr, &message), "#E(#T): #L| #M");
    EXPECT_EQ(stdOut->GetIncludedGroups(stdOut), kLogGroupGen);
    EXPECT_EQ(stdOut->GetExcludedGroups(stdOut), kLogGroupDbg);
    EXPECT_STREQ(stdOut->GetFormat(stdOut, &message), "#M");
    EXPECT_EQ(debugger->GetIncludedGroups(debugger), kLogGroupDbg);
    EXPECT_EQ(debugger->GetExcludedGroups(debugger), 0u);
    EXPECT_STREQ(debugger->GetFormat(debugger, &message), "#E(#T): #L| #M");

    // Closing keeps the object, which can be attached again.
    LogTarget::FromInterface(stdErr)->Close();
    EXPECT_FALSE(stdErr->IsAttached(stdErr));
    EXPECT_EQ(LogCore::FindTarget("StdErrLogTarget"), nullptr);
    LogTarget::FromInterface(stdErr)->Close();
    stdErr->Attach(stdErr);
    EXPECT_TRUE(stdErr->IsAttached(stdErr));
    EXPECT_EQ(LogCore::FindTarget("StdErrLogTarget"), stdErr);
}

TEST_F(LogCoreTest, ClosingATargetThatIsNotAttachedChangesNothing) {
    CapturingTarget attached("Attached");
    CapturingTarget loose("Loose");
    Install(attached, OpenConfig());
    loose.Close();
    EXPECT_FALSE(loose.IsAttached());
    Log(LogLevel::Always, kLogGroupDbg, "still here");
    EXPECT_THAT(attached.texts, ElementsAre("still here"));
    EXPECT_THAT(loose.texts, IsEmpty());
}

TEST_F(LogCoreTest, InstallReplacesSettingsAndAttachesOnce) {
    CapturingTarget target;
    EXPECT_FALSE(target.IsAttached());
    Install(target,
            LogTargetConfig{LogLevel::Error, kLogGroupDbg | kLogGroupNet, kLogGroupNet, "[#L] #M"});
    EXPECT_TRUE(target.IsAttached());
    EXPECT_EQ(target.Level(), LogLevel::Error);
    EXPECT_EQ(target.IncludedGroups(), kLogGroupDbg);
    EXPECT_EQ(target.ExcludedGroups(), kLogGroupNet);

    Install(target, LogTargetConfig{LogLevel::Warn, 0, 0, "#M!"});
    LogCore::SetLevel(LogLevel::Okay);
    Log(LogLevel::Warn, kLogGroupNet, "once");
    EXPECT_THAT(target.lines, ElementsAre("once!\n"));

    Install(target, LogTargetConfig{LogLevel::Warn, 0, 0, nullptr});
    Log(LogLevel::Warn, kLogGroupNet, "no layout");
    EXPECT_THAT(target.lines, ElementsAre("once!\n", "\n"));
}

TEST_F(LogCoreTest, SameBitInBothGroupMasksStaysOnlyExcluded) {
    CapturingTarget target;
    target.SetGroups(kLogGroupDbg | kLogGroupNet, kLogGroupNet | kLogGroupGen);
    EXPECT_EQ(target.IncludedGroups(), kLogGroupDbg);
    EXPECT_EQ(target.ExcludedGroups(), kLogGroupNet | kLogGroupGen);

    LogTargetInterface* table = target.Interface();
    table->SetGroups(table, kLogGroupNet, kLogGroupNet);
    EXPECT_EQ(table->GetIncludedGroups(table), 0u);
    EXPECT_EQ(table->GetExcludedGroups(table), kLogGroupNet);
}

TEST_F(LogCoreTest, DestroyedTargetLeavesTheList) {
    CapturingTarget survivor("Survivor");
    Install(survivor, OpenConfig());
    {
        CapturingTarget shortLived("ShortLived");
        Install(shortLived, OpenConfig());
        EXPECT_NE(LogCore::FindTarget("ShortLived"), nullptr);
    }
    EXPECT_EQ(LogCore::FindTarget("ShortLived"), nullptr);
    Log(LogLevel::Always, kLogGroupDbg, "after");
    EXPECT_THAT(survivor.texts, ElementsAre("after"));
}

TEST_F(LogCoreTest, ReferencesKeepTheCoreAndTheLastReleaseDetachesEveryTarget) {
    CapturingTarget target;
    Install(target, OpenConfig());
    LogCore::AddReference();
    LogCore::ReleaseReference();
    EXPECT_TRUE(LogCore::Exists());
    EXPECT_TRUE(target.IsAttached());

    LogCore::ReleaseReference();
    EXPECT_FALSE(LogCore::Exists());
    EXPECT_FALSE(target.IsAttached());
    // An unbalanced release is ignored rather than taking the count below zero.
    LogCore::ReleaseReference();
    EXPECT_EQ(LogCore::ReferenceCount(), 0);
}

TEST_F(LogCoreTest, NextLogAfterTheLastReleaseCreatesACoreWithDefaults) {
    LogCore::SetLevel(LogLevel::Okay);
    LogCore::SetIgnoredGroups(0);
    LogCore::Disable();
    LogCore::ReleaseReference();
    ASSERT_FALSE(LogCore::Exists());

    Log(LogLevel::Okay, kLogGroupDbg, "filtered, but it creates the core");
    ASSERT_TRUE(LogCore::Exists());
    EXPECT_EQ(LogCore::ReferenceCount(), 0);
    EXPECT_EQ(LogCore::GetLevel(), LogLevel::Warn);
    EXPECT_EQ(LogCore::GetIgnoredGroups(), kLogGroupXtr);
    EXPECT_NE(LogCore::FindTarget("StdErrLogTarget"), nullptr);
    EXPECT_NE(LogCore::FindTarget("DebuggerConsoleLogTarget"), nullptr);
    EXPECT_EQ(LogCore::FindTarget("StdOutLogTarget"), nullptr);

    CapturingTarget target;
    LogCore::GetStdErrTarget()->Detach(LogCore::GetStdErrTarget());
    Install(target, OpenConfig());
    Log(LogLevel::Warn, kLogGroupDbg, "enabled again");
    EXPECT_THAT(target.texts, ElementsAre("enabled again"));
}

TEST_F(LogCoreTest, MessageCarriesItsFieldsAndALongTextIsCut) {
    CapturingTarget target;
    Install(target, OpenConfig());
    Log(LogLevel::Error, kLogGroupDbg | kLogGroupNet, "%s=%d", "answer", 42);
    ASSERT_EQ(target.texts.size(), 1u);
    EXPECT_EQ(target.texts[0], "answer=42");
    EXPECT_EQ(target.levels[0], LogLevel::Error);
    EXPECT_EQ(target.groups[0], kLogGroupDbg | kLogGroupNet);

    const std::string longText(5000, 'x');
    Log(LogLevel::Error, kLogGroupDbg, "%s", longText.c_str());
    ASSERT_EQ(target.texts.size(), 2u);
    EXPECT_EQ(target.texts[1], std::string(4095, 'x'));
}

TEST_F(LogCoreTest, InterfaceTableReachesTheCore) {
    const LogInterface* log = GetLogInterface();
    ASSERT_EQ(log, GetLogInterface());
    EXPECT_EQ(log->GetInterfaceVersion(log), 1);

    CapturingTarget target("TableTarget");
    target.Configure(OpenConfig("#G #M"));
    log->AddTarget(log, target.Interface());
    EXPECT_EQ(log->FindTarget(log, "TableTarget"), target.Interface());

    log->SetLevel(log, LogLevel::Error);
    EXPECT_EQ(log->GetLevel(log), LogLevel::Error);
    log->SetIgnoredGroups(log, kLogGroupPrf);
    EXPECT_EQ(log->GetIgnoredGroups(log), kLogGroupPrf);

    auto forward = [&](LogLevel level, LogGroupMask mask, const char* format, ...) {
        va_list arguments;
        va_start(arguments, format);
        log->Log(log, level, static_cast<std::uint32_t>(mask),
                 static_cast<std::uint32_t>(mask >> 32), format, arguments);
        va_end(arguments);
    };
    forward(LogLevel::Error, (LogGroupMask{1} << 8) | kLogGroupDbg, "low and high %d", 1);
    forward(LogLevel::Warn, kLogGroupDbg, "below the level");
    forward(LogLevel::Error, kLogGroupPrf, "ignored");
    log->Disable(log);
    forward(LogLevel::Always, kLogGroupDbg, "disabled");
    log->Enable(log);
    EXPECT_THAT(target.lines, ElementsAre("DBG;LOC low and high 1\n"));

    log->RemoveTarget(log, target.Interface());
    EXPECT_EQ(log->FindTarget(log, "TableTarget"), nullptr);

    LogGroupMask mask = 0;
    log->RegisterGroup(log, &mask, "LOC");
    EXPECT_EQ(mask, kLogGroupLoc);
    EXPECT_STREQ(log->LevelName(log, LogLevel::Always), "ALWAYS");
    EXPECT_STREQ(log->GetExecutableName(log), "log_core_test");
    EXPECT_EQ(log->GetStdErrTarget(log), LogCore::GetStdErrTarget());
    EXPECT_EQ(log->GetStdOutTarget(log), LogCore::GetStdOutTarget());
    EXPECT_EQ(log->GetDebuggerTarget(log), LogCore::GetDebuggerTarget());

    char text[32];
    const Platform::LocalTime fixed{2024, 3, 7, 9, 5, 2, 45};
    EXPECT_EQ(log->FormatFileTimestamp(log, text, sizeof text, &fixed), 19);
    EXPECT_STREQ(text, "2024-03-07T09-05-02");
    const LogMessage message{fixed, LogLevel::Okay, kLogGroupMem, "text"};
    log->FormatLine(log, text, sizeof text, "#L #G #M", &message);
    EXPECT_STREQ(text, "  OKAY MEM text\n");
}

// The console targets render by their layout and write to their stream.
class ConsoleTargetTest : public Testing::FreshLogCore {
protected:
    static std::string Expected(const char* level, const char* text) {
        char thread[32];
        std::snprintf(thread, sizeof thread, "%p",
                      reinterpret_cast<void*>(Platform::CurrentThreadId()));
        return std::string("log_core_test(") + thread + "): " + level + "| " + text + "\n";
    }
};

TEST_F(ConsoleTargetTest, StdErrTargetWritesTheConsoleLayout) {
    char* buffer = nullptr;
    std::size_t size = 0;
    std::FILE* stream = open_memstream(&buffer, &size);
    ASSERT_NE(stream, nullptr);
    {
        StdErrLogTarget target(stream);
        Install(target,
                LogTargetConfig{LogLevel::Warn, kLogGroupDbg, kLogGroupGen, kConsoleLogLayout});
        Log(LogLevel::Error, kLogGroupDbg, "broken %s", "pipe");
        Log(LogLevel::Error, kLogGroupGen, "general");
        target.Flush();
        EXPECT_EQ(std::string(buffer, size), Expected(" ERROR", "broken pipe"));
    }
    std::fclose(stream);
    std::free(buffer);
}

TEST_F(ConsoleTargetTest, StdOutTargetFlushesEachLineOnlyWithAutoFlush) {
    char* buffer = nullptr;
    std::size_t size = 0;
    std::FILE* stream = open_memstream(&buffer, &size);
    ASSERT_NE(stream, nullptr);
    {
        StdOutLogTarget target(stream);
        Install(target, LogTargetConfig{LogLevel::Warn, kLogGroupGen, kLogGroupDbg, "#M"});
        Log(LogLevel::Warn, kLogGroupGen, "buffered");
        // A memory stream publishes its size only when flushed.
        EXPECT_EQ(size, 0u);
        target.Flush();
        EXPECT_EQ(std::string(buffer, size), "buffered\n");

        target.autoFlush = true;
        Log(LogLevel::Warn, kLogGroupGen, "at once");
        EXPECT_EQ(std::string(buffer, size), "buffered\nat once\n");
    }
    std::fclose(stream);
    std::free(buffer);
}

TEST_F(ConsoleTargetTest, DebuggerTargetHandsTheLineToTheDebuggerConsole) {
    std::vector<std::string> seen;
    Platform::SetDebuggerConsoleObserver(
        [](const char* text, void* context) {
            static_cast<std::vector<std::string>*>(context)->emplace_back(text);
        },
        &seen);
    LogTargetInterface* debugger = LogCore::GetDebuggerTarget();
    debugger->Attach(debugger);
    Log(LogLevel::Warn, kLogGroupDbg, "to the debugger");
    Log(LogLevel::Warn, kLogGroupNet, "not its group");
    LogTarget::FromInterface(debugger)->Close();
    Log(LogLevel::Warn, kLogGroupDbg, "closed");
    Platform::SetDebuggerConsoleObserver(nullptr, nullptr);
    EXPECT_THAT(seen, ElementsAre(Expected("  WARN", "to the debugger")));
}

}  // namespace
}  // namespace Tavix::Client
