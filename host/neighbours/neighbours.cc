#include "neighbours/neighbours.h"

#include <utility>

#include "core/event_injection.h"

namespace Tavix::TestHost {

void LoginNeighbour::Update(const LoginRecord& next) {
    record = next;
    session.Update(record.ToValue());
}

void LoginNeighbour::SetConnected(bool connected) {
    record.connected = connected;
    session.Update(record.ToValue());
}

void LoginNeighbour::LogOut() {
    session.Delete();
}

void QueuesNeighbour::Set(const std::vector<QueueRecord>& queues) {
    list.Set(QueueList(queues));
}

void QueuesNeighbour::Update(const std::vector<QueueRecord>& queues) {
    list.Update(QueueList(queues));
}

void GameflowNeighbour::MoveTo(const std::string& phase) {
    MoveTo(phase, "Invalid", {});
}

void GameflowNeighbour::MoveTo(const std::string& phase, const std::string& dodgeState,
                               std::vector<std::uint64_t> dodgeIds) {
    record.phase = phase;
    record.dodgeState = dodgeState;
    record.dodgeIds = std::move(dodgeIds);
    session.Update(record.ToValue());
}

std::vector<std::string> GameflowNeighbour::PostedEvents() const {
    std::vector<std::string> texts;
    for (const Value& body : events.Bodies()) {
        texts.push_back(body.bytes);
    }
    return texts;
}

void GameflowNeighbour::JoinLobby(const LobbyRecord& lobby) {
    status.currentLobbyStatus = lobby;
    playerStatus.Update(status.ToValue());
}

void GameflowNeighbour::LeaveLobby() {
    status.currentLobbyStatus.reset();
    playerStatus.Update(status.ToValue());
}

void GameflowNeighbour::UpdateStatus(const PlayerStatusRecord& next) {
    status = next;
    playerStatus.Update(status.ToValue());
}

void PlatformNeighbour::Answer(const std::string& service, const std::string& method,
                               const std::string& className, const Value& body) {
    lcds.Answer(service, method, className, body);
}

void PlatformNeighbour::AnswerEmpty(const std::string& service, const std::string& method) {
    lcds.Answer(service, method, "", Value::None());
}

void PlatformNeighbour::Fail(const std::string& service, const std::string& method,
                             const std::string& error, std::uint32_t status) {
    lcds.AnswerError(service, method, error, status);
}

void PlatformNeighbour::AnswerLate(const std::string& service, const std::string& method,
                                   const std::string& className, const Value& body, int turns) {
    const Reply reply =
        Reply::Late(turns, Value::Map({{"typeName", Value::Text(className)}, {"body", body}}));
    lcds.AnswerWith(service, method,
                    [reply](const LcdsInvocation&, Response& response) { reply.Fill(response); });
}

void PlatformNeighbour::AnswerAttach(const SearchingForMatchRecord& notification) {
    Answer("matchmakerService", "attachToQueue", kSearchingForMatchClass, notification.ToValue());
}

void PlatformNeighbour::AnswerCancel(bool cancelled) {
    Answer("matchmakerService", "cancelFromQueueIfPossible", "java.lang.Boolean",
           Value::Bool(cancelled));
}

void PlatformNeighbour::Push(const std::string& className, const Value& body) {
    PublishLcdsEvent(host_, className, body);
}

void PlatformNeighbour::PushSearchingForMatch(const SearchingForMatchRecord& notification) {
    Push(kSearchingForMatchClass, notification.ToValue());
}

void PlatformNeighbour::PushGameDto(const GameDtoRecord& game) {
    Push(kGameDtoClass, game.ToValue());
}

void PlatformNeighbour::PushGameNotification(const std::string& type) {
    Push(
        kGameNotificationClass,
        Value::Map({{"__class", Value::Text("com.tavixplay.platform.matchmaking.GameNotification")},
                    {"type", Value::Text(type)},
                    {"messageCode", Value::Text("")},
                    {"messageArgument", Value::Text("")}}));
}

void PlatformNeighbour::PushSimpleDialog(const std::string& type) {
    Push(kSimpleDialogClass,
         Value::Map({{"__class", Value::Text(kSimpleDialogClass)}, {"type", Value::Text(type)}}));
}

void PlatformNeighbour::PushLowPriorityQueueAbandoned() {
    Push(kLowPriorityAbandonedClass,
         Value::Map({{"__class", Value::Text(kLowPriorityAbandonedClass)}}));
}

std::vector<LcdsInvocation> PlatformNeighbour::Calls(const std::string& service,
                                                     const std::string& method) const {
    std::vector<LcdsInvocation> calls;
    for (const LcdsInvocation& call : lcds.Invocations()) {
        if (call.destination == service && call.method == method) {
            calls.push_back(call);
        }
    }
    return calls;
}

Neighbourhood::Neighbourhood(Host& host)
    : login(host), queues(host), gameflow(host), squadForge(host), client(host), platform(host) {
    login.record = {"SUCCEEDED", kOwnAvatarId, kAccountId, true};
    login.session.Set(login.record.ToValue());
    queues.Set({{kLegacyQueue, false},
                {kSquadForgeQueue, true},
                {kBotQueue, false},
                {kLobbylessQueue, false}});
    gameflow.session.Set(gameflow.record.ToValue());
    gameflow.playerStatus.Set(gameflow.status.ToValue());
}

LobbyRecord Neighbourhood::Lobby(std::int32_t queueId, std::vector<std::uint64_t> others,
                                 bool isLeader) {
    LobbyRecord lobby;
    lobby.queueId = queueId;
    lobby.isLeader = isLeader;
    lobby.memberAvatarIds.push_back(kOwnAvatarId);
    lobby.memberAvatarIds.insert(lobby.memberAvatarIds.end(), others.begin(), others.end());
    lobby.lobbyId = "lobby-" + std::to_string(queueId);
    return lobby;
}

}  // namespace Tavix::TestHost
