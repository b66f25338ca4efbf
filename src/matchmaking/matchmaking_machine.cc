#include "matchmaking/matchmaking_machine.h"

#include <algorithm>
#include <cstddef>

#include "hsm/diagnostic_hook.h"
#include "log/log.h"
#include "matchmaking/matchmaking_plugin.h"

namespace Tavix::Client::Matchmaking {

// The rows copy these strings, so they are defined before the states.
namespace Events {
const std::string TimerTick = "MATCHMAKING_EVENT.TIMER_TICK";
const std::string LeaverPenaltyBegin = "MATCHMAKING_EVENT.LEAVER_PENALTY_BEGIN";
const std::string LeaverPenaltyExpired = "MATCHMAKING_EVENT.LEAVER_PENALTY_EXPIRED";
const std::string AttachedToQueue = "MATCHMAKING_EVENT.ATTACHED_TO_QUEUE";
const std::string JoinQueueFailed = "MATCHMAKING_EVENT.JOIN_QUEUE_FAILED";
const std::string CancelQueue = "MATCHMAKING_EVENT.CANCEL_QUEUE";
const std::string CancelPartiesQueue = "MATCHMAKING_EVENT.CANCEL_PARTIES_QUEUE";
const std::string ReadyCheck = "MATCHMAKING_EVENT.READY_CHECK";
const std::string WaitingForGame = "MATCHMAKING_EVENT.WAITING_FOR_GAME";
const std::string PartyDodge = "MATCHMAKING_EVENT.PARTY_DODGE";
const std::string TournamentDodge = "MATCHMAKING_EVENT.TOURNAMENT_DODGE";
const std::string StrangerDodge = "MATCHMAKING_EVENT.STRANGER_DODGE";
const std::string TerminatedInError = "MATCHMAKING_EVENT.TERMINATED_IN_ERROR";
const std::string GameStarted = "MATCHMAKING_EVENT.GAME_STARTED";
}  // namespace Events

std::string CopyEvent(const std::string& event) {
    return event;
}

namespace {

using Row = Hsm::Transition<MatchmakingPlugin, std::string>;
using Machine = MatchmakingStateMachine;

void LogEntry(const Machine& machine) {
    Log(LogLevel::Always, kLogGroupDbg, "Matchmaking: entering state '%s'",
        machine.GetCurrentState()->name);
}

void LogExit(const Machine& machine) {
    Log(LogLevel::Always, kLogGroupDbg, "Matchmaking: exiting state '%s'",
        machine.GetCurrentState()->name);
}

// Every action of the table runs a member of the plug-in. Each also leaves a line on the
// diagnostic hook (empty in the product), so that the order of exits, action and entries of a
// transition can be read back in one place.
template <std::size_t Size>
struct ActionName {
    constexpr ActionName(const char (&name)[Size]) { std::copy_n(name, Size, text); }
    char text[Size];
};

template <void (MatchmakingPlugin::*Member)(), ActionName Name>
struct Run {
    static void Action(const Machine& machine) {
        if (Hsm::IsDiagnosticSinkInstalled()) {
            Hsm::ReportDiagnostic("State machine '%s': action '%s'", machine.GetName().c_str(),
                                  Name.text);
        }
        (machine.GetOwner()->*Member)();
    }
};

void EnterAvailable(const Machine& machine) {
    LogEntry(machine);
    Run<&MatchmakingPlugin::CancelAndDestroySearch, "CancelAndDestroySearch">::Action(machine);
}

void EnterReadyCheck(const Machine& machine) {
    LogEntry(machine);
    Run<&MatchmakingPlugin::BeginReadyCheck, "BeginReadyCheck">::Action(machine);
}

void ExitWaitingForGame(const Machine& machine) {
    LogExit(machine);
    Run<&MatchmakingPlugin::ExitWaitingForGame, "ExitWaitingForGame">::Action(machine);
}

constexpr auto NotifyEnteredQueue =
    &Run<&MatchmakingPlugin::NotifyEnteredQueue, "NotifyEnteredQueue">::Action;
constexpr auto NotifyExitedQueue =
    &Run<&MatchmakingPlugin::NotifyExitedQueue, "NotifyExitedQueue">::Action;
constexpr auto TickAvailable = &Run<&MatchmakingPlugin::TickAvailable, "TickAvailable">::Action;
constexpr auto TickSearching = &Run<&MatchmakingPlugin::TickSearching, "TickSearching">::Action;
constexpr auto TickReadyCheck = &Run<&MatchmakingPlugin::TickReadyCheck, "TickReadyCheck">::Action;
constexpr auto OnEveryoneReady =
    &Run<&MatchmakingPlugin::OnEveryoneReady, "OnEveryoneReady">::Action;
constexpr auto OnReadyCheckDodged =
    &Run<&MatchmakingPlugin::OnReadyCheckDodged, "OnReadyCheckDodged">::Action;
constexpr auto OnGameDodged = &Run<&MatchmakingPlugin::OnGameDodged, "OnGameDodged">::Action;
constexpr auto OnTerminatedInError =
    &Run<&MatchmakingPlugin::OnTerminatedInError, "OnTerminatedInError">::Action;
constexpr auto OnPenaltyExpired =
    &Run<&MatchmakingPlugin::OnPenaltyExpired, "OnPenaltyExpired">::Action;
constexpr auto AbandonSearch = &Run<&MatchmakingPlugin::AbandonSearch, "AbandonSearch">::Action;

constexpr Hsm::Action<MatchmakingPlugin, std::string> None = nullptr;
constexpr const MatchmakingState* Internal = nullptr;

using namespace States;

const Row kMatchmakingRows[] = {
    {Events::TerminatedInError, &Available, OnTerminatedInError},
};

// The rows without an action swallow events that mean nothing while no search runs.
const Row kAvailableRows[] = {
    {Events::AttachedToQueue, &Searching, NotifyEnteredQueue},
    {Events::LeaverPenaltyBegin, &Penalized, NotifyEnteredQueue},
    {Events::TimerTick, Internal, TickAvailable},
    {Events::JoinQueueFailed, Internal, None},
    {Events::CancelQueue, Internal, None},
    {Events::CancelPartiesQueue, Internal, None},
    {Events::WaitingForGame, Internal, None},
    {Events::GameStarted, Internal, None},
};

const Row kPenalizedRows[] = {
    {Events::LeaverPenaltyExpired, &Available, OnPenaltyExpired},
    {Events::CancelQueue, &Available, AbandonSearch},
    {Events::CancelPartiesQueue, &Available, None},
};

const Row kSearchingRows[] = {
    {Events::TimerTick, Internal, TickSearching},
    {Events::AttachedToQueue, Internal, NotifyEnteredQueue},
    {Events::CancelQueue, &Available, NotifyExitedQueue},
    {Events::CancelPartiesQueue, &Available, None},
    {Events::ReadyCheck, &ReadyCheck, None},
};

const Row kMatchedRows[] = {
    {Events::CancelQueue, &Available, NotifyExitedQueue},
    {Events::CancelPartiesQueue, &Available, None},
};

const Row kReadyCheckRows[] = {
    {Events::TimerTick, Internal, TickReadyCheck},
    {Events::WaitingForGame, &WaitingForGame, OnEveryoneReady},
    {Events::PartyDodge, &Available, OnReadyCheckDodged},
    {Events::StrangerDodge, &Searching, OnReadyCheckDodged},
    {Events::TournamentDodge, &Available, OnGameDodged},
};

const Row kWaitingForGameRows[] = {
    {Events::TimerTick, Internal, None},
    {Events::GameStarted, &Available, None},
    {Events::PartyDodge, &Available, OnGameDodged},
    {Events::StrangerDodge, &Searching, OnGameDodged},
    {Events::TournamentDodge, &Available, OnGameDodged},
};

}  // namespace

namespace States {

const MatchmakingState Matchmaking{
    .name = "Matchmaking",
    .parent = nullptr,
    .onEntry = LogEntry,
    .onExit = LogExit,
    .initial = {{}, &Available, None},
    .transitions = kMatchmakingRows,
};

const MatchmakingState Available{
    .name = "Available",
    .parent = &Matchmaking,
    .onEntry = EnterAvailable,
    .onExit = LogExit,
    .initial = {},
    .transitions = kAvailableRows,
};

const MatchmakingState Penalized{
    .name = "Penalized",
    .parent = &Available,
    .onEntry = LogEntry,
    .onExit = LogExit,
    .initial = {},
    .transitions = kPenalizedRows,
};

const MatchmakingState Searching{
    .name = "Searching",
    .parent = &Matchmaking,
    .onEntry = LogEntry,
    .onExit = LogExit,
    .initial = {},
    .transitions = kSearchingRows,
};

const MatchmakingState Matched{
    .name = "Matched",
    .parent = &Matchmaking,
    .onEntry = LogEntry,
    .onExit = LogExit,
    .initial = {},
    .transitions = kMatchedRows,
};

const MatchmakingState ReadyCheck{
    .name = "ReadyCheck",
    .parent = &Matched,
    .onEntry = EnterReadyCheck,
    .onExit = LogExit,
    .initial = {},
    .transitions = kReadyCheckRows,
};

const MatchmakingState WaitingForGame{
    .name = "WaitingForGame",
    .parent = &Matched,
    .onEntry = LogEntry,
    .onExit = ExitWaitingForGame,
    .initial = {},
    .transitions = kWaitingForGameRows,
};

}  // namespace States

}  // namespace Tavix::Client::Matchmaking
