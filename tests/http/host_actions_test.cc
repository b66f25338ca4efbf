// The host's own actions beside the module's functions: listed at /sim, each run on the host's
// thread with its query parameters or their defaults, and described in /openapi.json.

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "http_fixture.h"

namespace Tavix::TestHost::Http {
namespace {

using nlohmann::json;

class HostActionsTest : public HttpFrontTest {
protected:
    void Prepare(HttpFront& served) override {
        HostAction move;
        move.path = "/sim/gameflow";
        move.title = "Move the gameflow";
        move.parameters = {{"phase", "ReadyCheck"}};
        move.run = [this](const HostAction::Parameters& parameters) {
            ranOn = std::this_thread::get_id();
            host.AdvanceBy(1.0);
            hood.gameflow.MoveTo(parameters.at("phase"));
            HttpReplyText reply;
            reply.status = 204;
            return reply;
        };
        served.AddAction(std::move(move));
    }

    std::thread::id ranOn;
};

TEST_F(HostActionsTest, AnActionRunsOnTheHostsThreadWithItsParameters) {
    JoinLobby();
    StandingPlatformAnswers();
    Serve();
    httplib::Client client = Client();

    const auto listed = client.Get("/sim");
    ASSERT_TRUE(listed);
    EXPECT_EQ(json::parse(listed->body), json::parse(R"([{"method": "POST", "path": "/sim/gameflow",
                               "title": "Move the gameflow",
                               "parameters": [{"name": "phase", "default": "ReadyCheck"}]}])"));

    ASSERT_TRUE(client.Post(kSearch));
    // Without the parameter, its default: the match pops.
    const auto popped = client.Post("/sim/gameflow");
    ASSERT_TRUE(popped);
    EXPECT_EQ(popped->status, 204);
    EXPECT_EQ(ranOn, hostThread.get_id());
    const auto check = client.Get(kReadyCheck);
    ASSERT_TRUE(check);
    EXPECT_EQ(json::parse(check->body)["state"], "InProgress");

    ASSERT_TRUE(client.Post(kAccept));
    ASSERT_TRUE(client.Post("/sim/gameflow?phase=RosterPick"));
    ASSERT_TRUE(client.Post("/sim/gameflow?phase=InProgress"));
    const auto search = client.Get(kSearch);
    ASSERT_TRUE(search);
    EXPECT_EQ(search->status, 404);

    // Another method at an action's path is no action: it goes to the module, which has no such
    // function.
    const auto other = client.Get("/sim/gameflow");
    ASSERT_TRUE(other);
    EXPECT_EQ(other->status, 404);
}

TEST_F(HostActionsTest, TheDocumentHasTheModulesPathsAndTheFronts) {
    HttpFrontOptions options = Options();
    options.apiDocument =
        R"({"openapi": "3.0.0", "paths": {"/arx-matchmaking/v1/search": {"get": {}}}})";
    Serve(options);
    const auto served = Client().Get("/openapi.json");
    ASSERT_TRUE(served);
    EXPECT_EQ(served->status, 200);
    EXPECT_EQ(served->get_header_value("Content-Type"), "application/json");
    const json paths = json::parse(served->body)["paths"];
    for (const char* path : {"/arx-matchmaking/v1/search", "/events", "/sim", "/sim/gameflow"}) {
        EXPECT_TRUE(paths.contains(path)) << path;
    }
    EXPECT_EQ(paths["/sim/gameflow"]["post"]["parameters"][0]["schema"]["default"], "ReadyCheck");
}

TEST_F(HostActionsTest, WithoutADocumentThereIsNone) {
    Serve();
    const auto served = Client().Get("/openapi.json");
    ASSERT_TRUE(served);
    EXPECT_EQ(served->status, 404);
    EXPECT_EQ(json::parse(served->body)["message"], "this host was given no API document");
}

TEST(HostActionsStartTest, AFrontGivenABrokenDocumentDoesNotStart) {
    Host host;
    TurnLoop loop(host);
    LoadResult loaded = LoadModule(host, &LoadMatchmakingPlugin);
    ASSERT_TRUE(loaded.module);
    HttpFrontOptions options;
    options.apiDocument = "not JSON";
    HttpFront front(loop, *loaded.module, options);
    EXPECT_EQ(front.Start(), "the module's API document is not a JSON object");
}

}  // namespace
}  // namespace Tavix::TestHost::Http
