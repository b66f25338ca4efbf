#pragma once
// What the plug-in sends to the remote platform and receives from it over the LCDS connection.
// All time fields are milliseconds.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "binding/value.h"

namespace Tavix::Client::Matchmaking::Lcds {

struct MatchmakingLcdsPlayerParticipant {
    std::uint64_t avatarId = 0;
};

struct MatchmakingLcdsGameDTO {
    std::string gameState;
    // One character per participant, teamOne first, then teamTwo; '0' and '2' mean not accepted.
    std::string statusOfParticipants;
    std::string terminatedCondition;
    std::vector<MatchmakingLcdsPlayerParticipant> teamOne;
    std::vector<MatchmakingLcdsPlayerParticipant> teamTwo;
};

struct MatchmakingLcdsMatchMakerParams {
    std::vector<std::int32_t> queueIds;
    std::vector<std::uint64_t> team;
    std::optional<std::string> invitationId;
    std::string lastConductorMessage;
    std::optional<std::string> languages;
    std::string botDifficulty;
    std::uint64_t teamId = 0;
};

// Sent after the params when the search carries a low-priority token.
struct MatchmakingLcdsMatchMakerPayload {
    std::string QUIT_WARDEN_ACCESS_TOKEN;
};

struct MatchmakingLcdsQueueInfo {
    std::int32_t queueId = 0;
    std::uint64_t waitTime = 0;
};

struct MatchmakingLcdsAvatar {
    std::uint64_t avaId = 0;
    std::string name;
};

// The failure records are known to the registry so that their remote classes are; the plug-in
// itself reads failures as dynamic values, by field name.
struct MatchmakingLcdsFailedJoinPlayer {
    MatchmakingLcdsAvatar avatar;
    std::string reasonFailed;
};

struct MatchmakingLcdsQueueDodger {
    MatchmakingLcdsAvatar avatar;
    std::string reasonFailed;
    std::uint64_t dodgePenaltyRemainingTime = 0;
};

struct MatchmakingLcdsWardenedQuitter {
    MatchmakingLcdsAvatar avatar;
    std::string reasonFailed;
    std::string accessToken;
    std::uint64_t leaverPenaltyMillisRemaining = 0;
};

// The three queue refusals share one shape; each is a type of its own because each is a remote
// class of its own.
enum class QueueRefusalKind { Disabled, Restricted, Throttled };

template <QueueRefusalKind Kind>
struct MatchmakingLcdsQueueRefusal {
    MatchmakingLcdsAvatar avatar;
    std::string reasonFailed;
    std::int32_t queueId = 0;
    std::string message;
};

using MatchmakingLcdsQueueDisabled = MatchmakingLcdsQueueRefusal<QueueRefusalKind::Disabled>;
using MatchmakingLcdsQueueRestricted = MatchmakingLcdsQueueRefusal<QueueRefusalKind::Restricted>;
using MatchmakingLcdsQueueThrottled = MatchmakingLcdsQueueRefusal<QueueRefusalKind::Throttled>;

struct MatchmakingLcdsSearchingForMatchNotification {
    std::vector<MatchmakingLcdsQueueInfo> joinedQueues;
    // One dynamic value per failed player, of any of the failure classes.
    std::vector<BindingValue> playerJoinFailures;
};

struct MatchmakingLcdsGameNotification {
    std::string type;
    std::string messageCode;
    std::string messageArgument;
};

}  // namespace Tavix::Client::Matchmaking::Lcds
