#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "core/event_injection.h"
#include "core/host.h"
#include "core/lcds_endpoint.h"
#include "module_side.h"

namespace Tavix::TestHost {
namespace {

using ::testing::ElementsAre;

template <typename T>
T Unpacked(T value) {
    return value;
}

class ScriptedHostTest : public ::testing::Test {
protected:
    Host host;
    ModuleSide module{host};
};

// A reader that yields after each short read, as a module does while waiting for the rest.
TEST_F(ScriptedHostTest, StreamPiecesArriveOnlyAfterAHostTurn) {
    host.Route(Client::kMethodGet, "/slow", [](const RecordedRequest&, Response& response) {
        response.stream = std::vector<std::string>{"[1,", "2,", "3]"};
        response.streamArrivesOnTurns = true;
    });
    Client::HostResponse response;
    module.Request(Client::kMethodGet, "/slow", response);

    std::vector<std::string> reads;
    bool more = true;
    char buffer[16];
    std::uint32_t size = sizeof buffer;
    ASSERT_TRUE(response.streamRead(response.streamContext, buffer, &size, &more));
    reads.push_back(std::string(buffer, size) + (more ? "+" : "."));
    // Before the host had a turn, the next piece is not there yet.
    size = sizeof buffer;
    ASSERT_TRUE(response.streamRead(response.streamContext, buffer, &size, &more));
    reads.push_back(std::string(buffer, size) + (more ? "+" : "."));
    while (more) {
        module.Yield();
        size = sizeof buffer;
        ASSERT_TRUE(response.streamRead(response.streamContext, buffer, &size, &more));
        reads.push_back(std::string(buffer, size) + (more ? "+" : "."));
    }
    response.release(&response);

    EXPECT_THAT(reads, ElementsAre("[1,+", "+", "2,+", "3]."));
    EXPECT_EQ(host.StreamReads(), 4u);
    EXPECT_EQ(host.ReleaseCalls(), 1u);
    EXPECT_EQ(host.PendingCount(), 0u);
}

// Releasing before the rest arrived leaves a harmless arrival task behind.
TEST_F(ScriptedHostTest, ReleasingAStreamEarlyIsSafe) {
    host.Route(Client::kMethodGet, "/slow", [](const RecordedRequest&, Response& response) {
        response.stream = std::vector<std::string>{"a", "b"};
        response.streamArrivesOnTurns = true;
    });
    Client::HostResponse response;
    module.Request(Client::kMethodGet, "/slow", response);
    char buffer[4];
    std::uint32_t size = sizeof buffer;
    bool more = true;
    ASSERT_TRUE(response.streamRead(response.streamContext, buffer, &size, &more));
    response.release(&response);
    EXPECT_EQ(host.RunUntilIdle(), 1u);
    EXPECT_EQ(host.ReleaseCalls(), 1u);
    EXPECT_EQ(host.OutstandingResponses(), 0u);
}

TEST_F(ScriptedHostTest, LcdsEndpointAnswersInScriptOrderAndRecordsCalls) {
    LcdsEndpoint lcds(host);
    lcds.Answer("gameService", "quit", "com.example.First", Value::Map({{"n", Value::Signed(1)}}));
    lcds.AnswerError("gameService", "quit", "remote refused", 503);

    const auto invoke = [&](const char* destination, const char* method) {
        Client::HostValue arguments{};
        arguments.tag = Client::kHostValueCollection;
        Client::HostParameter parameters[3] = {};
        parameters[0].value = BorrowedText(destination);
        parameters[1].value = BorrowedText(method);
        parameters[2].value = arguments;
        Client::HostRequest request{};
        request.method = Client::kMethodPost;
        request.url = kLcdsInvokeUrl;
        request.parameters = parameters;
        request.parameterCount = 3;
        Client::HostResponse response{};
        module.Operations()->SendRequest(module.Operations(), &response, &request);
        std::string answer =
            response.errorText != nullptr
                ? std::to_string(Unpacked(response.status)) + " " + response.errorText
                : CopyHostValue(response.value).ToText();
        response.release(&response);
        return answer;
    };

    EXPECT_EQ(invoke("gameService", "quit"), R"({"typeName":"com.example.First","body":{"n":1}})");
    EXPECT_EQ(invoke("gameService", "quit"), "503 remote refused");
    EXPECT_EQ(invoke("gameService", "quit"), "500 No LCDS answer scripted for gameService.quit");
    EXPECT_EQ(lcds.PendingAnswers(), 0u);
    ASSERT_EQ(lcds.Invocations().size(), 3u);
    EXPECT_EQ(lcds.Invocations()[0].destination, "gameService");
    EXPECT_EQ(lcds.Invocations()[0].method, "quit");
    EXPECT_EQ(lcds.Invocations()[0].arguments, Value::List({}));

    Client::HostResponse response;
    module.Request(Client::kMethodPost, kLcdsInvokeUrl, response);
    EXPECT_EQ(Unpacked(response.status), 400u);
    response.release(&response);
}

TEST_F(ScriptedHostTest, InjectedEventsUseTheNeighboursChannelNames) {
    EXPECT_EQ(ResourceEventChannel("/arx-login/v1/session"), "OnJsonApiEvent_arx-login_v1_session");
    EXPECT_EQ(ResourceEventChannel("arx-login//v1/session/x/"),
              "OnJsonApiEvent_arx-login_v1_session");
    EXPECT_EQ(ResourceEventChannel("/arx-platform-config/v1/namespaces/a/b/c"),
              "OnJsonApiEvent_arx-platform-config_v1_namespaces_a_b");
    EXPECT_EQ(ResourceEventChannel(""), "OnJsonApiEvent");
    EXPECT_EQ(LcdsEventChannel("com.example.Foo"), "OnLcdsEvent_com_example_Foo");

    std::vector<std::string> seen;
    module.Subscribe("OnJsonApiEvent_arx-login_v1_session", 0, [&](const Client::HostEvent& event) {
        seen.push_back(CopyHostValue(event.payload).ToText());
    });
    module.Subscribe("OnLcdsEvent_com_example_Foo", 1, [&](const Client::HostEvent& event) {
        seen.push_back(CopyHostValue(event.payload).ToText());
    });
    PublishResourceEvent(host, "/arx-login/v1/session", "Update", Value::Signed(5));
    PublishLcdsEvent(host, "com.example.Foo", Value::Bool(true));
    ASSERT_EQ(seen.size(), 1u);
    host.RunUntilIdle();
    EXPECT_THAT(
        seen,
        ElementsAre(
            R"({"uri":"/arx-login/v1/session","eventType":"Update","data":5})",
            R"({"clientId":"","subtopic":"com.example.Foo","typeName":"com.example.Foo","body":true})"));
}

}  // namespace
}  // namespace Tavix::TestHost
