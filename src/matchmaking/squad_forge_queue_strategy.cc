#include "matchmaking/squad_forge_queue_strategy.h"

#include "frame/resource_client.h"
#include "frame/resource_events.h"
#include "log/log.h"
#include "matchmaking/matchmaking_plugin.h"
#include "matchmaking/neighbour_uris.h"
#include "support/format.h"

namespace Tavix::Client::Matchmaking {

Resource SquadForgeQueueStrategy::CreateSearch(const Api::LobbyStatus&, std::string token) {
    // The lobby feature knows the lobby itself; only the token goes along.
    MaybeType<Failure, Api::MatchmakingSearchResource> answer =
        plugin->Request<Api::MatchmakingSearchResource>(kMethodPost, kSquadForgeSearchUri, token);
    if (answer.IsFailure()) {
        return InternalServerError(Format("Entering matchmaking for squadforge failed: %s",
                                          FailureText(answer.GetFailure())));
    }
    plugin->AdoptSearch(std::move(answer).GetValue());
    return Resource();
}

bool SquadForgeQueueStrategy::CancelSearch(std::int32_t) {
    MaybeType<Failure, void> answer = plugin->Request(kMethodDelete, kSquadForgeSearchUri);
    if (answer.IsFailure()) {
        Log(LogLevel::Always, kLogGroupDbg, "Failed to cancel squad forge matchmaking: %s",
            FailureText(answer.GetFailure()));
        return false;
    }
    return true;
}

Resource SquadForgeQueueStrategy::AcceptReadyCheck() {
    return PostWithoutBody(kSquadForgeAcceptUri, "Failed to accept squad forge ready check: %s");
}

Resource SquadForgeQueueStrategy::DeclineReadyCheck() {
    return PostWithoutBody(kSquadForgeDeclineUri, "Failed to decline squad forge ready check: %s");
}

Resource SquadForgeQueueStrategy::PostWithoutBody(const char* url, const char* failureText) {
    MaybeType<Failure, void> answer = plugin->Request(kMethodPost, url);
    return answer.IsFailure()
               ? InternalServerError(Format(failureText, FailureText(answer.GetFailure())))
               : Resource();
}

void SquadForgeQueueStrategy::AbandonLowPriorityQueue(std::string token) {
    MaybeType<Failure, void> answer = plugin->Request(kMethodPost, kSquadForgeAbandonUri, token);
    if (answer.IsFailure()) {
        FrameDiagnostic("Failed to abandon squad forge low priority queue: %s",
                        FailureText(answer.GetFailure()));
    }
}

void SquadForgeQueueStrategy::OnReconnected() {}

void SquadForgeQueueStrategy::Subscribe() {
    plugin->ObserveResource<Api::MatchmakingSearchResource>(
        kSquadForgeMatchmakingUri,
        [plugin = plugin](const ResourceEvent<Api::MatchmakingSearchResource>& event) {
            plugin->OnSquadForgeMatchmaking(event);
        });
}

}  // namespace Tavix::Client::Matchmaking
