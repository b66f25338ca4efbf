#include "matchmaking/legacy_queue_strategy.h"

#include "frame/await.h"
#include "frame/lcds_client.h"
#include "log/log.h"
#include "matchmaking/bot_difficulty.h"
#include "matchmaking/matchmaking_plugin.h"
#include "matchmaking/neighbour_uris.h"
#include "matchmaking/search_from_notification.h"
#include "support/format.h"

namespace Tavix::Client::Matchmaking {

Resource LegacyQueueStrategy::CreateSearch(const Api::LobbyStatus& lobby, std::string token) {
    Lcds::MatchmakingLcdsMatchMakerParams params;
    params.queueIds.push_back(lobby.queueId);
    // Only a lobby the lobby service knows is a party to the platform; without its id the
    // members are not sent either.
    if (lobby.lobbyId.has_value() && !lobby.lobbyId->empty()) {
        params.invitationId = *lobby.lobbyId;
        params.team = lobby.memberAvatarIds;
    }
    MaybeType<Failure, std::string> difficulty = BotDifficultyForQueue(lobby.queueId);
    if (!difficulty.IsFailure()) {
        params.botDifficulty = std::move(difficulty).GetValue();
    }

    using Notification = Lcds::MatchmakingLcdsSearchingForMatchNotification;
    MaybeType<Failure, Notification> answer =
        token.empty() ? plugin->Await(plugin->LcdsInvoke<Notification>(kMatchmakerService,
                                                                       "attachToQueue", params))
                      : plugin->Await(plugin->LcdsInvoke<Notification>(
                            kMatchmakerService, "attachToQueue", params,
                            Lcds::MatchmakingLcdsMatchMakerPayload{std::move(token)}));
    if (answer.IsFailure()) {
        return InternalServerError(Format("Failed to attach to matchmaking queue %1: %2",
                                          lobby.queueId, FailureText(answer.GetFailure())));
    }
    // Join failures are a success here: they reach the search as its errors or its penalty.
    plugin->AdoptSearch(SearchFromNotification(answer.GetValue(), plugin->NextSearchErrorId()));
    return Resource();
}

bool LegacyQueueStrategy::CancelSearch(std::int32_t queueId) {
    MaybeType<Failure, bool> answer = plugin->Await(
        plugin->LcdsInvoke<bool>(kMatchmakerService, "cancelFromQueueIfPossible", queueId));
    return !answer.IsFailure() && answer.GetValue();
}

Resource LegacyQueueStrategy::AcceptReadyCheck() {
    return AnswerReadyCheck(true, "Failed to accept the ready-check");
}

Resource LegacyQueueStrategy::DeclineReadyCheck() {
    return AnswerReadyCheck(false, "Failed to decline the ready-check");
}

// The answer carries nothing, but it is read all the same: it may arrive in pieces, and only the
// last piece tells whether the platform took the answer.
Resource LegacyQueueStrategy::AnswerReadyCheck(bool accept, const char* failureText) {
    MaybeType<Failure, BindingValue> answer =
        plugin->Await(plugin->LcdsInvoke<BindingValue>(kGameService, "acceptPoppedGame", accept));
    return answer.IsFailure() ? InternalServerError(failureText) : Resource();
}

void LegacyQueueStrategy::AbandonLowPriorityQueue(std::string token) {
    (void)plugin->Await(
        plugin->LcdsInvoke<void>(kClientFacadeService, "abandonQuitWardenLowPriorityQueue", token));
}

void LegacyQueueStrategy::OnReconnected() {
    const Api::GameflowPhase phase = plugin->GetGameflowPhase();
    if (phase != Api::GameflowPhase::Matchmaking && phase != Api::GameflowPhase::ReadyCheck) {
        return;
    }
    Api::GameflowGameDodge dodge;
    dodge.state = Api::MatchmakingDodgeState::PartyDodged;
    dodge.dodgeIds.push_back(plugin->GetOwnAvatarId());
    Log(LogLevel::Always, kLogGroupDbg, "Detected %s dodge in legacy matchmaking after reconnect.",
        "PARTY");
    plugin->PublishDodge(dodge);
}

void LegacyQueueStrategy::Subscribe() {
    plugin->SubscribeToLcds<Lcds::MatchmakingLcdsSearchingForMatchNotification>(
        kSearchingForMatchNotificationClass,
        [this](const Lcds::MatchmakingLcdsSearchingForMatchNotification& notification) {
            OnSearchingForMatchNotification(notification);
        });
    plugin->SubscribeToLcds<Lcds::MatchmakingLcdsGameDTO>(
        kGameDtoClass,
        [plugin = plugin](const Lcds::MatchmakingLcdsGameDTO& dto) { plugin->OnGameDto(dto); });
    plugin->SubscribeToLcds<BindingValue>(kLowPriorityQueueAbandonedClass,
                                          [plugin = plugin](const BindingValue& message) {
                                              plugin->OnLowPriorityQueueAbandoned(message);
                                          });
}

void LegacyQueueStrategy::OnSearchingForMatchNotification(
    const Lcds::MatchmakingLcdsSearchingForMatchNotification& notification) {
    plugin->AdoptSearch(SearchFromNotification(notification, plugin->NextSearchErrorId()));
}

}  // namespace Tavix::Client::Matchmaking
