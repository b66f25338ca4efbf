// A seeded random walk through the plug-in's life, on the real library loaded as a host loads it:
// neighbour updates of every kind, the nine routes, the platform's messages, answers that come at
// once, fail or come late, and host turns with the clock moved. After every step the invariants
// that a client relies on are checked from what the host sees alone. A failure names the seed and
// the step; ARX_SOAK_SEED and ARX_SOAK_STEPS replay or lengthen a walk.

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "core/function_records.h"
#include "core/host.h"
#include "core/module.h"
#include "neighbours/neighbours.h"

namespace Tavix::TestHost {
namespace {

constexpr const char* kSearch = "/arx-matchmaking/v1/search";

std::uint64_t FromEnvironment(const char* name, std::uint64_t fallback) {
    const char* text = std::getenv(name);
    return text != nullptr && *text != '\0' ? std::strtoull(text, nullptr, 10) : fallback;
}

// Every status and text the route table allows; texts with a varying tail by their head.
bool InTheTable(const std::string& method, const std::string& url, std::uint32_t status,
                const std::string& error) {
    static const std::vector<std::pair<std::uint32_t, std::string>> kTexts{
        {404, "No matchmaking search exists."},
        {404, "Not in a lobby!"},
        {500, "Can't create search for invalid queueId"},
        {500, "Failed to attach to matchmaking queue "},
        {500, "Entering matchmaking for squadforge failed: "},
        {500, "Failed to cancel matchmaking search on platform."},
        {404, "Not attached to a matchmaking queue."},
        {404, "No matchmaking search."},
        {404, "Failed to find matchmaking error with id "},
        {500, "Can't accept ready check for invalid queueId"},
        {500, "Can't decline ready check for invalid queueId"},
        {500, "Failed to accept the ready-check"},
        {500, "Failed to decline the ready-check"},
        {500, "Failed to accept squad forge ready check: "},
        {500, "Failed to decline squad forge ready check: "},
    };
    for (const auto& [code, text] : kTexts) {
        if (status == code && error.rfind(text, 0) == 0) {
            return true;
        }
    }
    // A PUT body that does not convert is refused by the dispatcher, with no status of its own.
    return status == 0 && method == "PUT" && url == kSearch;
}

class Walk {
public:
    Walk(std::uint64_t seed, Host& host, Neighbourhood& hood, Module& module)
        : rng_(seed), host_(host), hood_(hood), module_(module) {
        ScriptStandingAnswers();
    }

    // One random step; false with `failure` set when an invariant broke.
    bool Step(std::string& failure) {
        host_.Calls().Clear();
        const int kind = Pick(20);
        if (kind < 3) {
            Route();
        } else if (kind < 5) {
            Gameflow();
        } else if (kind < 7) {
            Lobby();
        } else if (kind < 8) {
            Login();
        } else if (kind < 9) {
            hood_.queues.Update(Queues());
        } else if (kind < 11) {
            hood_.squadForge.matchmaking.Update(SearchRecordValue());
        } else if (kind < 14) {
            PlatformMessage();
        } else if (kind < 17) {
            host_.RunUntilIdle();
        } else {
            host_.AdvanceBy(0.1 * Pick(31));
        }
        host_.RunUntilIdle();
        return Check(failure);
    }

    std::size_t Routes() const { return routes_; }
    std::size_t Searches() const { return searches_; }
    // Steps that ended in each state.
    const std::map<std::string, std::size_t>& Visits() const { return visits_; }

private:
    int Pick(int count) { return static_cast<int>(rng_() % static_cast<std::uint64_t>(count)); }
    bool Chance(int percent) { return Pick(100) < percent; }
    template <typename T>
    const T& OneOf(const std::vector<T>& list) {
        return list[static_cast<std::size_t>(Pick(static_cast<int>(list.size())))];
    }

    std::int32_t Queue() {
        static const std::vector<std::int32_t> kQueues{420, 420, 440, 440, 33, 700, 4242};
        return OneOf(kQueues);
    }

