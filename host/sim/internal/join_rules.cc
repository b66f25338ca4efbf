#include "sim/internal/join_rules.h"

#include <algorithm>

namespace Tavix::TestHost::Sim {

namespace {

double Seconds(std::int64_t nanoseconds) {
    return static_cast<double>(nanoseconds) / 1e9;
}

bool InParty(const std::vector<std::uint64_t>& party, std::uint64_t avatarId) {
    return std::find(party.begin(), party.end(), avatarId) != party.end();
}

}  // namespace

void JoinRules::AddPenalty(std::uint64_t avatarId, double seconds) {
    penalties_.push_back({avatarId, seconds});
}

void JoinRules::AddError(const JoinErrorRule& rule, std::int64_t now) {
    errors_.push_back({rule, now});
}

std::vector<JoinRules::Penalty> JoinRules::PenaltiesOf(
    const std::vector<std::uint64_t>& party) const {
    std::vector<Penalty> owed;
    for (const Penalty& penalty : penalties_) {
        if (InParty(party, penalty.avatarId)) {
            owed.push_back(penalty);
        }
    }
    return owed;
}

double JoinRules::Remaining(const Penalty& penalty, std::int64_t now) const {
    const double served = wait_ ? Seconds(now - wait_->since) : 0.0;
    return std::max(0.0, penalty.seconds - served);
}

std::vector<JoinFailure> JoinRules::Check(const std::vector<std::uint64_t>& party,
                                          const std::string& token, std::int64_t now) {
    std::vector<JoinFailure> failures;

    const std::vector<Penalty> owed = PenaltiesOf(party);
    if (!owed.empty()) {
        if (!wait_) {
            wait_ = Wait{now, "lpq-token-" + std::to_string(++waits_)};
        }
        const bool served = std::all_of(owed.begin(), owed.end(), [&](const Penalty& penalty) {
            return Remaining(penalty, now) <= 0.0;
        });
        if (served && token == wait_->token) {
            std::erase_if(penalties_,
                          [&](const Penalty& penalty) { return InParty(party, penalty.avatarId); });
            wait_.reset();
        } else {
            for (const Penalty& penalty : owed) {
                failures.push_back(
                    {penalty.avatarId, kPenaltyReason, Remaining(penalty, now), "", wait_->token});
            }
        }
    }

    std::erase_if(errors_, [&](const TimedError& error) {
        return error.rule.seconds > 0.0 && Seconds(now - error.since) >= error.rule.seconds;
    });
    for (const TimedError& error : errors_) {
        if (!InParty(party, error.rule.avatarId)) {
            continue;
        }
        const double remaining =
            error.rule.seconds > 0.0 ? error.rule.seconds - Seconds(now - error.since) : 0.0;
        failures.push_back(
            {error.rule.avatarId, error.rule.reason, remaining, error.rule.message, ""});
    }
    return failures;
}

bool JoinRules::Abandon(const std::string& token) {
    if (!wait_ || token != wait_->token) {
        return false;
    }
    wait_.reset();
    return true;
}

std::optional<double> JoinRules::UntilServed(const std::vector<std::uint64_t>& party,
                                             std::int64_t now) const {
    if (!wait_) {
        return std::nullopt;
    }
    double longest = 0.0;
    for (const Penalty& penalty : PenaltiesOf(party)) {
        longest = std::max(longest, Remaining(penalty, now));
    }
    return longest;
}

const std::string& JoinRules::WaitToken() const {
    static const std::string kNone;
    return wait_ ? wait_->token : kNone;
}

}  // namespace Tavix::TestHost::Sim
