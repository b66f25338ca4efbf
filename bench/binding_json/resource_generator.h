#pragma once
// The inputs of the JSON benchmarks, made from a fixed seed so that every run measures the same
// bytes: a typical search resource of about 3 KB and an array of such resources of about 1 MB.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

namespace Tavix::Client {
class BindingRegistry;
}  // namespace Tavix::Client

namespace Tavix::Client::Bench {

enum class BenchPosition : std::int32_t {
    Unselected = 0,
    Top = 1,
    Jungle = 2,
    Middle = 3,
    Bottom = 4,
    Utility = 5
};

struct BenchMember {
    std::uint64_t summonerId = 0;
    std::string puuid;
    std::string displayName;
    std::int32_t teamId = 0;
    BenchPosition position = BenchPosition::Unselected;
    bool isLeader = false;
    double mmr = 0.0;
    std::vector<std::int32_t> championIds;
};

struct BenchError {
    std::int32_t id = 0;
    std::string errorType;
    std::string message;
    double penaltyTimeRemaining = 0.0;
};

struct BenchReadyCheck {
    std::string state;
    std::string playerResponse;
    double timer = 0.0;
    std::vector<std::uint64_t> declinerIds;
    bool suppressUx = false;
};

// A search-sized native record, the shape of the resource text below.
struct BenchSearch {
    std::int32_t queueId = 0;
    std::string searchState;
    bool isCurrentlyInQueue = false;
    double timeInQueue = 0.0;
    double estimatedQueueTime = 0.0;
    std::string lobbyId;
    std::vector<BenchError> errors;
    BenchReadyCheck readyCheck;
    std::vector<BenchMember> members;
    std::optional<std::string> dodgeReason;
    BenchPosition localPosition = BenchPosition::Unselected;
};

// The record drawn from `seed`.
BenchSearch GenerateSearch(std::uint64_t seed);
// The record as compact JSON, enums as numbers.
std::string SearchToJson(const BenchSearch& search);
// One resource of about 3 KB.
std::string GenerateResourceJson();
// An array of resources drawn from consecutive seeds, at least `bytes` long.
std::string GenerateResourceArrayJson(std::size_t bytes);
// Declares the record and its parts, enums as "UNSELECTED" and the like.
void DeclareBenchSearch(BindingRegistry& registry);
// The record written field by field, the way a hand-made serializer would.
void WriteSearchByHand(rapidjson::Writer<rapidjson::StringBuffer>& writer,
                       const BenchSearch& search);

}  // namespace Tavix::Client::Bench