    std::vector<std::uint64_t> Ids(int most) {
        static const std::vector<std::uint64_t> kIds{Neighbourhood::kOwnAvatarId, 12, 13, 14, 15};
        std::vector<std::uint64_t> ids;
        const int count = Pick(most + 1);
        for (int i = 0; i < count; ++i) {
            ids.push_back(OneOf(kIds));
        }
        return ids;
    }

    std::string DodgeState() {
        static const std::vector<std::string> kStates{
            "Invalid", "Invalid", "Invalid", "PartyDodged", "StrangerDodged", "TournamentDodged"};
        return OneOf(kStates);
    }

    // Answers of the platform and the lobby feature that come at once, fail or come late.
    Reply Answer(Value value) {
        const int roll = Pick(10);
        if (roll < 6) {
            return Reply::Answer(std::move(value));
        }
        if (roll < 8) {
            return Reply::Fail("refused", 503);
        }
        return Reply::Late(1 + Pick(3), std::move(value));
    }

    void Lcds(const std::string& service, const std::string& method, std::function<Value()> body,
              const std::string& className) {
        hood_.platform.lcds.AnswerAlways(
            service, method, [this, body, className](const LcdsInvocation&, Response& response) {
                Answer(Value::Map({{"typeName", Value::Text(className)}, {"body", body()}}))
                    .Fill(response);
            });
    }

    void ScriptStandingAnswers() {
        Lcds(
            "matchmakerService", "attachToQueue", [this] { return Notification(); },
            kSearchingForMatchClass);
        Lcds(
            "matchmakerService", "cancelFromQueueIfPossible",
            [this] { return Value::Bool(Chance(80)); }, "java.lang.Boolean");
        Lcds(
            "gameService", "acceptPoppedGame", [] { return Value::None(); }, "");
        Lcds(
            "clientFacadeService", "abandonQuitWardenLowPriorityQueue",
            [] { return Value::None(); }, "");
        hood_.squadForge.search.AlwaysWith(
            [this](const RecordedRequest&) { return Answer(SearchRecordValue()); });
        for (ScriptedRoute* route :
             {&hood_.squadForge.cancel, &hood_.squadForge.accept, &hood_.squadForge.decline,
              &hood_.squadForge.abandon, &hood_.gameflow.events, &hood_.gameflow.dodges}) {
            route->AlwaysWith([this](const RecordedRequest&) { return Answer(Value::None()); });
        }
    }

    Value Notification() {
        SearchingForMatchRecord notification;
        if (Chance(60)) {
            notification.joinedQueues.push_back({Queue(), static_cast<std::uint64_t>(Pick(90000))});
        }
        for (int i = Pick(3); i > 0; --i) {
            JoinFailureRecord failure;
            failure.avatarId =
                OneOf(std::vector<std::uint64_t>{Neighbourhood::kOwnAvatarId, 12, 13});
            failure.reasonFailed = Chance(50) ? "QUIT_WARDENED" : "QUEUE_DODGER";
            failure.leaverPenaltyMillisRemaining = static_cast<std::uint64_t>(Pick(5000));
            failure.dodgePenaltyRemainingTime = static_cast<std::uint64_t>(Pick(4000));
            if (Chance(50)) {
                failure.accessToken = "token-" + std::to_string(Pick(9));
            }
            notification.playerJoinFailures.push_back(failure);
        }
        return notification.ToValue();
    }

