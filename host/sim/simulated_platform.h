#pragma once
// The platform a plug-in of the client lives in, simulated on the test host and built on the
// scripted neighbours: a login session that can drop and regain its connection; a queue list
// with legacy and squad-forge queues; a lobby with its members and leader; a gameflow that moves
// its session through the phases as the real one does in answer to the plug-in's events and dodge
// reports; and a matchmaker behind the remote services and the lobby feature's routes that queues
// the party, pops a match, runs a ready check in which seeded strangers accept or decline, and
// launches the game, with leaver penalties and join errors on the way.
//
// It talks to the plug-in only as the real neighbours do: through the host's routes, resources
// and events. Single-threaded, like the host; it must outlive no host and be outlived by no
// module.

#include <cstdint>
#include <functional>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "core/host.h"
#include "neighbours/neighbours.h"
#include "sim/internal/join_rules.h"
#include "sim/internal/match.h"
#include "sim/platform_settings.h"

namespace Tavix::TestHost {

// Where the party stands on the platform.
enum class PartyStage { Idle, Queued, ReadyCheck, Pick, Launching, InGame };
const char* PartyStageName(PartyStage stage);

// Who leaves the pick phase after everyone accepted.
enum class PickDodger { Stranger, Party, Tournament };

class SimulatedPlatform {
public:
    // Tells what the platform does, as it does it: a source ("platform", "gameflow", "lobby",
    // "login", "squad-forge") and a line of text.
    using Narrator = std::function<void(const std::string& source, const std::string& text)>;
    // Empty when the action happened; otherwise why it cannot happen now.
    using Refusal = std::optional<std::string>;

    static constexpr std::uint64_t kPlayer = Neighbourhood::kOwnAvatarId;
    static constexpr std::int32_t kLegacyQueue = 420;
    static constexpr std::int32_t kSquadForgeQueue = 440;
    static constexpr std::int32_t kBotQueue = 33;
    static constexpr std::int32_t kLobbylessLegacyQueue = 700;
    static constexpr std::int32_t kLobbylessSquadForgeQueue = 701;
    // The two members who join the player's lobby in arx-host's jobs, so that it is a party.
    static inline const std::vector<std::uint64_t> kFriends{4102, 4103};

    explicit SimulatedPlatform(Host& host, PlatformSettings settings = {});
    SimulatedPlatform(const SimulatedPlatform&) = delete;
    SimulatedPlatform& operator=(const SimulatedPlatform&) = delete;

    void SetNarrator(Narrator narrator) { narrator_ = std::move(narrator); }
    const PlatformSettings& Settings() const { return settings_; }
    // Takes effect for what the platform does from now on; the generator starts over from the
    // seed.
    void ChangeSettings(const PlatformSettings& settings);

    // The queues of the list: false when `queueId` is not one of them.
    bool KnowsQueue(std::int32_t queueId) const;
    bool IsSquadForgeQueue(std::int32_t queueId) const;
    std::string QueueList() const;
    // Why `queueId` cannot be used: it is not one of the list. Empty when it is.
    Refusal RefuseUnknownQueue(std::int32_t queueId) const;

    // ---- The lobby ---------------------------------------------------------------------------
    // The player joins a lobby for `queueId` with the `others`; `leader` leads it (the player,
    // or one of the others).
    Refusal JoinLobby(std::int32_t queueId, const std::vector<std::uint64_t>& others,
                      std::uint64_t leader);
    // The lobby changes: its queue, its other members, its leader, each when given.
    Refusal ChangeLobby(std::optional<std::int32_t> queueId,
                        std::optional<std::vector<std::uint64_t>> others,
                        std::optional<std::uint64_t> leader);
    Refusal LeaveLobby();
    bool PlayerLeads() const;

    // ---- The matchmaker ----------------------------------------------------------------------
    // The party's leader, another player, puts the party in the lobby's queue; the player's
    // client hears of it as a member's client does.
    Refusal LeaderQueues();
    // The queued party's match pops now.
    Refusal PopMatch();
    // In the running ready check: a stranger who has not answered yet declines; a party member
    // other than the player declines.
    Refusal StrangerDeclines();
    Refusal MemberDeclines(std::uint64_t member);
    // The party's leader, another player, declines the ready check or leaves the pick phase.
    Refusal LeaderDodges();
    // Someone leaves the pick phase; for a party dodge, `member` (the leader when not given).
    Refusal PickDodge(PickDodger dodger, std::optional<std::uint64_t> member);
    // `avatarId` left a game: the party waits `seconds` in low priority from its next queue join.
    void AddLeaverPenalty(std::uint64_t avatarId, double seconds);
    void AddJoinError(const Sim::JoinErrorRule& rule);

