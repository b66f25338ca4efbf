#pragma once
// MatchmakingPlugin: the one class that makes this module a matchmaking plug-in. It owns the
// player's current search and the machine that follows it, mirrors what its neighbours publish
// about the login, the queues, the gameflow session and the lobby, and holds the three queue
// strategies.
//
// Every handler, route and timer callback runs on a turn the host gives the module. A strategy's
// call to its back end waits for the answer and lets other handlers run meanwhile, so code after
// such a call looks at `search`, the lobby and the machine afresh.

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <unordered_set>
#include <vector>

#include "frame/app_module.h"
#include "matchmaking/api_records.h"
#include "matchmaking/lcds_records.h"
#include "matchmaking/matchmaking_machine.h"
#include "matchmaking/queue_table.h"
#include "matchmaking/upstream_records.h"
#include "routing/resource.h"

namespace Tavix::Client {
template <typename T>
struct ResourceEvent;
class BindingValue;
}  // namespace Tavix::Client

namespace Tavix::Client::Matchmaking {

class MatchmakingPlugin : public AppModule {
public:
    MatchmakingPlugin();
    ~MatchmakingPlugin() override;

    void OnStop() override;
    void RegisterApi() override;
    bool OnStart() override;

    // Logs the event and dispatches it; the result is the machine's.
    bool FireEvent(const std::string& event);
    // One tick of the search timer, ten a second: dispatched without a line.
    void DispatchTimerTick();

    // Queues that take a search without a lobby, keep an existing search and show no ready-check
    // window.
    static const std::unordered_set<std::int32_t> uxSuppressedQueues;

    // ---- Neighbours ------------------------------------------------------------------------
    // Creates the strategies and subscribes to the neighbours; each of the four resources
    // delivers its current state before the next subscription is made.
    void ConnectNeighbours();
    // Never null after OnStart. Reads the queue list first while it was never loaded.
    std::shared_ptr<QueueStrategy> strategyFor(std::int32_t queueId);
    void SetQueues(const std::vector<Api::Queue>& queues);
    void OnLoginSession(const ResourceEvent<Api::LoginSession>& event);
    void OnQueues(const ResourceEvent<std::vector<Api::Queue>>& event);
    void OnGameflowSession(const ResourceEvent<Api::GameflowSession>& event);
    void OnPlayerStatus(const ResourceEvent<Api::PlayerStatus>& event);

    // ---- The search -----------------------------------------------------------------------
    // The single place where a search begins, or replaces the one there is.
    void AdoptSearch(Api::MatchmakingSearchResource record);
    // Stops the tick, frees the search, withdraws its resources, and posts the job that brings
    // the machine back to Available.
    void DestroySearch();
    void OnLobbyChanged(const Api::LobbyStatus& status);
    void OnGameNotification(const Lcds::MatchmakingLcdsGameNotification& notification);
    void OnSimpleDialogMessage(const BindingValue& message);

    // ---- Dodges and penalties ---------------------------------------------------------------
    // Reports a dodge to the gameflow plug-in, which answers with a session update.
    void PublishDodge(const Api::GameflowGameDodge& dodge);
    void OnGameDto(const Lcds::MatchmakingLcdsGameDTO& dto);
    void OnSquadForgeMatchmaking(const ResourceEvent<Api::MatchmakingSearchResource>& event);
    void OnLowPriorityQueueAbandoned(const BindingValue& message);

    // ---- Routes -----------------------------------------------------------------------------
    // Each GET answers with a copy and changes nothing.
    ResourceOf<Api::MatchmakingSearchResource> GetSearch();
    Resource PostSearch();
    Resource DeleteSearch();
    Resource PutSearch(const Api::MatchmakingSearchResource& body);
    ResourceOf<std::vector<Api::MatchmakingSearchErrorResource>> GetSearchErrors();
    ResourceOf<Api::MatchmakingSearchErrorResource> GetSearchError(std::int32_t id);
    ResourceOf<Api::MatchmakingReadyCheckResource> GetReadyCheck();
    Resource PostReadyCheckAccept();
    Resource PostReadyCheckDecline();

    // ---- The actions of the machine's table --------------------------------------------------
    // Each one that works on the search checks first that a search exists.
    void NotifyEnteredQueue();
    void NotifyExitedQueue();
    void TickAvailable();
    void TickSearching();
    void TickReadyCheck();
    void BeginReadyCheck();
    void EndReadyCheck();
    void OnEveryoneReady();
    void OnReadyCheckDodged();
    void OnGameDodged();
    void ExitWaitingForGame();
    void OnTerminatedInError();
    void OnPenaltyExpired();
    void AbandonSearch();
    void CancelAndDestroySearch();

    // ---- What strategies and tests read -----------------------------------------------------
    const MatchmakingStateMachine& GetStateMachine() const { return stateMachine; }
    // The current search, or null.
    const Api::MatchmakingSearchResource* CurrentSearch() const { return search.get(); }
    // The id the next search error gets; whoever makes an error raises it.
    std::int32_t& NextSearchErrorId() { return nextSearchErrorId; }
    std::uint64_t GetOwnAvatarId() const { return ownAvatarId; }
    Api::GameflowPhase GetGameflowPhase() const { return gameflowPhase; }
    Api::MatchmakingDodgeState GetGameflowDodgeState() const { return gameflowDodgeState; }
    const std::optional<Api::LobbyStatus>& GetCurrentLobbyStatus() const {
        return currentLobbyStatus;
    }
    const std::optional<Api::LobbyStatus>& GetLastQueuedLobbyStatus() const {
        return lastQueuedLobbyStatus;
    }
    bool IsLoggedIn() const { return loggedIn; }
    bool IsConnected() const { return connected; }
    bool QueuesLoaded() const { return queuesLoaded; }
    bool WasLobbyLeader() const { return wasLobbyLeader; }
    bool AbandonedLowPriorityQueue() const { return abandonedLowPriorityQueue; }

private:
    MatchmakingStateMachine stateMachine;
    std::uint64_t ownAvatarId = 0;
    Api::GameflowPhase gameflowPhase = Api::GameflowPhase::None;
    Api::MatchmakingDodgeState gameflowDodgeState = Api::MatchmakingDodgeState::Invalid;
    std::vector<std::uint64_t> gameflowDodgeIds;
    // Never reset and never shared: an error's id is unique for the plug-in's life.
    std::int32_t nextSearchErrorId = 0;
    std::unique_ptr<Api::MatchmakingSearchResource> search;
    // Counts adoptions, so that a handler that waited can tell whether the search it started
    // with is still the one there is.
    std::uint64_t searchSerial = 0;
    std::optional<Api::LobbyStatus> currentLobbyStatus;
    std::optional<Api::LobbyStatus> lastQueuedLobbyStatus;
    QueueStrategyTable queueStrategies;
    std::shared_ptr<QueueStrategy> squadForgeStrategy;
    std::shared_ptr<QueueStrategy> legacyStrategy;
    std::shared_ptr<QueueStrategy> invalidStrategy;
    // Once loaded, the table stays loaded: a later empty list is a list too.
    bool queuesLoaded = false;
    // Whether the last search was asked for by the lobby's leader, who alone re-enters the
    // queue when a penalty ends.
    bool wasLobbyLeader = false;
    bool loggedIn = false;
    bool connected = false;
    // From the moment this client gave up a low-priority queue until it enters one again, so
    // that the platform's echo of its own abandon is not taken for another player's.
    bool abandonedLowPriorityQueue = false;

    Resource AnswerReadyCheck(bool accept);
};

}  // namespace Tavix::Client::Matchmaking
