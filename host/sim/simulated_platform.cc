#include "sim/simulated_platform.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace Tavix::TestHost {

namespace {

constexpr const char* kNotConnected = "Not connected to the platform";

Value LcdsReply(const std::string& className, Value body) {
    return Value::Map({{"typeName", Value::Text(className)}, {"body", std::move(body)}});
}

std::string IdText(const std::vector<std::uint64_t>& ids) {
    std::string text;
    for (const std::uint64_t id : ids) {
        text += (text.empty() ? "" : ", ") + std::to_string(id);
    }
    return text;
}

// The first parameter of a neighbour's route, its body.
const Value* BodyOf(const RecordedRequest& request) {
    return request.parameters.empty() ? nullptr : &request.parameters.front().value;
}

}  // namespace

const char* PartyStageName(PartyStage stage) {
    switch (stage) {
        case PartyStage::Idle:
            return "in no queue";
        case PartyStage::Queued:
            return "in a queue";
        case PartyStage::ReadyCheck:
            return "in a ready check";
        case PartyStage::Pick:
            return "in the pick phase";
        case PartyStage::Launching:
            return "launching its game";
        case PartyStage::InGame:
            return "in a game";
    }
    return "?";
}

SimulatedPlatform::SimulatedPlatform(Host& host, PlatformSettings settings)
    : host_(host), hood_(host), settings_(settings), random_(settings.seed) {
    queues_ = {{kLegacyQueue, false},
               {kSquadForgeQueue, true},
               {kBotQueue, false},
               {kLobbylessLegacyQueue, false},
               {kLobbylessSquadForgeQueue, true}};
    hood_.queues.Set(queues_);
    AnswerRemoteServices();
    AnswerLobbyFeature();
    AnswerGameflow();
}

void SimulatedPlatform::ChangeSettings(const PlatformSettings& settings) {
    settings_ = settings;
    random_.seed(settings.seed);
}

bool SimulatedPlatform::KnowsQueue(std::int32_t queueId) const {
    return std::any_of(queues_.begin(), queues_.end(),
                       [queueId](const QueueRecord& queue) { return queue.id == queueId; });
}

bool SimulatedPlatform::IsSquadForgeQueue(std::int32_t queueId) const {
    return std::any_of(queues_.begin(), queues_.end(), [queueId](const QueueRecord& queue) {
        return queue.id == queueId && queue.isSquadForgeManaged;
    });
}

SimulatedPlatform::Refusal SimulatedPlatform::RefuseUnknownQueue(std::int32_t queueId) const {
    if (KnowsQueue(queueId)) {
        return std::nullopt;
    }
    return "queue " + std::to_string(queueId) + " is not in the queue list (" + QueueList() + ")";
}

std::string SimulatedPlatform::QueueList() const {
    std::string text;
    for (const QueueRecord& queue : queues_) {
        text += (text.empty() ? "" : ", ") + std::to_string(queue.id) +
                (queue.isSquadForgeManaged ? " (squad-forge)" : " (legacy)");
    }
    return text;
}

void SimulatedPlatform::Say(const std::string& source, const std::string& text) const {
    if (narrator_) {
        narrator_(source, text);
    }
}

double SimulatedPlatform::Uniform(double low, double high) {
    // By hand rather than with a distribution, whose results the standard leaves open: one seed
    // gives one timeline with any library.
    const double unit = static_cast<double>(random_() >> 11) * 0x1.0p-53;
    return low + (high - low) * unit;
}

// ---- Wiring -------------------------------------------------------------------------------------

void SimulatedPlatform::AnswerLcds(const std::string& service, const std::string& method,
                                   LcdsAnswer answer) {
    hood_.platform.lcds.AnswerAlways(
        service, method,
        [this, answer = std::move(answer)](const LcdsInvocation& call, Response& response) {
            if (!connected_) {
                response = Response::Error(kNotConnected, 503);
                return;
            }
            answer(call, response);
        });
}

