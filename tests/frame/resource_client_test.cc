#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "core/routing.h"
#include "frame/telemetry.h"
#include "requests_module.h"

namespace Tavix::Client::Testing {
namespace {

using TestHost::RecordedRequest;
using TestHost::Response;
using TestHost::Value;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

std::string MessageOf(const Failure& failure) {
    return failure.GetMessage() != nullptr ? failure.GetMessage() : "<none>";
}

Value TicketValue(const char* queue, std::int64_t size) {
    return Value::Map({{"queue", Value::Text(queue)},
                       {"size", Value::Signed(size)},
                       {"lane", Value::Text("Bottom")}});
}

class ResourceClientTest : public RequestsModuleTest {
protected:
    void Answer(std::uint32_t method, const char* url, Response response) {
        host.Route(method, url,
                   [response](const RecordedRequest&, Response& out) { out = response; });
    }
    void AnswerStream(const char* url, std::vector<std::string> pieces, bool onTurns = true) {
        host.Route(kMethodGet, url, [pieces, onTurns](const RecordedRequest&, Response& out) {
            out.stream = pieces;
            out.streamArrivesOnTurns = onTurns;
        });
    }
    std::size_t YieldCount() const { return host.Calls().Of<TestHost::RecordedYield>().size(); }
};

// What goes out: positional parameters in argument order, each in its converted form.
TEST_F(ResourceClientTest, ArgumentsBecomePositionalParameters) {
    Answer(kMethodPut, "/arx-test/v1/ticket", Response::Ok(Value::None()));
    Answer(kMethodGet, "/arx-test/v1/nothing", Response::Ok(Value::None()));

    const Ticket ticket{"ranked", 5, Lane::Bottom};
    TelemetryProperties properties;
    properties["b"] = "2";
    properties["a"] = "1";
    const auto sent = InModule([&] {
        return plugin->Request(kMethodPut, "/arx-test/v1/ticket", ticket, "plain text", properties);
    });
    ASSERT_FALSE(sent.IsFailure()) << MessageOf(sent.GetFailure());
    ASSERT_FALSE(
        InModule([&] { return plugin->Request(kMethodGet, "/arx-test/v1/nothing"); }).IsFailure());

    const auto requests = host.Calls().Requests();
    ASSERT_EQ(requests.size(), 2u);
    EXPECT_EQ(requests[0].method, kMethodPut);
    EXPECT_EQ(requests[0].clientId, module->ClientId());
    ASSERT_EQ(requests[0].parameters.size(), 3u);
    for (const auto& parameter : requests[0].parameters) {
        EXPECT_FALSE(parameter.name.has_value());
    }
    EXPECT_EQ(requests[0].parameters[0].value.ToText(),
              R"({"lane":"Bottom","queue":"ranked","size":5})");
    EXPECT_EQ(requests[0].parameters[1].value, Value::Text("plain text"));
    EXPECT_EQ(requests[0].parameters[2].value.ToText(), R"({"a":"1","b":"2"})");
    EXPECT_TRUE(requests[1].parameters.empty());
    EXPECT_EQ(host.OutstandingResponses(), 0u);
}

// A refused argument stops the request before the host sees it, and what was already converted
// is freed (the leak checker of the sanitizer build watches the first argument's HostValue).
TEST_F(ResourceClientTest, UnconvertibleArgumentSendsNothing) {
    const Ticket ticket{"ranked", 5, Lane::Top};
    const auto result = InModule([&] {
        return plugin->Request<Ticket>(kMethodPost, "/arx-test/v1/x", ticket, Unregistered{},
                                       "never looked at");
    });
    ASSERT_TRUE(result.IsFailure());
    EXPECT_EQ(result.GetFailure().errorCode, 400);
    EXPECT_THAT(
        MessageOf(result.GetFailure()),
        HasSubstr("Request not sent: Error converting parameters for POST /arx-test/v1/x: "));
    EXPECT_TRUE(host.Calls().Requests().empty());
}

TEST_F(ResourceClientTest, ErrorResponsesCarryTheHostStatus) {
    Answer(kMethodGet, "/arx-test/v1/gone", Response::Error("gone away", 404));
    const auto plain = InModule([&] { return plugin->Request(kMethodGet, "/arx-test/v1/gone"); });
    const auto typed =
        InModule([&] { return plugin->Request<Ticket>(kMethodGet, "/arx-test/v1/gone"); });
    for (const Failure* failure : {&plain.GetFailure(), &typed.GetFailure()}) {
        EXPECT_EQ(failure->errorCode, 404);
        EXPECT_EQ(MessageOf(*failure), "Error response for GET /arx-test/v1/gone: gone away");
        ASSERT_EQ(failure->parameters.count("url"), 1u);
        EXPECT_EQ(failure->parameters.at("method").text, "GET");
        EXPECT_EQ(failure->parameters.at("url").text, "/arx-test/v1/gone");
        EXPECT_EQ(failure->parameters.at("error").text, "gone away");
    }
    EXPECT_EQ(host.ReleaseCalls(), 2u);

    // Unrouted: the host's own 404, whatever value it also carries.
    const auto unrouted =
        InModule([&] { return plugin->Request<BindingValue>(kMethodDelete, "/nowhere"); });
    EXPECT_EQ(unrouted.GetFailure().errorCode, 404);
    EXPECT_EQ(MessageOf(unrouted.GetFailure()),
              "Error response for DELETE /nowhere: No handler for DELETE /nowhere");
}

TEST_F(ResourceClientTest, ResponsesConvertToTheResultType) {
    Answer(kMethodGet, "/t", Response::Ok(TicketValue("normal", 3)));
    Answer(kMethodGet, "/list",
           Response::Ok(Value::List({TicketValue("a", 1), TicketValue("b", 2)})));
    Answer(kMethodGet, "/wrong", Response::Ok(Value::Map({{"size", Value::Text("many")}})));
    Answer(kMethodGet, "/empty", Response::Ok(Value::None()));

    const auto ticket = InModule([&] { return plugin->Request<Ticket>(kMethodGet, "/t"); });
    ASSERT_FALSE(ticket.IsFailure()) << MessageOf(ticket.GetFailure());
    EXPECT_EQ(ticket.GetValue().queue, "normal");
    EXPECT_EQ(ticket.GetValue().size, 3);
    EXPECT_EQ(ticket.GetValue().lane, Lane::Bottom);

    const auto list =
        InModule([&] { return plugin->Request<std::vector<Ticket>>(kMethodGet, "/list"); });
    ASSERT_FALSE(list.IsFailure()) << MessageOf(list.GetFailure());
    ASSERT_EQ(list.GetValue().size(), 2u);
    EXPECT_EQ(list.GetValue()[1].queue, "b");

    const auto dynamic = InModule([&] { return plugin->Request<BindingValue>(kMethodGet, "/t"); });
    ASSERT_FALSE(dynamic.IsFailure());
    EXPECT_EQ(dynamic.GetValue().GetField("size").GetSigned(), 3);

    const auto wrong = InModule([&] { return plugin->Request<Ticket>(kMethodGet, "/wrong"); });
    ASSERT_TRUE(wrong.IsFailure());
    EXPECT_EQ(wrong.GetFailure().errorCode, 0);
    EXPECT_THAT(MessageOf(wrong.GetFailure()),
                HasSubstr("Error converting response for GET /wrong: "));

    const auto empty = InModule([&] { return plugin->Request<Ticket>(kMethodGet, "/empty"); });
    EXPECT_EQ(MessageOf(empty.GetFailure()),
              "Error converting response for GET /empty: A value for '<result>' is required.");
    const auto emptyDynamic =
        InModule([&] { return plugin->Request<BindingValue>(kMethodGet, "/empty"); });
    EXPECT_TRUE(emptyDynamic.GetValue().IsEmpty());

    EXPECT_EQ(host.ReleaseCalls(), 6u);
    EXPECT_EQ(host.OutstandingResponses(), 0u);
}

// A neighbour that answers slowly: three pieces, each after a turn of the host.
TEST_F(ResourceClientTest, StreamInThreeShortReadsYieldsBetweenThem) {
    AnswerStream("/s", {R"({"queue":"st)", R"(reamed","si)", R"(ze":7})"});
    const auto ticket = InModule([&] { return plugin->Request<Ticket>(kMethodGet, "/s"); });
    ASSERT_FALSE(ticket.IsFailure()) << MessageOf(ticket.GetFailure());
    EXPECT_EQ(ticket.GetValue().queue, "streamed");
    EXPECT_EQ(ticket.GetValue().size, 7);

    EXPECT_EQ(host.StreamReads(), 3u);
    EXPECT_EQ(YieldCount(), 2u);
    const auto waits = host.Calls().Waits();
    ASSERT_EQ(waits.size(), 4u);
    EXPECT_EQ(waits[0].label, "Wait: yield");
    EXPECT_FALSE(waits[1].begin);
    EXPECT_EQ(host.StreamCloses(), 1u);
    EXPECT_EQ(host.ReleaseCalls(), 1u);
}

// Full reads never yield, whether the stream ends on a piece boundary or goes on past it.
TEST_F(ResourceClientTest, FullReadsNeverYield) {
    const std::string exact = "\"" + std::string(4094, 'x') + "\"";
    ASSERT_EQ(exact.size(), 4096u);
    AnswerStream("/exact", {exact}, false);
    const std::string longer = "\"" + std::string(5000, 'y') + "\"";
    AnswerStream("/longer", {longer}, false);

    const auto first =
        InModule([&] { return plugin->Request<BindingValue>(kMethodGet, "/exact"); });
    ASSERT_FALSE(first.IsFailure()) << MessageOf(first.GetFailure());
    EXPECT_EQ(first.GetValue().GetString().size(), 4094u);
    EXPECT_EQ(host.StreamReads(), 1u);

    const auto second =
        InModule([&] { return plugin->Request<BindingValue>(kMethodGet, "/longer"); });
    ASSERT_FALSE(second.IsFailure()) << MessageOf(second.GetFailure());
    EXPECT_EQ(second.GetValue().GetString().size(), 5000u);
    EXPECT_EQ(host.StreamReads(), 3u);
    EXPECT_EQ(YieldCount(), 0u);
}

TEST_F(ResourceClientTest, StreamFailuresAreReportedAndTheStreamClosed) {
    host.Route(kMethodGet, "/broken", [](const RecordedRequest&, Response& out) {
        out.stream = std::vector<std::string>{"[1,", "2]"};
        out.failStreamAtRead = 1;
        out.streamArrivesOnTurns = true;
    });
    AnswerStream("/garbage", {"{not json"});

    const auto broken =
        InModule([&] { return plugin->Request<BindingValue>(kMethodGet, "/broken"); });
    EXPECT_EQ(MessageOf(broken.GetFailure()),
              "Error reading streamed response for GET /broken: Stream read error");
    const auto garbage =
        InModule([&] { return plugin->Request<BindingValue>(kMethodGet, "/garbage"); });
    EXPECT_THAT(MessageOf(garbage.GetFailure()),
                HasSubstr("Error reading streamed response for GET /garbage: Error: "));
    EXPECT_EQ(host.StreamCloses(), 2u);
    EXPECT_EQ(host.ReleaseCalls(), 2u);
    EXPECT_EQ(host.OutstandingResponses(), 0u);
}

// The release function runs once on every path after the request was sent, and a response
// without one is simply left to the host.
TEST_F(ResourceClientTest, ReleaseRunsOnceOnEveryPath) {
    Answer(kMethodGet, "/ok", Response::Ok(TicketValue("q", 1)));
    Answer(kMethodGet, "/error", Response::Error("no", 500));
    Answer(kMethodGet, "/bad", Response::Ok(Value::Text("not a ticket")));
    Response unreleasable = Response::Ok(TicketValue("q", 1));
    unreleasable.withRelease = false;
    Answer(kMethodGet, "/kept", unreleasable);

    const std::vector<std::string> urls{"/ok", "/error", "/bad", "/kept"};
    std::vector<bool> failed;
    for (const std::string& url : urls) {
        const std::size_t before = host.ReleaseCalls();
        failed.push_back(
            InModule([&] { return plugin->Request<Ticket>(kMethodGet, url); }).IsFailure());
        EXPECT_EQ(host.ReleaseCalls() - before, url == "/kept" ? 0u : 1u) << url;
        EXPECT_EQ(host.OutstandingResponses(), 0u) << url;
    }
    EXPECT_THAT(failed, ElementsAre(false, true, true, false));
}

}  // namespace
}  // namespace Tavix::Client::Testing
