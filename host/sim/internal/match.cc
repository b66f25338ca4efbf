#include "sim/internal/match.h"

#include <algorithm>
#include <utility>

namespace Tavix::TestHost::Sim {

Match::Match(std::vector<std::uint64_t> party, std::uint64_t firstStrangerId)
    : party_(std::move(party)) {
    std::uint64_t stranger = firstStrangerId;
    teamOne_ = party_;
    while (teamOne_.size() < kTeamSize) {
        teamOne_.push_back(stranger++);
    }
    while (teamTwo_.size() < kTeamSize) {
        teamTwo_.push_back(stranger++);
    }
    status_.assign(teamOne_.size() + teamTwo_.size(), '0');
}

std::vector<std::uint64_t> Match::Strangers() const {
    std::vector<std::uint64_t> strangers;
    for (const auto* team : {&teamOne_, &teamTwo_}) {
        for (const std::uint64_t id : *team) {
            if (!InParty(id)) {
                strangers.push_back(id);
            }
        }
    }
    return strangers;
}

bool Match::InParty(std::uint64_t avatarId) const {
    return std::find(party_.begin(), party_.end(), avatarId) != party_.end();
}

bool Match::Seated(std::uint64_t avatarId) const {
    return SeatOf(avatarId).has_value();
}

std::optional<std::size_t> Match::SeatOf(std::uint64_t avatarId) const {
    const auto inOne = std::find(teamOne_.begin(), teamOne_.end(), avatarId);
    if (inOne != teamOne_.end()) {
        return static_cast<std::size_t>(inOne - teamOne_.begin());
    }
    const auto inTwo = std::find(teamTwo_.begin(), teamTwo_.end(), avatarId);
    if (inTwo != teamTwo_.end()) {
        return teamOne_.size() + static_cast<std::size_t>(inTwo - teamTwo_.begin());
    }
    return std::nullopt;
}

char Match::StatusOf(std::uint64_t avatarId) const {
    const std::optional<std::size_t> seat = SeatOf(avatarId);
    return seat ? status_[*seat] : '\0';
}

bool Match::Answer(std::uint64_t avatarId, bool accept) {
    const std::optional<std::size_t> seat = SeatOf(avatarId);
    if (!seat || status_[*seat] != '0') {
        return false;
    }
    status_[*seat] = accept ? '1' : '2';
    return true;
}

bool Match::AnyDeclined() const {
    return status_.find('2') != std::string::npos;
}

bool Match::EveryoneAccepted() const {
    return status_.find_first_not_of('1') == std::string::npos;
}

bool Match::EveryoneAnswered() const {
    return status_.find('0') == std::string::npos;
}

std::vector<std::uint64_t> Match::PartyFailures() const {
    // The party sits in team one in its own order, so its order is the seat order.
    std::vector<std::uint64_t> failures;
    for (const std::uint64_t id : party_) {
        if (StatusOf(id) != '1') {
            failures.push_back(id);
        }
    }
    return failures;
}

std::optional<std::uint64_t> Match::FirstUnansweredStranger() const {
    for (const std::uint64_t id : Strangers()) {
        if (StatusOf(id) == '0') {
            return id;
        }
    }
    return std::nullopt;
}

}  // namespace Tavix::TestHost::Sim