void SimulatedPlatform::AnswerRemoteServices() {
    AnswerLcds(
        "matchmakerService", "attachToQueue",
        [this](const LcdsInvocation& call, Response& response) {
            const Value* params = call.arguments.items.empty() ? nullptr : &call.arguments.items[0];
            const Value* queueIds = params != nullptr ? params->Find("queueIds") : nullptr;
            if (queueIds == nullptr || queueIds->items.empty()) {
                response = Response::Error("No queue to attach to", 400);
                return;
            }
            const auto queueId = static_cast<std::int32_t>(queueIds->items[0].signedValue);
            if (!KnowsQueue(queueId) || IsSquadForgeQueue(queueId)) {
                response = Response::Error(
                    "Queue " + std::to_string(queueId) + " is not served here", 400);
                return;
            }
            if (stage_ != PartyStage::Idle && stage_ != PartyStage::Queued &&
                stage_ != PartyStage::InGame) {
                response = Response::Error("The party is in a match already", 409);
                return;
            }
            std::string token;
            if (call.arguments.items.size() > 1) {
                if (const Value* field = call.arguments.items[1].Find("QUIT_WARDEN_ACCESS_TOKEN")) {
                    token = field->bytes;
                }
            }
            const JoinOutcome outcome = Join(queueId, PartyOf(*params), token);
            response.value =
                LcdsReply(kSearchingForMatchClass, Notification(outcome, queueId).ToValue());
        });
    AnswerLcds("matchmakerService", "cancelFromQueueIfPossible",
               [this](const LcdsInvocation&, Response& response) {
                   response.value = LcdsReply("java.lang.Boolean", Value::Bool(Cancel()));
               });
    AnswerLcds("gameService", "acceptPoppedGame",
               [this](const LcdsInvocation& call, Response& response) {
                   if (stage_ != PartyStage::ReadyCheck) {
                       response = Response::Error("No ready check to answer", 409);
                       return;
                   }
                   const bool accept = !call.arguments.items.empty() &&
                                       call.arguments.items[0].tag == Client::kHostValueBool &&
                                       call.arguments.items[0].boolean;
                   AnswerCheck(kPlayer, accept);
                   response.value = LcdsReply("", Value::None());
               });
    AnswerLcds("clientFacadeService", "abandonQuitWardenLowPriorityQueue",
               [this](const LcdsInvocation& call, Response& response) {
                   const std::string token =
                       call.arguments.items.empty() ? "" : call.arguments.items[0].bytes;
                   if (rules_.Abandon(token)) {
                       Say("platform", "the party gives its low-priority wait up");
                       // The party's every client hears of it, this one's included.
                       if (Deliverable("the abandon notice")) {
                           hood_.platform.PushLowPriorityQueueAbandoned();
                       }
                   }
                   response.value = LcdsReply("", Value::None());
               });
}

void SimulatedPlatform::AnswerLobbyFeature() {
    SquadForgeNeighbour& feature = hood_.squadForge;
    feature.search.AlwaysWith([this](const RecordedRequest& request) {
        if (!connected_) {
            return Reply::Fail(kNotConnected, 503);
        }
        const auto& lobby = hood_.gameflow.status.currentLobbyStatus;
        if (!lobby) {
            return Reply::Fail("Not in a lobby", 400);
        }
        if (!IsSquadForgeQueue(lobby->queueId)) {
            return Reply::Fail(
                "Queue " + std::to_string(lobby->queueId) + " is not a squad-forge queue", 400);
        }
        if (stage_ != PartyStage::Idle && stage_ != PartyStage::Queued &&
            stage_ != PartyStage::InGame) {
            return Reply::Fail("The party is in a match already", 409);
        }
        const Value* body = BodyOf(request);
        const JoinOutcome outcome =
            Join(lobby->queueId, lobby->memberAvatarIds, body != nullptr ? body->bytes : "");
        const SearchRecord search = LobbyFeatureSearch(outcome, lobby->queueId);
        // The feature's resource shows the search from now on; the caller has it in the answer.
        hood_.squadForge.matchmaking.Set(search.ToValue());
        return Reply::Answer(search.ToValue());
    });
    feature.cancel.AlwaysWith([this](const RecordedRequest&) {
        if (!connected_) {
            return Reply::Fail(kNotConnected, 503);
        }
        return Cancel() ? Reply::Answer() : Reply::Fail("The match is past its ready check", 409);
    });
    for (const bool accept : {true, false}) {
        ScriptedRoute& route = accept ? feature.accept : feature.decline;
        route.AlwaysWith([this, accept](const RecordedRequest&) {
            if (!connected_) {
                return Reply::Fail(kNotConnected, 503);
            }
            if (stage_ != PartyStage::ReadyCheck) {
                return Reply::Fail("No ready check to answer", 409);
            }
            AnswerCheck(kPlayer, accept);
            return Reply::Answer();
        });
    }
    feature.abandon.AlwaysWith([this](const RecordedRequest& request) {
        if (!connected_) {
            return Reply::Fail(kNotConnected, 503);
        }
        const Value* body = BodyOf(request);
        if (rules_.Abandon(body != nullptr ? body->bytes : "")) {
            Say("squad-forge", "the party gives its low-priority wait up");
        }
        return Reply::Answer();
    });
}

