#include "matchmaking/bot_difficulty.h"

#include <algorithm>
#include <array>
#include <initializer_list>

namespace Tavix::Client::Matchmaking {

namespace {

struct BotQueues {
    std::initializer_list<std::int32_t> queueIds;
    const char* difficulty;
};

// Tested in this order; a queue id stands in one set at most.
const std::array<BotQueues, 4> kBotQueues{{
    {{31, 34}, "INTRO"},
    {{13, 23, 24, 25, 32, 35, 50, 51, 52, 67}, "EASY"},
    {{33, 36, 83, 84}, "MEDIUM"},
    {{90, 91, 92, 93, 94, 95}, "HARD"},
}};

}  // namespace

MaybeType<Failure, std::string> BotDifficultyForQueue(std::int32_t queueId) {
    for (const BotQueues& set : kBotQueues) {
        if (std::find(set.queueIds.begin(), set.queueIds.end(), queueId) != set.queueIds.end()) {
            return std::string(set.difficulty);
        }
    }
    return Failure("No bot difficulty for given queue");
}

}  // namespace Tavix::Client::Matchmaking