    Value SearchRecordValue() {
        static const std::vector<std::string> kSearchStates{
            "Invalid",        "AbandonedLowPriorityQueue",
            "Canceled",       "Searching",
            "Searching",      "Found",
            "Error",          "ServiceError",
            "ServiceShutdown"};
        static const std::vector<std::string> kCheckStates{
            "Invalid",          "Invalid",       "InProgress", "EveryoneReady",
            "StrangerNotReady", "PartyNotReady", "Error"};
        SearchRecord record;
        record.queueId = Queue();
        record.isCurrentlyInQueue = Chance(60);
        record.searchState = OneOf(kSearchStates);
        record.estimatedQueueTime = Pick(120);
        record.readyCheckState = OneOf(kCheckStates);
        record.declinerIds = Ids(2);
        record.dodgeState = Chance(80) ? "Invalid" : DodgeState();
        record.dodgerId = 12;
        if (Chance(20)) {
            record.penalizedAvatarIds = Ids(2);
            record.penaltyTime = Pick(4);
        }
        if (Chance(15)) {
            record.wardenedQuitterAccessToken = "token-x";
        }
        for (int i = Chance(30) ? 1 + Pick(2) : 0; i > 0; --i) {
            record.errors.push_back({Pick(5), "QUEUE_DODGER",
                                     OneOf(std::vector<std::uint64_t>{12, 13, 14}), 0.5 * Pick(6),
                                     "dodged"});
        }
        return record.ToValue();
    }

    std::vector<QueueRecord> Queues() {
        std::vector<QueueRecord> queues;
        for (const std::int32_t id : {420, 440, 33, 700}) {
            if (Chance(90)) {
                queues.push_back({id, id == 440 ? Chance(90) : Chance(10)});
            }
        }
        return queues;
    }

    void Gameflow() {
        static const std::vector<std::string> kPhases{"None",
                                                      "Lobby",
                                                      "Matchmaking",
                                                      "CheckedIntoTournament",
                                                      "ReadyCheck",
                                                      "ReadyCheck",
                                                      "RosterPick",
                                                      "RosterPick",
                                                      "GameStart",
                                                      "FailedToLaunch",
                                                      "InProgress",
                                                      "Reconnect",
                                                      "WaitingForStats",
                                                      "PreEndOfGame",
                                                      "EndOfGame",
                                                      "TerminatedInError"};
        hood_.gameflow.MoveTo(OneOf(kPhases), Chance(75) ? "Invalid" : DodgeState(), Ids(2));
    }

    void Lobby() {
        const int roll = Pick(10);
        if (roll < 2) {
            hood_.gameflow.LeaveLobby();
            return;
        }
        LobbyRecord lobby = Neighbourhood::Lobby(Queue(), Ids(4), Chance(80));
        if (Chance(15)) {
            lobby.lobbyId.reset();
        }
        PlayerStatusRecord status;
        status.currentLobbyStatus = lobby;
        if (Chance(70)) {
            status.lastQueuedLobbyStatus = lobby;
        }
        if (roll == 2) {
            hood_.gameflow.playerStatus.Delete();
        } else {
            hood_.gameflow.UpdateStatus(status);
        }
    }

    void Login() {
        const int roll = Pick(10);
        if (roll < 5) {
            hood_.login.SetConnected(!hood_.login.record.connected);
        } else if (roll < 6) {
            hood_.login.LogOut();
        } else {
            hood_.login.Update({roll < 8 ? "SUCCEEDED" : "IN_PROGRESS", Neighbourhood::kOwnAvatarId,
                                Neighbourhood::kAccountId, Chance(80)});
        }
    }

    void PlatformMessage() {
        switch (Pick(6)) {
            case 0:
                hood_.platform.Push(kSearchingForMatchClass, Notification());
                break;
            case 1:
                hood_.platform.PushGameDto({Chance(80) ? "TERMINATED" : "IN_PROGRESS",
                                            Chance(50) ? "1120" : "11111111", "", Ids(3), Ids(3)});
                break;
            case 2:
                hood_.platform.PushGameNotification(Chance(50) ? "PLAYER_QUIT" : "OTHER");
                break;
            case 3:
                hood_.platform.PushSimpleDialog(Chance(50) ? "ready_check.penalty.warning"
                                                           : "ready_check.penalty.applied");
                break;
            case 4:
                hood_.platform.PushLowPriorityQueueAbandoned();
                break;
            default:
                // A message of the wrong shape is dropped.
                hood_.platform.Push(kGameDtoClass, Value::List({Value::Signed(Pick(9))}));
                break;
        }
    }

