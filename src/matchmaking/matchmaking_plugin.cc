#include "matchmaking/matchmaking_plugin.h"

#include "log/log.h"
#include "matchmaking/record_registration.h"

namespace Tavix::Client::Matchmaking {

const std::unordered_set<std::int32_t> MatchmakingPlugin::uxSuppressedQueues{700, 701};

MatchmakingPlugin::MatchmakingPlugin()
    : stateMachine(this, "MatchmakingStateMachine", States::Matchmaking, &CopyEvent) {}

// The machine was stopped by OnStop; destroying it runs no action.
MatchmakingPlugin::~MatchmakingPlugin() = default;

void MatchmakingPlugin::RegisterApi() {
    RegisterApiRecords(GetDispatcher(), GetApiNamespace(), GetApiTags());
    RegisterLcdsRecords(*this);
}

bool MatchmakingPlugin::OnStart() {
    // No search exists yet, so the entry of Available has nothing to cancel.
    stateMachine.Start();
    ConnectNeighbours();
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

}  // namespace Tavix::Client::Matchmaking
