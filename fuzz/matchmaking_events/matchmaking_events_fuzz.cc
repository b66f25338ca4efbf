// Feeds the matchmaking plug-in sequences of what its neighbours and the remote platform may
// send: resource events on the URIs it watches and remote messages of the classes it takes,
// with payloads of any shape, built from the fuzz bytes, between moves of the clock. Each must
// be converted or dropped and handled; nothing may crash, leak or run away.

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

#include "core/bare_host.h"
#include "frame/plugin_export.h"
#include "host_value_tree.h"
#include "matchmaking/matchmaking_plugin.h"
#include "platform/clock.h"

namespace {

using namespace Tavix::Client;
using Tavix::Fuzzing::TreeBuilder;
using Tavix::TestHost::BareHost;

void LoadPlugin(PluginLoadBlock* block) {
    ConstructPlugin<Matchmaking::MatchmakingPlugin>(*block, "arx-matchmaking");
}

// The plug-in lives across inputs, as it lives across a host's turns; each input is one more
// stretch of its life.
BareHost& Host() {
    static BareHost* host = [] {
        static BareHost bare;
        Tavix::Platform::SetClockSource(&BareHost::ReadClock, &bare);
        bare.Attach(&LoadPlugin);
        return &bare;
    }();
    return *host;
}

struct Source {
    const char* channel;
    const char* uri;  // null for a remote message
    const char* className;
};

const Source kSources[] = {
    {"OnJsonApiEvent_arx-login_v1_session", "/arx-login/v1/session", nullptr},
    {"OnJsonApiEvent_arx-game-queues_v1_queues", "/arx-game-queues/v1/queues", nullptr},
    {"OnJsonApiEvent_arx-gameflow_v1_session", "/arx-gameflow/v1/session", nullptr},
    {"OnJsonApiEvent_arx-gameflow_v1_gameflow-metadata",
     "/arx-gameflow/v1/gameflow-metadata/player-status", nullptr},
    {"OnJsonApiEvent_arx-lobby-squad-forge_v1_matchmaking", "/arx-lobby-squad-forge/v1/matchmaking",
     nullptr},
    {"OnLcdsEvent_com_tavixplay_platform_game_message_GameNotification", nullptr,
     "com.tavixplay.platform.game.message.GameNotification"},
    {"OnLcdsEvent_com_tavixplay_platform_messaging_persistence_SimpleDialogMessage", nullptr,
     "com.tavixplay.platform.messaging.persistence.SimpleDialogMessage"},
    {"OnLcdsEvent_com_tavixplay_platform_matchmaking_SearchingForMatchNotification", nullptr,
     "com.tavixplay.platform.matchmaking.SearchingForMatchNotification"},
    {"OnLcdsEvent_com_tavixplay_platform_game_GameDTO", nullptr,
     "com.tavixplay.platform.game.GameDTO"},
    {"OnLcdsEvent_com_tavixplay_platform_quitwarden_event_messaging_"
     "QuitWardenLowPriorityQueueAbandoned",
     nullptr,
     "com.tavixplay.platform.quitwarden.event.messaging.QuitWardenLowPriorityQueueAbandoned"},
};

// Field names, enum names and texts of the records behind these sources.
const char* const kWords[] = {
    "state",
    "avatarId",
    "accountId",
    "connected",
    "SUCCEEDED",
    "IN_PROGRESS",
    "LOGGING_OUT",
    "ERROR",
    "id",
    "isSquadForgeManaged",
    "phase",
    "gameData",
    "queue",
    "gameTypeConfig",
    "reroll",
    "gameDodge",
    "dodgeIds",
    "None",
    "Lobby",
    "Matchmaking",
    "CheckedIntoTournament",
    "ReadyCheck",
    "RosterPick",
    "FailedToLaunch",
    "InProgress",
    "TerminatedInError",
    "Invalid",
    "PartyDodged",
    "StrangerDodged",
    "TournamentDodged",
    "currentLobbyStatus",
    "lastQueuedLobbyStatus",
    "queueId",
    "isLeader",
    "memberAvatarIds",
    "lobbyId",
    "customSpectatorPolicy",
    "isCurrentlyInQueue",
    "searchState",
    "Searching",
    "Found",
    "Canceled",
    "ServiceError",
    "AbandonedLowPriorityQueue",
    "timeInQueue",
    "estimatedQueueTime",
    "readyCheck",
    "PartyNotReady",
    "StrangerNotReady",
    "declinerIds",
    "suppressUx",
    "timer",
    "dodgeData",
    "dodgerId",
    "lowPriorityData",
    "penalizedAvatarIds",
    "penaltyTime",
    "penaltyTimeRemaining",
    "wardenedQuitterAccessToken",
    "errors",
    "errorType",
    "penalizedAvatarId",
    "message",
    "type",
    "PLAYER_QUIT",
    "ready_check.penalty.warning",
    "ready_check.penalty.applied",
    "joinedQueues",
    "waitTime",
    "playerJoinFailures",
    "reasonFailed",
    "QUIT_WARDENED",
    "avatar",
    "avaId",
    "accessToken",
    "leaverPenaltyMillisRemaining",
    "dodgePenaltyRemainingTime",
    "gameState",
    "TERMINATED",
    "statusOfParticipants",
    "teamOne",
    "teamTwo",
    "0",
    "1",
    "2",
    "012",
    "Create",
    "Update",
    "Delete",
    "__class",
};

HostValue Text(const char* value) {
    HostValue result;
    std::memset(static_cast<void*>(&result), 0, sizeof result);
    result.tag = kHostValueBorrowedString;
    result.payload.text.data = value;
    result.payload.text.length = static_cast<std::uint32_t>(std::strlen(value));
    return result;
}

// The tree under `key`, beside two texts: the envelope in which the host delivers resource
// events (data, eventType, uri) and remote messages (body, subtopic, typeName).
HostValue Envelope(HostMapEntry (&entries)[3], const char* key, const HostValue& tree,
                   const char* firstKey, const char* first, const char* secondKey,
                   const char* second) {
    entries[0] = {key, tree, 0};
    entries[1] = {firstKey, Text(first), 0};
    entries[2] = {secondKey, Text(second), 0};
    HostValue envelope;
    std::memset(static_cast<void*>(&envelope), 0, sizeof envelope);
    envelope.tag = kHostValueStructure;
    envelope.payload.structure.entries = entries;
    envelope.payload.structure.count = 3;
    return envelope;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    BareHost& host = Host();
    TreeBuilder builder(data, size, kWords);
    // Each step: a source and a form, a tree, then some time for the timers and jobs.
    for (int step = 0; step < 16 && builder.Remaining() > 0; ++step) {
        const std::uint8_t selector = builder.Byte();
        const Source& source = kSources[selector % std::size(kSources)];
        HostValue tree;
        builder.Build(tree, 0);
        HostMapEntry entries[3];
        HostValue payload = tree;
        const bool raw = (selector & 0x80) != 0;
        if (!raw && source.uri != nullptr) {
            static const char* const kTypes[] = {"Create", "Update", "Delete", "Replace"};
            payload = Envelope(entries, "data", tree, "eventType", kTypes[(selector >> 4) & 3],
                               "uri", source.uri);
        } else if (!raw) {
            payload = Envelope(entries, "body", tree, "subtopic", source.className, "typeName",
                               source.className);
        }
        host.Deliver(source.channel, payload);
        // Up to 2.5 seconds in tenths: ticks, jobs and the seconds they count.
        host.Advance(static_cast<double>(builder.Byte() % 26) * 0.1);
    }
    return 0;
}
