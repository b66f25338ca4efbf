#pragma once
// The hand-over between the threads that want something of the host (the HTTP server's workers)
// and the one thread that owns the host and runs its turns. The host and the modules in it are
// single-threaded: work from other threads is queued here and run on the host's thread between
// two turns, so that no module is ever entered from two threads.

#include <chrono>
#include <condition_variable>
#include <csignal>
#include <cstddef>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

#include "core/host.h"

namespace Tavix::TestHost {

class TurnLoop {
public:
    enum class Outcome {
        Done,
        // The queue held `maxPending` pieces of work already; nothing ran.
        Full,
        // The loop had stopped, or stopped before the work's turn came; nothing ran.
        Closed,
        // No turn came within the wait given; the work will not run.
        TimedOut,
    };

    explicit TurnLoop(Host& host, std::size_t maxPending = 1024);
    ~TurnLoop();
    TurnLoop(const TurnLoop&) = delete;
    TurnLoop& operator=(const TurnLoop&) = delete;

    // Any thread but the host's: runs `work` on the host's thread between two turns and waits
    // until it has run. Work that found no turn within `wait` is dropped, never run late.
    Outcome Run(std::function<void()> work,
                std::chrono::milliseconds wait = std::chrono::milliseconds(30'000));

    // The host's thread: runs the host's turns and the work handed over, until Stop, until
    // `*stop` becomes non-zero (a signal handler's flag), or for `seconds` when that is not
    // negative. On the real clock callbacks run as they come due; on the virtual clock time moves
    // only when handed-over work moves it. Work still queued at the end is refused.
    void RunTurns(double seconds = -1.0, const volatile std::sig_atomic_t* stop = nullptr);

    // Before RunTurns: `settle` runs on the host's thread after each piece of handed-over work
    // and each pass of the host's turns, after those given before it.
    void AfterTurns(std::function<void()> settle);

    // Any thread: ends RunTurns soon, and refuses all work from then on.
    void Stop();

    // Work queued and not begun.
    std::size_t Pending() const;

    Host& GetHost() { return host_; }

private:
    struct Ticket {
        std::function<void()> work;
        std::condition_variable done;
        bool finished = false;
        bool abandoned = false;
        Outcome outcome = Outcome::Done;
    };

    // Not under `lock_`.
    void Settle();
    // Under `lock_`.
    void Finish(Ticket& ticket, Outcome outcome);
    std::chrono::nanoseconds NextWait(std::int64_t end, bool forever, bool polling) const;

    Host& host_;
    const std::size_t maxPending_;
    mutable std::mutex lock_;
    std::condition_variable arrived_;
    std::deque<std::shared_ptr<Ticket>> queue_;
    bool stopped_ = false;
    std::vector<std::function<void()>> settle_;
};

}  // namespace Tavix::TestHost
