#include "neighbours/records.h"

#include <utility>

namespace Tavix::TestHost {

namespace {

// Appends a field to a structure value.
void Put(Value& structure, std::string key, Value value) {
    structure.fields.push_back({std::move(key), std::move(value), false});
}

Value Structure() {
    return Value::Map({});
}

Value ClassMark(const std::string& className) {
    return Value::Text(className);
}

Value Participants(const std::vector<std::uint64_t>& ids) {
    std::vector<Value> items;
    for (const std::uint64_t id : ids) {
        items.push_back(
            Value::Map({{"__class", ClassMark("com.tavixplay.platform.game.PlayerParticipant")},
                        {"avatarId", Value::Unsigned(id)}}));
    }
    return Value::List(std::move(items));
}

}  // namespace

Value IdList(const std::vector<std::uint64_t>& ids) {
    std::vector<Value> items;
    for (const std::uint64_t id : ids) {
        items.push_back(Value::Unsigned(id));
    }
    return Value::List(std::move(items));
}

Value LoginRecord::ToValue() const {
    return Value::Map({{"state", Value::Text(state)},
                       {"avatarId", Value::Unsigned(avatarId)},
                       {"accountId", Value::Unsigned(accountId)},
                       {"connected", Value::Bool(connected)}});
}

Value LobbyRecord::ToValue() const {
    Value value = Value::Map({{"queueId", Value::Signed(queueId)},
                              {"isCustom", Value::Bool(isCustom)},
                              {"isLeader", Value::Bool(isLeader)},
                              {"isSpectator", Value::Bool(isSpectator)},
                              {"allowedPlayAgain", Value::Bool(allowedPlayAgain)},
                              {"memberAvatarIds", IdList(memberAvatarIds)},
                              {"customSpectatorPolicy", Value::Text(customSpectatorPolicy)}});
    if (lobbyId.has_value()) {
        Put(value, "lobbyId", Value::Text(*lobbyId));
    }
    return value;
}

Value PlayerStatusRecord::ToValue() const {
    Value value = Structure();
    Put(value, "currentLobbyStatus",
        currentLobbyStatus ? currentLobbyStatus->ToValue() : Value::None());
    Put(value, "lastQueuedLobbyStatus",
        lastQueuedLobbyStatus ? lastQueuedLobbyStatus->ToValue() : Value::None());
    return value;
}

Value QueueList(const std::vector<QueueRecord>& queues) {
    std::vector<Value> items;
    for (const QueueRecord& queue : queues) {
        items.push_back(
            Value::Map({{"id", Value::Signed(queue.id)},
                        {"isSquadForgeManaged", Value::Bool(queue.isSquadForgeManaged)}}));
    }
    return Value::List(std::move(items));
}

Value GameflowRecord::ToValue() const {
    return Value::Map(
        {{"phase", Value::Text(phase)},
         {"gameData",
          Value::Map({{"queue", Value::Map({{"gameTypeConfig",
                                             Value::Map({{"reroll", Value::Bool(reroll)}})}})}})},
         {"gameDodge",
          Value::Map({{"state", Value::Text(dodgeState)}, {"dodgeIds", IdList(dodgeIds)}})}});
}

Value SearchErrorRecord::ToValue() const {
    return Value::Map({{"id", Value::Signed(id)},
                       {"errorType", Value::Text(errorType)},
                       {"penalizedAvatarId", Value::Unsigned(penalizedAvatarId)},
                       {"penaltyTimeRemaining", Value::Float(penaltyTimeRemaining)},
                       {"message", Value::Text(message)}});
}

Value SearchRecord::ToValue() const {
    std::vector<Value> errorValues;
    for (const SearchErrorRecord& error : errors) {
        errorValues.push_back(error.ToValue());
    }
    return Value::Map(
        {{"queueId", Value::Signed(queueId)},
         {"isCurrentlyInQueue", Value::Bool(isCurrentlyInQueue)},
         {"lobbyId", Value::Text(lobbyId)},
         {"searchState", Value::Text(searchState)},
         {"timeInQueue", Value::Float(timeInQueue)},
         {"estimatedQueueTime", Value::Float(estimatedQueueTime)},
         {"readyCheck", Value::Map({{"state", Value::Text(readyCheckState)},
                                    {"playerResponse", Value::Text(playerResponse)},
                                    {"dodgeWarning", Value::Text(dodgeWarning)},
                                    {"timer", Value::Float(readyCheckTimer)},
                                    {"declinerIds", IdList(declinerIds)},
                                    {"suppressUx", Value::Bool(suppressUx)}})},
         {"dodgeData", Value::Map({{"state", Value::Text(dodgeState)},
                                   {"dodgerId", Value::Unsigned(dodgerId)}})},
         {"lowPriorityData",
          Value::Map({{"penalizedAvatarIds", IdList(penalizedAvatarIds)},
                      {"penaltyTime", Value::Float(penaltyTime)},
                      {"penaltyTimeRemaining", Value::Float(penaltyTimeRemaining)},
                      {"wardenedQuitterAccessToken", Value::Text(wardenedQuitterAccessToken)}})},
         {"errors", Value::List(std::move(errorValues))}});
}

Value JoinFailureRecord::ToValue() const {
    Value value = Value::Map(
        {{"__class", ClassMark(className)},
         {"avatar", Value::Map({{"__class", ClassMark("com.tavixplay.platform.avatar.Avatar")},
                                {"avaId", Value::Unsigned(avatarId)},
                                {"name", Value::Text(avatarName)}})},
         {"reasonFailed", Value::Text(reasonFailed)}});
    if (dodgePenaltyRemainingTime) {
        Put(value, "dodgePenaltyRemainingTime", Value::Unsigned(*dodgePenaltyRemainingTime));
    }
    if (accessToken) {
        Put(value, "accessToken", Value::Text(*accessToken));
    }
    if (leaverPenaltyMillisRemaining) {
        Put(value, "leaverPenaltyMillisRemaining", Value::Unsigned(*leaverPenaltyMillisRemaining));
    }
    if (queueId) {
        Put(value, "queueId", Value::Signed(*queueId));
    }
    if (message) {
        Put(value, "message", Value::Text(*message));
    }
    return value;
}

Value SearchingForMatchRecord::ToValue() const {
    std::vector<Value> joined;
    for (const Joined& queue : joinedQueues) {
        joined.push_back(
            Value::Map({{"__class", ClassMark("com.tavixplay.platform.matchmaking.QueueInfo")},
                        {"queueId", Value::Signed(queue.queueId)},
                        {"waitTime", Value::Unsigned(queue.waitTime)}}));
    }
    std::vector<Value> failures;
    for (const JoinFailureRecord& failure : playerJoinFailures) {
        failures.push_back(failure.ToValue());
    }
    return Value::Map({{"__class", ClassMark(kSearchingForMatchClass)},
                       {"joinedQueues", Value::List(std::move(joined))},
                       {"playerJoinFailures", Value::List(std::move(failures))}});
}

Value GameDtoRecord::ToValue() const {
    return Value::Map({{"__class", ClassMark(kGameDtoClass)},
                       {"gameState", Value::Text(gameState)},
                       {"statusOfParticipants", Value::Text(statusOfParticipants)},
                       {"terminatedCondition", Value::Text(terminatedCondition)},
                       {"teamOne", Participants(teamOne)},
                       {"teamTwo", Participants(teamTwo)}});
}

}  // namespace Tavix::TestHost
