// The search's machine, cell by cell: for each resting state and each of the fourteen events, what
// Dispatch answers and the exact order of exits, actions and entries it runs.

#include <gtest/gtest.h>

#include <cstdarg>
#include <cstdio>
#include <string>
#include <vector>

#include "hsm/diagnostic_hook.h"
#include "matchmaking/matchmaking_machine.h"
#include "plugin_fixture.h"

namespace Tavix::Client::Matchmaking {
namespace {

// The engine's per-action diagnostics join the plug-in's log lines in the host's recording, as
// lines of no client, so that the order of exits, actions and entries reads as one trace.
void CaptureDiagnostic(void* context, const char* format, std::va_list arguments) {
    char text[512];
    std::vsnprintf(text, sizeof text, format, arguments);
    static_cast<TestHost::Host*>(context)->Calls().Add(TestHost::RecordedLogLine{0, -1, text});
}

bool Match(const std::string& text, const std::string& prefix, std::string& name) {
    if (text.rfind(prefix, 0) != 0 || text.back() != '\'') {
        return false;
    }
    name = text.substr(prefix.size(), text.size() - prefix.size() - 1);
    return true;
}

class MatchmakingMachineTest : public Testing::PluginTest {
protected:
    void SetUp() override {
        PluginTest::SetUp();
        Start();
        Hsm::SetDiagnosticSink(&CaptureDiagnostic, &host);
    }
    void TearDown() override {
        Hsm::SetDiagnosticSink(nullptr, nullptr);
        PluginTest::TearDown();
    }

    // "enter Searching", "action NotifyExitedQueue", "exit Available", the events fired and the
    // engine's other diagnostics, in order; the actions' own log lines are left out.
    std::vector<std::string> Trace() const {
        std::vector<std::string> trace;
        const std::string actionMarker = "': action '";
        for (const TestHost::RecordedLogLine& line : host.Calls().LogLines()) {
            std::string name;
            if (Match(line.text, "Matchmaking: entering state '", name)) {
                trace.push_back("enter " + name);
            } else if (Match(line.text, "Matchmaking: exiting state '", name)) {
                trace.push_back("exit " + name);
            } else if (line.text.rfind("MATCHMAKING_EVENT.", 0) == 0) {
                trace.push_back(line.text);
            } else if (line.level == -1) {
                const auto at = line.text.find(actionMarker);
                trace.push_back(at == std::string::npos
                                    ? line.text
                                    : "action " + line.text.substr(at + actionMarker.size(),
                                                                   line.text.size() - at -
                                                                       actionMarker.size() - 1));
            }
        }
        return trace;
    }

    bool Fire(const std::string& event) {
        return InModule([&] { return plugin->FireEvent(event); });
    }

    void Restart() {
        InModule([&] {
            plugin->OnStop();
            plugin->OnStart();
        });
    }

    // Brings the machine to `state` by the events that lead there in the product.
    void Reach(const std::string& state) {
        if (state == "Penalized") {
            Fire(Events::LeaverPenaltyBegin);
        } else if (state != "Available") {
            Fire(Events::AttachedToQueue);
            if (state != "Searching") {
                Fire(Events::ReadyCheck);
            }
            if (state == "WaitingForGame") {
                Fire(Events::WaitingForGame);
            }
        }
        ASSERT_EQ(State(), state);
        host.Calls().Clear();
    }
};

TEST_F(MatchmakingMachineTest, StartEntersRootThenAvailableAndStopExitsBoth) {
    InModule([&] { plugin->OnStop(); });
    EXPECT_EQ(Trace(), (std::vector<std::string>{"exit Available", "exit Matchmaking"}));
    EXPECT_EQ(State(), "<stopped>");
    EXPECT_FALSE(Fire(Events::AttachedToQueue));

    host.Calls().Clear();
    InModule([&] { plugin->OnStart(); });
    EXPECT_EQ(Trace(), (std::vector<std::string>{"enter Matchmaking", "enter Available",
                                                 "action CancelAndDestroySearch"}));
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
        Restart();
        Reach(cell.state);

        const bool handled = Fire(*cell.event);
        std::vector<std::string> trace = Trace();

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
        EXPECT_EQ(State(), cell.restsIn);
    }
}

}  // namespace
}  // namespace Tavix::Client::Matchmaking
