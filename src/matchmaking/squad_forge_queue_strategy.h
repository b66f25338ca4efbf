#pragma once
// The strategy of the queues the lobby feature manages: every operation is a request to the
// lobby feature's plug-in, which publishes the state of its matchmaking as one resource.

#include "matchmaking/queue_strategy.h"

namespace Tavix::Client::Matchmaking {

class SquadForgeQueueStrategy final : public QueueStrategy {
public:
    using QueueStrategy::QueueStrategy;

    Resource CreateSearch(const Api::LobbyStatus& lobby, std::string token) override;
    bool CancelSearch(std::int32_t queueId) override;
    Resource AcceptReadyCheck() override;
    Resource DeclineReadyCheck() override;
    void AbandonLowPriorityQueue(std::string token) override;
    void OnReconnected() override;
    void Subscribe() override;

private:
    Resource PostWithoutBody(const char* url, const char* failureText);
};

}  // namespace Tavix::Client::Matchmaking
