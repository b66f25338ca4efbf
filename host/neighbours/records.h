#pragma once
// The records the neighbours publish and the remote platform sends, as the neighbours themselves
// hold them, and their values on the wire. The host sees nothing of the plug-in's own records:
// these are written from the wire's side, with enums by name as JSON carries them.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "core/value.h"

namespace Tavix::TestHost {

Value IdList(const std::vector<std::uint64_t>& ids);

struct LoginRecord {
    std::string state = "SUCCEEDED";  // IN_PROGRESS, SUCCEEDED, LOGGING_OUT or ERROR
    std::uint64_t avatarId = 0;
    std::uint64_t accountId = 0;
    bool connected = true;

    Value ToValue() const;
};

struct LobbyRecord {
    std::int32_t queueId = 0;
    bool isCustom = false;
    bool isLeader = true;
    bool isSpectator = false;
    bool allowedPlayAgain = false;
    std::vector<std::uint64_t> memberAvatarIds;
    std::optional<std::string> lobbyId;
    std::string customSpectatorPolicy = "NotAllowed";

    Value ToValue() const;
};

// The player status of the gameflow neighbour: the lobby now, and the lobby of the last queue.
struct PlayerStatusRecord {
    std::optional<LobbyRecord> currentLobbyStatus;
    std::optional<LobbyRecord> lastQueuedLobbyStatus;

    Value ToValue() const;
};

struct QueueRecord {
    std::int32_t id = 0;
    bool isSquadForgeManaged = false;
};

Value QueueList(const std::vector<QueueRecord>& queues);

struct GameflowRecord {
    std::string phase = "None";
    std::string dodgeState = "Invalid";  // Invalid, PartyDodged, StrangerDodged, TournamentDodged
    std::vector<std::uint64_t> dodgeIds;
    bool reroll = false;

    Value ToValue() const;
};

struct SearchErrorRecord {
    std::int32_t id = 0;
    std::string errorType;
    std::uint64_t penalizedAvatarId = 0;
    double penaltyTimeRemaining = 0.0;
    std::string message;

    Value ToValue() const;
};

// A matchmaking search as the lobby feature publishes it, or as a caller PUTs it.
struct SearchRecord {
    std::int32_t queueId = -1;
    bool isCurrentlyInQueue = false;
    std::string lobbyId;
    std::string searchState = "Invalid";
    double timeInQueue = 0.0;
    double estimatedQueueTime = 0.0;
    std::string readyCheckState = "Invalid";
    std::string playerResponse = "None";
    std::string dodgeWarning = "None";
    double readyCheckTimer = 0.0;
    std::vector<std::uint64_t> declinerIds;
    bool suppressUx = false;
    std::string dodgeState = "Invalid";
    std::uint64_t dodgerId = 0;
    std::vector<std::uint64_t> penalizedAvatarIds;
    double penaltyTime = 0.0;
    double penaltyTimeRemaining = 0.0;
    std::string wardenedQuitterAccessToken;
    std::vector<SearchErrorRecord> errors;

    Value ToValue() const;
};

// ---- The remote platform's records ------------------------------------------------------------

inline constexpr const char* kSearchingForMatchClass =
    "com.tavixplay.platform.matchmaking.SearchingForMatchNotification";
inline constexpr const char* kGameDtoClass = "com.tavixplay.platform.game.GameDTO";
inline constexpr const char* kGameNotificationClass =
    "com.tavixplay.platform.game.message.GameNotification";
inline constexpr const char* kSimpleDialogClass =
    "com.tavixplay.platform.messaging.persistence.SimpleDialogMessage";
inline constexpr const char* kLowPriorityAbandonedClass =
    "com.tavixplay.platform.quitwarden.event.messaging.QuitWardenLowPriorityQueueAbandoned";

// One player who could not join, of any failure class; the fields a class lacks stay out.
struct JoinFailureRecord {
    std::string className = "com.tavixplay.platform.game.FailedJoinPlayer";
    std::uint64_t avatarId = 0;
    std::string avatarName;
    std::string reasonFailed;
    std::optional<std::uint64_t> dodgePenaltyRemainingTime;     // QueueDodger, milliseconds
    std::optional<std::string> accessToken;                     // WardenedQuitter
    std::optional<std::uint64_t> leaverPenaltyMillisRemaining;  // WardenedQuitter
    std::optional<std::int32_t> queueId;                        // the queue refusals
    std::optional<std::string> message;                         // the queue refusals

    Value ToValue() const;
};

// The platform's answer to a queue join, and its push of a search.
struct SearchingForMatchRecord {
    struct Joined {
        std::int32_t queueId = 0;
        std::uint64_t waitTime = 0;  // milliseconds
    };
    std::vector<Joined> joinedQueues;
    std::vector<JoinFailureRecord> playerJoinFailures;

    Value ToValue() const;
};

struct GameDtoRecord {
    std::string gameState = "TERMINATED";
    std::string statusOfParticipants;
    std::string terminatedCondition;
    std::vector<std::uint64_t> teamOne;
    std::vector<std::uint64_t> teamTwo;

    Value ToValue() const;
};

}  // namespace Tavix::TestHost
