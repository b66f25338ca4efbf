// The plug-in's records as its registry declares them: the names the wire and the API tables
// show, the native widths, the enumerators, and the remote classes of the platform's records.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "binding/registry.h"
#include "plugin_fixture.h"

namespace Tavix::Client::Matchmaking::Testing {
namespace {

using ::testing::ElementsAre;

bool NamesAType(const BindingTypeRef& type) {
    const auto named = [](BindingKind kind) {
        return kind == BindingKind::Struct || kind == BindingKind::Enum;
    };
    return named(type.kind) || named(type.elementKind);
}

class RecordRegistrationTest : public PluginTest {
protected:
    void SetUp() override {
        PluginTest::SetUp();
        Start();
    }

    const BindingTypeDescriptor* Type(const std::string& name) const {
        return plugin->GetDispatcher().FindTypeByName(name);
    }

    std::vector<std::string> FieldNames(const std::string& name) const {
        std::vector<std::string> names;
        if (const BindingTypeDescriptor* type = Type(name)) {
            for (const BindingFieldDescriptor& field : type->fields) {
                names.push_back(field.name);
            }
        }
        return names;
    }

    std::vector<std::pair<std::string, std::int32_t>> Enumerators(const std::string& name) const {
        std::vector<std::pair<std::string, std::int32_t>> list;
        if (const BindingTypeDescriptor* type = Type(name)) {
            for (const auto& [enumerator, value] : type->enumerators) {
                list.emplace_back(enumerator, value.number);
            }
        }
        return list;
    }
};

TEST_F(RecordRegistrationTest, ApiRecordsCarryTheNamespaceAndTheModuleTags) {
    for (const char* name : {"MatchmakingSearchState",
                             "MatchmakingDodgeState",
                             "MatchmakingReadyCheckState",
                             "MatchmakingReadyCheckResponse",
                             "MatchmakingDodgeWarning",
                             "MatchmakingReadyCheckResource",
                             "MatchmakingSearchErrorResource",
                             "MatchmakingDodgeData",
                             "MatchmakingLowPriorityData",
                             "MatchmakingSearchResource",
                             "QueueCustomGameSpectatorPolicy",
                             "LobbyStatus",
                             "PlayerStatus",
                             "Queue",
                             "GameflowPhase",
                             "GameflowGameTypeConfig",
                             "GameflowQueue",
                             "GameflowGameData",
                             "GameflowGameDodge",
                             "GameflowSession",
                             "LoginSessionState",
                             "LoginSession"}) {
        const BindingTypeDescriptor* type = Type(std::string("ArxMatchmaking") + name);
        ASSERT_NE(type, nullptr) << name;
        EXPECT_THAT(type->tags, ElementsAre("Plugins", "Plugin arx-matchmaking")) << name;
        EXPECT_EQ(type->description, "") << name;
        EXPECT_EQ(Type(name), nullptr) << name << " is registered without its namespace too";
    }
}

TEST_F(RecordRegistrationTest, EnumsHaveTheirWidthsAndNumbers) {
    EXPECT_EQ(Type("ArxMatchmakingMatchmakingReadyCheckResponse")->size, 1u);
    for (const char* name :
         {"ArxMatchmakingMatchmakingSearchState", "ArxMatchmakingMatchmakingDodgeState",
          "ArxMatchmakingGameflowPhase", "ArxMatchmakingLoginSessionState"}) {
        EXPECT_EQ(Type(name)->size, 4u) << name;
    }
    using Pairs = std::vector<std::pair<std::string, std::int32_t>>;
    EXPECT_EQ(Enumerators("ArxMatchmakingMatchmakingDodgeState"),
              (Pairs{{"Invalid", 48},
                     {"PartyDodged", 49},
                     {"StrangerDodged", 50},
                     {"TournamentDodged", 51}}));
    EXPECT_EQ(Enumerators("ArxMatchmakingMatchmakingReadyCheckResponse"),
              (Pairs{{"Accepted", 49}, {"Declined", 50}, {"None", 48}}));
    EXPECT_EQ(Enumerators("ArxMatchmakingLoginSessionState"),
              (Pairs{{"ERROR", 3}, {"IN_PROGRESS", 0}, {"LOGGING_OUT", 2}, {"SUCCEEDED", 1}}));
    EXPECT_EQ(Enumerators("ArxMatchmakingMatchmakingSearchState").size(), 8u);
    EXPECT_EQ(Enumerators("ArxMatchmakingGameflowPhase").size(), 14u);
    EXPECT_EQ(Enumerators("ArxMatchmakingGameflowPhase").back(),
              (Pairs::value_type{"WaitingForStats", 10}));
}

TEST_F(RecordRegistrationTest, RecordsListTheirFieldsInOrder) {
    EXPECT_THAT(
        FieldNames("ArxMatchmakingMatchmakingSearchResource"),
        ElementsAre("queueId", "isCurrentlyInQueue", "lobbyId", "searchState", "timeInQueue",
                    "estimatedQueueTime", "readyCheck", "dodgeData", "lowPriorityData", "errors"));
    EXPECT_THAT(FieldNames("ArxMatchmakingMatchmakingReadyCheckResource"),
                ElementsAre("state", "playerResponse", "dodgeWarning", "timer", "declinerIds",
                            "suppressUx"));
    EXPECT_THAT(FieldNames("ArxMatchmakingLobbyStatus"),
                ElementsAre("queueId", "isCustom", "isLeader", "isSpectator", "allowedPlayAgain",
                            "memberAvatarIds", "lobbyId", "customSpectatorPolicy"));
    EXPECT_THAT(FieldNames("ArxMatchmakingGameflowSession"),
                ElementsAre("phase", "gameData", "gameDodge"));
    // Every field has flags 0: neither required nor left out when empty.
    for (const BindingTypeDescriptor* type : plugin->GetDispatcher().Types()) {
        for (const BindingFieldDescriptor& field : type->fields) {
            if (type->name.rfind("ArxMatchmaking", 0) == 0 ||
                type->name.rfind("MatchmakingLcds", 0) == 0) {
                EXPECT_EQ(field.flags, 0u) << type->name << "." << field.name;
                // A record declared before the ones it uses would leave this reference empty.
                EXPECT_FALSE(NamesAType(field.type) && field.type.descriptor == nullptr)
                    << type->name << "." << field.name << " refers to an undeclared type";
            }
        }
    }
}

TEST_F(RecordRegistrationTest, RemoteRecordsKeepTheirBareNames) {
    EXPECT_THAT(FieldNames("MatchmakingLcdsMatchMakerParams"),
                ElementsAre("queueIds", "team", "invitationId", "lastConductorMessage", "languages",
                            "botDifficulty", "teamId"));
    EXPECT_THAT(
        FieldNames("MatchmakingLcdsWardenedQuitter"),
        ElementsAre("avatar", "reasonFailed", "accessToken", "leaverPenaltyMillisRemaining"));
    for (const char* refusal : {"MatchmakingLcdsQueueDisabled", "MatchmakingLcdsQueueRestricted",
                                "MatchmakingLcdsQueueThrottled"}) {
        EXPECT_THAT(FieldNames(refusal),
                    ElementsAre("avatar", "reasonFailed", "queueId", "message"))
            << refusal;
    }
    EXPECT_THAT(FieldNames("MatchmakingLcdsMatchMakerPayload"),
                ElementsAre("QUIT_WARDEN_ACCESS_TOKEN"));
    EXPECT_EQ(Type("ArxMatchmakingMatchmakingLcdsGameDTO"), nullptr);
}

}  // namespace
}  // namespace Tavix::Client::Matchmaking::Testing
