#pragma once
// The plug-in's neighbours as the host would route them, scripted: the login, the queue list,
// the gameflow session with its player status, the lobby feature, the client shell, and the
// remote platform behind the session's invoke resource. Each neighbour keeps what the module sent
// it, can be told to answer, fail or answer late, and publishes its updates as events.
//
// Tests, the soak and arx-host's simulated platform all stand on these; none of them reaches
// into the module.

#include <cstdint>
#include <string>
#include <vector>

#include "core/host.h"
#include "core/lcds_endpoint.h"
#include "neighbours/records.h"
#include "neighbours/scripted_resource.h"
#include "neighbours/scripted_route.h"

namespace Tavix::TestHost {

inline constexpr const char* kLoginSessionUri = "/arx-login/v1/session";
inline constexpr const char* kQueuesUri = "/arx-game-queues/v1/queues";
inline constexpr const char* kGameflowSessionUri = "/arx-gameflow/v1/session";
inline constexpr const char* kGameflowEventUri = "/arx-gameflow/v1/session/event";
inline constexpr const char* kGameflowDodgeUri = "/arx-gameflow/v1/session/dodge";
inline constexpr const char* kPlayerStatusUri = "/arx-gameflow/v1/gameflow-metadata/player-status";
inline constexpr const char* kSquadForgeMatchmakingUri = "/arx-lobby-squad-forge/v1/matchmaking";
inline constexpr const char* kSquadForgeSearchUri = "/arx-lobby-squad-forge/v1/matchmaking/search";
inline constexpr const char* kSquadForgeAcceptUri = "/arx-lobby-squad-forge/v1/ready-check/accept";
inline constexpr const char* kSquadForgeDeclineUri =
    "/arx-lobby-squad-forge/v1/ready-check/decline";
inline constexpr const char* kSquadForgeAbandonUri =
    "/arx-lobby-squad-forge/v1/matchmaking/low-priority-queue/abandon";
inline constexpr const char* kUxShowUri = "/tavixclient/ux-show";
inline constexpr const char* kTelemetryUri = "/telemetry/v1/events/";

class LoginNeighbour {
public:
    explicit LoginNeighbour(Host& host) : session(host, kLoginSessionUri) {}

    // Changes the session and publishes it as an Update.
    void Update(const LoginRecord& next);
    // Keeps the session, with `connected` changed, and publishes it.
    void SetConnected(bool connected);
    // The session goes: a Delete event.
    void LogOut();

    LoginRecord record;
    ScriptedResource session;
};

class QueuesNeighbour {
public:
    explicit QueuesNeighbour(Host& host) : list(host, kQueuesUri) {}

    void Set(const std::vector<QueueRecord>& queues);
    void Update(const std::vector<QueueRecord>& queues);

    ScriptedResource list;
};

// The gameflow plug-in: its session, the events and dodges the module posts to it, and the
// player status it keeps about the lobby.
class GameflowNeighbour {
public:
    explicit GameflowNeighbour(Host& host)
        : session(host, kGameflowSessionUri),
          events(host, Client::kMethodPost, kGameflowEventUri),
          dodges(host, Client::kMethodPost, kGameflowDodgeUri),
          playerStatus(host, kPlayerStatusUri) {}

    // Moves the session to `phase` with no dodge, or with the dodge given, and publishes it.
    void MoveTo(const std::string& phase);
    void MoveTo(const std::string& phase, const std::string& dodgeState,
                std::vector<std::uint64_t> dodgeIds);
    // The texts of the events posted so far ("GAMEFLOW_EVENT.ENTERED_QUEUE", ...).
    std::vector<std::string> PostedEvents() const;

    // The player status: joining, changing and leaving a lobby, each published as an Update.
    void JoinLobby(const LobbyRecord& lobby);
    void LeaveLobby();
    void UpdateStatus(const PlayerStatusRecord& next);

