// Dodges, penalties and search errors: reporting what the back ends show, acting on the dodge
// the gameflow session then carries, and counting penalties and errors down.

#include <algorithm>
#include <string>

#include "frame/resource_client.h"
#include "frame/resource_events.h"
#include "frame/telemetry.h"
#include "log/log.h"
#include "matchmaking/dodge_detection.h"
#include "matchmaking/matchmaking_plugin.h"
#include "matchmaking/neighbour_uris.h"
#include "matchmaking/penalty_countdown.h"
#include "matchmaking/queue_time.h"
#include "platform/clock.h"
#include "support/format.h"

namespace Tavix::Client::Matchmaking {

namespace {

constexpr const char* kPenaltyExpiredJob = "arx-matchmaking.penalty-expired";
constexpr const char* kDodgeTelemetry = "txp-be-arx-matchmaking.dodged";

}  // namespace

void MatchmakingPlugin::PublishDodge(const Api::GameflowGameDodge& dodge) {
    (void)Request(kMethodPost, kGameflowDodgeUri, dodge);
}

void MatchmakingPlugin::OnGameDto(const Lcds::MatchmakingLcdsGameDTO& dto) {
    // The platform's game record tells of a dodge only at the end of a ready check.
    if (gameflowPhase != Api::GameflowPhase::ReadyCheck) {
        return;
    }
    const std::optional<DetectedDodge> detected = DodgeFromGameDto(dto, lastQueuedLobbyStatus);
    if (!detected.has_value()) {
        return;
    }
    Log(LogLevel::Always, kLogGroupDbg, "%s", detected->logText.c_str());
    PublishDodge(detected->dodge);
}

void MatchmakingPlugin::OnSquadForgeMatchmaking(
    const ResourceEvent<Api::MatchmakingSearchResource>& event) {
    if (event.eventType == PluginResourceEventType::Delete) {
        return;
    }
    Api::MatchmakingSearchResource record = event.data;
    if (record.readyCheck.state == Api::MatchmakingReadyCheckState::InProgress) {
        (void)Request(kMethodPost, kGameflowEventUri, "GAMEFLOW_EVENT.ENTERED_READY_CHECK");
    }
    const std::vector<DetectedDodge> dodges = SquadForgeDodges(record);
    for (const DetectedDodge& detected : dodges) {
        Log(LogLevel::Always, kLogGroupDbg, "%s", detected.logText.c_str());
        PublishDodge(detected.dodge);
    }
    for (Api::MatchmakingSearchErrorResource& error : record.errors) {
        error.id = nextSearchErrorId++;
    }
    // A record that reported a dodge is dropped: the session update that answers the report
    // moves the machine, and the search stays as it is.
    if (!dodges.empty()) {
        return;
    }
    using State = Api::MatchmakingSearchState;
    const State state = record.searchState;
    const bool suppressed = uxSuppressedQueues.count(record.queueId) != 0;
    if (state == State::Searching || (state == State::Found && suppressed) ||
        !record.errors.empty() || !record.lowPriorityData.wardenedQuitterAccessToken.empty()) {
        AdoptSearch(std::move(record));
    } else if (state == State::AbandonedLowPriorityQueue || state == State::Canceled) {
        FireEvent(Events::CancelQueue);
    } else if (state == State::ServiceError || state == State::ServiceShutdown) {
        FireEvent(Events::TerminatedInError);
    }
}

void MatchmakingPlugin::OnGameDodged() {
    if (search == nullptr) {
        return;
    }
    bool survives = false;
    switch (gameflowDodgeState) {
        case Api::MatchmakingDodgeState::StrangerDodged:
            search->dodgeData.state = Api::MatchmakingDodgeState::StrangerDodged;
            search->searchState = Api::MatchmakingSearchState::Searching;
            survives = true;
            break;
        case Api::MatchmakingDodgeState::TournamentDodged:
            search->dodgeData.state = Api::MatchmakingDodgeState::TournamentDodged;
            search->searchState = Api::MatchmakingSearchState::Canceled;
            break;
        default:
            // A party dodge without ids names nobody: the search ends all the same.
            if (gameflowDodgeIds.empty()) {
                break;
            }
            search->dodgeData.state = Api::MatchmakingDodgeState::PartyDodged;
            search->dodgeData.dodgerId = gameflowDodgeIds.front();
            if (std::find(gameflowDodgeIds.begin(), gameflowDodgeIds.end(), ownAvatarId) !=
                    gameflowDodgeIds.end() &&
                GetTelemetry() != nullptr) {
                const std::int32_t queueId =
                    currentLobbyStatus.has_value() ? currentLobbyStatus->queueId : -1;
                TelemetryProperties properties;
                properties["queueId"] = std::to_string(queueId);
                (void)GetTelemetry()->SendTelemetry(kDodgeTelemetry, properties);
            }
            break;
    }
    PublishResource(PluginResourceEventType::Update, kSearchUri, *search);
    if (!survives) {
        DestroySearch();
    }
}

void MatchmakingPlugin::OnTerminatedInError() {
    if (search == nullptr) {
        return;
    }
    search->readyCheck.state = Api::MatchmakingReadyCheckState::Error;
    PublishResource(PluginResourceEventType::Update, kReadyCheckUri, search->readyCheck);
    search->searchState = Api::MatchmakingSearchState::Error;
    PublishResource(PluginResourceEventType::Update, kSearchUri, *search);
    EndReadyCheck();
}

void MatchmakingPlugin::TickAvailable() {
    if (search == nullptr) {
        return;
    }
    const std::int64_t seconds = CountNewSeconds(*search, Platform::MonotonicNanoseconds());
    if (seconds == 0) {
        return;
    }
    const PenaltyCountdown countdown = CountDownPenalties(*search, static_cast<double>(seconds));
    for (const Api::MatchmakingSearchErrorResource& ended : countdown.endedErrors) {
        const std::string uri = Format("%1/%2", kSearchErrorsUri, ended.id);
        PublishResource(PluginResourceEventType::Update, uri, ended);
        DeleteResource(uri);
    }
    if (countdown.penaltyExpired) {
        PostJob(
            kPenaltyExpiredJob, [this] { FireEvent(Events::LeaverPenaltyExpired); },
            Platform::MonotonicNanoseconds());
    }
    if (countdown.publish) {
        PublishResource(PluginResourceEventType::Update, kSearchErrorsUri, search->errors);
        PublishResource(PluginResourceEventType::Update, kSearchUri, *search);
    }
}

void MatchmakingPlugin::OnPenaltyExpired() {
    // Only the leader re-enters the queue; a member's search stays, in no queue, until the
    // leader's search replaces it.
    if (!wasLobbyLeader) {
        return;
    }
    // The search still has its penalty time, so a successful adoption keeps its time in queue.
    if (!PostSearch().ok) {
        DestroySearch();
    }
}

void MatchmakingPlugin::AbandonSearch() {
    // Set before the wait, so that the platform's echo of this abandon is recognised even if it
    // arrives during it.
    abandonedLowPriorityQueue = true;
    if (search != nullptr && !search->lowPriorityData.wardenedQuitterAccessToken.empty()) {
        const std::int32_t queueId = search->queueId;
        const std::string token = search->lowPriorityData.wardenedQuitterAccessToken;
        strategyFor(queueId)->AbandonLowPriorityQueue(token);
        if (search != nullptr) {
            search->lowPriorityData.wardenedQuitterAccessToken.clear();
        }
    }
    DestroySearch();
    NotifyExitedQueue();
}

ResourceOf<std::vector<Api::MatchmakingSearchErrorResource>> MatchmakingPlugin::GetSearchErrors() {
    if (search == nullptr) {
        return NotFound("No matchmaking search exists.");
    }
    return search->errors;
}

ResourceOf<Api::MatchmakingSearchErrorResource> MatchmakingPlugin::GetSearchError(std::int32_t id) {
    // Not the text of the list's route: the two routes differ here.
    if (search == nullptr) {
        return NotFound("No matchmaking search.");
    }
    for (const Api::MatchmakingSearchErrorResource& error : search->errors) {
        if (error.id == id) {
            return error;
        }
    }
    return NotFound(Format("Failed to find matchmaking error with id %1.", id));
}

void MatchmakingPlugin::OnLowPriorityQueueAbandoned(const BindingValue&) {
    if (abandonedLowPriorityQueue) {
        return;
    }
    Log(LogLevel::Always, kLogGroupDbg,
        "Quit Warden low priority queue was abandoned by another player.");
    FireEvent(Events::CancelQueue);
}

}  // namespace Tavix::Client::Matchmaking
