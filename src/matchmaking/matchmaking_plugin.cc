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

    // The failures listed with each route are what the module's OpenAPI document tells clients
    // to expect; the handlers' own texts are the ones that go out.
    using Plugin = MatchmakingPlugin;
    constexpr char kNoQueue[] = "Not attached to a matchmaking queue.";
    RouteDeclarer routes = Routes();
    routes.Get(kSearchUri, this, &Plugin::GetSearch).Fails(404, "No matchmaking search exists.");
    routes.Post(kSearchUri, this, &Plugin::PostSearch)
        .Fails(404, "Not in a lobby!")
        .Fails(500, "Can't create search for invalid queueId")
        .Fails(500, "Failed to attach to matchmaking queue <queue id>: <the platform's reason>")
        .Fails(500, "Entering matchmaking for squadforge failed: <the lobby's reason>");
    routes.Delete(kSearchUri, this, &Plugin::DeleteSearch)
        .Fails(404, kNoQueue)
        .Fails(500, "Failed to cancel matchmaking search on platform.");
    routes.Put(kSearchUri, this, &Plugin::PutSearch).BodyArgument("search");
    routes.Get(kSearchErrorsUri, this, &Plugin::GetSearchErrors)
        .Fails(404, "No matchmaking search exists.");
    routes.Get(kSearchErrorUri, this, &Plugin::GetSearchError)
        .PathArgument("id")
        .Fails(404, "No matchmaking search.")
        .Fails(404, "Failed to find matchmaking error with id <id>.");
    routes.Get(kReadyCheckUri, this, &Plugin::GetReadyCheck).Fails(404, kNoQueue);
    routes.Post(kReadyCheckAcceptUri, this, &Plugin::PostReadyCheckAccept)
        .Fails(404, kNoQueue)
        .Fails(500, "Can't accept ready check for invalid queueId")
        .Fails(500, "Failed to accept the ready-check")
        .Fails(500, "Failed to accept squad forge ready check: <the lobby's reason>");
    routes.Post(kReadyCheckDeclineUri, this, &Plugin::PostReadyCheckDecline)
        .Fails(404, kNoQueue)
        .Fails(500, "Can't decline ready check for invalid queueId")
        .Fails(500, "Failed to decline the ready-check")
        .Fails(500, "Failed to decline squad forge ready check: <the lobby's reason>");

    // How the module describes itself to hosts and API browsers.
    routes.Help(kHelpUri);
    routes.OpenApi(kOpenApiUri);
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
