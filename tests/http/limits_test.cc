// Bad input and stalling clients: a body past the limit, requests the server cannot read, and
// connections that stop half-way. None of them reaches the module or holds the host's turns.

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "echo_module.h"
#include "http_fixture.h"

namespace Tavix::TestHost::Http {
namespace {

using nlohmann::json;

class LimitsTest : public HttpFrontTest {
protected:
    void SetUp() override {
        HttpFrontTest::SetUp();
        HttpFrontOptions options = Options();
        options.maxBodyBytes = 1024;
        options.workers = 4;
        options.maxEventReaders = 2;
        Serve(options, &LoadEchoModule);
    }

    // The status line of the server's answer to `bytes` on a connection of their own.
    std::string StatusLineFor(const std::string& bytes) {
        RawConnection connection(front->Port());
        EXPECT_TRUE(connection.Send(bytes));
        return connection.ReadStatusLine();
    }
};

TEST_F(LimitsTest, ABodyPastTheLimitIs413AndNeverReachesTheModule) {
    httplib::Client client = Client();
    const std::size_t answers = EchoAnswers();
    const auto tooLarge = client.Post("/echo/x", std::string(1025, 'a'), "application/json");
    ASSERT_TRUE(tooLarge);
    EXPECT_EQ(tooLarge->status, 413);
    EXPECT_EQ(json::parse(tooLarge->body)["message"], "Payload Too Large");
    EXPECT_EQ(EchoAnswers(), answers);

    const auto atTheLimit = client.Post("/echo/x", std::string(1024, 'a'), "application/json");
    ASSERT_TRUE(atTheLimit);
    EXPECT_EQ(atTheLimit->status, 200);
    EXPECT_EQ(EchoAnswers(), answers + 1);
}

TEST_F(LimitsTest, RequestsTheServerCannotReadAre400) {
    const std::size_t answers = EchoAnswers();
    EXPECT_EQ(StatusLineFor("NOT HTTP AT ALL\r\n\r\n"), "HTTP/1.1 400 Bad Request");
    EXPECT_EQ(StatusLineFor("GET /echo/x HTTP/9.9\r\nHost: x\r\nConnection: close\r\n\r\n"),
              "HTTP/1.1 400 Bad Request");
    EXPECT_EQ(EchoAnswers(), answers);
}

TEST_F(LimitsTest, ARequestWithoutALengthHasNoBody) {
    // As curl -X POST sends it: no Content-Length, no chunked coding, and no body.
    RawConnection connection(front->Port());
    ASSERT_TRUE(connection.Send("POST /echo/short HTTP/1.1\r\nHost: x\r\n\r\n"));
    const std::string answer = connection.ReadStatusLine();
    EXPECT_EQ(answer, "HTTP/1.1 200 OK");
    // The connection goes on as a kept one.
    ASSERT_TRUE(
        connection.Send("DELETE /echo/again HTTP/1.1\r\nHost: x\r\nConnection: close\r\n\r\n"));
    const std::string rest = connection.ReadToEnd();
    EXPECT_NE(rest.find("HTTP/1.1 200 OK"), std::string::npos) << rest;
    EXPECT_NE(rest.find("\"method\":\"DELETE\""), std::string::npos) << rest;
}

TEST_F(LimitsTest, ClientsThatStallHoldNeitherTheHostNorOtherClients) {
    // Each stalled connection holds a worker until the I/O timeout, and nothing else.
    std::vector<std::unique_ptr<RawConnection>> stalled;
    for (int i = 0; i < 2; ++i) {
        stalled.push_back(std::make_unique<RawConnection>(front->Port()));
        ASSERT_TRUE(stalled.back()->Send("GET /echo/x HTTP/1.1\r\nHost: x\r\n"));
        stalled.push_back(std::make_unique<RawConnection>(front->Port()));
        ASSERT_TRUE(stalled.back()->Send(
            "POST /echo/x HTTP/1.1\r\nHost: x\r\nContent-Length: 100\r\n\r\nonly a part"));
    }
    bool turned = false;
    OnHost([&] { turned = true; });
    EXPECT_TRUE(turned);
    const auto served = Client().Get("/echo/still");
    ASSERT_TRUE(served);
    EXPECT_EQ(served->status, 200);
}

}  // namespace
}  // namespace Tavix::TestHost::Http
