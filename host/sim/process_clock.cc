#include "sim/process_clock.h"

#include <dlfcn.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

namespace Tavix::TestHost {

namespace {

// Only the thread that runs the host's turns, where the plug-in runs, reads the host's time: the
// other threads of a host that serves HTTP keep the system's clock for their timeouts, which a
// clock that stands still would turn into busy waits.
thread_local const Host* followed = nullptr;

using ClockReader = int (*)(clockid_t, timespec*);

int ClockSystemCall(clockid_t clock, timespec* time) {
    return static_cast<int>(syscall(SYS_clock_gettime, clock, time));
}

// The C library's own clock_gettime, the next definition after this executable's; the system
// call itself where there is none.
ClockReader SystemReader() {
    static const ClockReader reader = [] {
        void* next = dlsym(RTLD_NEXT, "clock_gettime");
        return next != nullptr ? reinterpret_cast<ClockReader>(next) : &ClockSystemCall;
    }();
    return reader;
}

}  // namespace

void FollowHostClock(const Host* host) {
    // Resolved before any reading can need it, so that no reading races the look-up.
    SystemReader();
    followed = host != nullptr && host->Mode() == ClockMode::Virtual ? host : nullptr;
}

}  // namespace Tavix::TestHost

// Every module of the process, a dlopen()ed plug-in included, resolves clock_gettime to this one
// definition in the executable.
extern "C" int clock_gettime(clockid_t clock, timespec* time) noexcept {
    using Tavix::TestHost::followed;
    const Tavix::TestHost::Host* host = followed;
    if (host != nullptr && (clock == CLOCK_MONOTONIC || clock == CLOCK_MONOTONIC_RAW)) {
        const std::int64_t now = host->Now();
        time->tv_sec = static_cast<time_t>(now / 1'000'000'000);
        time->tv_nsec = static_cast<long>(now % 1'000'000'000);
        return 0;
    }
    return Tavix::TestHost::SystemReader()(clock, time);
}
