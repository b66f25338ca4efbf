#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "core/host.h"
#include "module_side.h"

namespace Tavix::TestHost {
namespace {

using ::testing::ElementsAre;

// Gtest's assertions bind references, which a packed field cannot give; read it into a value first.
template <typename T>
T Unpacked(T value) {
    return value;
}

std::string ErrorOf(const Client::HostResponse& response) {
    return response.errorText == nullptr ? "<none>" : response.errorText;
}

class RequestsTest : public ::testing::Test {
protected:
    // Answers with the name of the handler, so a test sees which route was taken.
    void Answering(std::uint32_t method, const char* url, const char* name, bool prefix = false) {
        RequestHandler handler = [name](const RecordedRequest&, Response& response) {
            response.value = Value::Text(name);
        };
        if (prefix) {
            host.RoutePrefix(method, url, handler);
        } else {
            host.Route(method, url, handler);
        }
    }
    std::string Ask(std::uint32_t method, const char* url) {
        Client::HostResponse response;
        module.Request(method, url, response);
        std::string answer =
            response.errorText != nullptr
                ? "error " + std::to_string(response.status) + " " + ErrorOf(response)
                : CopyHostValue(response.value).ToText();
        if (response.release != nullptr) {
            response.release(&response);
        }
        return answer;
    }

