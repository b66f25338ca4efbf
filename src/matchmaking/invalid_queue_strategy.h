#pragma once
// The strategy of a queue id missing from the queue list: it refuses what needs a back end and
// lets everything else pass, so that a queue that vanished from the list can still be left.

#include "matchmaking/queue_strategy.h"

namespace Tavix::Client::Matchmaking {

class InvalidQueueStrategy final : public QueueStrategy {
public:
    using QueueStrategy::QueueStrategy;

    Resource CreateSearch(const Api::LobbyStatus& lobby, std::string token) override;
    bool CancelSearch(std::int32_t queueId) override;
    Resource AcceptReadyCheck() override;
    Resource DeclineReadyCheck() override;
    void AbandonLowPriorityQueue(std::string token) override;
    void OnReconnected() override;
    void Subscribe() override;
};

}  // namespace Tavix::Client::Matchmaking