    // ---- The login ---------------------------------------------------------------------------
    // Before the plug-in starts: the session exists but its login is still in progress, with no
    // player yet, as when the client has just opened.
    void StartLoggingIn();
    // The login succeeds: the session becomes the player's, connected.
    Refusal LogIn();

    // ---- The connection ----------------------------------------------------------------------
    Refusal DropConnection();
    Refusal Reconnect();
    bool Connected() const { return connected_; }

    PartyStage Stage() const { return stage_; }
    const std::string& GameflowPhase() const { return hood_.gameflow.record.phase; }
    Neighbourhood& Neighbours() { return hood_; }

private:
    struct QueueEntry {
        std::int32_t queueId = 0;
        bool squadForge = false;
        std::vector<std::uint64_t> party;
        std::string lobbyId;
    };
    // The platform's answer to a join: the queue, or who may not join.
    struct JoinOutcome {
        bool joined = false;
        std::vector<Sim::JoinFailure> failures;
    };

    // Wiring of the neighbours' routes.
    void AnswerRemoteServices();
    void AnswerLobbyFeature();
    void AnswerGameflow();
    using LcdsAnswer = std::function<void(const LcdsInvocation& call, Response& response)>;
    void AnswerLcds(const std::string& service, const std::string& method, LcdsAnswer answer);

    // The gameflow's reactions.
    void OnGameflowEvent(const std::string& text);
    void OnDodgeReport(const Value& dodge);
    void MovePhase(const std::string& phase);
    void MoveWithDodge(const std::string& phase, const std::string& dodgeState,
                       const std::vector<std::uint64_t>& dodgeIds);
    std::string PhaseOutsideQueue() const;

    // The matchmaker.
    std::vector<std::uint64_t> PartyOf(const Value& params) const;
    JoinOutcome Join(std::int32_t queueId, const std::vector<std::uint64_t>& party,
                     const std::string& token);
    void EnterQueue(std::int32_t queueId, std::vector<std::uint64_t> party);
    void LeaveQueue(const std::string& why);
    void SchedulePop();
    void Pop();
    bool AnswerCheck(std::uint64_t avatarId, bool accept);
    void FailCheck();
    void EveryoneReady();
    void Launch();
    void StartGame();
    void Requeue();
    bool Cancel();
    void ScheduleLeaderRetry(double seconds);
    // Runs `work` in `seconds` on the host, unless the party's stage has changed by then.
    void After(const std::string& description, double seconds, std::function<void()> work);
    std::string Who(std::uint64_t avatarId) const;

    // Telling the player's client: over the connection, which loses what it carries while down.
    bool Deliverable(const std::string& what) const;
    void PushGameDto(const std::string& gameState);
    void ShowLobbyFeature(const SearchRecord& record, const std::string& what);
    SearchingForMatchRecord Notification(const JoinOutcome& outcome, std::int32_t queueId) const;
    SearchRecord LobbyFeatureSearch(const JoinOutcome& outcome, std::int32_t queueId) const;
    SearchRecord QueuedSearch() const;

    void Say(const std::string& source, const std::string& text) const;
    double Uniform(double low, double high);

    Host& host_;
    Neighbourhood hood_;
    PlatformSettings settings_;
    std::mt19937_64 random_;
    Narrator narrator_;
    std::vector<QueueRecord> queues_;

    bool connected_ = true;
    std::uint64_t leader_ = kPlayer;
    int lobbies_ = 0;

    PartyStage stage_ = PartyStage::Idle;
    std::optional<QueueEntry> entry_;
    std::optional<Sim::Match> match_;
    Sim::JoinRules rules_;
    std::uint64_t nextStranger_ = 90001;
    // Bumped at every change of the party's stage: work posted for an older stage is stale.
    std::uint64_t round_ = 0;
    std::uint64_t leaderRetries_ = 0;
    // The news of a queue left while the player was offline, told when the connection returns.
    enum class OwedNotice { None, PlayerQuit, SquadForgeCanceled };
    OwedNotice owedQuitNotice_ = OwedNotice::None;
    std::int32_t owedQueueId_ = 0;
    std::string owedLobbyId_;
};

}  // namespace Tavix::TestHost
