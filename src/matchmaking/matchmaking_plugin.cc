#include "matchmaking/matchmaking_plugin.h"

#include "log/log.h"
#include "matchmaking/neighbour_uris.h"
#include "matchmaking/record_registration.h"
#include "routing/route_declarer.h"

namespace Tavix::Client::Matchmaking {

const std::unordered_set<std::int32_t> MatchmakingPlugin::uxSuppressedQueues{700, 701};

MatchmakingPlugin::MatchmakingPlugin()
    : stateMachine(this, "MatchmakingStateMachine", States::Matchmaking, &CopyEvent) {}

// The machine was stopped by OnStop; destroying it runs no action.
MatchmakingPlugin::~MatchmakingPlugin() = default;

void MatchmakingPlugin::RegisterApi() {
    RegisterApiRecords(GetDispatcher(), GetApiNamespace(), GetApiTags());
    RegisterLcdsRecords(*this);

    using Plugin = MatchmakingPlugin;
    RouteDeclarer routes = Routes();
    routes.Get(kSearchUri, this, &Plugin::GetSearch);
    routes.Post(kSearchUri, this, &Plugin::PostSearch);
    routes.Delete(kSearchUri, this, &Plugin::DeleteSearch);
    routes.Put(kSearchUri, this, &Plugin::PutSearch).BodyArgument("search");
    routes.Get(kSearchErrorsUri, this, &Plugin::GetSearchErrors);
    routes.Get(kSearchErrorUri, this, &Plugin::GetSearchError).PathArgument("id");
    routes.Get(kReadyCheckUri, this, &Plugin::GetReadyCheck);
    routes.Post(kReadyCheckAcceptUri, this, &Plugin::PostReadyCheckAccept);
    routes.Post(kReadyCheckDeclineUri, this, &Plugin::PostReadyCheckDecline);
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