void SimulatedPlatform::AnswerGameflow() {
    hood_.gameflow.events.AlwaysWith([this](const RecordedRequest& request) {
        const Value* body = BodyOf(request);
        OnGameflowEvent(body != nullptr ? body->bytes : "");
        return Reply::Answer();
    });
    hood_.gameflow.dodges.AlwaysWith([this](const RecordedRequest& request) {
        const Value* body = BodyOf(request);
        OnDodgeReport(body != nullptr ? *body : Value::None());
        return Reply::Answer();
    });
}

// ---- The gameflow -------------------------------------------------------------------------------

std::string SimulatedPlatform::PhaseOutsideQueue() const {
    return hood_.gameflow.status.currentLobbyStatus ? "Lobby" : "None";
}

void SimulatedPlatform::MovePhase(const std::string& phase) {
    const GameflowRecord& session = hood_.gameflow.record;
    if (session.phase == phase && session.dodgeState == "Invalid") {
        return;
    }
    Say("gameflow", "phase " + phase);
    hood_.gameflow.MoveTo(phase);
}

void SimulatedPlatform::MoveWithDodge(const std::string& phase, const std::string& dodgeState,
                                      const std::vector<std::uint64_t>& dodgeIds) {
    Say("gameflow", "phase " + phase + " with a " + dodgeState + " dodge" +
                        (dodgeIds.empty() ? std::string() : " by " + IdText(dodgeIds)));
    hood_.gameflow.MoveTo(phase, dodgeState, dodgeIds);
}

void SimulatedPlatform::OnGameflowEvent(const std::string& text) {
    const std::string phase = GameflowPhase();
    if (text == "GAMEFLOW_EVENT.ENTERED_QUEUE") {
        PlayerStatusRecord& status = hood_.gameflow.status;
        if (status.currentLobbyStatus &&
            (!status.lastQueuedLobbyStatus ||
             status.lastQueuedLobbyStatus->ToValue() != status.currentLobbyStatus->ToValue())) {
            status.lastQueuedLobbyStatus = status.currentLobbyStatus;
            Say("gameflow", "keeps the lobby of this queue entry as the last queued one");
            hood_.gameflow.playerStatus.Update(status.ToValue());
        }
        static const std::vector<std::string> kPastTheLobby{
            "Matchmaking", "ReadyCheck", "RosterPick", "GameStart", "InProgress"};
        if (std::find(kPastTheLobby.begin(), kPastTheLobby.end(), phase) == kPastTheLobby.end()) {
            MovePhase("Matchmaking");
        }
    } else if (text == "GAMEFLOW_EVENT.EXITED_QUEUE") {
        if (phase == "Matchmaking" || phase == "ReadyCheck") {
            MovePhase(PhaseOutsideQueue());
        }
    } else if (text == "GAMEFLOW_EVENT.ENTERED_READY_CHECK") {
        MovePhase("ReadyCheck");
    }
}

