// The simulated platform's matchmaker: queue joins, the match that pops, the ready check with its
// seeded strangers, the pick phase and the game's launch, for legacy and squad-forge queues alike.

#include <algorithm>
#include <utility>

#include "sim/simulated_platform.h"

namespace Tavix::TestHost {

namespace {

std::string Seconds(double seconds) {
    char text[32];
    std::snprintf(text, sizeof text, "%g s", seconds);
    return text;
}

}  // namespace

void SimulatedPlatform::After(const std::string& description, double seconds,
                              std::function<void()> work) {
    host_.Post(
        "Platform: " + description,
        [this, round = round_, work = std::move(work)] {
            if (round == round_) {
                work();
            }
        },
        seconds);
}

std::string SimulatedPlatform::Who(std::uint64_t avatarId) const {
    if (avatarId == kPlayer) {
        return "the player";
    }
    if (match_ && !match_->InParty(avatarId)) {
        return "stranger " + std::to_string(avatarId);
    }
    return "member " + std::to_string(avatarId);
}

std::vector<std::uint64_t> SimulatedPlatform::PartyOf(const Value& params) const {
    std::vector<std::uint64_t> party;
    if (const Value* team = params.Find("team")) {
        for (const Value& id : team->items) {
            party.push_back(id.tag == Client::kHostValueSigned
                                ? static_cast<std::uint64_t>(id.signedValue)
                                : id.unsignedValue);
        }
    }
    if (party.empty()) {
        party.push_back(kPlayer);
    }
    return party;
}

// ---- Joining and leaving ------------------------------------------------------------------------

SimulatedPlatform::JoinOutcome SimulatedPlatform::Join(std::int32_t queueId,
                                                       const std::vector<std::uint64_t>& party,
                                                       const std::string& token) {
    JoinOutcome outcome;
    outcome.failures = rules_.Check(party, token, host_.Now());
    if (outcome.failures.empty()) {
        outcome.joined = true;
        EnterQueue(queueId, party);
        return outcome;
    }
    std::string who;
    for (const Sim::JoinFailure& failure : outcome.failures) {
        who += (who.empty() ? "" : ", ") + std::to_string(failure.avatarId) + " " + failure.reason +
               (failure.remainingSeconds > 0.0 ? " (" + Seconds(failure.remainingSeconds) + " left)"
                                               : "");
    }
    Say("platform", "refuses the party a place in queue " + std::to_string(queueId) + ": " + who);
    return outcome;
}

void SimulatedPlatform::EnterQueue(std::int32_t queueId, std::vector<std::uint64_t> party) {
    QueueEntry entry;
    entry.queueId = queueId;
    entry.squadForge = IsSquadForgeQueue(queueId);
    entry.party = std::move(party);
    if (const auto& lobby = hood_.gameflow.status.currentLobbyStatus) {
        entry.lobbyId = lobby->lobbyId.value_or("");
    }
    Say("platform", "puts a party of " + std::to_string(entry.party.size()) + " in queue " +
                        std::to_string(queueId) + ", announcing " +
                        Seconds(settings_.estimatedSeconds) + "; its match pops in " +
                        Seconds(settings_.queueSeconds));
    entry_ = std::move(entry);
    match_.reset();
    stage_ = PartyStage::Queued;
    ++round_;
    SchedulePop();
}

void SimulatedPlatform::LeaveQueue(const std::string& why) {
    if (!why.empty()) {
        Say("platform", why);
    }
    entry_.reset();
    match_.reset();
    stage_ = PartyStage::Idle;
    ++round_;
}

void SimulatedPlatform::Requeue() {
    Say("platform", "puts the party back in queue " + std::to_string(entry_->queueId) +
                        "; its next match pops in " + Seconds(settings_.queueSeconds));
    match_.reset();
    stage_ = PartyStage::Queued;
    ++round_;
    SchedulePop();
    if (entry_->squadForge) {
        // After the dodge report that the last news brings about, as the feature would.
        After("the lobby feature shows the queue again", 0.0,
              [this] { ShowLobbyFeature(QueuedSearch(), "the party is back in the queue"); });
    }
}

bool SimulatedPlatform::Cancel() {
    switch (stage_) {
        case PartyStage::Queued:
            LeaveQueue("takes the party out of the queue");
            return true;
        case PartyStage::ReadyCheck:
            LeaveQueue("takes the party out of its ready check");
            return true;
        case PartyStage::Idle:
        case PartyStage::InGame:
            // Nothing left to take the party out of.
            return true;
        case PartyStage::Pick:
        case PartyStage::Launching:
            Say("platform", "cannot take the party out of a match past its ready check");
            return false;
    }
    return false;
}

SimulatedPlatform::Refusal SimulatedPlatform::LeaderQueues() {
    const auto& lobby = hood_.gameflow.status.currentLobbyStatus;
    if (!lobby) {
        return "the player is in no lobby";
    }
    if (PlayerLeads()) {
        return "the player leads this party: the player queues with POST "
               "/arx-matchmaking/v1/search";
    }
    if (stage_ != PartyStage::Idle && stage_ != PartyStage::InGame) {
        return std::string("the party is ") + PartyStageName(stage_) + " already";
    }
    const std::int32_t queueId = lobby->queueId;
    Say("lobby", "the leader, " + std::to_string(leader_) + ", puts the party in queue " +
                     std::to_string(queueId));
    const JoinOutcome outcome = Join(queueId, lobby->memberAvatarIds, rules_.WaitToken());
    if (IsSquadForgeQueue(queueId)) {
        ShowLobbyFeature(LobbyFeatureSearch(outcome, queueId), "the leader's search");
    } else if (Deliverable("the search notice")) {
        hood_.platform.PushSearchingForMatch(Notification(outcome, queueId));
    }
    if (const std::optional<double> wait = rules_.UntilServed(lobby->memberAvatarIds, host_.Now());
        !outcome.joined && wait) {
        ScheduleLeaderRetry(*wait + 1.0);
    }
    return std::nullopt;
}

void SimulatedPlatform::ScheduleLeaderRetry(double seconds) {
    Say("lobby", "the leader queues again once the wait is served, in " + Seconds(seconds));
    host_.Post(
        "Platform: the leader queues again",
        [this, retry = ++leaderRetries_] {
            if (retry == leaderRetries_) {
                LeaderQueues();
            }
        },
        seconds);
}

void SimulatedPlatform::AddLeaverPenalty(std::uint64_t avatarId, double seconds) {
    Say("platform",
        "holds a leaver penalty of " + Seconds(seconds) + " against " + std::to_string(avatarId));
    rules_.AddPenalty(avatarId, seconds);
}

void SimulatedPlatform::AddJoinError(const Sim::JoinErrorRule& rule) {
    Say("platform", "refuses " + std::to_string(rule.avatarId) + " with " + rule.reason +
                        (rule.seconds > 0.0 ? " for " + Seconds(rule.seconds) : ""));
    rules_.AddError(rule, host_.Now());
}

// ---- The match ----------------------------------------------------------------------------------

void SimulatedPlatform::SchedulePop() {
    After("a match pops", settings_.queueSeconds, [this] { Pop(); });
}

SimulatedPlatform::Refusal SimulatedPlatform::PopMatch() {
    if (stage_ != PartyStage::Queued) {
        return std::string("the party is ") + PartyStageName(stage_);
    }
    Pop();
    return std::nullopt;
}

void SimulatedPlatform::Pop() {
    match_.emplace(entry_->party, nextStranger_);
    nextStranger_ += 2 * Sim::Match::kTeamSize;
    stage_ = PartyStage::ReadyCheck;
    ++round_;
    const std::vector<std::uint64_t> strangers = match_->Strangers();
    Say("platform", "a match pops in queue " + std::to_string(entry_->queueId) + ": " +
                        std::to_string(entry_->party.size()) + " of the party and " +
                        std::to_string(strangers.size()) + " strangers have " +
                        Seconds(settings_.readyCheckSeconds) + " to accept");

    // The answers are drawn now, in seat order, so that one seed gives one course.
    const double latest = std::max(1.0, 0.6 * settings_.readyCheckSeconds);
    for (const std::uint64_t stranger : strangers) {
        const bool accept = Uniform(0.0, 1.0) < settings_.acceptRate;
        After("stranger answers", Uniform(0.5, latest),
              [this, stranger, accept] { AnswerCheck(stranger, accept); });
    }
    for (const std::uint64_t member : entry_->party) {
        if (member != kPlayer) {
            After("member answers", Uniform(0.3, 1.5),
                  [this, member] { AnswerCheck(member, true); });
        }
    }
    After("the ready check runs out", settings_.readyCheckSeconds, [this] {
        Say("platform", "the ready check runs out of time");
        FailCheck();
    });

    if (entry_->squadForge) {
        SearchRecord found = QueuedSearch();
        found.searchState = "Found";
        found.readyCheckState = "InProgress";
        ShowLobbyFeature(found, "a match is found: the ready check is on");
    } else {
        MovePhase("ReadyCheck");
        PushGameDto("READY_CHECK");
    }
}

bool SimulatedPlatform::AnswerCheck(std::uint64_t avatarId, bool accept) {
    if (stage_ != PartyStage::ReadyCheck || !match_->Answer(avatarId, accept)) {
        return false;
    }
    Say("platform", Who(avatarId) + (accept ? " accepts" : " declines") + "  [" +
                        match_->StatusOfParticipants() + "]");
    if (!entry_->squadForge && !(match_->EveryoneAnswered() && match_->AnyDeclined())) {
        PushGameDto("READY_CHECK");
    }
    // A decline does not end the check: it runs until everyone has answered or its time is up,
    // and a party member who gave no answer by then counts as one who declined.
    if (match_->EveryoneAnswered()) {
        if (match_->AnyDeclined()) {
            FailCheck();
        } else {
            EveryoneReady();
        }
    }
    return true;
}

void SimulatedPlatform::FailCheck() {
    const std::vector<std::uint64_t> failures = match_->PartyFailures();
    if (entry_->squadForge) {
        SearchRecord failed = QueuedSearch();
        failed.isCurrentlyInQueue = failures.empty();
        failed.searchState = failures.empty() ? "Searching" : "Invalid";
        failed.readyCheckState = failures.empty() ? "StrangerNotReady" : "PartyNotReady";
        failed.declinerIds = failures;
        ShowLobbyFeature(failed, "the ready check failed");
    } else {
        PushGameDto("TERMINATED");
    }
    if (failures.empty()) {
        Say("platform", "the check failed on a stranger");
        Requeue();
        return;
    }
    std::string who;
    for (const std::uint64_t id : failures) {
        who += (who.empty() ? "" : ", ") + std::to_string(id);
    }
    LeaveQueue("the check failed on the party (" + who + "): the party leaves the queue");
}

void SimulatedPlatform::EveryoneReady() {
    stage_ = PartyStage::Pick;
    ++round_;
    Say("platform", "everyone accepted: the pick phase; the game launches in " +
                        Seconds(settings_.pickSeconds));
    if (entry_->squadForge) {
        SearchRecord ready = QueuedSearch();
        ready.searchState = "Found";
        ready.readyCheckState = "EveryoneReady";
        ShowLobbyFeature(ready, "everyone is ready");
    } else {
        PushGameDto("ROSTER_PICK");
    }
    MovePhase("RosterPick");
    After("the pick phase ends", settings_.pickSeconds, [this] { Launch(); });
}

void SimulatedPlatform::Launch() {
    stage_ = PartyStage::Launching;
    ++round_;
    Say("platform", "the game launches");
    MovePhase("GameStart");
    After("the game starts", settings_.launchSeconds, [this] { StartGame(); });
}

void SimulatedPlatform::StartGame() {
    Say("platform", "the game is in progress");
    if (entry_->squadForge) {
        hood_.squadForge.matchmaking.Clear();
        if (Deliverable("the lobby feature's news")) {
            Say("squad-forge", "the party's search is over");
            hood_.squadForge.matchmaking.Publish("Delete");
        }
    } else {
        PushGameDto("IN_PROGRESS");
    }
    entry_.reset();
    match_.reset();
    stage_ = PartyStage::InGame;
    ++round_;
    MovePhase("InProgress");
}

// ---- Dodges -------------------------------------------------------------------------------------

SimulatedPlatform::Refusal SimulatedPlatform::StrangerDeclines() {
    if (stage_ != PartyStage::ReadyCheck) {
        return std::string("there is no ready check: the party is ") + PartyStageName(stage_);
    }
    const std::optional<std::uint64_t> stranger = match_->FirstUnansweredStranger();
    if (!stranger) {
        return "every stranger has answered already";
    }
    AnswerCheck(*stranger, false);
    return std::nullopt;
}

SimulatedPlatform::Refusal SimulatedPlatform::MemberDeclines(std::uint64_t member) {
    if (stage_ != PartyStage::ReadyCheck) {
        return std::string("there is no ready check: the party is ") + PartyStageName(stage_);
    }
    if (member == kPlayer) {
        return "the player answers through the plug-in: POST "
               "/arx-matchmaking/v1/ready-check/decline";
    }
    if (!match_->InParty(member)) {
        return std::to_string(member) + " is not in the party";
    }
    if (!AnswerCheck(member, false)) {
        return "member " + std::to_string(member) + " has answered already";
    }
    return std::nullopt;
}

SimulatedPlatform::Refusal SimulatedPlatform::LeaderDodges() {
    if (!hood_.gameflow.status.currentLobbyStatus) {
        return "the player is in no lobby";
    }
    if (PlayerLeads()) {
        return "the player leads this party: the player dodges through the plug-in, POST "
               "/arx-matchmaking/v1/ready-check/decline";
    }
    if (stage_ == PartyStage::ReadyCheck) {
        return MemberDeclines(leader_);
    }
    if (stage_ == PartyStage::Pick) {
        return PickDodge(PickDodger::Party, leader_);
    }
    return std::string("there is no ready check or pick phase to dodge: the party is ") +
           PartyStageName(stage_);
}

SimulatedPlatform::Refusal SimulatedPlatform::PickDodge(PickDodger dodger,
                                                        std::optional<std::uint64_t> member) {
    if (stage_ != PartyStage::Pick) {
        return std::string("there is no pick phase: the party is ") + PartyStageName(stage_);
    }
    const std::uint64_t dodgerId = member.value_or(leader_);
    if (dodger == PickDodger::Party && !match_->InParty(dodgerId)) {
        return std::to_string(dodgerId) + " is not in the party";
    }
    const char* state = dodger == PickDodger::Stranger ? "StrangerDodged"
                        : dodger == PickDodger::Party  ? "PartyDodged"
                                                       : "TournamentDodged";
    Say("platform", dodger == PickDodger::Stranger ? "a stranger leaves the pick phase"
                    : dodger == PickDodger::Party
                        ? Who(dodgerId) + " leaves the pick phase"
                        : "the pick phase breaks up (a tournament dodge)");
    if (entry_->squadForge) {
        SearchRecord dodged = QueuedSearch();
        dodged.searchState = "Found";
        dodged.dodgeState = state;
        dodged.dodgerId = dodger == PickDodger::Party ? dodgerId : 0;
        ShowLobbyFeature(dodged, "the pick phase was dodged");
    } else {
        // Legacy queues have no report of their own for the pick phase: the gameflow sees it.
        MoveWithDodge(dodger == PickDodger::Stranger ? "Matchmaking" : PhaseOutsideQueue(), state,
                      dodger == PickDodger::Party ? std::vector<std::uint64_t>{dodgerId}
                                                  : std::vector<std::uint64_t>{});
    }
    if (dodger == PickDodger::Stranger) {
        Requeue();
    } else {
        LeaveQueue("the party leaves the queue");
    }
    return std::nullopt;
}

}  // namespace Tavix::TestHost
