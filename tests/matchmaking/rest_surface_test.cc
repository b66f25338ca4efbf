// The nine routes as a host sees them: the function records of the module's API description,
// and every failure of the route table, reached through the records' call entries and found
// among the failures that the module's OpenAPI document lists for the route.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cctype>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "core/self_description.h"
#include "search_fixture.h"

namespace Tavix::Client::Matchmaking::Testing {
namespace {

using ::testing::UnorderedElementsAre;

class RestSurfaceTest : public SearchTest {
protected:
    using Row = std::pair<std::uint32_t, std::string>;

    // Calls a route that must fail, and answers its status and text as the table gives them. The
    // failure must also be one that the module's OpenAPI document lists for that route, so that
    // what a client generator reads cannot drift from what the handlers answer.
    Row Refused(const std::string& method, const std::string& url) {
        const RouteAnswer answer = Call(method, url);
        EXPECT_FALSE(answer.ok) << answer;
        EXPECT_TRUE(Declared(method, url, answer.status, answer.error))
            << method << " " << url << " answers " << answer.status << " \"" << answer.error
            << "\", which its entry in the API document does not list";
        return {answer.status, answer.error};
    }

    bool Declared(const std::string& method, const std::string& url, std::uint32_t status,
                  const std::string& text) {
        if (document.is_null()) {
            const TestHost::OpenApiFetch fetch = TestHost::FetchOpenApiDocument(*module);
            EXPECT_TRUE(fetch.Ok()) << fetch.error;
            document = nlohmann::json::parse(fetch.Ok() ? fetch.json : "{}");
        }
        const Client::HostFunctionRecord* record = TestHost::FindFunctionRecord(
            *module->Block().apiDescription, MethodCode(method), method, url);
        if (record == nullptr) {
            return false;
        }
        std::string verb = method;
        std::transform(verb.begin(), verb.end(), verb.begin(),
                       [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
        const nlohmann::json::json_pointer where("/paths/" + Escaped(record->url) + "/" + verb +
                                                 "/responses/" + std::to_string(status) +
                                                 "/description");
        if (!document.contains(where)) {
            return false;
        }
        std::istringstream lines(document.at(where).get<std::string>());
        for (std::string line; std::getline(lines, line);) {
            if (Fits(line, text)) {
                return true;
            }
        }
        return false;
    }

    // A listed text with a "<what>" in it stands for the texts with anything in that place: the
    // pieces between placeholders must appear in order, the first at the start, the last at the
    // end.
    static bool Fits(const std::string& listed, const std::string& text) {
        std::vector<std::string> pieces{""};
        for (std::size_t i = 0; i < listed.size(); ++i) {
            const std::size_t close = listed[i] == '<' ? listed.find('>', i) : std::string::npos;
            if (close != std::string::npos) {
                pieces.emplace_back();
                i = close;
            } else {
                pieces.back() += listed[i];
            }
        }
        if (pieces.size() == 1) {
            return text == pieces.front();
        }
        const std::string& last = pieces.back();
        if (text.compare(0, pieces.front().size(), pieces.front()) != 0 ||
            text.size() < pieces.front().size() + last.size() ||
            text.compare(text.size() - last.size(), last.size(), last) != 0) {
            return false;
        }
        std::size_t at = pieces.front().size();
        for (std::size_t k = 1; k + 1 < pieces.size(); ++k) {
            at = text.find(pieces[k], at);
            if (at == std::string::npos || at + pieces[k].size() > text.size() - last.size()) {
                return false;
            }
            at += pieces[k].size();
        }
        return true;
    }

    // A path as one token of a JSON pointer.
    static std::string Escaped(const std::string& path) {
        std::string token;
        for (const char c : path) {
            token += c == '~' ? "~0" : c == '/' ? "~1" : std::string(1, c);
        }
        return token;
    }

    nlohmann::json document;
};

// The nine routes, and the two through which the module describes itself.
TEST_F(RestSurfaceTest, TheHostIsGivenTheNineFunctionsAndTheDescriptions) {
    std::vector<std::string> lines;
    for (const TestHost::FunctionInfo& function :
         TestHost::DescribeFunctions(*module->Block().apiDescription)) {
        lines.push_back(TestHost::DescribeLine(function));
    }
    EXPECT_THAT(
        lines, UnorderedElementsAre(
                   "GET /arx-matchmaking/v1/search GetArxMatchmakingV1Search",
                   "POST /arx-matchmaking/v1/search PostArxMatchmakingV1Search",
                   "DELETE /arx-matchmaking/v1/search DeleteArxMatchmakingV1Search",
                   "PUT /arx-matchmaking/v1/search PutArxMatchmakingV1Search search:body",
                   "GET /arx-matchmaking/v1/search/errors GetArxMatchmakingV1SearchErrors",
                   "GET /arx-matchmaking/v1/search/errors/{id} "
                   "GetArxMatchmakingV1SearchErrorsById id:path",
                   "GET /arx-matchmaking/v1/ready-check GetArxMatchmakingV1ReadyCheck",
                   "POST /arx-matchmaking/v1/ready-check/accept "
                   "PostArxMatchmakingV1ReadyCheckAccept",
                   "POST /arx-matchmaking/v1/ready-check/decline "
                   "PostArxMatchmakingV1ReadyCheckDecline",
                   "GET /arx-matchmaking/v1/help Help", "GET /arx-matchmaking/v1/openapi OpenApi"));
}

TEST_F(RestSurfaceTest, WithoutASearch) {
    EXPECT_EQ(Refused("GET", kSearch), Row(404, "No matchmaking search exists."));
    EXPECT_EQ(Refused("GET", kErrors), Row(404, "No matchmaking search exists."));
    EXPECT_EQ(Refused("GET", std::string(kErrors) + "/3"), Row(404, "No matchmaking search."));
    EXPECT_EQ(Refused("GET", kReadyCheck), Row(404, "Not attached to a matchmaking queue."));
    EXPECT_EQ(Refused("POST", "/arx-matchmaking/v1/ready-check/accept"),
              Row(404, "Not attached to a matchmaking queue."));
    EXPECT_EQ(Refused("POST", "/arx-matchmaking/v1/ready-check/decline"),
              Row(404, "Not attached to a matchmaking queue."));
    // A cancel that no state refuses succeeds even without a search.
    EXPECT_TRUE(Call("DELETE", kSearch).ok);
}

TEST_F(RestSurfaceTest, EnteringAQueueFails) {
    hood.platform.Fail("matchmakerService", "attachToQueue", "remote refused");
    EXPECT_EQ(Refused("POST", kSearch),
              Row(500,
                  "Failed to attach to matchmaking queue 420: Error response for POST "
                  "/arx-login/v1/session/invoke: remote refused"));

    LobbyRecord squad = lobby;
    squad.queueId = Neighbourhood::kSquadForgeQueue;
    hood.gameflow.JoinLobby(squad);
    hood.squadForge.search.Next(TestHost::Reply::Fail("busy", 503));
    EXPECT_EQ(Refused("POST", kSearch),
              Row(500,
                  "Entering matchmaking for squadforge failed: Error response for POST "
                  "/arx-lobby-squad-forge/v1/matchmaking/search: busy"));

    LobbyRecord unknown = lobby;
    unknown.queueId = 4242;
    hood.gameflow.JoinLobby(unknown);
    EXPECT_EQ(Refused("POST", kSearch), Row(500, "Can't create search for invalid queueId"));

    hood.gameflow.LeaveLobby();
    EXPECT_EQ(Refused("POST", kSearch), Row(404, "Not in a lobby!"));
    EXPECT_EQ(plugin->CurrentSearch(), nullptr);
}

TEST_F(RestSurfaceTest, AnsweringTheReadyCheckFails) {
    EnterQueue();
    hood.platform.Fail("gameService", "acceptPoppedGame", "remote refused");
    hood.platform.Fail("gameService", "acceptPoppedGame", "remote refused");
    EXPECT_EQ(Refused("POST", "/arx-matchmaking/v1/ready-check/accept"),
              Row(500, "Failed to accept the ready-check"));
    EXPECT_EQ(Refused("POST", "/arx-matchmaking/v1/ready-check/decline"),
              Row(500, "Failed to decline the ready-check"));

    // The queue vanishes from the list: the running search's strategy is the invalid one.
    hood.queues.Update({{Neighbourhood::kSquadForgeQueue, true}});
    EXPECT_EQ(Refused("POST", "/arx-matchmaking/v1/ready-check/accept"),
              Row(500, "Can't accept ready check for invalid queueId"));
    EXPECT_EQ(Refused("POST", "/arx-matchmaking/v1/ready-check/decline"),
              Row(500, "Can't decline ready check for invalid queueId"));

    // The queue moves to the lobby feature, which refuses.
    hood.queues.Update({{kLegacy, true}});
    hood.squadForge.accept.Always(TestHost::Reply::Fail("busy", 503));
    hood.squadForge.decline.Always(TestHost::Reply::Fail("busy", 503));
    EXPECT_EQ(Refused("POST", "/arx-matchmaking/v1/ready-check/accept"),
              Row(500,
                  "Failed to accept squad forge ready check: Error response for POST "
                  "/arx-lobby-squad-forge/v1/ready-check/accept: busy"));
    EXPECT_EQ(Refused("POST", "/arx-matchmaking/v1/ready-check/decline"),
              Row(500,
                  "Failed to decline squad forge ready check: Error response for POST "
                  "/arx-lobby-squad-forge/v1/ready-check/decline: busy"));
}

TEST_F(RestSurfaceTest, LeavingTheQueueFails) {
    EnterQueue();
    hood.platform.AnswerCancel(false);
    EXPECT_EQ(Refused("DELETE", kSearch),
              Row(500, "Failed to cancel matchmaking search on platform."));

    // Once the machine has stopped, no state takes the cancel.
    InModule([&] { plugin->OnStop(); });
    hood.platform.AnswerCancel(true);
    EXPECT_EQ(Refused("DELETE", kSearch), Row(404, "Not attached to a matchmaking queue."));
}

TEST_F(RestSurfaceTest, ErrorsAreFoundByTheirIds) {
    SearchRecord record = InQueue();
    record.errors = {{0, "QUEUE_DODGER", 12, 0.0, "first"}};
    ASSERT_TRUE(Call("PUT", kSearch, record.ToValue()).ok);
    EXPECT_EQ(Refused("GET", std::string(kErrors) + "/1"),
              Row(404, "Failed to find matchmaking error with id 1."));
    EXPECT_NE(Call("GET", std::string(kErrors) + "/0").json.find("first"), std::string::npos);
}

// A body that does not convert is refused by the dispatcher; the handler never sees it.
TEST_F(RestSurfaceTest, APutOfTheWrongShapeNeverReachesTheHandler) {
    const RouteAnswer refused =
        Call("PUT", kSearch, Value::Map({{"queueId", Value::Text("four hundred")}}));
    EXPECT_FALSE(refused.ok);
    EXPECT_EQ(refused.status, 0u) << "a binding failure leaves the status to the host";
    EXPECT_NE(refused.error.find("queueId"), std::string::npos) << refused.error;
    EXPECT_EQ(plugin->CurrentSearch(), nullptr);
    EXPECT_EQ(State(), "Available");
}

}  // namespace
}  // namespace Tavix::Client::Matchmaking::Testing
