#include "sim/process_clock.h"

#include <dlfcn.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <atomic>

namespace Tavix::TestHost {

namespace {

std::atomic<const Host*> followed{nullptr};

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
    followed.store(host != nullptr && host->Mode() == ClockMode::Virtual ? host : nullptr,
                   std::memory_order_release);
}

}  // namespace Tavix::TestHost

// Every module of the process, a dlopen()ed plug-in included, resolves clock_gettime to this one
// definition in the executable.
extern "C" int clock_gettime(clockid_t clock, timespec* time) noexcept {
    using Tavix::TestHost::followed;
    const Tavix::TestHost::Host* host = followed.load(std::memory_order_acquire);
    if (host != nullptr && (clock == CLOCK_MONOTONIC || clock == CLOCK_MONOTONIC_RAW)) {
        const std::int64_t now = host->Now();
        time->tv_sec = static_cast<time_t>(now / 1'000'000'000);
        time->tv_nsec = static_cast<long>(now % 1'000'000'000);
        return 0;
    }
    return Tavix::TestHost::SystemReader()(clock, time);
}
