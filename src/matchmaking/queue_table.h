#pragma once
// The queue table: which strategy serves which queue id, as the queue list says.

#include <cstdint>
#include <memory>
#include <vector>

#include "matchmaking/queue_strategy.h"
#include "matchmaking/upstream_records.h"
#include "support/fnv1a.h"

namespace Tavix::Client::Matchmaking {

using QueueStrategyTable = FrameHashMap<std::int32_t, std::shared_ptr<QueueStrategy>>;

// Empties the table and enters each queue of the list in order: a queue managed by the lobby
// feature gets `squadForge`, any other `legacy`. A later row of an id replaces an earlier one.
void FillQueueTable(QueueStrategyTable& table, const std::vector<Api::Queue>& queues,
                    const std::shared_ptr<QueueStrategy>& squadForge,
                    const std::shared_ptr<QueueStrategy>& legacy);

// The strategy of a listed queue, or `invalid` for an id the list does not have.
const std::shared_ptr<QueueStrategy>& ResolveQueue(const QueueStrategyTable& table,
                                                   std::int32_t queueId,
                                                   const std::shared_ptr<QueueStrategy>& invalid);

}  // namespace Tavix::Client::Matchmaking
