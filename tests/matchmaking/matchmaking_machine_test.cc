// The search's machine, cell by cell: for each resting state and each of the fourteen events, what
// Dispatch answers and the exact order of exits, actions and entries it runs.

#include <gtest/gtest.h>

#include <cstdarg>
#include <cstdio>
#include <string>
#include <vector>

#include "hsm/diagnostic_hook.h"
#include "log/log_target.h"
#include "matchmaking/matchmaking_machine.h"
#include "matchmaking/matchmaking_plugin.h"

namespace Tavix::Client::Matchmaking {
namespace {

// Turns the machine's log lines and the per-action diagnostics into one readable trace:
// "exit Searching", "action NotifyExitedQueue", "enter Available", and the fired event itself.
class TraceTarget : public LogTarget {
public:
    explicit TraceTarget(std::vector<std::string>& trace) : trace_(trace) {}
    bool Write(const LogMessage& message) override {
        std::string text = message.text;
        std::string state;
        if (Match(text, "Matchmaking: entering state '", state)) {
            trace_.push_back("enter " + state);
        } else if (Match(text, "Matchmaking: exiting state '", state)) {
            trace_.push_back("exit " + state);
        } else {
            trace_.push_back(text);
        }
        return true;
    }

private:
    static bool Match(const std::string& text, const std::string& prefix, std::string& name) {
        if (text.rfind(prefix, 0) != 0 || text.back() != '\'') {
            return false;
        }
        name = text.substr(prefix.size(), text.size() - prefix.size() - 1);
        return true;
    }
    std::vector<std::string>& trace_;
};

void CaptureDiagnostic(void* context, const char* format, std::va_list arguments) {
    char text[512];
    std::vsnprintf(text, sizeof text, format, arguments);
    const std::string line = text;
    const std::string marker = "': action '";
    const auto at = line.find(marker);
    auto& trace = *static_cast<std::vector<std::string>*>(context);
    if (at != std::string::npos) {
        trace.push_back("action " +
                        line.substr(at + marker.size(), line.size() - at - marker.size() - 1));
    } else {
        trace.push_back(line);
    }
}

class MatchmakingMachineTest : public ::testing::Test {
protected:
    void SetUp() override {
        LogTargetConfig config;
        config.level = LogLevel::Okay;
        config.format = "#M";
        Install(target, config);
        Hsm::SetDiagnosticSink(&CaptureDiagnostic, &trace);
        plugin.OnStart();
    }
    void TearDown() override {
        plugin.OnStop();
        Hsm::SetDiagnosticSink(nullptr, nullptr);
        target.Close();
    }

    // Brings the machine to `state` by the events that lead there in the product.
    void Reach(const std::string& state) {
        if (state == "Penalized") {
            plugin.FireEvent(Events::LeaverPenaltyBegin);
        } else if (state != "Available") {
            plugin.FireEvent(Events::AttachedToQueue);
            if (state != "Searching") {
                plugin.FireEvent(Events::ReadyCheck);
            }
            if (state == "WaitingForGame") {
                plugin.FireEvent(Events::WaitingForGame);
            }
        }
        ASSERT_STREQ(plugin.GetStateMachine().GetCurrentState()->name, state.c_str());
        trace.clear();
    }

