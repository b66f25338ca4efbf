#pragma once
// A match the simulated platform found: two teams of five, the party first in team one and
// strangers in every other seat, and each player's answer to the ready check.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace Tavix::TestHost::Sim {

class Match {
public:
    static constexpr std::size_t kTeamSize = 5;

    // Strangers get the ids from `firstStrangerId` up, team one's seats first.
    Match(std::vector<std::uint64_t> party, std::uint64_t firstStrangerId);

    const std::vector<std::uint64_t>& TeamOne() const { return teamOne_; }
    const std::vector<std::uint64_t>& TeamTwo() const { return teamTwo_; }
    const std::vector<std::uint64_t>& Party() const { return party_; }
    // Everyone outside the party, in seat order.
    std::vector<std::uint64_t> Strangers() const;
    bool InParty(std::uint64_t avatarId) const;
    bool Seated(std::uint64_t avatarId) const;

    // One character per seat, team one first: '0' no answer yet, '1' accepted, '2' declined.
    const std::string& StatusOfParticipants() const { return status_; }
    char StatusOf(std::uint64_t avatarId) const;
    // Records the answer of a seated player who has not answered yet; false otherwise.
    bool Answer(std::uint64_t avatarId, bool accept);

    bool AnyDeclined() const;
    bool EveryoneAccepted() const;
    bool EveryoneAnswered() const;
    // Party members who declined or gave no answer, in seat order.
    std::vector<std::uint64_t> PartyFailures() const;
    std::optional<std::uint64_t> FirstUnansweredStranger() const;

private:
    std::optional<std::size_t> SeatOf(std::uint64_t avatarId) const;

    std::vector<std::uint64_t> party_;
    std::vector<std::uint64_t> teamOne_;
    std::vector<std::uint64_t> teamTwo_;
    std::string status_;
};

}  // namespace Tavix::TestHost::Sim