    void Route() {
        static const std::vector<std::pair<std::string, std::string>> kRoutes{
            {"GET", kSearch},
            {"POST", kSearch},
            {"POST", kSearch},
            {"DELETE", kSearch},
            {"PUT", kSearch},
            {"GET", "/arx-matchmaking/v1/search/errors"},
            {"GET", "/arx-matchmaking/v1/search/errors/1"},
            {"GET", "/arx-matchmaking/v1/ready-check"},
            {"POST", "/arx-matchmaking/v1/ready-check/accept"},
            {"POST", "/arx-matchmaking/v1/ready-check/decline"}};
        const auto& [method, url] = OneOf(kRoutes);
        std::optional<std::string> body;
        if (method == "PUT") {
            body = Chance(90) ? SearchRecordValue().ToJson() : R"({"queueId":"x"})";
        }
        const ApiAnswer answer = CallRoute(method, url, body);
        lastRoute_ = method + " " + url;
        if (answer.error && !InTheTable(method, url, answer.status, *answer.error)) {
            routeFailure_ =
                lastRoute_ + " answered " + std::to_string(answer.status) + " " + *answer.error;
        }
    }

    ApiAnswer CallRoute(const std::string& method, const std::string& url,
                        const std::optional<std::string>& body) {
        ++routes_;
        const std::uint32_t code = method == "GET"    ? Client::kMethodGet
                                   : method == "POST" ? Client::kMethodPost
                                   : method == "PUT"  ? Client::kMethodPut
                                                      : Client::kMethodDelete;
        const Client::HostFunctionRecord* record =
            FindFunctionRecord(*module_.Block().apiDescription, code, method, url);
        ApiCall call;
        call.method = code;
        call.url = url;
        call.clientId = module_.ClientId();
        if (body) {
            call.contentType = "application/json";
            call.body = *body;
        }
        Host::ModuleCall turn(host_, module_.ClientId());
        return CallFunctionRecord(*record, call);
    }

    // What the host saw of this step, against the invariants.
    bool Check(std::string& failure) {
        if (!routeFailure_.empty()) {
            failure = routeFailure_;
            return false;
        }
        for (const RecordedCall& call : host_.Calls().Calls()) {
            if (const auto* line = std::get_if<RecordedLogLine>(&call)) {
                Follow(line->text);
            } else if (const auto* event = std::get_if<RecordedEvent>(&call)) {
                if (event->name != "OnJsonApiEvent" || !Publication(*event, failure)) {
                    if (!failure.empty()) {
                        return false;
                    }
                }
            }
        }
        if (state_ == "Matched") {
            failure = "the machine rests in Matched";
            return false;
        }
        ++visits_[state_];
        host_.Calls().Clear();
        const ApiAnswer current = CallRoute("GET", kSearch, std::nullopt);
        if (current.error.has_value() == searchExists_) {
            failure = searchExists_ ? "a search was published but GET finds none"
                                    : "GET finds a search after its Delete";
            return false;
        }
        if (searchExists_) {
            const std::vector<std::string> pending = host_.PendingDescriptions();
            if (std::find(pending.begin(), pending.end(), "Timer: arx-matchmaking.tick-search") ==
                pending.end()) {
                failure = "a search exists but its tick timer does not run";
                return false;
            }
        }
        return true;
    }

    // The machine's state, from its entry and exit lines.
    void Follow(const std::string& text) {
        static const std::map<std::string, std::string> kParents{
            {"Matchmaking", ""},          {"Available", "Matchmaking"}, {"Penalized", "Available"},
            {"Searching", "Matchmaking"}, {"Matched", "Matchmaking"},   {"ReadyCheck", "Matched"},
            {"WaitingForGame", "Matched"}};
        const std::string entering = "Matchmaking: entering state '";
        const std::string exiting = "Matchmaking: exiting state '";
        if (text.rfind(entering, 0) == 0) {
            state_ = text.substr(entering.size(), text.size() - entering.size() - 1);
        } else if (text.rfind(exiting, 0) == 0) {
            const auto found =
                kParents.find(text.substr(exiting.size(), text.size() - exiting.size() - 1));
            state_ = found != kParents.end() ? found->second : "?";
        }
    }

