// SearchTick on Boost.MSM: one timer tick dispatched while searching, an internal row with one
// counted action. Built as C++17, as the library's back-end needs.

#include <cstdint>

#include "msm_matchmaking_machine.h"

volatile std::uint64_t gActions = 0;

namespace {

void SearchTick_msm(benchmark::State& state) {
    msm::Matchmaking machine;
    machine.start();
    machine.process_event(msm::AttachedToQueue{});
    if (!msm::IsIn<msm::Searching>(machine)) {
        state.SkipWithError("not searching");
        return;
    }
    for (auto _ : state) {
        benchmark::DoNotOptimize(machine.process_event(msm::TimerTick{}));
    }
    machine.stop();
}
BENCHMARK(SearchTick_msm);

}  // namespace
