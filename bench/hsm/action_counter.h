#pragma once

#include <benchmark/benchmark.h>

#include <cstdint>

// Every action of both tables bumps this counter and does nothing else, so the compiler can
// neither drop an action nor merge the work of two.
extern volatile std::uint64_t gActions;

inline void Count() {
    gActions = gActions + 1;
}

// Shows next to the times that both machines ran the same number of actions per iteration.
inline void ReportActions(benchmark::State& state, std::uint64_t before) {
    state.counters["actions_per_iteration"] =
        static_cast<double>(gActions - before) / static_cast<double>(state.iterations());
}