    std::vector<std::string> trace;
    TraceTarget target{trace};
    MatchmakingPlugin plugin;
};

TEST_F(MatchmakingMachineTest, StartEntersRootThenAvailableAndStopExitsBoth) {
    EXPECT_EQ(trace, (std::vector<std::string>{"enter Matchmaking", "enter Available",
                                               "action CancelAndDestroySearch"}));
    trace.clear();
    plugin.OnStop();
    EXPECT_EQ(trace, (std::vector<std::string>{"exit Available", "exit Matchmaking"}));
    EXPECT_EQ(plugin.GetStateMachine().GetCurrentState(), nullptr);
    EXPECT_FALSE(plugin.FireEvent(Events::AttachedToQueue));
    plugin.OnStart();  // TearDown stops it again
}

struct Cell {
    const char* state;
    const std::string* event;
    bool handled;
    std::vector<std::string> steps;
    const char* restsIn;
};

// Entering Available always cancels what is left of a search; entering ReadyCheck begins one.
const std::vector<std::string> kEnterAvailable = {"enter Available",
                                                  "action CancelAndDestroySearch"};

std::vector<std::string> Join(std::vector<std::string> head, const std::vector<std::string>& tail) {
    head.insert(head.end(), tail.begin(), tail.end());
    return head;
}

const std::vector<std::string> kLeaveWaiting = {"exit WaitingForGame", "action ExitWaitingForGame",
                                                "exit Matched"};
const std::vector<std::string> kLeaveReadyCheck = {"exit ReadyCheck", "exit Matched"};

std::vector<Cell> Matrix() {
    using namespace Events;
    const bool kIgnored = false;
    return {
        // Available: the rows without an action swallow what means nothing without a search.
        {"Available", &TimerTick, true, {"action TickAvailable"}, "Available"},
        {"Available",
         &LeaverPenaltyBegin,
         true,
         {"action NotifyEnteredQueue", "enter Penalized"},
         "Penalized"},
        {"Available", &LeaverPenaltyExpired, kIgnored, {}, "Available"},
        {"Available",
         &AttachedToQueue,
         true,
         {"exit Available", "action NotifyEnteredQueue", "enter Searching"},
         "Searching"},
        {"Available", &JoinQueueFailed, true, {}, "Available"},
        {"Available", &CancelQueue, true, {}, "Available"},
        {"Available", &CancelPartiesQueue, true, {}, "Available"},
        {"Available", &ReadyCheck, kIgnored, {}, "Available"},
        {"Available", &WaitingForGame, true, {}, "Available"},
        {"Available", &PartyDodge, kIgnored, {}, "Available"},
        {"Available", &TournamentDodge, kIgnored, {}, "Available"},
        {"Available", &StrangerDodge, kIgnored, {}, "Available"},
        {"Available", &TerminatedInError, true, {"action OnTerminatedInError"}, "Available"},
        {"Available", &GameStarted, true, {}, "Available"},

        // Penalized inherits every row of Available; leaving for Available never re-enters it.
        {"Penalized", &TimerTick, true, {"action TickAvailable"}, "Penalized"},
        {"Penalized", &LeaverPenaltyBegin, true, {"action NotifyEnteredQueue"}, "Penalized"},
        {"Penalized",
         &LeaverPenaltyExpired,
         true,
         {"exit Penalized", "action OnPenaltyExpired"},
         "Available"},
        {"Penalized",
         &AttachedToQueue,
         true,
         {"exit Penalized", "exit Available", "action NotifyEnteredQueue", "enter Searching"},
         "Searching"},
        {"Penalized", &JoinQueueFailed, true, {}, "Penalized"},
        {"Penalized", &CancelQueue, true, {"exit Penalized", "action AbandonSearch"}, "Available"},
        {"Penalized", &CancelPartiesQueue, true, {"exit Penalized"}, "Available"},
        {"Penalized", &ReadyCheck, kIgnored, {}, "Penalized"},
        {"Penalized", &WaitingForGame, true, {}, "Penalized"},
        {"Penalized", &PartyDodge, kIgnored, {}, "Penalized"},
        {"Penalized", &TournamentDodge, kIgnored, {}, "Penalized"},
        {"Penalized", &StrangerDodge, kIgnored, {}, "Penalized"},
        {"Penalized",
         &TerminatedInError,
         true,
         {"exit Penalized", "action OnTerminatedInError"},
         "Available"},
        {"Penalized", &GameStarted, true, {}, "Penalized"},

        {"Searching", &TimerTick, true, {"action TickSearching"}, "Searching"},
        {"Searching", &LeaverPenaltyBegin, kIgnored, {}, "Searching"},
        {"Searching", &LeaverPenaltyExpired, kIgnored, {}, "Searching"},
        {"Searching", &AttachedToQueue, true, {"action NotifyEnteredQueue"}, "Searching"},
        {"Searching", &JoinQueueFailed, kIgnored, {}, "Searching"},
        {"Searching", &CancelQueue, true,
         Join({"exit Searching", "action NotifyExitedQueue"}, kEnterAvailable), "Available"},
        {"Searching", &CancelPartiesQueue, true, Join({"exit Searching"}, kEnterAvailable),
         "Available"},
        {"Searching",
         &ReadyCheck,
         true,
         {"exit Searching", "enter Matched", "enter ReadyCheck", "action BeginReadyCheck"},
         "ReadyCheck"},
        {"Searching", &WaitingForGame, kIgnored, {}, "Searching"},
        {"Searching", &PartyDodge, kIgnored, {}, "Searching"},
        {"Searching", &TournamentDodge, kIgnored, {}, "Searching"},
        {"Searching", &StrangerDodge, kIgnored, {}, "Searching"},
        {"Searching", &TerminatedInError, true,
         Join({"exit Searching", "action OnTerminatedInError"}, kEnterAvailable), "Available"},
        {"Searching", &GameStarted, kIgnored, {}, "Searching"},

        {"ReadyCheck", &TimerTick, true, {"action TickReadyCheck"}, "ReadyCheck"},
        {"ReadyCheck", &LeaverPenaltyBegin, kIgnored, {}, "ReadyCheck"},
        {"ReadyCheck", &LeaverPenaltyExpired, kIgnored, {}, "ReadyCheck"},
        {"ReadyCheck", &AttachedToQueue, kIgnored, {}, "ReadyCheck"},
        {"ReadyCheck", &JoinQueueFailed, kIgnored, {}, "ReadyCheck"},
        {"ReadyCheck", &CancelQueue, true,
         Join(Join(kLeaveReadyCheck, {"action NotifyExitedQueue"}), kEnterAvailable), "Available"},
        {"ReadyCheck", &CancelPartiesQueue, true, Join(kLeaveReadyCheck, kEnterAvailable),
         "Available"},
        {"ReadyCheck", &ReadyCheck, kIgnored, {}, "ReadyCheck"},
        {"ReadyCheck",
         &WaitingForGame,
         true,
         {"exit ReadyCheck", "action OnEveryoneReady", "enter WaitingForGame"},
         "WaitingForGame"},
        {"ReadyCheck", &PartyDodge, true,
         Join(Join(kLeaveReadyCheck, {"action OnReadyCheckDodged"}), kEnterAvailable), "Available"},
        {"ReadyCheck", &TournamentDodge, true,
         Join(Join(kLeaveReadyCheck, {"action OnGameDodged"}), kEnterAvailable), "Available"},
        {"ReadyCheck", &StrangerDodge, true,
         Join(kLeaveReadyCheck, {"action OnReadyCheckDodged", "enter Searching"}), "Searching"},
        {"ReadyCheck", &TerminatedInError, true,
         Join(Join(kLeaveReadyCheck, {"action OnTerminatedInError"}), kEnterAvailable),
         "Available"},
        {"ReadyCheck", &GameStarted, kIgnored, {}, "ReadyCheck"},

        {"WaitingForGame", &TimerTick, true, {}, "WaitingForGame"},
        {"WaitingForGame", &LeaverPenaltyBegin, kIgnored, {}, "WaitingForGame"},
        {"WaitingForGame", &LeaverPenaltyExpired, kIgnored, {}, "WaitingForGame"},
        {"WaitingForGame", &AttachedToQueue, kIgnored, {}, "WaitingForGame"},
        {"WaitingForGame", &JoinQueueFailed, kIgnored, {}, "WaitingForGame"},
        {"WaitingForGame", &CancelQueue, true,
         Join(Join(kLeaveWaiting, {"action NotifyExitedQueue"}), kEnterAvailable), "Available"},
        {"WaitingForGame", &CancelPartiesQueue, true, Join(kLeaveWaiting, kEnterAvailable),
         "Available"},
        {"WaitingForGame", &ReadyCheck, kIgnored, {}, "WaitingForGame"},
        {"WaitingForGame", &WaitingForGame, kIgnored, {}, "WaitingForGame"},
        {"WaitingForGame", &PartyDodge, true,
         Join(Join(kLeaveWaiting, {"action OnGameDodged"}), kEnterAvailable), "Available"},
        {"WaitingForGame", &TournamentDodge, true,
         Join(Join(kLeaveWaiting, {"action OnGameDodged"}), kEnterAvailable), "Available"},
        {"WaitingForGame", &StrangerDodge, true,
         Join(kLeaveWaiting, {"action OnGameDodged", "enter Searching"}), "Searching"},
        {"WaitingForGame", &TerminatedInError, true,
         Join(Join(kLeaveWaiting, {"action OnTerminatedInError"}), kEnterAvailable), "Available"},
        {"WaitingForGame", &GameStarted, true, Join(kLeaveWaiting, kEnterAvailable), "Available"},
    };
}

TEST_F(MatchmakingMachineTest, EveryEventInEveryRestingState) {
    const std::vector<Cell> matrix = Matrix();
    ASSERT_EQ(matrix.size(), 5u * 14u);
    for (const Cell& cell : matrix) {
        SCOPED_TRACE(std::string(cell.state) + " + " + *cell.event);
        plugin.OnStop();
        plugin.OnStart();
        Reach(cell.state);

        const bool handled = plugin.FireEvent(*cell.event);

        EXPECT_EQ(handled, cell.handled);
        // FireEvent logs the event first; the timer's tick is fired the same way here.
        ASSERT_FALSE(trace.empty());
        EXPECT_EQ(trace.front(), *cell.event);
        trace.erase(trace.begin());
        // An ignored event leaves only the engine's diagnostic behind.
        if (!cell.handled) {
            ASSERT_EQ(trace.size(), 1u);
            EXPECT_NE(trace.front().find("is not handled by state '" + std::string(cell.state)),
                      std::string::npos)
                << trace.front();
        } else {
            EXPECT_EQ(trace, cell.steps);
        }
        EXPECT_STREQ(plugin.GetStateMachine().GetCurrentState()->name, cell.restsIn);
    }
}

}  // namespace
}  // namespace Tavix::Client::Matchmaking