    Host host;
    ModuleSide module{host};
};

TEST_F(RequestsTest, RoutesByMethodAndUrlAndAnswers404Otherwise) {
    Answering(Client::kMethodGet, "/arx-login/v1/session", "exact get");
    Answering(Client::kMethodPost, "/arx-login/v1/session", "exact post");
    Answering(Client::kMethodAny, "/arx-gameflow/", "short prefix", true);
    Answering(Client::kMethodAny, "/arx-gameflow/v1/", "long prefix", true);
    Answering(Client::kMethodAny, "/arx-gameflow/v1/session", "exact any");

    EXPECT_EQ(Ask(Client::kMethodGet, "/arx-login/v1/session"), "\"exact get\"");
    EXPECT_EQ(Ask(Client::kMethodPost, "/arx-login/v1/session"), "\"exact post\"");
    EXPECT_EQ(Ask(Client::kMethodPut, "/arx-gameflow/v1/session"), "\"exact any\"");
    EXPECT_EQ(Ask(Client::kMethodGet, "/arx-gameflow/v1/other"), "\"long prefix\"");
    EXPECT_EQ(Ask(Client::kMethodGet, "/arx-gameflow/v2"), "\"short prefix\"");
    EXPECT_EQ(Ask(Client::kMethodDelete, "/arx-login/v1/session"),
              "error 404 No handler for DELETE /arx-login/v1/session");
    EXPECT_EQ(Ask(Client::kMethodGet, "/arx-login/v1/session?x=1"),
              "error 404 No handler for GET /arx-login/v1/session?x=1");

    Answering(Client::kMethodGet, "/arx-login/v1/session", "replaced");
    EXPECT_EQ(Ask(Client::kMethodGet, "/arx-login/v1/session"), "\"replaced\"");
    host.ClearRoutes();
    EXPECT_EQ(Ask(Client::kMethodGet, "/arx-gameflow/v1/session"),
              "error 404 No handler for GET /arx-gameflow/v1/session");
    EXPECT_EQ(host.OutstandingResponses(), 0u);
}

TEST_F(RequestsTest, ResponseFieldsAndReleaseFunction) {
    host.Route(Client::kMethodGet, "/x", [](const RecordedRequest&, Response& response) {
        response = Response::Error("Not found", 404);
        response.value = Value::List({Value::Signed(1), Value::Text("two")});
        response.statusText = "Not Found";
        response.headers = {{"content-type", "application/json"}};
    });

    Client::HostResponse response;
    module.Request(Client::kMethodGet, "/x", response);

    EXPECT_EQ(ErrorOf(response), "Not found");
    EXPECT_EQ(Unpacked(response.status), 404u);
    EXPECT_STREQ(response.statusText, "Not Found");
    ASSERT_EQ(Unpacked(response.headerCount), 1u);
    EXPECT_STREQ(response.headers[0].name, "content-type");
    EXPECT_STREQ(response.headers[0].value, "application/json");
    EXPECT_EQ(CopyHostValue(response.value), Value::List({Value::Signed(1), Value::Text("two")}));
    EXPECT_EQ(Unpacked(response.streamRead), nullptr);
    EXPECT_EQ(host.OutstandingResponses(), 1u);

    ASSERT_NE(Unpacked(response.release), nullptr);
    response.release(&response);

    EXPECT_EQ(host.OutstandingResponses(), 0u);
    static const unsigned char zero[sizeof response] = {};
    EXPECT_EQ(std::memcmp(&response, zero, sizeof response), 0);
}

TEST_F(RequestsTest, ResponseWithoutReleaseFunction) {
    host.Route(Client::kMethodGet, "/x", [](const RecordedRequest&, Response& response) {
        response.value = Value::Text("kept by the host");
        response.withRelease = false;
    });
    Client::HostResponse response;
    module.Request(Client::kMethodGet, "/x", response);

    EXPECT_EQ(Unpacked(response.release), nullptr);
    EXPECT_EQ(CopyHostValue(response.value), Value::Text("kept by the host"));
    EXPECT_EQ(host.OutstandingResponses(), 0u);
}

// Reads the way a module drains a stream: 8-byte reads here, so chunk and buffer limits both show.
TEST_F(RequestsTest, StreamedResponsesReadChunkByChunk) {
    host.Route(Client::kMethodGet, "/stream", [](const RecordedRequest&, Response& response) {
        response.stream = std::vector<std::string>{"0123456789", "ab", "", "end"};
    });
    Client::HostResponse response;
    module.Request(Client::kMethodGet, "/stream", response);
    ASSERT_NE(Unpacked(response.streamRead), nullptr);
    EXPECT_EQ(Unpacked(response.streamSize), 15u);

    std::vector<std::string> reads;
    bool more = true;
    while (more) {
        char buffer[8];
        std::uint32_t size = sizeof buffer;
        ASSERT_TRUE(response.streamRead(response.streamContext, buffer, &size, &more));
        reads.push_back(std::string(buffer, size) + (more ? "+" : "."));
    }
    response.streamClose(response.streamContext);
    response.release(&response);

    EXPECT_THAT(reads, ElementsAre("01234567+", "89+", "ab+", "+", "end."));
    EXPECT_EQ(host.StreamCloses(), 1u);
}

TEST_F(RequestsTest, StreamReadCanFail) {
    host.Route(Client::kMethodGet, "/stream", [](const RecordedRequest&, Response& response) {
        response.stream = std::vector<std::string>{"a", "b"};
        response.failStreamAtRead = 1;
    });
    Client::HostResponse response;
    module.Request(Client::kMethodGet, "/stream", response);
    char buffer[4];
    std::uint32_t size = sizeof buffer;
    bool more = true;
    EXPECT_TRUE(response.streamRead(response.streamContext, buffer, &size, &more));
    size = sizeof buffer;
    EXPECT_FALSE(response.streamRead(response.streamContext, buffer, &size, &more));
    response.release(&response);
}

// Everything the module passed must survive the module scribbling over its records afterwards.
TEST_F(RequestsTest, RecordingHoldsDeepCopiesOfRequests) {
    RecordedRequest seenByHandler;
    host.Route(Client::kMethodPost, "/arx-login/v1/session/invoke",
               [&](const RecordedRequest& request, Response&) { seenByHandler = request; });

    char url[] = "/arx-login/v1/session/invoke";
    char name[] = "destination";
    char text[] = "matchmakerService";
    char key[] = "queueId";
    char blob[] = {1, 0, 2};
    Client::HostValue items[2];
    std::memset(static_cast<void*>(items), 0, sizeof items);
    items[0] = BorrowedText(text);
    items[1].tag = Client::kHostValueOwnedBlob;
    items[1].payload.blob = {blob, 3};
    Client::HostMapEntry entry{};
    entry.key = key;
    entry.value.tag = Client::kHostValueCollection;
    entry.value.payload.collection = {items, 2};
    entry.keyOwned = 1;
    Client::HostParameter parameters[2];
    std::memset(static_cast<void*>(parameters), 0, sizeof parameters);
    parameters[0].name = name;
    parameters[0].value = BorrowedText(text);
    parameters[1].value.tag = Client::kHostValueStructure;
    parameters[1].value.payload.structure = {&entry, 1};
    Client::HostRequest request{};
    request.method = Client::kMethodPost;
    request.url = url;
    request.parameters = parameters;
    request.parameterCount = 2;
    request.clientId = 42;
    Client::HostResponse response{};
    module.Operations()->SendRequest(module.Operations(), &response, &request);
    response.release(&response);

    std::memset(url, 'x', sizeof url - 1);
    std::memset(name, 'x', sizeof name - 1);
    std::memset(text, 'x', sizeof text - 1);
    std::memset(key, 'x', sizeof key - 1);
    blob[0] = 9;
    items[1].payload.blob.size = 1;
    entry.value.payload.collection.count = 0;

    const Value expected = Value::Map(
        {{"queueId", Value::List({Value::Text("matchmakerService"), Value::Blob({1, 0, 2})})}});
    const auto requests = host.Calls().Requests();
    ASSERT_EQ(requests.size(), 1u);
    for (const RecordedRequest* recorded :
         std::initializer_list<const RecordedRequest*>{&requests[0], &seenByHandler}) {
        EXPECT_EQ(recorded->method, Client::kMethodPost);
        EXPECT_EQ(recorded->url, "/arx-login/v1/session/invoke");
        EXPECT_EQ(recorded->clientId, 42u);
        ASSERT_EQ(recorded->parameters.size(), 2u);
        EXPECT_EQ(recorded->parameters[0].name, "destination");
        EXPECT_EQ(recorded->parameters[0].value, Value::Text("matchmakerService"));
        EXPECT_FALSE(recorded->parameters[1].name.has_value());
        EXPECT_EQ(recorded->parameters[1].value, expected)
            << recorded->parameters[1].value.ToText();
        EXPECT_TRUE(recorded->parameters[1].value.fields[0].keyOwned);
        EXPECT_EQ(recorded->parameters[1].value.fields[0].value.items[1].tag,
                  Client::kHostValueOwnedBlob);
    }
}

TEST_F(RequestsTest, LogLinesAreKeptWithTheirLevel) {
    char line[] = "14:02:11.123| OKAY| DBG| hello";
    module.Log(0, line);
    std::memset(line, 0, sizeof line);
    module.Log(2, "second");

    const auto lines = host.Calls().LogLines();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0].level, 0);
    EXPECT_EQ(lines[0].text, "14:02:11.123| OKAY| DBG| hello");
    EXPECT_EQ(lines[1].level, 2);
    EXPECT_EQ(lines[1].text, "second");
}

TEST_F(RequestsTest, LogLinesCanBeEchoedToAStream) {
    char* buffer = nullptr;
    std::size_t size = 0;
    std::FILE* stream = open_memstream(&buffer, &size);
    ASSERT_NE(stream, nullptr);
    host.EchoLogTo(stream);
    module.Log(1, "no line feed");
    module.Log(1, "line feed\n");
    std::fclose(stream);

    EXPECT_EQ(std::string(buffer, size), "no line feed\nline feed\n");
    std::free(buffer);
}

}  // namespace
}  // namespace Tavix::TestHost