// The gameflow answers a dodge report by a session with the dodge and a new phase: back to the
// queue after a stranger's dodge, out of it after any other.
void SimulatedPlatform::OnDodgeReport(const Value& dodge) {
    const Value* state = dodge.Find("state");
    const Value* ids = dodge.Find("dodgeIds");
    std::vector<std::uint64_t> dodgeIds;
    if (ids != nullptr) {
        for (const Value& id : ids->items) {
            dodgeIds.push_back(id.tag == Client::kHostValueSigned
                                   ? static_cast<std::uint64_t>(id.signedValue)
                                   : id.unsignedValue);
        }
    }
    const std::string dodgeState = state != nullptr ? state->bytes : "";
    MoveWithDodge(dodgeState == "StrangerDodged" ? "Matchmaking" : PhaseOutsideQueue(), dodgeState,
                  dodgeIds);
}

// ---- The lobby ----------------------------------------------------------------------------------

bool SimulatedPlatform::PlayerLeads() const {
    return hood_.gameflow.status.currentLobbyStatus.has_value() && leader_ == kPlayer;
}

SimulatedPlatform::Refusal SimulatedPlatform::JoinLobby(std::int32_t queueId,
                                                        const std::vector<std::uint64_t>& others,
                                                        std::uint64_t leader) {
    if (Refusal unknown = RefuseUnknownQueue(queueId)) {
        return unknown;
    }
    if (std::find(others.begin(), others.end(), kPlayer) != others.end()) {
        return "the player, " + std::to_string(kPlayer) + ", is not one of the other members";
    }
    if (leader != kPlayer && std::find(others.begin(), others.end(), leader) == others.end()) {
        return "the leader " + std::to_string(leader) + " is not a member of the lobby";
    }
    LobbyRecord lobby = Neighbourhood::Lobby(queueId, others, leader == kPlayer);
    lobby.lobbyId = "lobby-" + std::to_string(++lobbies_);
    leader_ = leader;
    Say("lobby", "the player joins " + *lobby.lobbyId + " for queue " + std::to_string(queueId) +
                     ": members " + IdText(lobby.memberAvatarIds) + ", led by " +
                     (leader == kPlayer ? "the player" : std::to_string(leader)));
    hood_.gameflow.JoinLobby(lobby);
    if (GameflowPhase() == "None") {
        MovePhase("Lobby");
    }
    return std::nullopt;
}

SimulatedPlatform::Refusal SimulatedPlatform::ChangeLobby(
    std::optional<std::int32_t> queueId, std::optional<std::vector<std::uint64_t>> others,
    std::optional<std::uint64_t> leader) {
    const auto& current = hood_.gameflow.status.currentLobbyStatus;
    if (!current) {
        return "the player is in no lobby";
    }
    LobbyRecord lobby = *current;
    if (Refusal unknown = queueId ? RefuseUnknownQueue(*queueId) : std::nullopt) {
        return unknown;
    }
    if (others && std::find(others->begin(), others->end(), kPlayer) != others->end()) {
        return "the player, " + std::to_string(kPlayer) + ", is not one of the other members";
    }
    if (queueId) {
        lobby.queueId = *queueId;
    }
    if (others) {
        lobby.memberAvatarIds = {kPlayer};
        lobby.memberAvatarIds.insert(lobby.memberAvatarIds.end(), others->begin(), others->end());
    }
    const std::uint64_t newLeader = leader.value_or(leader_);
    const auto& members = lobby.memberAvatarIds;
    if (std::find(members.begin(), members.end(), newLeader) == members.end()) {
        return "the leader " + std::to_string(newLeader) + " is not a member of the lobby";
    }
    std::vector<std::uint64_t> before = current->memberAvatarIds;
    std::vector<std::uint64_t> after = members;
    std::sort(before.begin(), before.end());
    std::sort(after.begin(), after.end());
    const bool membersChanged = before != after;

    leader_ = newLeader;
    lobby.isLeader = newLeader == kPlayer;
    Say("lobby", *lobby.lobbyId + " changes: queue " + std::to_string(lobby.queueId) +
                     ", members " + IdText(members) + ", led by " +
                     (lobby.isLeader ? "the player" : std::to_string(newLeader)));
    hood_.gameflow.JoinLobby(lobby);

    // The leader's client takes a changed party out of its queue; the player's own does that
    // when the player leads.
    if (membersChanged && entry_ && !PlayerLeads()) {
        const bool squadForge = entry_->squadForge;
        LeaveQueue("the leader takes the changed party out of the queue");
        if (squadForge) {
            SearchRecord canceled;
            canceled.queueId = lobby.queueId;
            canceled.lobbyId = *lobby.lobbyId;
            canceled.searchState = "Canceled";
            ShowLobbyFeature(canceled, "the party's search is canceled");
        } else if (Deliverable("the player-quit notice")) {
            Say("platform", "tells the party's members that a player quit the queue");
            hood_.platform.PushGameNotification("PLAYER_QUIT");
        }
    }
    return std::nullopt;
}

