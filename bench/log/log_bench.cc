// The cost of a log call: one that the level filters out, and one that passes to a target that
// drops the line, each beside the least code that does the same work.

#include <benchmark/benchmark.h>

#include <cstdarg>
#include <cstdint>
#include <cstdio>

#include "log/log.h"
#include "log/log_core.h"
#include "log/log_target.h"

namespace {

using Tavix::Client::Log;
using Tavix::Client::LogCore;
using Tavix::Client::LogGroupMask;
using Tavix::Client::LogLevel;
using Tavix::Client::LogMessage;
using Tavix::Client::LogTarget;
using Tavix::Client::LogTargetConfig;

// The reference filter: the same three tests over plain globals, behind a call that the compiler
// may neither inline nor specialise (noipa), so that both sides pay for the call and the variadic
// prologue. The settings are written through an opaque pointer, so that they cannot be taken for
// constants either.
bool baselineDisabled = false;
int baselineLevel = 0;
std::uint64_t baselineIgnored = 0;

void SetBaseline(bool disabled, int level, std::uint64_t ignored) {
    bool* disabledAt = &baselineDisabled;
    int* levelAt = &baselineLevel;
    std::uint64_t* ignoredAt = &baselineIgnored;
    benchmark::DoNotOptimize(disabledAt);
    benchmark::DoNotOptimize(levelAt);
    benchmark::DoNotOptimize(ignoredAt);
    *disabledAt = disabled;
    *levelAt = level;
    *ignoredAt = ignored;
}

__attribute__((noipa, format(printf, 3, 4))) void BaselineLog(int level, std::uint64_t mask,
                                                              const char* format, ...) {
    if (baselineDisabled || level < baselineLevel || (mask & baselineIgnored) != 0) {
        return;
    }
    va_list arguments;
    va_start(arguments, format);
    char text[4096];
    std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    benchmark::DoNotOptimize(text);
}

class DroppingTarget : public LogTarget {
public:
    ~DroppingTarget() override { Detach(); }
    bool Write(const LogMessage& message) override {
        benchmark::DoNotOptimize(message.text);
        return true;
    }
};

// A core with the default settings and no built-in target writing anywhere.
struct QuietCore {
    QuietCore() {
        LogCore::AddReference();
        for (auto* builtIn : {LogCore::GetStdErrTarget(), LogCore::GetDebuggerTarget()}) {
            builtIn->Detach(builtIn);
        }
    }
    ~QuietCore() { LogCore::ReleaseReference(); }
};

void LogFiltered_ours(benchmark::State& state) {
    QuietCore core;
    int value = 0;
    for (auto _ : state) {
        Log(LogLevel::Okay, Tavix::Client::kLogGroupDbg, "search %d advanced", value);
        benchmark::DoNotOptimize(++value);
    }
}
BENCHMARK(LogFiltered_ours);

void LogFiltered_baseline(benchmark::State& state) {
    SetBaseline(false, 1, 4);
    int value = 0;
    for (auto _ : state) {
        BaselineLog(0, 1, "search %d advanced", value);
        benchmark::DoNotOptimize(++value);
    }
}
BENCHMARK(LogFiltered_baseline);

constexpr const char* kPassedFormat = "search %d in queue %s took %.3f s (%s)";

void LogPassed_ours(benchmark::State& state) {
    QuietCore core;
    DroppingTarget target;
    Install(target, LogTargetConfig{LogLevel::Okay, 0, 0, "#M"});
    int value = 0;
    for (auto _ : state) {
        Log(LogLevel::Always, Tavix::Client::kLogGroupDbg, kPassedFormat, value, "ranked-solo",
            1.25, "accepted");
        benchmark::DoNotOptimize(++value);
    }
}
BENCHMARK(LogPassed_ours);

void LogPassed_snprintf(benchmark::State& state) {
    int value = 0;
    for (auto _ : state) {
        char text[4096];
        std::snprintf(text, sizeof text, kPassedFormat, value, "ranked-solo", 1.25, "accepted");
        benchmark::DoNotOptimize(text);
        benchmark::DoNotOptimize(++value);
    }
}
BENCHMARK(LogPassed_snprintf);

}  // namespace
