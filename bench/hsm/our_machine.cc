// Dispatch through our engine on a copy of the matchmaking table, with the product's event
// strings. The same table runs on Boost.MSM in reference_machine.cc; the families of both files
// do the same work.

#include <cstdint>
#include <string>

#include "action_counter.h"
#include "hsm/state_machine.h"

volatile std::uint64_t gActions = 0;

namespace {

namespace ours {

struct BenchPlugin {};
using Machine = Tavix::Hsm::StateMachine<BenchPlugin, std::string>;
using MatchmakingState = Tavix::Hsm::State<BenchPlugin, std::string>;
using Row = Tavix::Hsm::Transition<BenchPlugin, std::string>;

const std::string kTimerTick = "MATCHMAKING_EVENT.TIMER_TICK";
const std::string kLeaverPenaltyBegin = "MATCHMAKING_EVENT.LEAVER_PENALTY_BEGIN";
const std::string kLeaverPenaltyExpired = "MATCHMAKING_EVENT.LEAVER_PENALTY_EXPIRED";
const std::string kAttachedToQueue = "MATCHMAKING_EVENT.ATTACHED_TO_QUEUE";
const std::string kJoinQueueFailed = "MATCHMAKING_EVENT.JOIN_QUEUE_FAILED";
const std::string kCancelQueue = "MATCHMAKING_EVENT.CANCEL_QUEUE";
const std::string kCancelPartiesQueue = "MATCHMAKING_EVENT.CANCEL_PARTIES_QUEUE";
const std::string kReadyCheck = "MATCHMAKING_EVENT.READY_CHECK";
const std::string kWaitingForGame = "MATCHMAKING_EVENT.WAITING_FOR_GAME";
const std::string kPartyDodge = "MATCHMAKING_EVENT.PARTY_DODGE";
const std::string kTournamentDodge = "MATCHMAKING_EVENT.TOURNAMENT_DODGE";
const std::string kStrangerDodge = "MATCHMAKING_EVENT.STRANGER_DODGE";
const std::string kTerminatedInError = "MATCHMAKING_EVENT.TERMINATED_IN_ERROR";
const std::string kGameStarted = "MATCHMAKING_EVENT.GAME_STARTED";

std::string CopyEvent(const std::string& event) {
    return event;
}

void LogEntry(const Machine&) {
    Count();
}
void LogExit(const Machine&) {
    Count();
}
void NotifyEnteredQueue(const Machine&) {
    Count();
}
void NotifyExitedQueue(const Machine&) {
    Count();
}
void TickAvailable(const Machine&) {
    Count();
}
void TickSearching(const Machine&) {
    Count();
}
void TickReadyCheck(const Machine&) {
    Count();
}
void OnEveryoneReady(const Machine&) {
    Count();
}
void OnReadyCheckDodged(const Machine&) {
    Count();
}
void OnGameDodged(const Machine&) {
    Count();
}
void OnTerminatedInError(const Machine&) {
    Count();
}
void OnPenaltyExpired(const Machine&) {
    Count();
}
void AbandonSearch(const Machine&) {
    Count();
}

void EnterAvailable(const Machine& machine) {
    LogEntry(machine);
    Count();  // cancel and destroy the search
}
void EnterReadyCheck(const Machine& machine) {
    LogEntry(machine);
    Count();  // begin the ready check
}
void ExitWaitingForGame(const Machine& machine) {
    LogExit(machine);
    Count();  // move the search's tick mark
}

extern const MatchmakingState Matchmaking, Available, Penalized, Searching, Matched, ReadyCheck,
    WaitingForGame;

const Row kMatchmakingRows[] = {
    {kTerminatedInError, &Available, &OnTerminatedInError},
};
const Row kAvailableRows[] = {
    {kAttachedToQueue, &Searching, &NotifyEnteredQueue},
    {kLeaverPenaltyBegin, &Penalized, &NotifyEnteredQueue},
    {kTimerTick, nullptr, &TickAvailable},
    {kJoinQueueFailed, nullptr, nullptr},
    {kCancelQueue, nullptr, nullptr},
    {kCancelPartiesQueue, nullptr, nullptr},
    {kWaitingForGame, nullptr, nullptr},
    {kGameStarted, nullptr, nullptr},
};
const Row kPenalizedRows[] = {
    {kLeaverPenaltyExpired, &Available, &OnPenaltyExpired},
    {kCancelQueue, &Available, &AbandonSearch},
    {kCancelPartiesQueue, &Available, nullptr},
};
const Row kSearchingRows[] = {
    {kTimerTick, nullptr, &TickSearching},
    {kAttachedToQueue, nullptr, &NotifyEnteredQueue},
    {kCancelQueue, &Available, &NotifyExitedQueue},
    {kCancelPartiesQueue, &Available, nullptr},
    {kReadyCheck, &ReadyCheck, nullptr},
};
const Row kMatchedRows[] = {
    {kCancelQueue, &Available, &NotifyExitedQueue},
    {kCancelPartiesQueue, &Available, nullptr},
};
const Row kReadyCheckRows[] = {
    {kTimerTick, nullptr, &TickReadyCheck},
    {kWaitingForGame, &WaitingForGame, &OnEveryoneReady},
    {kPartyDodge, &Available, &OnReadyCheckDodged},
    {kStrangerDodge, &Searching, &OnReadyCheckDodged},
    {kTournamentDodge, &Available, &OnGameDodged},
};
const Row kWaitingForGameRows[] = {
    {kTimerTick, nullptr, nullptr},
    {kGameStarted, &Available, nullptr},
    {kPartyDodge, &Available, &OnGameDodged},
    {kStrangerDodge, &Searching, &OnGameDodged},
    {kTournamentDodge, &Available, &OnGameDodged},
};

const MatchmakingState Matchmaking{.name = "Matchmaking",
                                   .onEntry = &LogEntry,
                                   .onExit = &LogExit,
                                   .initial = {.target = &Available},
                                   .transitions = kMatchmakingRows};
const MatchmakingState Available{.name = "Available",
                                 .parent = &Matchmaking,
                                 .onEntry = &EnterAvailable,
                                 .onExit = &LogExit,
                                 .transitions = kAvailableRows};
const MatchmakingState Penalized{.name = "Penalized",
                                 .parent = &Available,
                                 .onEntry = &LogEntry,
                                 .onExit = &LogExit,
                                 .transitions = kPenalizedRows};
const MatchmakingState Searching{.name = "Searching",
                                 .parent = &Matchmaking,
                                 .onEntry = &LogEntry,
                                 .onExit = &LogExit,
                                 .transitions = kSearchingRows};
const MatchmakingState Matched{.name = "Matched",
                               .parent = &Matchmaking,
                               .onEntry = &LogEntry,
                               .onExit = &LogExit,
                               .transitions = kMatchedRows};
const MatchmakingState ReadyCheck{.name = "ReadyCheck",
                                  .parent = &Matched,
                                  .onEntry = &EnterReadyCheck,
                                  .onExit = &LogExit,
                                  .transitions = kReadyCheckRows};
const MatchmakingState WaitingForGame{.name = "WaitingForGame",
                                      .parent = &Matched,
                                      .onEntry = &LogEntry,
                                      .onExit = &ExitWaitingForGame,
                                      .transitions = kWaitingForGameRows};

}  // namespace ours

// TIMER_TICK while searching: the first row of the current state, internal, one action.
void DispatchInternal_ours(benchmark::State& state) {
    ours::BenchPlugin plugin;
    ours::Machine machine{&plugin, "MatchmakingStateMachine", ours::Matchmaking, &ours::CopyEvent};
    machine.Start();
    machine.Dispatch(ours::kAttachedToQueue);
    if (machine.GetCurrentState() != &ours::Searching) {
        state.SkipWithError("not searching");
        return;
    }
    const std::uint64_t before = gActions;
    for (auto _ : state) {
        benchmark::DoNotOptimize(machine.Dispatch(ours::kTimerTick));
    }
    ReportActions(state, before);
    machine.Stop();
}
BENCHMARK(DispatchInternal_ours);

// One round of a search that the party dodges while waiting for the game: Available to Searching,
// into ReadyCheck two levels down, across to WaitingForGame, and out of it three levels up to
// Available. Each round ends where it began; it takes four events and sixteen actions.
void DispatchThreeLevels_ours(benchmark::State& state) {
    ours::BenchPlugin plugin;
    ours::Machine machine{&plugin, "MatchmakingStateMachine", ours::Matchmaking, &ours::CopyEvent};
    machine.Start();
    const std::uint64_t before = gActions;
    for (auto _ : state) {
        benchmark::DoNotOptimize(machine.Dispatch(ours::kAttachedToQueue));
        benchmark::DoNotOptimize(machine.Dispatch(ours::kReadyCheck));
        benchmark::DoNotOptimize(machine.Dispatch(ours::kWaitingForGame));
        benchmark::DoNotOptimize(machine.Dispatch(ours::kPartyDodge));
    }
    ReportActions(state, before);
    if (machine.GetCurrentState() != &ours::Available) {
        state.SkipWithError("the round did not end in Available");
    }
    machine.Stop();
}
BENCHMARK(DispatchThreeLevels_ours);

}  // namespace

BENCHMARK_MAIN();
