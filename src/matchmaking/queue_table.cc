#include "matchmaking/queue_table.h"

namespace Tavix::Client::Matchmaking {

void FillQueueTable(QueueStrategyTable& table, const std::vector<Api::Queue>& queues,
                    const std::shared_ptr<QueueStrategy>& squadForge,
                    const std::shared_ptr<QueueStrategy>& legacy) {
    table.clear();
    for (const Api::Queue& queue : queues) {
        table[queue.id] = queue.isSquadForgeManaged ? squadForge : legacy;
    }
}

const std::shared_ptr<QueueStrategy>& ResolveQueue(const QueueStrategyTable& table,
                                                   std::int32_t queueId,
                                                   const std::shared_ptr<QueueStrategy>& invalid) {
    const auto found = table.find(queueId);
    return found != table.end() ? found->second : invalid;
}

}  // namespace Tavix::Client::Matchmaking
