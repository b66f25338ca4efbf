#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdarg>
#include <cstdio>
#include <string>
#include <vector>

#include "core/event_injection.h"
#include "core/lcds_endpoint.h"
#include "frame/await.h"
#include "frame/diagnostics.h"
#include "requests_module.h"

namespace Tavix::Client::Testing {
namespace {

using TestHost::LcdsEndpoint;
using TestHost::Value;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

std::string MessageOf(const Failure& failure) {
    return failure.GetMessage() != nullptr ? failure.GetMessage() : "<none>";
}

Value MemberValue(const char* name, std::int64_t id) {
    return Value::Map({{"name", Value::Text(name)}, {"id", Value::Signed(id)}});
}

// Collects the frame's debug messages for one test.
class DiagnosticCapture {
public:
    DiagnosticCapture() { SetFrameDiagnosticSink(&Sink, this); }
    ~DiagnosticCapture() { SetFrameDiagnosticSink(nullptr, nullptr); }
    std::vector<std::string> lines;

private:
    static void Sink(void* context, const char* format, std::va_list arguments) {
        char text[1024];
        std::vsnprintf(text, sizeof text, format, arguments);
        static_cast<DiagnosticCapture*>(context)->lines.emplace_back(text);
    }
};

class LcdsClientTest : public RequestsModuleTest {
protected:
    template <typename Result, typename... Arguments>
    MaybeType<Failure, Result> Invoke(const Arguments&... arguments) {
        return InModule([&] {
            return plugin->Await(
                plugin->LcdsInvoke<Result>("matchmakerService", "attach", arguments...));
        });
    }

