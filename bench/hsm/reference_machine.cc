// The matchmaking table on Boost.MSM, measured against our engine in our_machine.cc.
//
// Boost 1.74's back-end does not compile as C++20, so this file alone is built as C++17.

#include <cstdint>

#include "msm_matchmaking_machine.h"

namespace {

void DispatchInternal_msm(benchmark::State& state) {
    msm::Matchmaking machine;
    machine.start();
    machine.process_event(msm::AttachedToQueue{});
    if (!msm::IsIn<msm::Searching>(machine)) {
        state.SkipWithError("not searching");
        return;
    }
    const std::uint64_t before = gActions;
    for (auto _ : state) {
        benchmark::DoNotOptimize(machine.process_event(msm::TimerTick{}));
    }
    ReportActions(state, before);
    machine.stop();
}
BENCHMARK(DispatchInternal_msm);

void DispatchThreeLevels_msm(benchmark::State& state) {
    msm::Matchmaking machine;
    machine.start();
    const std::uint64_t before = gActions;
    for (auto _ : state) {
        benchmark::DoNotOptimize(machine.process_event(msm::AttachedToQueue{}));
        benchmark::DoNotOptimize(machine.process_event(msm::ReadyCheckEvent{}));
        benchmark::DoNotOptimize(machine.process_event(msm::WaitingForGameEvent{}));
        benchmark::DoNotOptimize(machine.process_event(msm::PartyDodge{}));
    }
    ReportActions(state, before);
    if (!msm::IsIn<msm::Available>(machine)) {
        state.SkipWithError("the round did not end in Available");
    }
    machine.stop();
}
BENCHMARK(DispatchThreeLevels_msm);

}  // namespace
