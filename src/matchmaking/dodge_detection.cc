#include "matchmaking/dodge_detection.h"

#include <unordered_set>

namespace Tavix::Client::Matchmaking {

namespace {

using Api::MatchmakingDodgeState;

bool NotAccepted(char status) {
    return status == '0' || status == '2';
}

DetectedDodge Dodge(MatchmakingDodgeState state, std::vector<std::uint64_t> ids,
                    std::string logText) {
    return {{state, std::move(ids)}, std::move(logText)};
}

}  // namespace

std::optional<DetectedDodge> DodgeFromGameDto(const Lcds::MatchmakingLcdsGameDTO& dto,
                                              const std::optional<Api::LobbyStatus>& lastQueued) {
    if (dto.gameState != "TERMINATED") {
        return std::nullopt;
    }
    std::vector<std::uint64_t> dodgers;
    std::unordered_set<std::uint64_t> party;
    if (lastQueued.has_value()) {
        party.insert(lastQueued->memberAvatarIds.begin(), lastQueued->memberAvatarIds.end());
    }
    if (!party.empty()) {
        std::size_t index = 0;
        const std::string& status = dto.statusOfParticipants;
        for (const auto* team : {&dto.teamOne, &dto.teamTwo}) {
            for (const Lcds::MatchmakingLcdsPlayerParticipant& participant : *team) {
                if (party.count(participant.avatarId) != 0 && index < status.size() &&
                    NotAccepted(status[index])) {
                    dodgers.push_back(participant.avatarId);
                }
                ++index;
            }
        }
    }
    const bool partyDodged = !dodgers.empty();
    return Dodge(
        partyDodged ? MatchmakingDodgeState::PartyDodged : MatchmakingDodgeState::StrangerDodged,
        std::move(dodgers),
        std::string("Detected ") + (partyDodged ? "PARTY" : "STRANGER") +
            " dodge in legacy matchmaking from DTO.");
}

std::vector<DetectedDodge> SquadForgeDodges(const Api::MatchmakingSearchResource& record) {
    std::vector<DetectedDodge> dodges;
    switch (record.readyCheck.state) {
        case Api::MatchmakingReadyCheckState::PartyNotReady:
            dodges.push_back(Dodge(MatchmakingDodgeState::PartyDodged,
                                   record.readyCheck.declinerIds,
                                   "Detected PARTY dodge in squad-forge matchmaking."));
            break;
        case Api::MatchmakingReadyCheckState::StrangerNotReady:
            dodges.push_back(Dodge(MatchmakingDodgeState::StrangerDodged, {},
                                   "Detected STRANGER dodge in squad-forge matchmaking."));
            break;
        default:
            break;
    }
    switch (record.dodgeData.state) {
        case MatchmakingDodgeState::PartyDodged:
            dodges.push_back(Dodge(MatchmakingDodgeState::PartyDodged, {record.dodgeData.dodgerId},
                                   "Detected PARTY dodge in squad-forge roster pick."));
            break;
        case MatchmakingDodgeState::StrangerDodged:
            dodges.push_back(Dodge(MatchmakingDodgeState::StrangerDodged, {},
                                   "Detected STRANGER dodge in squad-forge roster pick."));
            break;
        case MatchmakingDodgeState::TournamentDodged:
            dodges.push_back(
                Dodge(MatchmakingDodgeState::TournamentDodged, {},
                      "Detected TOURNAMENT (melee) dodge in squad-forge roster pick."));
            break;
        default:
            break;
    }
    return dodges;
}

}  // namespace Tavix::Client::Matchmaking
