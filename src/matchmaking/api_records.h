#pragma once
// The records and enums that the plug-in serves and publishes under "/arx-matchmaking/v1/", and
// of which its search is made. Every field crosses the wire; the few members that do not are
// named as such and never registered.

#include <cstdint>
#include <string>
#include <vector>

namespace Tavix::Client::Matchmaking::Api {

enum class MatchmakingSearchState : std::int32_t {
    Invalid = 0,
    AbandonedLowPriorityQueue = 1,
    Canceled = 2,
    Searching = 3,
    Found = 4,
    Error = 5,
    ServiceError = 6,
    ServiceShutdown = 7,
};

// The values are the character codes of the digits '0' to '3', as the platform sends them.
enum class MatchmakingDodgeState : std::int32_t {
    Invalid = 48,
    PartyDodged = 49,
    StrangerDodged = 50,
    TournamentDodged = 51,
};

enum class MatchmakingReadyCheckState : std::int32_t {
    Invalid = 0,
    InProgress = 1,
    EveryoneReady = 2,
    StrangerNotReady = 3,
    PartyNotReady = 4,
    Error = 5,
};

// One byte wide, with digit character codes like the dodge state.
enum class MatchmakingReadyCheckResponse : std::uint8_t {
    None = 48,
    Accepted = 49,
    Declined = 50,
};

enum class MatchmakingDodgeWarning : std::int32_t {
    None = 0,
    Warning = 1,
    Penalty = 2,
};

struct MatchmakingReadyCheckResource {
    MatchmakingReadyCheckState state = MatchmakingReadyCheckState::Invalid;
    MatchmakingReadyCheckResponse playerResponse = MatchmakingReadyCheckResponse::None;
    MatchmakingDodgeWarning dodgeWarning = MatchmakingDodgeWarning::None;
    float timer = 0.0f;  // whole seconds since the check began
    std::vector<std::uint64_t> declinerIds;
    bool suppressUx = false;

    // Not on the wire: when the check began, in monotonic nanoseconds.
    std::int64_t readyCheckStartTime = 0;
};

struct MatchmakingSearchErrorResource {
    std::int32_t id = 0;
    std::string errorType;
    std::uint64_t penalizedAvatarId = 0;
    double penaltyTimeRemaining = 0.0;  // seconds
    std::string message;
};

struct MatchmakingDodgeData {
    MatchmakingDodgeState state = MatchmakingDodgeState::Invalid;
    std::uint64_t dodgerId = 0;
};

struct MatchmakingLowPriorityData {
    std::vector<std::uint64_t> penalizedAvatarIds;
    double penaltyTime = 0.0;           // seconds
    double penaltyTimeRemaining = 0.0;  // seconds
    std::string wardenedQuitterAccessToken;
};

struct MatchmakingSearchResource {
    std::int32_t queueId = -1;
    bool isCurrentlyInQueue = false;
    std::string lobbyId;
    MatchmakingSearchState searchState = MatchmakingSearchState::Invalid;
    float timeInQueue = 0.0f;         // seconds, moved in whole seconds
    float estimatedQueueTime = 0.0f;  // seconds
    MatchmakingReadyCheckResource readyCheck;
    MatchmakingDodgeData dodgeData;
    MatchmakingLowPriorityData lowPriorityData;
    std::vector<MatchmakingSearchErrorResource> errors;

    // Not on the wire: the moment the search was adopted, in monotonic nanoseconds, and the whole
    // seconds since then at the last counted tick.
    std::int64_t searchStartTime = 0;
    std::int64_t lastTickSeconds = 0;
};

}  // namespace Tavix::Client::Matchmaking::Api
