#pragma once
// The plug-in's view of what its neighbours publish: login, queues, gameflow session and lobby.
// Each record names only the fields the plug-in reads; a neighbour's other fields are ignored
// and a field it leaves out keeps its default.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "matchmaking/api_records.h"

namespace Tavix::Client::Matchmaking::Api {

enum class QueueCustomGameSpectatorPolicy : std::int32_t {
    NotAllowed = 0,
    LobbyAllowed = 1,
    FriendsAllowed = 2,
    AllAllowed = 3,
};

struct LobbyStatus {
    std::int32_t queueId = 0;
    bool isCustom = false;
    bool isLeader = false;
    bool isSpectator = false;
    bool allowedPlayAgain = false;
    std::vector<std::uint64_t> memberAvatarIds;
    std::optional<std::string> lobbyId;
    QueueCustomGameSpectatorPolicy customSpectatorPolicy =
        QueueCustomGameSpectatorPolicy::NotAllowed;
};

struct PlayerStatus {
    std::optional<LobbyStatus> currentLobbyStatus;
    std::optional<LobbyStatus> lastQueuedLobbyStatus;
};

struct Queue {
    std::int32_t id = 0;
    bool isSquadForgeManaged = false;
};

enum class GameflowPhase : std::int32_t {
    None = 0,
    Lobby = 1,
    Matchmaking = 2,
    CheckedIntoTournament = 3,
    ReadyCheck = 4,
    RosterPick = 5,
    GameStart = 6,
    FailedToLaunch = 7,
    InProgress = 8,
    Reconnect = 9,
    WaitingForStats = 10,
    PreEndOfGame = 11,
    EndOfGame = 12,
    TerminatedInError = 13,
};

struct GameflowGameTypeConfig {
    bool reroll = false;
};

struct GameflowQueue {
    GameflowGameTypeConfig gameTypeConfig;
};

struct GameflowGameData {
    GameflowQueue queue;
};

// Also what the plug-in reports to the gameflow plug-in when it detects a dodge.
struct GameflowGameDodge {
    MatchmakingDodgeState state = MatchmakingDodgeState::Invalid;
    std::vector<std::uint64_t> dodgeIds;
};

struct GameflowSession {
    GameflowPhase phase = GameflowPhase::None;
    GameflowGameData gameData;
    GameflowGameDodge gameDodge;
};

enum class LoginSessionState : std::int32_t {
    IN_PROGRESS = 0,
    SUCCEEDED = 1,
    LOGGING_OUT = 2,
    ERROR = 3,
};

struct LoginSession {
    LoginSessionState state = LoginSessionState::IN_PROGRESS;
    std::uint64_t avatarId = 0;
    std::uint64_t accountId = 0;  // read only to test that it is not 0
    bool connected = false;
};

}  // namespace Tavix::Client::Matchmaking::Api
