#pragma once
// Who the simulated platform lets into a queue: leaver penalties, which hold the whole party
// back in a low-priority wait until the penalised players have served their time and the party
// brings the wait's token back, and join errors (a queue dodger's timeout, a restriction) which
// refuse one player for a while or for good.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace Tavix::TestHost::Sim {

// One player the platform refuses, as its join failure tells it.
struct JoinFailure {
    std::uint64_t avatarId = 0;
    std::string reason;
    double remainingSeconds = 0.0;
    std::string message;
    // The low-priority wait's token, for a penalised player.
    std::string accessToken;
};

struct JoinErrorRule {
    std::uint64_t avatarId = 0;
    std::string reason = "QUEUE_DODGER";
    // 0: a refusal without time, which lasts as long as the rule.
    double seconds = 0.0;
    std::string message;
};

class JoinRules {
public:
    static constexpr const char* kPenaltyReason = "QUIT_WARDENED";

    // `avatarId` left a game and owes `seconds` of low-priority wait.
    void AddPenalty(std::uint64_t avatarId, double seconds);
    // Times are host nanoseconds; a timed error runs from `now`.
    void AddError(const JoinErrorRule& rule, std::int64_t now);

    // Everyone of `party` who may not join at `now`, the party having brought `token` back:
    // empty when the party joins. The first refusal for a penalty starts the party's wait; a
    // wait that is served ends when its token comes back, and its penalties with it.
    std::vector<JoinFailure> Check(const std::vector<std::uint64_t>& party,
                                   const std::string& token, std::int64_t now);
    // The party gave its low-priority wait up: the next refusal starts it again, in full.
    // False when `token` is not the running wait's.
    bool Abandon(const std::string& token);
    // Seconds until the running wait of `party` is served; nothing without a wait.
    std::optional<double> UntilServed(const std::vector<std::uint64_t>& party,
                                      std::int64_t now) const;
    const std::string& WaitToken() const;

private:
    struct Penalty {
        std::uint64_t avatarId = 0;
        double seconds = 0.0;
    };
    struct TimedError {
        JoinErrorRule rule;
        std::int64_t since = 0;
    };
    struct Wait {
        std::int64_t since = 0;
        std::string token;
    };

    std::vector<Penalty> PenaltiesOf(const std::vector<std::uint64_t>& party) const;
    double Remaining(const Penalty& penalty, std::int64_t now) const;

    std::vector<Penalty> penalties_;
    std::vector<TimedError> errors_;
    std::optional<Wait> wait_;
    int waits_ = 0;
};

}  // namespace Tavix::TestHost::Sim
