#include "matchmaking/invalid_queue_strategy.h"

namespace Tavix::Client::Matchmaking {

Resource InvalidQueueStrategy::CreateSearch(const Api::LobbyStatus&, std::string) {
    return InternalServerError("Can't create search for invalid queueId");
}

bool InvalidQueueStrategy::CancelSearch(std::int32_t) {
    return true;
}

Resource InvalidQueueStrategy::AcceptReadyCheck() {
    return InternalServerError("Can't accept ready check for invalid queueId");
}

Resource InvalidQueueStrategy::DeclineReadyCheck() {
    return InternalServerError("Can't decline ready check for invalid queueId");
}

void InvalidQueueStrategy::AbandonLowPriorityQueue(std::string) {}

void InvalidQueueStrategy::OnReconnected() {}

// Never called: nothing pushes anything about a queue nobody serves.
void InvalidQueueStrategy::Subscribe() {}

}  // namespace Tavix::Client::Matchmaking