SimulatedPlatform::Refusal SimulatedPlatform::LeaveLobby() {
    if (!hood_.gameflow.status.currentLobbyStatus) {
        return "the player is in no lobby";
    }
    Say("lobby", "the player leaves " +
                     hood_.gameflow.status.currentLobbyStatus->lobbyId.value_or("the lobby"));
    hood_.gameflow.LeaveLobby();
    leader_ = kPlayer;
    if (entry_) {
        LeaveQueue("the party's queue goes on without the player");
    }
    const std::string phase = GameflowPhase();
    if (phase == "Lobby" || phase == "Matchmaking") {
        MovePhase("None");
    }
    return std::nullopt;
}

// ---- The login ----------------------------------------------------------------------------------

void SimulatedPlatform::StartLoggingIn() {
    hood_.login.record = {"IN_PROGRESS", 0, 0, false};
    hood_.login.session.Set(hood_.login.record.ToValue());
    connected_ = false;
}

SimulatedPlatform::Refusal SimulatedPlatform::LogIn() {
    if (hood_.login.record.state == "SUCCEEDED") {
        return "the player is logged in already";
    }
    connected_ = true;
    Say("login", "the player logs in as " + std::to_string(kPlayer));
    hood_.login.Update({"SUCCEEDED", kPlayer, Neighbourhood::kAccountId, true});
    return std::nullopt;
}

// ---- The connection -----------------------------------------------------------------------------

SimulatedPlatform::Refusal SimulatedPlatform::DropConnection() {
    if (!connected_) {
        return "the connection is down already";
    }
    connected_ = false;
    Say("login", "the connection to the platform drops");
    hood_.login.SetConnected(false);
    if (stage_ == PartyStage::Queued) {
        owedQuitNotice_ =
            entry_->squadForge ? OwedNotice::SquadForgeCanceled : OwedNotice::PlayerQuit;
        owedQueueId_ = entry_->queueId;
        owedLobbyId_ = entry_->lobbyId;
        LeaveQueue("the platform takes the disconnected party out of its queue");
    }
    return std::nullopt;
}

SimulatedPlatform::Refusal SimulatedPlatform::Reconnect() {
    if (connected_) {
        return "the connection stands";
    }
    connected_ = true;
    Say("login", "the connection to the platform is back");
    hood_.login.SetConnected(true);
    // What the platform kept for the client while it was away: that its party left the queue.
    const OwedNotice owed = std::exchange(owedQuitNotice_, OwedNotice::None);
    if (owed == OwedNotice::PlayerQuit) {
        Say("platform", "tells the returning client that its party quit the queue");
        hood_.platform.PushGameNotification("PLAYER_QUIT");
    } else if (owed == OwedNotice::SquadForgeCanceled) {
        SearchRecord canceled;
        canceled.queueId = owedQueueId_;
        canceled.lobbyId = owedLobbyId_;
        canceled.searchState = "Canceled";
        ShowLobbyFeature(canceled, "the party's search was canceled while the player was away");
    }
    return std::nullopt;
}

// ---- Telling the player's client ----------------------------------------------------------------

bool SimulatedPlatform::Deliverable(const std::string& what) const {
    if (connected_) {
        return true;
    }
    Say("platform", what + " is lost: the player is offline");
    return false;
}

