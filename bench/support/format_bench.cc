// Rendering of a two-argument message against the runtime's formatted print of the same text.

#include <benchmark/benchmark.h>

#include <cstdio>
#include <string>

#include "support/format.h"

namespace Tavix::Client {
namespace {

const char* const kUrl = "/arx-matchmaking/v1/search";
const int kStatus = 404;

void FormatTwoArgs_ours(benchmark::State& state) {
    for (auto _ : state) {
        std::string text = Format("Error response for %1: status %2", kUrl, kStatus);
        benchmark::DoNotOptimize(text.data());
    }
}
BENCHMARK(FormatTwoArgs_ours);

void FormatTwoArgs_snprintf(benchmark::State& state) {
    for (auto _ : state) {
        char buffer[kFormatBufferSize];
        const int length =
            std::snprintf(buffer, sizeof buffer, "Error response for %s: status %d", kUrl, kStatus);
        std::string text(buffer, static_cast<std::size_t>(length));
        benchmark::DoNotOptimize(text.data());
    }
}
BENCHMARK(FormatTwoArgs_snprintf);

}  // namespace
}  // namespace Tavix::Client