    GameflowRecord record;
    PlayerStatusRecord status;
    ScriptedResource session;
    ScriptedRoute events;
    ScriptedRoute dodges;
    ScriptedResource playerStatus;
};

// The lobby feature's plug-in: its five matchmaking routes and the resource it publishes.
class SquadForgeNeighbour {
public:
    explicit SquadForgeNeighbour(Host& host)
        : search(host, Client::kMethodPost, kSquadForgeSearchUri),
          cancel(host, Client::kMethodDelete, kSquadForgeSearchUri),
          accept(host, Client::kMethodPost, kSquadForgeAcceptUri),
          decline(host, Client::kMethodPost, kSquadForgeDeclineUri),
          abandon(host, Client::kMethodPost, kSquadForgeAbandonUri),
          matchmaking(host, kSquadForgeMatchmakingUri) {}

    ScriptedRoute search;
    ScriptedRoute cancel;
    ScriptedRoute accept;
    ScriptedRoute decline;
    ScriptedRoute abandon;
    ScriptedResource matchmaking;
};

// The client around the plug-ins: its window and its telemetry.
class ClientNeighbour {
public:
    explicit ClientNeighbour(Host& host)
        : uxShow(host, Client::kMethodPost, kUxShowUri),
          telemetry(host, Client::kMethodPost, kTelemetryUri, ScriptedRoute::Match::Prefix) {}

    ScriptedRoute uxShow;
    ScriptedRoute telemetry;
};

// The remote platform: the three services behind the session's invoke resource, and the
// messages it pushes.
class PlatformNeighbour {
public:
    explicit PlatformNeighbour(Host& host) : lcds(host), host_(host) {}

    // Queues the next answer of a method: a record of a remote class, an empty answer, a failure,
    // or an answer that arrives after `turns` host turns.
    void Answer(const std::string& service, const std::string& method, const std::string& className,
                const Value& body);
    void AnswerEmpty(const std::string& service, const std::string& method);
    void Fail(const std::string& service, const std::string& method, const std::string& error,
              std::uint32_t status = 500);
    void AnswerLate(const std::string& service, const std::string& method,
                    const std::string& className, const Value& body, int turns);

    // The usual answers of the three services.
    void AnswerAttach(const SearchingForMatchRecord& notification);
    void AnswerCancel(bool cancelled);

    // Pushes of the platform, delivered to subscribers on a later turn.
    void Push(const std::string& className, const Value& body);
    void PushSearchingForMatch(const SearchingForMatchRecord& notification);
    void PushGameDto(const GameDtoRecord& game);
    void PushGameNotification(const std::string& type);
    void PushSimpleDialog(const std::string& type);
    void PushLowPriorityQueueAbandoned();

    // The calls of one service's method, in order.
    std::vector<LcdsInvocation> Calls(const std::string& service, const std::string& method) const;

    LcdsEndpoint lcds;

private:
    Host& host_;
};

// Every neighbour of the plug-in on one host. At first the player is logged in (avatar
// kOwnAvatarId), connected, in no lobby; the queue list holds a legacy, a squad-forge, a bot and
// a lobby-less queue; the gameflow session is in the phase None.
struct Neighbourhood {
    static constexpr std::uint64_t kOwnAvatarId = 4101;
    static constexpr std::uint64_t kAccountId = 9001;
    static constexpr std::int32_t kLegacyQueue = 420;
    static constexpr std::int32_t kSquadForgeQueue = 440;
    static constexpr std::int32_t kBotQueue = 33;
    static constexpr std::int32_t kLobbylessQueue = 700;

    explicit Neighbourhood(Host& host);

    // A lobby of the player in `queueId`, as its leader unless told otherwise, with the player
    // and the other members given.
    static LobbyRecord Lobby(std::int32_t queueId, std::vector<std::uint64_t> others = {},
                             bool isLeader = true);

    LoginNeighbour login;
    QueuesNeighbour queues;
    GameflowNeighbour gameflow;
    SquadForgeNeighbour squadForge;
    ClientNeighbour client;
    PlatformNeighbour platform;
};

}  // namespace Tavix::TestHost
