// arx-host --http as a user starts it: the plug-in on the simulated platform behind a free
// loopback port, a whole search driven over real HTTP (the search posted, the event stream read,
// the match popped and the ready check accepted through the platform's actions, the game
// reached), the failures of the routes as HTTP answers, and the addresses it refuses.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <httplib.h>

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "host/arx_host_process.h"
#include "http/event_stream_reader.h"

namespace Tavix::TestHost::Http {
namespace {

using nlohmann::json;

constexpr const char* kSearch = "/arx-matchmaking/v1/search";
constexpr const char* kReadyCheck = "/arx-matchmaking/v1/ready-check";
constexpr const char* kAccept = "/arx-matchmaking/v1/ready-check/accept";
constexpr const char* kServing = "arx-host: serving the plug-in on http://127.0.0.1:";

// arx-host serving on a port the system picks, on the virtual clock: time moves only when the
// test advances it, so that the walk is the same on every machine.
class ArxHostHttpTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(host.Started());
        ASSERT_TRUE(host.ReadUntil(" (virtual clock)\n")) << host.Output();
        const std::size_t at = host.Output().find(kServing);
        ASSERT_NE(at, std::string::npos) << host.Output();
        port = std::stoi(host.Output().substr(at + std::string(kServing).size()));
    }

    httplib::Client Client() const {
        httplib::Client client("127.0.0.1", port);
        client.set_read_timeout(kPatience);
        return client;
    }

    // The status and, for a failure, the message of an answer.
    static std::string Answered(const httplib::Result& result) {
        if (!result) {
            return "no answer";
        }
        std::string row = std::to_string(result->status);
        if (result->status >= 400) {
            row += " " + json::parse(result->body)["message"].get<std::string>();
        }
        return row;
    }

    std::string Stage() {
        const auto standing = Client().Get("/sim/platform");
        return standing && standing->status == 200
                   ? json::parse(standing->body)["stage"].get<std::string>()
                   : "unknown";
    }

    Child host{{"--library", PLUGIN_PATH, "--http", "127.0.0.1:0", "--virtual-clock"}};
    int port = 0;
};

TEST_F(ArxHostHttpTest, AWholeSearchOverHttp) {
    EventStreamReader search(port, "/events?uri=/arx-matchmaking/v1/search");
    EventStreamReader readyCheck(port, "/events?uri=/arx-matchmaking/v1/ready-*");
    ASSERT_EQ(search.AwaitOpen(), 200);
    ASSERT_EQ(readyCheck.AwaitOpen(), 200);
    httplib::Client client = Client();

    // The player is in a lobby when arx-host starts serving.
    EXPECT_EQ(Answered(client.Post(kSearch)), "204");
    EXPECT_EQ(Stage(), "Queued");
    EXPECT_EQ(Answered(client.Post("/sim/clock/advance?seconds=1")), "200");
    EXPECT_EQ(Answered(client.Post("/sim/pop")), "200");
    EXPECT_EQ(Stage(), "ReadyCheck");
    const auto check = client.Get(kReadyCheck);
    ASSERT_TRUE(check);
    EXPECT_EQ(json::parse(check->body)["state"], "InProgress");
    EXPECT_EQ(Answered(client.Post(kAccept)), "204");
    // The strangers answer, the pick and the launch pass, in the platform's own time.
    for (int step = 0; step < 60 && Stage() != "InGame"; ++step) {
        ASSERT_EQ(Answered(client.Post("/sim/clock/advance?seconds=1")), "200");
    }
    EXPECT_EQ(Stage(), "InGame");
    EXPECT_EQ(Answered(client.Get(kSearch)), "404 No matchmaking search exists.");

    std::vector<std::string> searchEvents;
    for (const StreamEvent& event : search.AwaitData("\"eventType\":\"Delete\"")) {
        const json published = json::parse(event.data);
        searchEvents.push_back(published["eventType"].get<std::string>());
    }
    ASSERT_FALSE(searchEvents.empty());
    EXPECT_EQ(searchEvents.front(), "Create");
    EXPECT_EQ(searchEvents.back(), "Delete");
    const std::vector<StreamEvent> checkEvents = readyCheck.AwaitData("\"eventType\":\"Delete\"");
    ASSERT_FALSE(checkEvents.empty());
    EXPECT_EQ(json::parse(checkEvents.back().data)["eventType"], "Delete");
}

TEST_F(ArxHostHttpTest, TheRoutesFailuresAsHttpAnswers) {
    httplib::Client client = Client();
    EXPECT_EQ(Answered(client.Get(kSearch)), "404 No matchmaking search exists.");
    EXPECT_EQ(Answered(client.Get("/arx-matchmaking/v1/search/errors/3")),
              "404 No matchmaking search.");
    EXPECT_EQ(Answered(client.Get(kReadyCheck)), "404 Not attached to a matchmaking queue.");
    EXPECT_EQ(Answered(client.Post(kAccept)), "404 Not attached to a matchmaking queue.");
    EXPECT_EQ(Answered(client.Put(kSearch, "searchState: Canceled", "text/plain")),
              "400 Unsupported body content type");
    EXPECT_EQ(Answered(client.Post(kSearch)), "204");
    EXPECT_EQ(Answered(client.Get("/arx-matchmaking/v1/search/errors/7")),
              "404 Failed to find matchmaking error with id 7.");
    EXPECT_EQ(Answered(client.Delete(kSearch)), "204");
    EXPECT_EQ(Answered(client.Post("/sim/lobby/leave")), "200");
    EXPECT_EQ(Answered(client.Post(kSearch)), "404 Not in a lobby!");
    // The platform's refusals and the actions' unreadable parameters are answers too.
    EXPECT_EQ(Answered(client.Post("/sim/pop")).substr(0, 4), "409 ");
    EXPECT_EQ(Answered(client.Post("/sim/penalty?seconds=soon")),
              "400 \"soon\" is not a number of seconds for seconds");

    // The document has the routes, the event stream and the platform's actions.
    const auto document = client.Get("/openapi.json");
    ASSERT_TRUE(document);
    const json paths = json::parse(document->body)["paths"];
    for (const char* path :
         {kSearch, kAccept, "/events", "/sim", "/sim/pop", "/sim/clock/advance"}) {
        EXPECT_TRUE(paths.contains(path)) << path;
    }
    const auto page = client.Get("/");
    ASSERT_TRUE(page);
    EXPECT_EQ(page->status, 200);
    EXPECT_THAT(page->body, ::testing::HasSubstr("<title>arx-matchmaking</title>"));
}

TEST(ArxHostHttpAddressTest, AnAddressOfAnotherMachineNeedsAllowRemote) {
    Child refused({"--library", PLUGIN_PATH, "--http", "0.0.0.0:0", "--seconds", "5"});
    ASSERT_TRUE(refused.Started());
    EXPECT_EQ(refused.Finish(), 1);
    EXPECT_THAT(refused.Output(), ::testing::HasSubstr("0.0.0.0 is not a loopback address"));

    Child unreadable({"--library", PLUGIN_PATH, "--http", "127.0.0.1:port"});
    EXPECT_EQ(unreadable.Finish(), 2);
}

}  // namespace
}  // namespace Tavix::TestHost::Http
