#include "matchmaking/matchmaking_plugin.h"

#include "log/log.h"

namespace Tavix::Client::Matchmaking {

const std::unordered_set<std::int32_t> MatchmakingPlugin::uxSuppressedQueues{700, 701};

MatchmakingPlugin::MatchmakingPlugin()
    : stateMachine(this, "MatchmakingStateMachine", States::Matchmaking, &CopyEvent) {}

// The machine was stopped by OnStop; destroying it runs no action.
MatchmakingPlugin::~MatchmakingPlugin() = default;

void MatchmakingPlugin::RegisterApi() {}

bool MatchmakingPlugin::OnStart() {
    // No search exists yet, so the entry of Available has nothing to cancel.
    stateMachine.Start();
    return true;
}

void MatchmakingPlugin::OnStop() {
    stateMachine.Stop();
    AppModule::OnStop();
}

bool MatchmakingPlugin::FireEvent(const std::string& event) {
    Log(LogLevel::Always, kLogGroupDbg, "%s", event.c_str());
    return stateMachine.Dispatch(event);
}

void MatchmakingPlugin::DispatchTimerTick() {
    stateMachine.Dispatch(Events::TimerTick);
}

void MatchmakingPlugin::NotifyEnteredQueue() {
    abandonedLowPriorityQueue = false;
}

// The search, the ready check, the penalties and the neighbours are not wired in yet: these
// actions hold their places in the table and do nothing so far.
void MatchmakingPlugin::NotifyExitedQueue() {}
void MatchmakingPlugin::TickAvailable() {}
void MatchmakingPlugin::TickSearching() {}
void MatchmakingPlugin::TickReadyCheck() {}
void MatchmakingPlugin::BeginReadyCheck() {}
void MatchmakingPlugin::EndReadyCheck() {}
void MatchmakingPlugin::OnEveryoneReady() {}
void MatchmakingPlugin::OnReadyCheckDodged() {}
void MatchmakingPlugin::OnGameDodged() {}
void MatchmakingPlugin::ExitWaitingForGame() {}
void MatchmakingPlugin::OnTerminatedInError() {}
void MatchmakingPlugin::OnPenaltyExpired() {}
void MatchmakingPlugin::AbandonSearch() {}
void MatchmakingPlugin::CancelAndDestroySearch() {}

}  // namespace Tavix::Client::Matchmaking
