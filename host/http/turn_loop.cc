#include "http/turn_loop.h"

#include <algorithm>

namespace Tavix::TestHost {

namespace {

// How long the loop sleeps at most between two looks at a signal handler's stop flag, which
// cannot wake a condition variable.
constexpr std::chrono::milliseconds kStopFlagSlice(50);
// A wait that stands for "until woken".
constexpr std::chrono::hours kLongWait(24);

// The host's thread may read the host's virtual time from its monotonic clock (a host that plays
// time forward for a plug-in it loaded): the loop's own waits and its end go by the wall clock,
// which no host moves.
using WallClock = std::chrono::system_clock;

std::int64_t WallNow() {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(WallClock::now().time_since_epoch())
        .count();
}

}  // namespace

TurnLoop::TurnLoop(Host& host, std::size_t maxPending) : host_(host), maxPending_(maxPending) {}

TurnLoop::~TurnLoop() {
    Stop();
}

void TurnLoop::Finish(Ticket& ticket, Outcome outcome) {
    ticket.outcome = outcome;
    ticket.finished = true;
    // Notified under the lock: the waiter cannot return and destroy the ticket's condition
    // before this call is over.
    ticket.done.notify_one();
}

TurnLoop::Outcome TurnLoop::Run(std::function<void()> work, std::chrono::milliseconds wait) {
    auto ticket = std::make_shared<Ticket>();
    ticket->work = std::move(work);
    std::unique_lock<std::mutex> lock(lock_);
    if (stopped_) {
        return Outcome::Closed;
    }
    if (queue_.size() >= maxPending_) {
        return Outcome::Full;
    }
    queue_.push_back(ticket);
    arrived_.notify_one();
    if (!ticket->done.wait_for(lock, wait, [&] { return ticket->finished; })) {
        const auto queued = std::find(queue_.begin(), queue_.end(), ticket);
        if (queued != queue_.end()) {
            queue_.erase(queued);
            return Outcome::TimedOut;
        }
        // Running already: its work may use the caller's stack, so the caller stays until it
        // is over.
        ticket->done.wait(lock, [&] { return ticket->finished; });
    }
    return ticket->outcome;
}

void TurnLoop::AfterTurns(std::function<void()> settle) {
    settle_.push_back(std::move(settle));
}

void TurnLoop::Settle() {
    for (const std::function<void()>& settle : settle_) {
        settle();
    }
}

std::size_t TurnLoop::Pending() const {
    std::lock_guard<std::mutex> guard(lock_);
    return queue_.size();
}

void TurnLoop::Stop() {
    std::lock_guard<std::mutex> guard(lock_);
    stopped_ = true;
    for (const std::shared_ptr<Ticket>& ticket : queue_) {
        Finish(*ticket, Outcome::Closed);
    }
    queue_.clear();
    arrived_.notify_all();
}

std::chrono::nanoseconds TurnLoop::NextWait(std::int64_t end, bool forever, bool polling) const {
    std::chrono::nanoseconds wait = kLongWait;
    if (host_.Mode() == ClockMode::Real) {
        if (const std::optional<std::int64_t> due = host_.NextDueTime()) {
            wait = std::min(
                wait, std::chrono::nanoseconds(std::max<std::int64_t>(0, *due - host_.Now())));
        }
    }
    if (!forever) {
        const auto left = std::chrono::nanoseconds(end - WallNow());
        wait = std::min(wait, std::max(left, std::chrono::nanoseconds(0)));
    }
    if (polling) {
        wait = std::min<std::chrono::nanoseconds>(wait, kStopFlagSlice);
    }
    return wait;
}

void TurnLoop::RunTurns(double seconds, const volatile std::sig_atomic_t* stop) {
    const bool forever = seconds < 0.0;
    const std::int64_t end =
        forever ? 0 : WallNow() + static_cast<std::int64_t>(std::min(seconds, 1e9) * 1e9);
    std::unique_lock<std::mutex> lock(lock_);
    while (!stopped_ && (stop == nullptr || *stop == 0)) {
        // Only what was there at the start: a steady stream of work must not starve the host's
        // own callbacks.
        for (std::size_t count = queue_.size(); count > 0 && !queue_.empty(); --count) {
            std::shared_ptr<Ticket> ticket = std::move(queue_.front());
            queue_.pop_front();
            lock.unlock();
            ticket->work();
            Settle();
            lock.lock();
            Finish(*ticket, Outcome::Done);
        }
        lock.unlock();
        host_.RunUntilIdle();
        Settle();
        lock.lock();
        if (!queue_.empty()) {
            continue;
        }
        if (!forever && WallNow() >= end) {
            break;
        }
        arrived_.wait_until(lock,
                            WallClock::now() + std::chrono::duration_cast<WallClock::duration>(
                                                   NextWait(end, forever, stop != nullptr)),
                            [&] { return stopped_ || !queue_.empty(); });
    }
    lock.unlock();
    Stop();
}

}  // namespace Tavix::TestHost
