#include "matchmaking/record_registration.h"

#include "binding/record_builder.h"
#include "frame/lcds_client.h"
#include "matchmaking/api_records.h"
#include "matchmaking/lcds_records.h"
#include "matchmaking/upstream_records.h"

namespace Tavix::Client::Matchmaking {

namespace {

// Every API declaration is the namespace and the bare name, then the tags, then its fields or
// enumerators.
class ApiDeclarer {
public:
    ApiDeclarer(BindingRegistry& registry, const std::string& prefix,
                const std::vector<std::string>& tags)
        : registry_(registry), prefix_(prefix), tags_(tags) {}

    template <typename T>
    BindingRecordBuilder<T> Record(const char* name) const {
        BindingRecordBuilder<T> builder = DeclareRecord<T>(registry_, prefix_ + name);
        builder.Builder().AddTags(tags_);
        return builder;
    }

    template <typename T>
    BindingTypeBuilder Enum(const char* name) const {
        BindingTypeBuilder builder = DeclareEnum<T>(registry_, prefix_ + name);
        builder.AddTags(tags_);
        return builder;
    }

private:
    BindingRegistry& registry_;
    const std::string& prefix_;
    const std::vector<std::string>& tags_;
};

void RegisterMatchmakingRecords(const ApiDeclarer& api) {
    using namespace Api;
    api.Enum<MatchmakingSearchState>("MatchmakingSearchState")
        .AddEnumerator("Invalid", 0)
        .AddEnumerator("AbandonedLowPriorityQueue", 1)
        .AddEnumerator("Canceled", 2)
        .AddEnumerator("Searching", 3)
        .AddEnumerator("Found", 4)
        .AddEnumerator("Error", 5)
        .AddEnumerator("ServiceError", 6)
        .AddEnumerator("ServiceShutdown", 7);
    api.Enum<MatchmakingDodgeState>("MatchmakingDodgeState")
        .AddEnumerator("Invalid", 48)
        .AddEnumerator("PartyDodged", 49)
        .AddEnumerator("StrangerDodged", 50)
        .AddEnumerator("TournamentDodged", 51);
    api.Enum<MatchmakingReadyCheckState>("MatchmakingReadyCheckState")
        .AddEnumerator("Invalid", 0)
        .AddEnumerator("InProgress", 1)
        .AddEnumerator("EveryoneReady", 2)
        .AddEnumerator("StrangerNotReady", 3)
        .AddEnumerator("PartyNotReady", 4)
        .AddEnumerator("Error", 5);
    api.Enum<MatchmakingReadyCheckResponse>("MatchmakingReadyCheckResponse")
        .AddEnumerator("None", 48)
        .AddEnumerator("Accepted", 49)
        .AddEnumerator("Declined", 50);
    api.Enum<MatchmakingDodgeWarning>("MatchmakingDodgeWarning")
        .AddEnumerator("None", 0)
        .AddEnumerator("Warning", 1)
        .AddEnumerator("Penalty", 2);

    using ReadyCheck = MatchmakingReadyCheckResource;
    api.Record<ReadyCheck>("MatchmakingReadyCheckResource")
        .Field("state", &ReadyCheck::state)
        .Field("playerResponse", &ReadyCheck::playerResponse)
        .Field("dodgeWarning", &ReadyCheck::dodgeWarning)
        .Field("timer", &ReadyCheck::timer)
        .Field("declinerIds", &ReadyCheck::declinerIds)
        .Field("suppressUx", &ReadyCheck::suppressUx);
    using SearchError = MatchmakingSearchErrorResource;
    api.Record<SearchError>("MatchmakingSearchErrorResource")
        .Field("id", &SearchError::id)
        .Field("errorType", &SearchError::errorType)
        .Field("penalizedAvatarId", &SearchError::penalizedAvatarId)
        .Field("penaltyTimeRemaining", &SearchError::penaltyTimeRemaining)
        .Field("message", &SearchError::message);
    api.Record<MatchmakingDodgeData>("MatchmakingDodgeData")
        .Field("state", &MatchmakingDodgeData::state)
        .Field("dodgerId", &MatchmakingDodgeData::dodgerId);
    using LowPriority = MatchmakingLowPriorityData;
    api.Record<LowPriority>("MatchmakingLowPriorityData")
        .Field("penalizedAvatarIds", &LowPriority::penalizedAvatarIds)
        .Field("penaltyTime", &LowPriority::penaltyTime)
        .Field("penaltyTimeRemaining", &LowPriority::penaltyTimeRemaining)
        .Field("wardenedQuitterAccessToken", &LowPriority::wardenedQuitterAccessToken);
    using Search = MatchmakingSearchResource;
    api.Record<Search>("MatchmakingSearchResource")
        .Field("queueId", &Search::queueId)
        .Field("isCurrentlyInQueue", &Search::isCurrentlyInQueue)
        .Field("lobbyId", &Search::lobbyId)
        .Field("searchState", &Search::searchState)
        .Field("timeInQueue", &Search::timeInQueue)
        .Field("estimatedQueueTime", &Search::estimatedQueueTime)
        .Field("readyCheck", &Search::readyCheck)
        .Field("dodgeData", &Search::dodgeData)
        .Field("lowPriorityData", &Search::lowPriorityData)
        .Field("errors", &Search::errors);
}

void RegisterUpstreamRecords(const ApiDeclarer& api) {
    using namespace Api;
    api.Enum<QueueCustomGameSpectatorPolicy>("QueueCustomGameSpectatorPolicy")
        .AddEnumerator("NotAllowed", 0)
        .AddEnumerator("LobbyAllowed", 1)
        .AddEnumerator("FriendsAllowed", 2)
        .AddEnumerator("AllAllowed", 3);
    api.Record<LobbyStatus>("LobbyStatus")
        .Field("queueId", &LobbyStatus::queueId)
        .Field("isCustom", &LobbyStatus::isCustom)
        .Field("isLeader", &LobbyStatus::isLeader)
        .Field("isSpectator", &LobbyStatus::isSpectator)
        .Field("allowedPlayAgain", &LobbyStatus::allowedPlayAgain)
        .Field("memberAvatarIds", &LobbyStatus::memberAvatarIds)
        .Field("lobbyId", &LobbyStatus::lobbyId)
        .Field("customSpectatorPolicy", &LobbyStatus::customSpectatorPolicy);
    api.Record<PlayerStatus>("PlayerStatus")
        .Field("currentLobbyStatus", &PlayerStatus::currentLobbyStatus)
        .Field("lastQueuedLobbyStatus", &PlayerStatus::lastQueuedLobbyStatus);
    api.Record<Queue>("Queue")
        .Field("id", &Queue::id)
        .Field("isSquadForgeManaged", &Queue::isSquadForgeManaged);
    api.Enum<GameflowPhase>("GameflowPhase")
        .AddEnumerator("None", 0)
        .AddEnumerator("Lobby", 1)
        .AddEnumerator("Matchmaking", 2)
        .AddEnumerator("CheckedIntoTournament", 3)
        .AddEnumerator("ReadyCheck", 4)
        .AddEnumerator("RosterPick", 5)
        .AddEnumerator("GameStart", 6)
        .AddEnumerator("FailedToLaunch", 7)
        .AddEnumerator("InProgress", 8)
        .AddEnumerator("Reconnect", 9)
        .AddEnumerator("WaitingForStats", 10)
        .AddEnumerator("PreEndOfGame", 11)
        .AddEnumerator("EndOfGame", 12)
        .AddEnumerator("TerminatedInError", 13);
    api.Record<GameflowGameTypeConfig>("GameflowGameTypeConfig")
        .Field("reroll", &GameflowGameTypeConfig::reroll);
    api.Record<GameflowQueue>("GameflowQueue")
        .Field("gameTypeConfig", &GameflowQueue::gameTypeConfig);
    api.Record<GameflowGameData>("GameflowGameData").Field("queue", &GameflowGameData::queue);
    api.Record<GameflowGameDodge>("GameflowGameDodge")
        .Field("state", &GameflowGameDodge::state)
        .Field("dodgeIds", &GameflowGameDodge::dodgeIds);
    api.Record<GameflowSession>("GameflowSession")
        .Field("phase", &GameflowSession::phase)
        .Field("gameData", &GameflowSession::gameData)
        .Field("gameDodge", &GameflowSession::gameDodge);
    // Registered in this order on purpose: the numbers are the platform's, the order its list's.
    api.Enum<LoginSessionState>("LoginSessionState")
        .AddEnumerator("IN_PROGRESS", 0)
        .AddEnumerator("ERROR", 3)
        .AddEnumerator("SUCCEEDED", 1)
        .AddEnumerator("LOGGING_OUT", 2);
    api.Record<LoginSession>("LoginSession")
        .Field("state", &LoginSession::state)
        .Field("avatarId", &LoginSession::avatarId)
        .Field("accountId", &LoginSession::accountId)
        .Field("connected", &LoginSession::connected);
}

template <typename Refusal>
void RegisterQueueRefusal(AppClient& client, const char* name, const char* className) {
    client.RegisterLcdsClass<Refusal>(name, className)
        .Field("avatar", &Refusal::avatar)
        .Field("reasonFailed", &Refusal::reasonFailed)
        .Field("queueId", &Refusal::queueId)
        .Field("message", &Refusal::message);
}

}  // namespace

void RegisterApiRecords(BindingRegistry& registry, const std::string& apiNamespace,
                        const std::vector<std::string>& tags) {
    const ApiDeclarer api(registry, apiNamespace, tags);
    RegisterMatchmakingRecords(api);
    RegisterUpstreamRecords(api);
}

void RegisterLcdsRecords(AppClient& client) {
    using namespace Lcds;
    using Participant = MatchmakingLcdsPlayerParticipant;
    client
        .RegisterLcdsClass<Participant>("MatchmakingLcdsPlayerParticipant",
                                        "com.tavixplay.platform.game.PlayerParticipant")
        .Field("avatarId", &Participant::avatarId);
    using GameDto = MatchmakingLcdsGameDTO;
    client
        .RegisterLcdsClass<GameDto>("MatchmakingLcdsGameDTO", "com.tavixplay.platform.game.GameDTO")
        .Field("gameState", &GameDto::gameState)
        .Field("statusOfParticipants", &GameDto::statusOfParticipants)
        .Field("terminatedCondition", &GameDto::terminatedCondition)
        .Field("teamOne", &GameDto::teamOne)
        .Field("teamTwo", &GameDto::teamTwo);
    using Params = MatchmakingLcdsMatchMakerParams;
    client
        .RegisterLcdsClass<Params>("MatchmakingLcdsMatchMakerParams",
                                   "com.tavixplay.platform.matchmaking.MatchMakerParams")
        .Field("queueIds", &Params::queueIds)
        .Field("team", &Params::team)
        .Field("invitationId", &Params::invitationId)
        .Field("lastConductorMessage", &Params::lastConductorMessage)
        .Field("languages", &Params::languages)
        .Field("botDifficulty", &Params::botDifficulty)
        .Field("teamId", &Params::teamId);
    // No remote class: its "__class" goes out as an empty string.
    using Payload = MatchmakingLcdsMatchMakerPayload;
    client.RegisterLcdsClass<Payload>("MatchmakingLcdsMatchMakerPayload", "")
        .Field("QUIT_WARDEN_ACCESS_TOKEN", &Payload::QUIT_WARDEN_ACCESS_TOKEN);
    using QueueInfo = MatchmakingLcdsQueueInfo;
    client
        .RegisterLcdsClass<QueueInfo>("MatchmakingLcdsQueueInfo",
                                      "com.tavixplay.platform.matchmaking.QueueInfo")
        .Field("queueId", &QueueInfo::queueId)
        .Field("waitTime", &QueueInfo::waitTime);
    using Avatar = MatchmakingLcdsAvatar;
    client
        .RegisterLcdsClass<Avatar>("MatchmakingLcdsAvatar", "com.tavixplay.platform.avatar.Avatar")
        .Field("avaId", &Avatar::avaId)
        .Field("name", &Avatar::name);
    using FailedJoin = MatchmakingLcdsFailedJoinPlayer;
    client
        .RegisterLcdsClass<FailedJoin>("MatchmakingLcdsFailedJoinPlayer",
                                       "com.tavixplay.platform.game.FailedJoinPlayer")
        .Field("avatar", &FailedJoin::avatar)
        .Field("reasonFailed", &FailedJoin::reasonFailed);
    using Dodger = MatchmakingLcdsQueueDodger;
    client
        .RegisterLcdsClass<Dodger>("MatchmakingLcdsQueueDodger",
                                   "com.tavixplay.platform.matchmaking.QueueDodger")
        .Field("avatar", &Dodger::avatar)
        .Field("reasonFailed", &Dodger::reasonFailed)
        .Field("dodgePenaltyRemainingTime", &Dodger::dodgePenaltyRemainingTime);
    using Quitter = MatchmakingLcdsWardenedQuitter;
    client
        .RegisterLcdsClass<Quitter>("MatchmakingLcdsWardenedQuitter",
                                    "com.tavixplay.platform.matchmaking.WardenedQuitter")
        .Field("avatar", &Quitter::avatar)
        .Field("reasonFailed", &Quitter::reasonFailed)
        .Field("accessToken", &Quitter::accessToken)
        .Field("leaverPenaltyMillisRemaining", &Quitter::leaverPenaltyMillisRemaining);
    RegisterQueueRefusal<MatchmakingLcdsQueueDisabled>(
        client, "MatchmakingLcdsQueueDisabled", "com.tavixplay.platform.matchmaking.QueueDisabled");
    RegisterQueueRefusal<MatchmakingLcdsQueueRestricted>(
        client, "MatchmakingLcdsQueueRestricted",
        "com.tavixplay.platform.matchmaking.QueueRestricted");
    RegisterQueueRefusal<MatchmakingLcdsQueueThrottled>(
        client, "MatchmakingLcdsQueueThrottled",
        "com.tavixplay.platform.matchmaking.QueueThrottled");
    using Notification = MatchmakingLcdsSearchingForMatchNotification;
    client
        .RegisterLcdsClass<Notification>(
            "MatchmakingLcdsSearchingForMatchNotification",
            "com.tavixplay.platform.matchmaking.SearchingForMatchNotification")
        .Field("joinedQueues", &Notification::joinedQueues)
        .Field("playerJoinFailures", &Notification::playerJoinFailures);
    // The class registered here and the event the plug-in subscribes to differ: the platform
    // pushes this record under another class name than it answers with.
    using GameNotification = MatchmakingLcdsGameNotification;
    client
        .RegisterLcdsClass<GameNotification>("MatchmakingLcdsGameNotification",
                                             "com.tavixplay.platform.matchmaking.GameNotification")
        .Field("type", &GameNotification::type)
        .Field("messageCode", &GameNotification::messageCode)
        .Field("messageArgument", &GameNotification::messageArgument);
}

}  // namespace Tavix::Client::Matchmaking
