// The hand-over to the host's thread: work from many threads runs there one piece at a time,
// the caller waits for it, and work that cannot get a turn is refused and never runs.

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <thread>
#include <vector>

#include "core/host.h"
#include "http/turn_loop.h"

namespace Tavix::TestHost::Http {
namespace {

constexpr std::chrono::seconds kPatience(20);

class TurnLoopTest : public ::testing::Test {
protected:
    void StartLoop() {
        loopThread = std::thread([this] { loop.RunTurns(); });
    }
    void TearDown() override {
        loop.Stop();
        if (loopThread.joinable()) {
            loopThread.join();
        }
    }

    // Holds the loop in one piece of work until `release` is set; returns once it is held.
    std::thread Block(std::shared_future<void> release) {
        auto held = std::make_shared<std::promise<void>>();
        std::future<void> isHeld = held->get_future();
        std::thread blocker([this, release, held] {
            loop.Run([held, release] {
                held->set_value();
                release.wait();
            });
        });
        EXPECT_EQ(isHeld.wait_for(kPatience), std::future_status::ready);
        return blocker;
    }

    // Spins until `count` pieces of work wait in the queue.
    void AwaitPending(std::size_t count) {
        const auto end = std::chrono::steady_clock::now() + kPatience;
        while (loop.Pending() != count && std::chrono::steady_clock::now() < end) {
            std::this_thread::yield();
        }
        ASSERT_EQ(loop.Pending(), count);
    }

    Host host;
    TurnLoop loop{host, 1};
    std::thread loopThread;
};

TEST(TurnLoopThreadsTest, WorkRunsOnTheHostsThreadOnePieceAtATime) {
    Host host;
    TurnLoop loop(host);
    std::thread loopThread([&] { loop.RunTurns(); });
    std::thread::id hostThread;
    ASSERT_EQ(loop.Run([&] { hostThread = std::this_thread::get_id(); }), TurnLoop::Outcome::Done);
    EXPECT_EQ(hostThread, loopThread.get_id());

    // Plain, unguarded state: only ever touched by one piece of work at a time.
    int counter = 0;
    bool inside = false;
    bool overlapped = false;
    bool elsewhere = false;
    std::vector<std::thread> callers;
    for (int t = 0; t < 8; ++t) {
        callers.emplace_back([&] {
            for (int i = 0; i < 200; ++i) {
                EXPECT_EQ(loop.Run([&] {
                    overlapped = overlapped || inside;
                    elsewhere = elsewhere || std::this_thread::get_id() != hostThread;
                    inside = true;
                    ++counter;
                    inside = false;
                }),
                          TurnLoop::Outcome::Done);
            }
        });
    }
    for (std::thread& caller : callers) {
        caller.join();
    }
    ASSERT_EQ(loop.Run([] {}), TurnLoop::Outcome::Done);
    EXPECT_EQ(counter, 1600);
    EXPECT_FALSE(overlapped);
    EXPECT_FALSE(elsewhere);
    loop.Stop();
    loopThread.join();
}

TEST_F(TurnLoopTest, AFullQueueRefusesAtOnce) {
    StartLoop();
    std::promise<void> release;
    std::thread blocker = Block(release.get_future().share());
    bool queuedRan = false;
    std::thread queued(
        [&] { EXPECT_EQ(loop.Run([&] { queuedRan = true; }), TurnLoop::Outcome::Done); });
    AwaitPending(1);
    bool refusedRan = false;
    EXPECT_EQ(loop.Run([&] { refusedRan = true; }), TurnLoop::Outcome::Full);
    release.set_value();
    blocker.join();
    queued.join();
    EXPECT_TRUE(queuedRan);
    EXPECT_FALSE(refusedRan);
}

TEST_F(TurnLoopTest, WorkThatFindsNoTurnInTimeNeverRuns) {
    StartLoop();
    std::promise<void> release;
    std::thread blocker = Block(release.get_future().share());
    bool ran = false;
    EXPECT_EQ(loop.Run([&] { ran = true; }, std::chrono::milliseconds(1)),
              TurnLoop::Outcome::TimedOut);
    release.set_value();
    blocker.join();
    ASSERT_EQ(loop.Run([] {}), TurnLoop::Outcome::Done);
    EXPECT_FALSE(ran);
}

TEST_F(TurnLoopTest, StoppingRefusesWaitingWorkAndAllWorkAfter) {
    StartLoop();
    std::promise<void> release;
    std::thread blocker = Block(release.get_future().share());
    bool waitingRan = false;
    TurnLoop::Outcome waiting = TurnLoop::Outcome::Done;
    std::thread queued([&] { waiting = loop.Run([&] { waitingRan = true; }); });
    AwaitPending(1);
    loop.Stop();
    queued.join();
    release.set_value();
    blocker.join();
    EXPECT_EQ(waiting, TurnLoop::Outcome::Closed);
    EXPECT_FALSE(waitingRan);
    EXPECT_EQ(loop.Run([] {}), TurnLoop::Outcome::Closed);
}

TEST_F(TurnLoopTest, EachPieceOfWorkIsSettledOnTheHostsThreadBeforeItsCallerGoesOn) {
    // Settling also follows each pass of the host's turns, while the caller reads.
    std::atomic<std::thread::id> settledOn;
    std::atomic<int> settledAfter{0};
    std::atomic<int> thenAfter{0};
    int done = 0;
    loop.AfterTurns([&] {
        settledOn = std::this_thread::get_id();
        settledAfter = done;
    });
    // In the order given: the second sees what the first did.
    loop.AfterTurns([&] { thenAfter = settledAfter.load(); });
    StartLoop();
    ASSERT_EQ(loop.Run([&] { ++done; }), TurnLoop::Outcome::Done);
    EXPECT_EQ(settledAfter, 1);
    EXPECT_EQ(thenAfter, 1);
    ASSERT_EQ(loop.Run([&] { ++done; }), TurnLoop::Outcome::Done);
    EXPECT_EQ(settledAfter, 2);
    EXPECT_EQ(thenAfter, 2);
    EXPECT_EQ(settledOn, loopThread.get_id());
}

TEST(TurnLoopClockTest, OnTheRealClockCallbacksRunAsTheyComeDue) {
    Host host(ClockMode::Real);
    TurnLoop loop(host);
    std::promise<void> due;
    host.Post(
        "soon", [&] { due.set_value(); }, 0.01);
    std::thread loopThread([&] { loop.RunTurns(); });
    EXPECT_EQ(due.get_future().wait_for(kPatience), std::future_status::ready);
    loop.Stop();
    loopThread.join();
}

TEST(TurnLoopClockTest, RunTurnsEndsWhenItsTimeIsUp) {
    Host host;
    TurnLoop loop(host);
    loop.RunTurns(0.01);
    EXPECT_EQ(loop.Run([] {}), TurnLoop::Outcome::Closed);
}

}  // namespace
}  // namespace Tavix::TestHost::Http