    LcdsEndpoint lcds{host};
};

// The arguments travel as one collection, with "__class" in every structure reached through
// remote classes, and in nothing reached through a record that has none.
TEST_F(LcdsClientTest, ArgumentsAreOneCollectionMarkedWithRemoteClasses) {
    lcds.Answer("matchmakerService", "attach", kPartyClass, Value::None());
    Party party;
    party.leader = "ann";
    party.members = {{"ann", 1}, {"bob", 2}};
    party.ticket = {"ranked", 2, Lane::Top};
    party.roles["carry"] = {"bob", 2};
    party.note = {"hello", {"cid", 3}};
    const std::vector<Member> bench{{"dan", 4}};

    const auto result = Invoke<void>(party, bench, "plain");
    ASSERT_FALSE(result.IsFailure()) << MessageOf(result.GetFailure());

    ASSERT_EQ(lcds.Invocations().size(), 1u);
    const Value& arguments = lcds.Invocations()[0].arguments;
    EXPECT_EQ(lcds.Invocations()[0].destination, "matchmakerService");
    EXPECT_EQ(lcds.Invocations()[0].method, "attach");
    ASSERT_EQ(arguments.items.size(), 3u);
    const Value& sent = arguments.items[0];
    EXPECT_EQ(*sent.Find("__class"), Value::Text(kPartyClass));
    for (const Value& member : sent.Find("members")->items) {
        EXPECT_EQ(*member.Find("__class"), Value::Text(kMemberClass));
    }
    EXPECT_EQ(*sent.Find("ticket")->Find("__class"), Value::Text(kTicketClass));
    EXPECT_EQ(*sent.Find("roles")->Find("carry")->Find("__class"), Value::Text(kMemberClass));
    EXPECT_EQ(sent.Find("roles")->Find("__class"), nullptr);
    EXPECT_EQ(sent.Find("note")->Find("__class"), nullptr);
    EXPECT_EQ(sent.Find("note")->Find("author")->Find("__class"), nullptr);
    // An absent optional record stays absent rather than becoming a bare marker.
    EXPECT_EQ(sent.Find("guest")->tag, kHostValueNone);

    ASSERT_EQ(arguments.items[1].items.size(), 1u);
    EXPECT_EQ(*arguments.items[1].items[0].Find("__class"), Value::Text(kMemberClass));
    EXPECT_EQ(arguments.items[2], Value::Text("plain"));
}

// The answer's class is checked against the result's remote class; a result without one (a
// plain bool) is taken as it comes; an empty body is a default result, class or not.
TEST_F(LcdsClientTest, AnswersAreCheckedAndConverted) {
    lcds.Answer("matchmakerService", "attach", kMemberClass, MemberValue("eve", 9));
    lcds.Answer("matchmakerService", "attach", kTicketClass, MemberValue("eve", 9));
    lcds.Answer("matchmakerService", "attach", "java.lang.Boolean", Value::Bool(true));
    lcds.Answer("matchmakerService", "attach", "com.example.Other", Value::None());
    lcds.Answer("matchmakerService", "attach", kMemberClass, Value::Text("not a member"));

    const auto member = Invoke<Member>();
    ASSERT_FALSE(member.IsFailure()) << MessageOf(member.GetFailure());
    EXPECT_EQ(member.GetValue().name, "eve");
    EXPECT_EQ(member.GetValue().id, 9);

    const auto wrongClass = Invoke<Member>();
    EXPECT_EQ(MessageOf(wrongClass.GetFailure()),
              "Expected 'com.example.Member' as LCDS response for matchmakerService.attach, but "
              "got 'com.example.Ticket'");

    const auto flag = Invoke<bool>();
    ASSERT_FALSE(flag.IsFailure()) << MessageOf(flag.GetFailure());
    EXPECT_TRUE(flag.GetValue());

    const auto empty = Invoke<Member>();
    ASSERT_FALSE(empty.IsFailure()) << MessageOf(empty.GetFailure());
    EXPECT_EQ(empty.GetValue().name, "");

    const auto unfit = Invoke<Member>();
    EXPECT_EQ(MessageOf(unfit.GetFailure()), std::string("Couldn't convert LCDS DTO ") +
                                                 StaticType::Record<Member>().text +
                                                 " to C++ from \"not a member\"");

    for (const auto& invocation : lcds.Invocations()) {
        EXPECT_EQ(invocation.arguments, Value::List({}));
    }
    // Every future was complete when LcdsInvoke returned: no wait was ever announced.
    EXPECT_THAT(host.Calls().Waits(), IsEmpty());
}

TEST_F(LcdsClientTest, FailuresOfTheRequestAndOfTheArguments) {
    lcds.AnswerError("matchmakerService", "attach", "remote refused", 503);
    const auto refused = Invoke<Member>();
    EXPECT_EQ(refused.GetFailure().errorCode, 503);
    EXPECT_EQ(MessageOf(refused.GetFailure()),
              "Error response for POST /arx-login/v1/session/invoke: remote refused");

    lcds.AnswerError("matchmakerService", "attach", "remote refused", 503);
    const auto refusedPlain = Invoke<void>();
    EXPECT_EQ(refusedPlain.GetFailure().errorCode, 503);

    const auto unconverted = Invoke<void>(Member{"ann", 1}, Unregistered{});
    ASSERT_TRUE(unconverted.IsFailure());
    EXPECT_THAT(MessageOf(unconverted.GetFailure()),
                HasSubstr("Couldn't convert LCDS call parameters: "));
    EXPECT_EQ(lcds.Invocations().size(), 2u);
}

TEST_F(LcdsClientTest, EventNamesReplaceEveryDot) {
    EXPECT_EQ(AppClient::LcdsEventName("com.example.Foo"), "OnLcdsEvent_com_example_Foo");
    EXPECT_EQ(AppClient::LcdsEventName("..a..b"), "OnLcdsEvent___a__b");
    EXPECT_EQ(AppClient::LcdsEventName("plain"), "OnLcdsEvent_plain");
    EXPECT_EQ(AppClient::LcdsEventName(""), "OnLcdsEvent_");
}

// A message reaches its handler in a job of its own, on a later turn than the host's callback.
TEST_F(LcdsClientTest, MessagesArriveThroughAJobOnALaterTurn) {
    std::vector<std::string> seen;
    std::size_t schedulesWhenHandled = 0;
    InModule([&] {
        plugin->SubscribeToLcds<Member>(kMemberClass, [&](const Member& member) {
            seen.push_back(member.name);
            schedulesWhenHandled = host.Calls().Schedules().size();
        });
    });
    const auto subscriptions = host.Calls().Subscriptions();
    ASSERT_EQ(subscriptions.size(), 1u);
    EXPECT_EQ(subscriptions[0].name, "OnLcdsEvent_com_example_Member");
    EXPECT_EQ(subscriptions[0].flags, 1u);

    TestHost::PublishLcdsEvent(host, kMemberClass, MemberValue("zed", 5));
    EXPECT_THAT(seen, IsEmpty());
    // The host's delivery, then the job it posted.
    EXPECT_EQ(host.RunUntilIdle(), 2u);
    EXPECT_THAT(seen, ElementsAre("zed"));
    const auto schedules = host.Calls().Schedules();
    ASSERT_EQ(schedules.size(), 1u);
    EXPECT_EQ(schedules[0].description, "Event: OnLcdsEvent (com.example.Member)");
    EXPECT_EQ(schedulesWhenHandled, 1u);
}

// The handler is found by the message's class: a message of a class nobody handles posts
// nothing, and one whose body does not fit is dropped with a debug message.
TEST_F(LcdsClientTest, UnhandledAndUnfitMessagesAreDropped) {
    DiagnosticCapture diagnostics;
    int calls = 0;
    InModule(
        [&] { plugin->SubscribeToLcds<Member>(kMemberClass, [&](const Member&) { ++calls; }); });
    host.Publish("OnLcdsEvent_com_example_Member",
                 Value::Map({{"clientId", Value::Text("")},
                             {"subtopic", Value::Text(kMemberClass)},
                             {"typeName", Value::Text("com.example.Stranger")},
                             {"body", MemberValue("x", 1)}}));
    EXPECT_EQ(host.RunUntilIdle(), 1u);
    EXPECT_THAT(host.Calls().Schedules(), IsEmpty());

    TestHost::PublishLcdsEvent(host, kMemberClass, Value::List({}));
    EXPECT_EQ(host.RunUntilIdle(), 2u);
    EXPECT_EQ(calls, 0);
    EXPECT_THAT(diagnostics.lines,
                testing::Contains(HasSubstr("requests-module: Couldn't convert LCDS DTO ")));

    TestHost::PublishLcdsEvent(host, kMemberClass, MemberValue("y", 2));
    host.RunUntilIdle();
    EXPECT_EQ(calls, 1);
}

// A second subscription to a class replaces the first and subscribes with the host again; a
// job already posted for a message finds the newer handler.
TEST_F(LcdsClientTest, ResubscribingReplacesTheHandler) {
    std::vector<std::string> seen;
    InModule([&] {
        plugin->SubscribeToLcds<Member>(kMemberClass,
                                        [&](const Member& m) { seen.push_back("old " + m.name); });
        plugin->SubscribeToLcds<BindingValue>(kMemberClass, [&](const BindingValue& body) {
            seen.push_back("new " + std::string(body.GetField("name").GetString()));
        });
    });
    EXPECT_EQ(host.Calls().Subscriptions().size(), 2u);
    EXPECT_EQ(plugin->LcdsHandlerCount(), 1u);
    TestHost::PublishLcdsEvent(host, kMemberClass, MemberValue("amy", 1));
    host.RunUntilIdle();
    EXPECT_THAT(seen, ElementsAre("new amy"));
}

}  // namespace
}  // namespace Tavix::Client::Testing
