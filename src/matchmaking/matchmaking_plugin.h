#pragma once
// MatchmakingPlugin: the one class that makes this module a matchmaking plug-in. It owns the
// player's current search and the machine that follows it.

#include <cstdint>
#include <string>
#include <unordered_set>

#include "frame/app_module.h"
#include "matchmaking/matchmaking_machine.h"

namespace Tavix::Client::Matchmaking {

class MatchmakingPlugin : public AppModule {
public:
    MatchmakingPlugin();
    ~MatchmakingPlugin() override;

    void OnStop() override;
    void RegisterApi() override;
    bool OnStart() override;

    // Logs the event and dispatches it; the result is the machine's. The timer's tick goes
    // straight to the machine, without the line.
    bool FireEvent(const std::string& event);
    // One tick of the search timer, ten a second: dispatched without a line.
    void DispatchTimerTick();

    const MatchmakingStateMachine& GetStateMachine() const { return stateMachine; }

    // Queues that take a search without a lobby, keep an existing search and show no ready-check
    // window.
    static const std::unordered_set<std::int32_t> uxSuppressedQueues;

    // The actions of the machine's table. Each one that works on the search checks first that a
    // search exists.
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

private:
    MatchmakingStateMachine stateMachine;
    // True from the moment this client gave up a low-priority queue until it enters one again.
    bool abandonedLowPriorityQueue = false;
};

}  // namespace Tavix::Client::Matchmaking
