#pragma once
// QueueStrategy: what a search needs of the back end that serves its queue. A queue is served
// either by the remote platform over the LCDS connection or by the lobby feature's plug-in over
// REST; the plug-in holds one strategy of each kind, and one for queues it does not know.
//
// Every operation that calls out waits for its answer and may let other handlers of the plug-in
// run meanwhile: code after such a call must look at the plug-in's state afresh.

#include <cstdint>
#include <string>

#include "matchmaking/upstream_records.h"
#include "routing/resource.h"
#include "support/failure.h"

namespace Tavix::Client::Matchmaking {

class MatchmakingPlugin;

// The message of a failure from a back end, for texts that quote it; empty when it has none.
inline const char* FailureText(const Failure& failure) {
    const char* message = failure.GetMessage();
    return message != nullptr ? message : "";
}

class QueueStrategy {
public:
    explicit QueueStrategy(MatchmakingPlugin* owner) : plugin(owner) {}
    QueueStrategy(const QueueStrategy&) = delete;
    QueueStrategy& operator=(const QueueStrategy&) = delete;
    virtual ~QueueStrategy() = default;

    // Enters the lobby's queue; on success the search has been adopted. Failures are 500s.
    virtual Resource CreateSearch(const Api::LobbyStatus& lobby, std::string token) = 0;
    // Whether the queue was left.
    virtual bool CancelSearch(std::int32_t queueId) = 0;
    virtual Resource AcceptReadyCheck() = 0;
    virtual Resource DeclineReadyCheck() = 0;
    // Gives up a low-priority queue; reports nothing.
    virtual void AbandonLowPriorityQueue(std::string token) = 0;
    // The connection to the platform came back while the player was in a lobby.
    virtual void OnReconnected() = 0;
    // Subscribes to what the back end pushes; called once, at start.
    virtual void Subscribe() = 0;

protected:
    // The strategies live exactly as long as their plug-in.
    MatchmakingPlugin* plugin;
};

}  // namespace Tavix::Client::Matchmaking
