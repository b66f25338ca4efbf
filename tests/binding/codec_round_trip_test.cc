// One document written as JSON, converted to MessagePack by another library and to YAML by hand,
// must read back as the same tree through every reader.

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include <cstdint>
#include <string>
#include <vector>

#include "binding/binding_string.h"
#include "binding/json.h"
#include "binding/msgpack.h"
#include "binding/yaml.h"

namespace Tavix::Client {
namespace {

constexpr char kJson[] = R"({
  "queueId": 420,
  "searchState": "Searching",
  "isCurrentlyInQueue": true,
  "timeInQueue": 12.5,
  "estimatedQueueTime": -0.25,
  "lobbyId": "9f1c-\u00e9",
  "dodgeReason": null,
  "offset": -7,
  "large": 18446744073709551615,
  "errors": [
    {"id": 1, "errorType": "QUEUE_DODGER", "message": "", "penaltyTimeRemaining": 30.75}
  ],
  "readyCheck": {"state": "Invalid", "declinerIds": [], "suppressUx": false, "timer": 0.5},
  "members": [[1, 2, 3], {"puuid": "a b", "teamId": 100}, [], {}]
})";

// The same document in YAML, with anchors for what repeats in the MessagePack below.
constexpr char kYaml[] = R"(# search resource
queueId: 420
searchState: Searching
isCurrentlyInQueue: yes
timeInQueue: 12.5
estimatedQueueTime: -0.25
lobbyId: "9f1c-\u00e9"
dodgeReason: ~
offset: -7
large: !!int 18446744073709551615
errors:
  - id: 1
    errorType: QUEUE_DODGER
    message: ''
    penaltyTimeRemaining: 30.75
readyCheck: {state: Invalid, declinerIds: [], suppressUx: off, timer: 0.5}
members:
  - [1, 2, 3]
  - puuid: a b
    teamId: 100
  - []
  - {}
)";

// Integers compare by value whatever their kind: a small non-negative number may come as signed
// from one format and unsigned from another.
bool SameNumber(const BindingValue& a, const BindingValue& b) {
    const auto asWide = [](const BindingValue& v, bool& negative) {
        negative = v.Kind() == BindingValueKind::Signed && v.GetSigned() < 0;
        return v.Kind() == BindingValueKind::Signed ? static_cast<std::uint64_t>(v.GetSigned())
                                                    : v.GetUnsigned();
    };
    bool negativeA = false;
    bool negativeB = false;
    return asWide(a, negativeA) == asWide(b, negativeB) && negativeA == negativeB;
}

bool IsInteger(const BindingValue& v) {
    return v.Kind() == BindingValueKind::Signed || v.Kind() == BindingValueKind::Unsigned;
}

void ExpectSameTree(const BindingValue& a, const BindingValue& b, const std::string& where) {
    if (IsInteger(a) && IsInteger(b)) {
        EXPECT_TRUE(SameNumber(a, b)) << where;
        return;
    }
    ASSERT_EQ(a.Kind(), b.Kind()) << where;
    switch (a.Kind()) {
        case BindingValueKind::Bool:
            EXPECT_EQ(a.GetBool(), b.GetBool()) << where;
            return;
        case BindingValueKind::Float:
            EXPECT_EQ(a.GetFloat(), b.GetFloat()) << where;
            return;
        case BindingValueKind::String:
            EXPECT_EQ(a.GetString(), b.GetString()) << where;
            return;
        case BindingValueKind::Collection:
            ASSERT_EQ(a.Size(), b.Size()) << where;
            for (std::size_t i = 0; i < a.Size(); ++i) {
                ExpectSameTree(a.GetAt(i), b.GetAt(i), where + "/" + std::to_string(i));
            }
            return;
        case BindingValueKind::Structure:
            ASSERT_EQ(a.Size(), b.Size()) << where;
            a.ForEachField([&](const BindingString& name, const BindingValue& field) {
                const std::string path = where + "/" + std::string(name.View());
                EXPECT_TRUE(b.HasField(name.View())) << path;
                ExpectSameTree(field, b.GetField(name.View()), path);
            });
            return;
        default:
            return;
    }
}

BindingResult FromJson() {
    BindingResult result;
    ParseJson(result, kJson);
    EXPECT_TRUE(result.Ok()) << result.ErrorText();
    return result;
}

TEST(CodecRoundTripTest, MessagePackOfTheJsonReadsBackEqual) {
    const std::vector<std::uint8_t> bytes =
        nlohmann::json::to_msgpack(nlohmann::json::parse(kJson));
    BindingResult result;
    std::uint32_t consumed = 0;
    ReadMessagePack(result, consumed, bytes.data(), static_cast<std::uint32_t>(bytes.size()));
    ASSERT_TRUE(result.Ok()) << result.ErrorText();
    EXPECT_EQ(consumed, bytes.size());
    ExpectSameTree(FromJson(), result, "");
}

TEST(CodecRoundTripTest, YamlOfTheJsonReadsBackEqual) {
    BindingResult result;
    ParseYaml(result, kYaml);
    ASSERT_TRUE(result.Ok()) << result.ErrorText();
    ExpectSameTree(FromJson(), result, "");
}

}  // namespace
}  // namespace Tavix::Client
