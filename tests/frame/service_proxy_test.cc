#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "core/event_injection.h"
#include "requests_module.h"

namespace Tavix::Client::Testing {
namespace {

using TestHost::PublishServiceProxyEvent;
using TestHost::ServiceProxyMessage;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

ServiceProxyMessage ByUuid(const std::string& uuid, const std::string& payload) {
    ServiceProxyMessage message;
    message.uuid = uuid;
    message.payload = payload;
    return message;
}

ServiceProxyMessage ByMethod(const std::string& service, const std::string& method,
                             const std::string& payload) {
    ServiceProxyMessage message;
    message.serviceName = service;
    message.methodName = method;
    message.payload = payload;
    return message;
}

class ServiceProxyTest : public RequestsModuleTest {
protected:
    // Delivers the message; flag-1 events always wait for the host's next turn.
    void Send(const char* eventName, const ServiceProxyMessage& message) {
        PublishServiceProxyEvent(host, eventName, message);
        host.RunUntilIdle();
    }
    void Expect(const std::string& key) {
        plugin->RegisterServiceProxyRequest(key, [this, key](const PluginServiceProxyResponse& r) {
            fulfilled.push_back(key + "=" + r.payload);
        });
    }
    std::vector<std::string> LogTexts(std::int32_t level) const {
        std::vector<std::string> texts;
        for (const auto& line : host.Calls().LogLines()) {
            if (line.level == level) {
                texts.push_back(line.text);
            }
        }
        return texts;
    }

    std::vector<std::string> fulfilled;
};

TEST_F(ServiceProxyTest, AttachSubscribesTheThreeEventsWithFlagOne) {
    std::vector<std::string> names;
    for (const auto& subscription : host.Subscriptions()) {
        if (subscription.name.rfind("OnServiceProxy", 0) == 0) {
            EXPECT_EQ(subscription.flags, 1u) << subscription.name;
            names.push_back(subscription.name);
        }
    }
    EXPECT_THAT(names, ElementsAre("OnServiceProxyUuidEvent", "OnServiceProxyMethodEvent",
                                   "OnServiceProxyAsyncEvent"));
}

// The answer comes first; the request registered later is matched by the next event of any
// kind, and only the latest answer of a key is kept.
TEST_F(ServiceProxyTest, ResponseBeforeRequestWaitsForTheNextEvent) {
    Send("OnServiceProxyUuidEvent", ByUuid("u1", "first"));
    Send("OnServiceProxyUuidEvent", ByUuid("u1", "second"));
    EXPECT_EQ(plugin->UnclaimedServiceProxyResponses(), 1u);

    Expect("u1");
    EXPECT_THAT(fulfilled, IsEmpty());
    Send("OnServiceProxyMethodEvent", ByMethod("lol", "ping", "unrelated"));
    EXPECT_THAT(fulfilled, ElementsAre("u1=second"));
    EXPECT_EQ(plugin->UnclaimedServiceProxyResponses(), 1u);  // "lol.ping" waits on
    EXPECT_THAT(LogTexts(3), ElementsAre(HasSubstr("requests-module: Fulfilled service proxy "
                                                   "request: u1")));

    Expect("lol.ping");
    Send("OnServiceProxyUuidEvent", ByUuid("u2", "later"));
    EXPECT_THAT(fulfilled, ElementsAre("u1=second", "lol.ping=unrelated"));
}

TEST_F(ServiceProxyTest, RequestBeforeResponseIsFulfilledOnArrival) {
    Expect("svc.get");
    Send("OnServiceProxyMethodEvent", ByMethod("svc", "get", "42"));
    EXPECT_THAT(fulfilled, ElementsAre("svc.get=42"));
    EXPECT_EQ(plugin->UnclaimedServiceProxyResponses(), 0u);
}

// Two pairs complete at once: each event fulfils one of them.
TEST_F(ServiceProxyTest, OnePairIsFulfilledPerEvent) {
    Send("OnServiceProxyUuidEvent", ByUuid("a", "A"));
    Send("OnServiceProxyUuidEvent", ByUuid("b", "B"));
    Expect("a");
    Expect("b");
    Send("OnServiceProxyAsyncEvent", ByMethod("none", "here", ""));
    Send("OnServiceProxyUuidEvent", ByUuid("c", "C"));
    EXPECT_EQ(fulfilled.size(), 1u);
    Send("OnServiceProxyUuidEvent", ByUuid("d", "D"));
    EXPECT_THAT(fulfilled, testing::UnorderedElementsAre("a=A", "b=B"));
}

TEST_F(ServiceProxyTest, AsyncMessagesGoToTheirHandlerOrAreLogged) {
    Send("OnServiceProxyAsyncEvent", ByMethod("chat", "said", "hi"));
    Send("OnServiceProxyAsyncEvent", ByMethod("chat", "said", "hi"));
    EXPECT_EQ(LogTexts(2).size(), 2u);
    EXPECT_THAT(LogTexts(2)[0], HasSubstr("requests-module: Could not find registered handler for "
                                          "async service proxy event chat.said"));
    EXPECT_EQ(plugin->UnclaimedServiceProxyResponses(), 0u);

    std::vector<std::string> heard;
    plugin->RegisterServiceProxyAsyncHandler(
        "chat.said", [&](const PluginServiceProxyResponse& r) { heard.push_back(r.payload); });
    Send("OnServiceProxyAsyncEvent", ByMethod("chat", "said", "hello"));
    EXPECT_THAT(heard, ElementsAre("hello"));
    EXPECT_EQ(LogTexts(2).size(), 2u);
}

// Answers nobody asks for cannot pile up: past the cap the oldest arrival goes, and an answer
// sent again counts as new.
TEST_F(ServiceProxyTest, UnclaimedResponsesAreCappedOldestFirst) {
    Send("OnServiceProxyUuidEvent", ByUuid("keep", "refreshed later"));
    for (std::size_t i = 0; i < kServiceProxyResponseCap + 10; ++i) {
        PublishServiceProxyEvent(host, "OnServiceProxyUuidEvent",
                                 ByUuid("flood-" + std::to_string(i), "x"));
        if (i == 20) {
            PublishServiceProxyEvent(host, "OnServiceProxyUuidEvent", ByUuid("keep", "kept"));
        }
    }
    host.RunUntilIdle();
    EXPECT_EQ(plugin->UnclaimedServiceProxyResponses(), kServiceProxyResponseCap);

    Expect("flood-0");
    Expect("keep");
    Expect("flood-" + std::to_string(kServiceProxyResponseCap + 9));
    for (int i = 0; i < 3; ++i) {
        Send("OnServiceProxyMethodEvent", ByMethod("tick", std::to_string(i), ""));
    }
    EXPECT_THAT(fulfilled,
                testing::UnorderedElementsAre(
                    "keep=kept", "flood-" + std::to_string(kServiceProxyResponseCap + 9) + "=x"));
}

}  // namespace
}  // namespace Tavix::Client::Testing