    // An Update goes out only while a search exists, a Delete leaves none, and after a Delete the
    // next event on the search is a Create.
    bool Publication(const RecordedEvent& event, std::string& failure) {
        const Value* uri = event.payload.Find("uri");
        const Value* type = event.payload.Find("eventType");
        if (uri == nullptr || type == nullptr || uri->bytes != kSearch) {
            return true;
        }
        if (type->bytes == "Create") {
            searchExists_ = true;
            ++searches_;
        } else if (type->bytes == "Update") {
            if (!searchExists_) {
                failure = "an Update of the search went out while none exists";
                return false;
            }
        } else if (type->bytes == "Delete") {
            if (!searchExists_) {
                failure = "a Delete of the search went out while none exists";
                return false;
            }
            searchExists_ = false;
        }
        return true;
    }

    std::mt19937_64 rng_;
    Host& host_;
    Neighbourhood& hood_;
    Module& module_;
    std::string state_ = "Available";
    bool searchExists_ = false;
    std::string lastRoute_;
    std::string routeFailure_;
    std::size_t routes_ = 0;
    std::size_t searches_ = 0;
    std::map<std::string, std::size_t> visits_;
};

std::uint64_t LiveBytes(const Client::MemoryCounters& counters) {
    return counters.allocatedBytes - counters.freedBytes;
}

TEST(SoakTest, ARandomWalkKeepsEveryInvariant) {
    const std::uint64_t seed = FromEnvironment("ARX_SOAK_SEED", 20261124);
    const std::uint64_t steps = FromEnvironment("ARX_SOAK_STEPS", 100000);
    Host host;
    Neighbourhood hood(host);
    LoadResult loaded = OpenModule(host, ARX_PLUGIN_PATH);
    ASSERT_TRUE(loaded.module) << loaded.error;
    Module& module = *loaded.module;
    ASSERT_TRUE(module.Attach());
    host.RunUntilIdle();
    const std::uint64_t afterAttach = LiveBytes(module.ReadMemoryCounters());

    Walk walk(seed, host, hood, module);
    for (std::uint64_t step = 0; step < steps; ++step) {
        std::string failure;
        if (!walk.Step(failure)) {
            FAIL() << "seed " << seed << ", step " << step << ": " << failure;
        }
    }

    // Back to rest: no lobby, no search, nothing due; then the module holds what it held at
    // attach, give or take tables that keep their grown size.
    hood.gameflow.LeaveLobby();
    SearchRecord canceled;
    canceled.searchState = "Canceled";
    {
        ApiCall call;
        call.method = Client::kMethodPut;
        call.url = kSearch;
        call.contentType = "application/json";
        call.body = canceled.ToValue().ToJson();
        Host::ModuleCall turn(host, module.ClientId());
        CallFunctionRecord(
            *FindFunctionRecord(*module.Block().apiDescription, Client::kMethodPut, "PUT", kSearch),
            call);
    }
    host.AdvanceBy(10.0);
    host.Calls().Clear();
    const std::uint64_t afterWalk = LiveBytes(module.ReadMemoryCounters());
    std::printf(
        "soak: seed %llu, %llu steps, %zu route calls, %zu searches made; live bytes "
        "after attach %llu, after the walk %llu\n",
        static_cast<unsigned long long>(seed), static_cast<unsigned long long>(steps),
        walk.Routes(), walk.Searches(), static_cast<unsigned long long>(afterAttach),
        static_cast<unsigned long long>(afterWalk));
    for (const auto& [state, count] : walk.Visits()) {
        std::printf("soak: %zu steps ended in %s\n", count, state.c_str());
    }
    // A walk that never left the lobby would prove nothing.
    if (steps >= 10000) {
        for (const char* state :
             {"Available", "Penalized", "Searching", "ReadyCheck", "WaitingForGame"}) {
            EXPECT_GT(walk.Visits().count(state), 0u) << "the walk never rested in " << state;
        }
    }
    EXPECT_LE(afterWalk, afterAttach + 64 * 1024) << "the walk left memory behind";
}

}  // namespace
}  // namespace Tavix::TestHost
