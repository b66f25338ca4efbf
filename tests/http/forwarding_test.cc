// A module's functions over HTTP: what the front hands the call entry (method, the target with
// its query, headers in lower case, the body with its content type) and how the module's
// response comes back (value as JSON, headers, statuses, streamed bodies, one release each).

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "echo_module.h"
#include "http_fixture.h"

namespace Tavix::TestHost::Http {
namespace {

using nlohmann::json;
using ::testing::Contains;

class ForwardingTest : public HttpFrontTest {
protected:
    void SetUp() override {
        HttpFrontTest::SetUp();
        answersBefore = EchoAnswers();
        releasesBefore = EchoReleases();
        Serve(Options(), &LoadEchoModule);
    }

    std::size_t answersBefore = 0;
    std::size_t releasesBefore = 0;
};

TEST_F(ForwardingTest, TheCallEntryGetsTheRequestAsSent) {
    httplib::Client client = Client();
    const auto got = client.Get("/echo/a/b?x=1&y=%20z", {{"X-Custom-Name", "Some Value"}});
    ASSERT_TRUE(got);
    EXPECT_EQ(got->status, 200);
    EXPECT_EQ(got->get_header_value("Content-Type"), "application/json");
    EXPECT_EQ(got->get_header_value("x-echo"), "yes");
    const json echo = json::parse(got->body);
    EXPECT_EQ(echo["method"], "GET");
    // The query stays in the URL, undecoded: the module reads it itself.
    EXPECT_EQ(echo["url"], "/echo/a/b?x=1&y=%20z");
    EXPECT_THAT(echo["headers"], Contains(json::array({"x-custom-name", "Some Value"})));
    EXPECT_TRUE(echo["contentType"].is_null());
    EXPECT_TRUE(echo["body"].is_null());

    const auto posted = client.Patch("/echo/put", "{\"a\": [1, 2]}", "application/json");
    ASSERT_TRUE(posted);
    const json body = json::parse(posted->body);
    EXPECT_EQ(body["method"], "PATCH");
    EXPECT_EQ(body["contentType"], "application/json");
    EXPECT_EQ(body["body"], "{\"a\": [1, 2]}");
}

TEST_F(ForwardingTest, ABodyWithoutAContentTypeGoesWithAnEmptyOne) {
    RawConnection connection(front->Port());
    ASSERT_TRUE(connection.Send(
        "POST /echo/raw HTTP/1.1\r\nHost: x\r\nContent-Length: 3\r\nConnection: close\r\n\r\na=b"));
    const std::string answer = connection.ReadToEnd();
    ASSERT_EQ(answer.rfind("HTTP/1.1 200", 0), 0u) << answer;
    const json body = json::parse(answer.substr(answer.find("\r\n\r\n") + 4));
    EXPECT_EQ(body["contentType"], "");
    EXPECT_EQ(body["body"], "a=b");
}

TEST_F(ForwardingTest, FailuresAnswerWithTheirStatusOr400) {
    httplib::Client client = Client();
    const auto notFound = client.Get("/echo/fail?status=404");
    ASSERT_TRUE(notFound);
    EXPECT_EQ(notFound->status, 404);
    EXPECT_EQ(json::parse(notFound->body),
              json::parse(R"({"httpStatus":404,"message":"refused"})"));

    // Without a status of its own a failure is one of binding the request.
    const auto binding = client.Get("/echo/fail");
    ASSERT_TRUE(binding);
    EXPECT_EQ(binding->status, 400);
    EXPECT_EQ(json::parse(binding->body)["message"], "refused");

    const auto odd = client.Get("/echo/fail?status=42");
    ASSERT_TRUE(odd);
    EXPECT_EQ(odd->status, 502);
}

TEST_F(ForwardingTest, SuccessWithoutAValueIs204AndAStreamIsSentAsRead) {
    httplib::Client client = Client();
    const auto none = client.Post("/echo/none", "", "application/json");
    ASSERT_TRUE(none);
    EXPECT_EQ(none->status, 204);
    EXPECT_EQ(none->body, "");

    const auto streamed = client.Get("/echo/stream");
    ASSERT_TRUE(streamed);
    EXPECT_EQ(streamed->status, 200);
    EXPECT_EQ(streamed->get_header_value("Content-Type"), "text/plain");
    EXPECT_EQ(streamed->body, "streamed text");
}

TEST_F(ForwardingTest, EveryResponseIsReleasedOnce) {
    httplib::Client client = Client();
    for (const char* path : {"/echo/x", "/echo/fail?status=500", "/echo/none", "/echo/stream"}) {
        ASSERT_TRUE(client.Get(path)) << path;
    }
    EXPECT_EQ(EchoAnswers() - answersBefore, 4u);
    EXPECT_EQ(EchoReleases() - releasesBefore, 4u);
}

TEST_F(ForwardingTest, APathNoFunctionServesIs404) {
    httplib::Client client = Client();
    const auto missing = client.Get("/elsewhere/thing");
    ASSERT_TRUE(missing);
    EXPECT_EQ(missing->status, 404);
    EXPECT_EQ(json::parse(missing->body)["message"],
              "No function of the plug-in serves /elsewhere/thing");
    EXPECT_EQ(EchoAnswers(), answersBefore);
}

class AnsweredTest : public HttpFrontTest {
protected:
    void Configure(Module&, HttpFrontOptions& options) override {
        options.answered = [this](const HttpRequestText& request, const HttpReplyText& reply) {
            told.push_back(request.method + " " + request.target + " " +
                           std::to_string(reply.status));
        };
    }
    // The host thread's.
    std::vector<std::string> told;
};

TEST_F(AnsweredTest, TheHostIsToldOfEachRequestForTheModuleWithItsAnswer) {
    Serve(Options(), &LoadEchoModule);
    httplib::Client client = Client();
    ASSERT_TRUE(client.Get("/echo/x?y=1"));
    ASSERT_TRUE(client.Post("/echo/fail?status=503", "{}", "application/json"));
    ASSERT_TRUE(client.Get("/elsewhere"));
    // The front's own paths are no requests for the module.
    ASSERT_TRUE(client.Get("/openapi.json"));
    ASSERT_TRUE(client.Get("/"));
    std::vector<std::string> seen;
    OnHost([&] { seen = told; });
    EXPECT_THAT(seen,
                ::testing::ElementsAre("GET /echo/x?y=1 200", "POST /echo/fail?status=503 503",
                                       "GET /elsewhere 404"));
}

}  // namespace
}  // namespace Tavix::TestHost::Http
