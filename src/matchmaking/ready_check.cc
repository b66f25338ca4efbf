// The ready check: the moment a match is found and the players are asked to accept it. The
// machine's state ReadyCheck spans it; who accepted is decided by the back end and reaches the
// plug-in as a gameflow phase change or a dodge.

#include "frame/resource_client.h"
#include "frame/resource_events.h"
#include "log/log.h"
#include "matchmaking/matchmaking_plugin.h"
#include "matchmaking/neighbour_uris.h"
#include "matchmaking/queue_time.h"
#include "platform/clock.h"

namespace Tavix::Client::Matchmaking {

void MatchmakingPlugin::BeginReadyCheck() {
    Log(LogLevel::Always, kLogGroupDbg, "BeginReadyCheck()");
    if (search == nullptr) {
        return;
    }
    Log(LogLevel::Always, kLogGroupDbg, "Beginning ready check.");
    Api::MatchmakingReadyCheckResource& readyCheck = search->readyCheck;
    // An adopted record may already ask for no window; it is never cleared here.
    if (uxSuppressedQueues.count(search->queueId) != 0) {
        readyCheck.suppressUx = true;
    }
    search->searchState = Api::MatchmakingSearchState::Found;
    readyCheck.state = Api::MatchmakingReadyCheckState::InProgress;
    readyCheck.timer = 0.0f;
    readyCheck.readyCheckStartTime = Platform::MonotonicNanoseconds();
    PublishResource(PluginResourceEventType::Update, kReadyCheckUri, readyCheck);
    PublishResource(PluginResourceEventType::Update, kSearchUri, *search);
    if (!readyCheck.suppressUx) {
        (void)Request(kMethodPost, kUxShowUri);
    }
}

void MatchmakingPlugin::TickReadyCheck() {
    if (search == nullptr) {
        return;
    }
    Api::MatchmakingReadyCheckResource& readyCheck = search->readyCheck;
    const std::int64_t elapsed =
        WholeSecondsSince(readyCheck.readyCheckStartTime, Platform::MonotonicNanoseconds());
    if (elapsed <= static_cast<std::int64_t>(readyCheck.timer)) {
        return;
    }
    readyCheck.timer = static_cast<float>(elapsed);
    PublishResource(PluginResourceEventType::Update, kReadyCheckUri, readyCheck);
}

// The resource exists whenever a search does, with the state Invalid outside a check.
ResourceOf<Api::MatchmakingReadyCheckResource> MatchmakingPlugin::GetReadyCheck() {
    if (search == nullptr) {
        return NotFound("Not attached to a matchmaking queue.");
    }
    return search->readyCheck;
}

Resource MatchmakingPlugin::PostReadyCheckAccept() {
    Log(LogLevel::Always, kLogGroupDbg, "Ready Check - User attempting to Accept");
    return AnswerReadyCheck(true);
}

Resource MatchmakingPlugin::PostReadyCheckDecline() {
    Log(LogLevel::Always, kLogGroupDbg, "Ready Check - User attempting to Decline");
    return AnswerReadyCheck(false);
}

Resource MatchmakingPlugin::AnswerReadyCheck(bool accept) {
    if (search == nullptr) {
        return NotFound("Not attached to a matchmaking queue.");
    }
    const std::uint64_t asked = searchSerial;
    const std::shared_ptr<QueueStrategy> strategy = strategyFor(search->queueId);
    Resource result = accept ? strategy->AcceptReadyCheck() : strategy->DeclineReadyCheck();
    // Another handler may have ended or replaced the search during the wait: the answer then
    // concerns a search that is gone, and goes back to the caller without touching the one
    // there is now.
    if (search == nullptr || searchSerial != asked) {
        Log(LogLevel::Warn, kLogGroupDbg,
            "Ready Check - The search ended while the answer was on its way");
        return result;
    }
    Api::MatchmakingReadyCheckResource& readyCheck = search->readyCheck;
    if (result.ok) {
        readyCheck.playerResponse = accept ? Api::MatchmakingReadyCheckResponse::Accepted
                                           : Api::MatchmakingReadyCheckResponse::Declined;
        Log(LogLevel::Always, kLogGroupDbg,
            accept ? "Ready Check - Succesfully accepted" : "Ready Check - Succesfully declined");
    } else {
        readyCheck.state = Api::MatchmakingReadyCheckState::Error;
        Log(LogLevel::Warn, kLogGroupDbg,
            accept ? "Ready Check - Failed on accept '%s'" : "Ready Check - Failed on decline '%s'",
            result.error.c_str());
    }
    PublishResource(PluginResourceEventType::Update, kReadyCheckUri, readyCheck);
    PublishResource(PluginResourceEventType::Update, kSearchUri, *search);
    return result;
}

void MatchmakingPlugin::OnEveryoneReady() {
    if (search == nullptr) {
        return;
    }
    search->readyCheck.state = Api::MatchmakingReadyCheckState::EveryoneReady;
    PublishResource(PluginResourceEventType::Update, kReadyCheckUri, search->readyCheck);
    EndReadyCheck();
}

void MatchmakingPlugin::OnReadyCheckDodged() {
    if (search == nullptr) {
        return;
    }
    Api::MatchmakingReadyCheckResource& readyCheck = search->readyCheck;
    if (gameflowDodgeState == Api::MatchmakingDodgeState::StrangerDodged) {
        readyCheck.state = Api::MatchmakingReadyCheckState::StrangerNotReady;
        search->searchState = Api::MatchmakingSearchState::Searching;
    } else {
        readyCheck.state = Api::MatchmakingReadyCheckState::PartyNotReady;
        readyCheck.declinerIds = gameflowDodgeIds;
    }
    PublishResource(PluginResourceEventType::Update, kReadyCheckUri, readyCheck);
    EndReadyCheck();
}

void MatchmakingPlugin::EndReadyCheck() {
    Log(LogLevel::Always, kLogGroupDbg, "EndReadyCheck()");
    if (search == nullptr) {
        return;
    }
    Log(LogLevel::Always, kLogGroupDbg, "Ending ready check.");
    search->readyCheck = Api::MatchmakingReadyCheckResource();
    DeleteResource(kReadyCheckUri);
    PublishResource(PluginResourceEventType::Update, kSearchUri, *search);
}

void MatchmakingPlugin::OnSimpleDialogMessage(const BindingValue& message) {
    const std::string type = message.GetField("type").ToText();
    Api::MatchmakingDodgeWarning warning;
    const char* text = nullptr;
    if (type == "ready_check.penalty.warning") {
        warning = Api::MatchmakingDodgeWarning::Warning;
        text = "Ready Check - Dodge Warning";
    } else if (type == "ready_check.penalty.applied") {
        warning = Api::MatchmakingDodgeWarning::Penalty;
        text = "Ready Check - Dodge Penalty";
    } else {
        return;
    }
    Log(LogLevel::Always, kLogGroupDbg, "%s", text);
    if (search != nullptr) {
        search->readyCheck.dodgeWarning = warning;
        PublishResource(PluginResourceEventType::Update, kReadyCheckUri, search->readyCheck);
        PublishResource(PluginResourceEventType::Update, kSearchUri, *search);
        return;
    }
    // Without a search the interface still has to hear of it; the record is not kept, so a
    // later GET still finds no ready check.
    Log(LogLevel::Always, kLogGroupDbg,
        "No current search, creating ready check resource to notify ux.");
    Api::MatchmakingReadyCheckResource notice;
    notice.dodgeWarning = warning;
    PublishResource(PluginResourceEventType::Update, kReadyCheckUri, notice);
}

}  // namespace Tavix::Client::Matchmaking
