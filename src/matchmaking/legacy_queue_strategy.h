#pragma once
// The strategy of the queues the remote platform serves directly: every operation is a remote
// method invoked over the LCDS connection, and the platform pushes searches, game records and
// abandons of low-priority queues as remote messages.

#include "matchmaking/lcds_records.h"
#include "matchmaking/queue_strategy.h"

namespace Tavix::Client::Matchmaking {

class LegacyQueueStrategy final : public QueueStrategy {
public:
    using QueueStrategy::QueueStrategy;

    Resource CreateSearch(const Api::LobbyStatus& lobby, std::string token) override;
    bool CancelSearch(std::int32_t queueId) override;
    Resource AcceptReadyCheck() override;
    Resource DeclineReadyCheck() override;
    void AbandonLowPriorityQueue(std::string token) override;
    // A reconnect during matchmaking or a ready check means this player missed it: a party dodge.
    void OnReconnected() override;
    void Subscribe() override;

    void OnSearchingForMatchNotification(
        const Lcds::MatchmakingLcdsSearchingForMatchNotification& notification);

private:
    Resource AnswerReadyCheck(bool accept, const char* failureText);
};

}  // namespace Tavix::Client::Matchmaking
