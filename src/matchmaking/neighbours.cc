// The plug-in's mirror of its neighbours: the subscriptions made at start, the queue table, and
// what each neighbour's update changes.

#include "frame/lcds_client.h"
#include "frame/resource_client.h"
#include "frame/resource_events.h"
#include "matchmaking/gameflow_event.h"
#include "matchmaking/invalid_queue_strategy.h"
#include "matchmaking/legacy_queue_strategy.h"
#include "matchmaking/matchmaking_plugin.h"
#include "matchmaking/neighbour_uris.h"
#include "matchmaking/squad_forge_queue_strategy.h"

namespace Tavix::Client::Matchmaking {

void MatchmakingPlugin::ConnectNeighbours() {
    squadForgeStrategy = std::make_shared<SquadForgeQueueStrategy>(this);
    legacyStrategy = std::make_shared<LegacyQueueStrategy>(this);
    invalidStrategy = std::make_shared<InvalidQueueStrategy>(this);

    // Each observer delivers the resource's current state before the next one is made, so the
    // login and the queues are known by the time the player status arrives.
    ObserveResource<Api::LoginSession>(
        kLoginSessionUri,
        [this](const ResourceEvent<Api::LoginSession>& event) { OnLoginSession(event); });
    ObserveResource<std::vector<Api::Queue>>(
        kQueuesUri,
        [this](const ResourceEvent<std::vector<Api::Queue>>& event) { OnQueues(event); });
    ObserveResource<Api::GameflowSession>(
        kGameflowSessionUri,
        [this](const ResourceEvent<Api::GameflowSession>& event) { OnGameflowSession(event); });
    ObserveResource<Api::PlayerStatus>(
        kPlayerStatusUri,
        [this](const ResourceEvent<Api::PlayerStatus>& event) { OnPlayerStatus(event); });
    SubscribeToLcds<Lcds::MatchmakingLcdsGameNotification>(
        kGameNotificationClass, [this](const Lcds::MatchmakingLcdsGameNotification& notification) {
            OnGameNotification(notification);
        });
    SubscribeToLcds<BindingValue>(kSimpleDialogMessageClass, [this](const BindingValue& message) {
        OnSimpleDialogMessage(message);
    });

    squadForgeStrategy->Subscribe();
    legacyStrategy->Subscribe();
}

std::shared_ptr<QueueStrategy> MatchmakingPlugin::strategyFor(std::int32_t queueId) {
    // A failed read leaves the table unloaded, so the next use reads again.
    if (!queuesLoaded) {
        MaybeType<Failure, std::vector<Api::Queue>> queues =
            Request<std::vector<Api::Queue>>(kMethodGet, kQueuesUri);
        if (!queues.IsFailure()) {
            SetQueues(queues.GetValue());
        }
    }
    return ResolveQueue(queueStrategies, queueId, invalidStrategy);
}

void MatchmakingPlugin::SetQueues(const std::vector<Api::Queue>& queues) {
    FillQueueTable(queueStrategies, queues, squadForgeStrategy, legacyStrategy);
    queuesLoaded = true;
}

void MatchmakingPlugin::OnQueues(const ResourceEvent<std::vector<Api::Queue>>& event) {
    // A Delete carries the empty list: every queue resolves to the invalid strategy until the
    // next update, with no fresh read.
    SetQueues(event.data);
}

void MatchmakingPlugin::OnLoginSession(const ResourceEvent<Api::LoginSession>& event) {
    if (event.eventType == PluginResourceEventType::Delete) {
        loggedIn = false;
        connected = false;
        ownAvatarId = 0;
        return;
    }
    if (event.eventType != PluginResourceEventType::Create &&
        event.eventType != PluginResourceEventType::Update) {
        return;
    }
    const Api::LoginSession& session = event.data;
    const bool wasLoggedIn = loggedIn;
    const bool wasConnected = connected;
    loggedIn = session.state == Api::LoginSessionState::SUCCEEDED && session.accountId != 0 &&
               session.avatarId != 0;
    connected = session.connected;
    if (!wasLoggedIn) {
        // The player's id is taken at the step into logged in and never by a later update.
        if (loggedIn) {
            ownAvatarId = session.avatarId;
        }
        return;
    }
    if (loggedIn && !wasConnected && connected && currentLobbyStatus.has_value()) {
        strategyFor(currentLobbyStatus->queueId)->OnReconnected();
    }
}

void MatchmakingPlugin::OnGameflowSession(const ResourceEvent<Api::GameflowSession>& event) {
    // The first read at start is a Create and sets nothing: the phase stays None until the
    // gameflow plug-in moves.
    if (event.eventType != PluginResourceEventType::Update) {
        return;
    }
    const Api::GameflowPhase previous = gameflowPhase;
    gameflowPhase = event.data.phase;
    gameflowDodgeState = event.data.gameDodge.state;
    gameflowDodgeIds = event.data.gameDodge.dodgeIds;
    // Dodge data without a change of phase is kept for the actions and raises nothing.
    if (gameflowPhase == previous) {
        return;
    }
    if (const std::string* machineEvent = GameflowEventFor(gameflowPhase, gameflowDodgeState)) {
        FireEvent(*machineEvent);
    }
}

void MatchmakingPlugin::OnPlayerStatus(const ResourceEvent<Api::PlayerStatus>& event) {
    if (event.eventType == PluginResourceEventType::Delete) {
        return;
    }
    lastQueuedLobbyStatus = event.data.lastQueuedLobbyStatus;
    const std::optional<Api::LobbyStatus>& incoming = event.data.currentLobbyStatus;
    if (!currentLobbyStatus.has_value() && incoming.has_value()) {
        // Joining a lobby ends a search left over from before, on the platform too, before the
        // new lobby counts.
        CancelAndDestroySearch();
        currentLobbyStatus = incoming;
    } else if (currentLobbyStatus.has_value() && !incoming.has_value()) {
        currentLobbyStatus.reset();
        if (search != nullptr && !search->lowPriorityData.wardenedQuitterAccessToken.empty()) {
            AbandonSearch();
        }
    } else if (currentLobbyStatus.has_value() && incoming.has_value()) {
        OnLobbyChanged(*incoming);
    }
}

}  // namespace Tavix::Client::Matchmaking
