#include "platform/clock.h"

#include <atomic>
#include <cstdlib>
#include <ctime>
#include <limits>
#include <mutex>

namespace Tavix::Platform {
namespace {

// Source and context are published together through one pointer, so a reader never pairs a new
// source with an old context. A reader may still hold a replaced pair, so pairs are never freed:
// they stay on a list for the life of the process. Installs are rare (a test's set-up), so the
// list stays short.
struct InstalledSource {
    ClockSource source;
    void* context;
    InstalledSource* older;
};

std::mutex installLock;
InstalledSource* allInstalled = nullptr;
std::atomic<const InstalledSource*> installed{nullptr};

constexpr std::int64_t kNoBase = std::numeric_limits<std::int64_t>::min();
std::atomic<std::int64_t> elapsedBase{kNoBase};

}  // namespace

std::int64_t SystemMonotonicNanoseconds() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<std::int64_t>(now.tv_sec) * 1'000'000'000 + now.tv_nsec;
}

void SetClockSource(ClockSource source, void* context) {
    if (source == nullptr) {
        installed.store(nullptr, std::memory_order_release);
    } else {
        std::lock_guard<std::mutex> guard(installLock);
        auto* pair = static_cast<InstalledSource*>(std::malloc(sizeof(InstalledSource)));
        if (pair == nullptr) {
            return;
        }
        *pair = InstalledSource{source, context, allInstalled};
        allInstalled = pair;
        installed.store(pair, std::memory_order_release);
    }
    elapsedBase.store(kNoBase, std::memory_order_relaxed);
}

void ResetClockSource() {
    SetClockSource(nullptr, nullptr);
}

std::int64_t MonotonicNanoseconds() {
    const InstalledSource* current = installed.load(std::memory_order_acquire);
    if (current != nullptr) {
        return current->source(current->context);
    }
    return SystemMonotonicNanoseconds();
}

double SecondsSinceFirstReading() {
    const std::int64_t now = MonotonicNanoseconds();
    std::int64_t base = elapsedBase.load(std::memory_order_relaxed);
    if (base == kNoBase) {
        // The loser of a race for the first reading adopts the winner's base.
        if (elapsedBase.compare_exchange_strong(base, now, std::memory_order_relaxed)) {
            base = now;
        }
    }
    return static_cast<double>(now - base) / 1e9;
}

}  // namespace Tavix::Platform
