#pragma once

#include <cstdint>

namespace Tavix::Platform {

// A replacement time source: returns monotonic nanoseconds. Tests and the test host install a
// virtual clock through it; `context` is handed back on every call.
using ClockSource = std::int64_t (*)(void* context);

// Installs `source` for every later reading, from any thread; a null `source` restores the
// system clock. Either way the elapsed-time base restarts, since the two sources do not share a
// time line.
void SetClockSource(ClockSource source, void* context);
void ResetClockSource();

// Monotonic nanoseconds: CLOCK_MONOTONIC, or the installed source.
std::int64_t MonotonicNanoseconds();

// CLOCK_MONOTONIC, whatever source is installed.
std::int64_t SystemMonotonicNanoseconds();

// Seconds since the first call of this function in the process (or since the last change of
// source): the first reading becomes the base.
double SecondsSinceFirstReading();

}  // namespace Tavix::Platform
