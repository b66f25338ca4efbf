#pragma once
// Where the plug-in reaches its neighbours, and the URIs under which it publishes its own
// resources.

namespace Tavix::Client::Matchmaking {

// Resources the plug-in watches.
inline constexpr const char* kLoginSessionUri = "/arx-login/v1/session";
inline constexpr const char* kQueuesUri = "/arx-game-queues/v1/queues";
inline constexpr const char* kGameflowSessionUri = "/arx-gameflow/v1/session";
inline constexpr const char* kPlayerStatusUri = "/arx-gameflow/v1/gameflow-metadata/player-status";
inline constexpr const char* kSquadForgeMatchmakingUri = "/arx-lobby-squad-forge/v1/matchmaking";

// Requests the plug-in sends.
inline constexpr const char* kGameflowEventUri = "/arx-gameflow/v1/session/event";
inline constexpr const char* kGameflowDodgeUri = "/arx-gameflow/v1/session/dodge";
inline constexpr const char* kUxShowUri = "/tavixclient/ux-show";
inline constexpr const char* kSquadForgeSearchUri = "/arx-lobby-squad-forge/v1/matchmaking/search";
inline constexpr const char* kSquadForgeAcceptUri = "/arx-lobby-squad-forge/v1/ready-check/accept";
inline constexpr const char* kSquadForgeDeclineUri =
    "/arx-lobby-squad-forge/v1/ready-check/decline";
inline constexpr const char* kSquadForgeAbandonUri =
    "/arx-lobby-squad-forge/v1/matchmaking/low-priority-queue/abandon";

// Remote messages the plug-in takes.
inline constexpr const char* kGameNotificationClass =
    "com.tavixplay.platform.game.message.GameNotification";
inline constexpr const char* kSimpleDialogMessageClass =
    "com.tavixplay.platform.messaging.persistence.SimpleDialogMessage";
inline constexpr const char* kSearchingForMatchNotificationClass =
    "com.tavixplay.platform.matchmaking.SearchingForMatchNotification";
inline constexpr const char* kGameDtoClass = "com.tavixplay.platform.game.GameDTO";
inline constexpr const char* kLowPriorityQueueAbandonedClass =
    "com.tavixplay.platform.quitwarden.event.messaging.QuitWardenLowPriorityQueueAbandoned";

// Remote services.
inline constexpr const char* kMatchmakerService = "matchmakerService";
inline constexpr const char* kGameService = "gameService";
inline constexpr const char* kClientFacadeService = "clientFacadeService";

// The plug-in's own resources.
inline constexpr const char* kSearchUri = "/arx-matchmaking/v1/search";
inline constexpr const char* kSearchErrorsUri = "/arx-matchmaking/v1/search/errors";
inline constexpr const char* kSearchErrorUri = "/arx-matchmaking/v1/search/errors/{id}";
inline constexpr const char* kReadyCheckUri = "/arx-matchmaking/v1/ready-check";
inline constexpr const char* kReadyCheckAcceptUri = "/arx-matchmaking/v1/ready-check/accept";
inline constexpr const char* kReadyCheckDeclineUri = "/arx-matchmaking/v1/ready-check/decline";

// The plug-in's description of itself: the builtin Help in Full form, and the OpenAPI document.
inline constexpr const char* kHelpUri = "/arx-matchmaking/v1/help";
inline constexpr const char* kOpenApiUri = "/arx-matchmaking/v1/openapi";

}  // namespace Tavix::Client::Matchmaking