void SimulatedPlatform::ShowLobbyFeature(const SearchRecord& record, const std::string& what) {
    hood_.squadForge.matchmaking.Set(record.ToValue());
    if (Deliverable("the lobby feature's news")) {
        Say("squad-forge", what);
        hood_.squadForge.matchmaking.Publish("Update");
    }
}

void SimulatedPlatform::PushGameDto(const std::string& gameState) {
    if (!match_) {
        return;
    }
    GameDtoRecord game;
    game.gameState = gameState;
    game.statusOfParticipants = match_->StatusOfParticipants();
    game.teamOne = match_->TeamOne();
    game.teamTwo = match_->TeamTwo();
    if (Deliverable("the game record " + gameState + " [" + game.statusOfParticipants + "]")) {
        hood_.platform.PushGameDto(game);
    }
}

SearchingForMatchRecord SimulatedPlatform::Notification(const JoinOutcome& outcome,
                                                        std::int32_t queueId) const {
    SearchingForMatchRecord notification;
    if (outcome.joined) {
        notification.joinedQueues.push_back(
            {queueId, static_cast<std::uint64_t>(std::llround(settings_.estimatedSeconds * 1000))});
        return notification;
    }
    for (const Sim::JoinFailure& failure : outcome.failures) {
        static const std::vector<std::pair<std::string, std::string>> kClasses{
            {"QUIT_WARDENED", "com.tavixplay.platform.matchmaking.WardenedQuitter"},
            {"QUEUE_DODGER", "com.tavixplay.platform.matchmaking.QueueDodger"},
            {"QUEUE_DISABLED", "com.tavixplay.platform.matchmaking.QueueDisabled"},
            {"QUEUE_RESTRICTED", "com.tavixplay.platform.matchmaking.QueueRestricted"},
            {"QUEUE_THROTTLED", "com.tavixplay.platform.matchmaking.QueueThrottled"}};
        JoinFailureRecord record;
        for (const auto& [reason, className] : kClasses) {
            if (reason == failure.reason) {
                record.className = className;
            }
        }
        record.avatarId = failure.avatarId;
        record.avatarName = "player " + std::to_string(failure.avatarId);
        record.reasonFailed = failure.reason;
        const auto millis =
            static_cast<std::uint64_t>(std::llround(failure.remainingSeconds * 1000));
        if (failure.reason == Sim::JoinRules::kPenaltyReason) {
            record.accessToken = failure.accessToken;
            record.leaverPenaltyMillisRemaining = millis;
        } else {
            if (failure.remainingSeconds > 0.0) {
                record.dodgePenaltyRemainingTime = millis;
            }
            record.queueId = queueId;
            record.message = failure.message;
        }
        notification.playerJoinFailures.push_back(record);
    }
    return notification;
}

SearchRecord SimulatedPlatform::QueuedSearch() const {
    SearchRecord search;
    if (entry_) {
        search.queueId = entry_->queueId;
        search.lobbyId = entry_->lobbyId;
    }
    search.isCurrentlyInQueue = true;
    search.searchState = "Searching";
    search.estimatedQueueTime = settings_.estimatedSeconds;
    return search;
}

SearchRecord SimulatedPlatform::LobbyFeatureSearch(const JoinOutcome& outcome,
                                                   std::int32_t queueId) const {
    if (outcome.joined) {
        return QueuedSearch();
    }
    SearchRecord search;
    search.queueId = queueId;
    if (const auto& lobby = hood_.gameflow.status.currentLobbyStatus) {
        search.lobbyId = lobby->lobbyId.value_or("");
    }
    search.searchState = "Error";
    for (const Sim::JoinFailure& failure : outcome.failures) {
        if (failure.reason == Sim::JoinRules::kPenaltyReason) {
            search.searchState = "Searching";
            search.penalizedAvatarIds.push_back(failure.avatarId);
            search.penaltyTime = std::max(search.penaltyTime, failure.remainingSeconds);
            search.penaltyTimeRemaining = search.penaltyTime;
            search.wardenedQuitterAccessToken = failure.accessToken;
        } else {
            search.errors.push_back({0, failure.reason, failure.avatarId,
                                     std::max(0.0, failure.remainingSeconds), failure.message});
        }
    }
    return search;
}

}  // namespace Tavix::TestHost
