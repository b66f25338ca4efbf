// The search's life: adoption, the ticks that count its time, its replacement, the lobby's
// changes, and its end.

#include <algorithm>

#include "frame/resource_client.h"
#include "frame/resource_events.h"
#include "log/log.h"
#include "matchmaking/matchmaking_plugin.h"
#include "matchmaking/neighbour_uris.h"
#include "matchmaking/queue_time.h"
#include "platform/clock.h"
#include "support/format.h"

namespace Tavix::Client::Matchmaking {

namespace {

constexpr const char* kTickTimer = "arx-matchmaking.tick-search";
constexpr double kTickPeriodSeconds = 0.1;
constexpr const char* kDestroySearchJob = "arx-matchmaking.destroy-search";

}  // namespace

void MatchmakingPlugin::AdoptSearch(Api::MatchmakingSearchResource record) {
    const bool suppressed = uxSuppressedQueues.count(record.queueId) != 0;
    // A queue that needs no lobby never replaces the search there is.
    if (suppressed && search != nullptr) {
        return;
    }
    // A record for nobody: no search, no lobby, and not a queue that needs none. If it stands
    // in a queue, the platform is asked to take it out again.
    if (search == nullptr && !currentLobbyStatus.has_value() && !suppressed) {
        if (record.isCurrentlyInQueue) {
            (void)strategyFor(record.queueId)->CancelSearch(record.queueId);
        }
        return;
    }

    const float kept = QueueTimeKept(search.get(), record);
    search = std::make_unique<Api::MatchmakingSearchResource>(std::move(record));
    ++searchSerial;
    search->timeInQueue = kept;
    search->searchStartTime = Platform::MonotonicNanoseconds();
    search->lastTickSeconds = 0;

    const std::int32_t lobbyQueueId =
        currentLobbyStatus.has_value() ? currentLobbyStatus->queueId : -1;
    const std::string* event = nullptr;
    if (!search->errors.empty()) {
        search->queueId = lobbyQueueId;
        search->searchState = Api::MatchmakingSearchState::Error;
        event = &Events::JoinQueueFailed;
    } else {
        search->searchState = Api::MatchmakingSearchState::Searching;
        if (search->isCurrentlyInQueue || suppressed) {
            event = &Events::AttachedToQueue;
        } else {
            // In no queue and without errors: a low-priority penalty holds the party back.
            search->queueId = lobbyQueueId;
            search->lowPriorityData.penaltyTimeRemaining = search->lowPriorityData.penaltyTime;
            event = &Events::LeaverPenaltyBegin;
        }
    }

    Log(LogLevel::Always, kLogGroupDbg, "Creating new matchmaking search.");
    // A replacing search is announced as a new one: no Delete goes out for the old record.
    PublishResource(PluginResourceEventType::Create, kSearchUri, *search);
    FireEvent(*event);
    SetTimer(kTickTimer, kTickPeriodSeconds, [this] {
        if (search != nullptr) {
            DispatchTimerTick();
        }
    });
}

void MatchmakingPlugin::DestroySearch() {
    // A search that another handler ended during a wait is not ended twice: a second pair of
    // Delete events would announce the end of a search that no longer exists.
    if (search == nullptr) {
        return;
    }
    Log(LogLevel::Always, kLogGroupDbg, "Destroying current matchmaking search.");
    CancelTimer(kTickTimer);
    search.reset();
    DeleteResource(kReadyCheckUri);
    DeleteResource(kSearchUri);
    // Brings the machine back to Available on a later turn, from whatever state it is then in;
    // never on the caller's stack, which may be in the middle of a transition.
    PostJob(
        kDestroySearchJob, [this] { FireEvent(Events::CancelQueue); },
        Platform::MonotonicNanoseconds());
}

void MatchmakingPlugin::CancelAndDestroySearch() {
    if (search == nullptr) {
        return;
    }
    const std::int32_t queueId = search->queueId;
    (void)strategyFor(queueId)->CancelSearch(queueId);
    wasLobbyLeader = false;
    DestroySearch();
}

ResourceOf<Api::MatchmakingSearchResource> MatchmakingPlugin::GetSearch() {
    if (search == nullptr) {
        return NotFound("No matchmaking search exists.");
    }
    return *search;
}

Resource MatchmakingPlugin::PostSearch() {
    if (!currentLobbyStatus.has_value()) {
        return NotFound("Not in a lobby!");
    }
    wasLobbyLeader = currentLobbyStatus->isLeader;
    std::string token =
        search != nullptr ? search->lowPriorityData.wardenedQuitterAccessToken : std::string();
    // A copy: the lobby may change while the strategy waits for its back end.
    const Api::LobbyStatus lobby = *currentLobbyStatus;
    return strategyFor(lobby.queueId)->CreateSearch(lobby, std::move(token));
}

Resource MatchmakingPlugin::DeleteSearch() {
    if (search != nullptr && search->isCurrentlyInQueue) {
        const std::int32_t queueId = search->queueId;
        if (!strategyFor(queueId)->CancelSearch(queueId)) {
            static const char kRefused[] = "Failed to cancel matchmaking search on platform.";
            Log(LogLevel::Always, kLogGroupDbg, "%s", kRefused);
            return InternalServerError(kRefused);
        }
        DestroySearch();
    }
    // A search in no queue stays in Available and is abandoned in Penalized.
    if (FireEvent(Events::CancelQueue)) {
        return Resource();
    }
    return NotFound("Not attached to a matchmaking queue.");
}

Resource MatchmakingPlugin::PutSearch(const Api::MatchmakingSearchResource& body) {
    if (body.searchState == Api::MatchmakingSearchState::Canceled) {
        DestroySearch();
        NotifyExitedQueue();
        FireEvent(Events::CancelPartiesQueue);
        return Resource();
    }
    Api::MatchmakingSearchResource copy = body;
    // The ids a caller sends are not ours to trust: every error gets a fresh one.
    for (Api::MatchmakingSearchErrorResource& error : copy.errors) {
        error.id = nextSearchErrorId++;
    }
    AdoptSearch(std::move(copy));
    return Resource();
}

void MatchmakingPlugin::NotifyEnteredQueue() {
    abandonedLowPriorityQueue = false;
    (void)Request(kMethodPost, kGameflowEventUri, "GAMEFLOW_EVENT.ENTERED_QUEUE");
}

void MatchmakingPlugin::NotifyExitedQueue() {
    (void)Request(kMethodPost, kGameflowEventUri, "GAMEFLOW_EVENT.EXITED_QUEUE");
}

void MatchmakingPlugin::TickSearching() {
    if (search == nullptr) {
        return;
    }
    // Nine ticks in ten end here: the search moves and is published once a second.
    const std::int64_t seconds = CountNewSeconds(*search, Platform::MonotonicNanoseconds());
    if (seconds == 0) {
        return;
    }
    search->timeInQueue += static_cast<float>(seconds);
    PublishResource(PluginResourceEventType::Update, kSearchUri, *search);
}

void MatchmakingPlugin::ExitWaitingForGame() {
    Log(LogLevel::Always, kLogGroupDbg, "ExitWaitingForGame()");
    // Time spent waiting for the game is not time in queue, should the search go back to
    // Searching.
    if (search != nullptr) {
        search->lastTickSeconds =
            WholeSecondsSince(search->searchStartTime, Platform::MonotonicNanoseconds());
    }
}

void MatchmakingPlugin::OnLobbyChanged(const Api::LobbyStatus& status) {
    // Only the number of members counts: the same number of other players is no change.
    const bool membersChanged =
        status.memberAvatarIds.size() != currentLobbyStatus->memberAvatarIds.size();
    currentLobbyStatus = status;
    if (search == nullptr) {
        return;
    }
    if (search->isCurrentlyInQueue && membersChanged && status.isLeader) {
        Log(LogLevel::Warn, kLogGroupDbg,
            "Cancelling matchmaking search because player joined or left lobby");
        const Resource deleted = DeleteSearch();
        if (!deleted.ok) {
            Log(LogLevel::Warn, kLogGroupDbg, "Failed to cancel search: %s", deleted.error.c_str());
        }
        return;
    }
    if (search->searchState != Api::MatchmakingSearchState::Error) {
        return;
    }
    // An error lasts only as long as the player it names stays in the lobby.
    std::vector<Api::MatchmakingSearchErrorResource>& errors = search->errors;
    const std::size_t before = errors.size();
    for (auto error = errors.begin(); error != errors.end();) {
        const auto& members = status.memberAvatarIds;
        if (std::find(members.begin(), members.end(), error->penalizedAvatarId) != members.end()) {
            ++error;
            continue;
        }
        const std::int32_t id = error->id;
        error = errors.erase(error);
        DeleteResource(Format("%1/%2", kSearchErrorsUri, id));
    }
    if (errors.size() != before) {
        PublishResource(PluginResourceEventType::Update, kSearchErrorsUri, search->errors);
        PublishResource(PluginResourceEventType::Update, kSearchUri, *search);
    }
}

void MatchmakingPlugin::OnGameNotification(
    const Lcds::MatchmakingLcdsGameNotification& notification) {
    if (notification.type == "PLAYER_QUIT") {
        FireEvent(Events::CancelQueue);
    }
}

}  // namespace Tavix::Client::Matchmaking
