#pragma once
// Recognising a dodge in what a back end sends: the platform's game record at the end of a ready
// check, and the lobby feature's matchmaking record. Each dodge found is reported to the gameflow
// plug-in, whose session update then moves the machine.

#include <optional>
#include <string>
#include <vector>

#include "matchmaking/api_records.h"
#include "matchmaking/lcds_records.h"
#include "matchmaking/upstream_records.h"

namespace Tavix::Client::Matchmaking {

// A dodge as reported, and the line that tells of it.
struct DetectedDodge {
    Api::GameflowGameDodge dodge;
    std::string logText;
};

// The dodge a terminated game record shows: the members of the last queued lobby whose status
// character is '0' or '2' (not accepted) dodged as a party; if none did, a stranger dodged. The
// participants are counted across both teams, strangers too, and a participant beyond the end
// of the status text counts as accepted. Null unless `gameState` is "TERMINATED".
std::optional<DetectedDodge> DodgeFromGameDto(const Lcds::MatchmakingLcdsGameDTO& dto,
                                              const std::optional<Api::LobbyStatus>& lastQueued);

// The dodges a record of the lobby feature reports, in order: one from its ready check, one from
// its pick phase; none, one or both.
std::vector<DetectedDodge> SquadForgeDodges(const Api::MatchmakingSearchResource& record);

}  // namespace Tavix::Client::Matchmaking
