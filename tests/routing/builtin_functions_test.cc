// Functions answered by the dispatcher itself: the builtin "Help" on its own route, which the host
// calls like any other, and the tag and registry rules that decide when a builtin is answered.

#include "routing/builtin_functions.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "binding/descriptors.h"
#include "routes_module.h"
#include "routing/route.h"

namespace Tavix::Client::Testing {
namespace {

using TestHost::ApiAnswer;
using TestHost::Value;

std::vector<std::string> Names(const Value* list) {
    std::vector<std::string> names;
    if (list != nullptr) {
        for (const Value& item : list->items) {
            const Value* name = item.Find("name");
            names.push_back(name != nullptr ? name->bytes : "?");
        }
    }
    return names;
}

TEST_F(RoutesTest, HelpDescribesTheWholeRegistryThroughItsOwnRoute) {
    Load([](RouteDeclarer& routes, BindingDispatcher&) {
        routes.Get("/test/v1/shape", []() -> ResourceOf<Shape> { return Shape(); });
        routes.Help("/test/v1/help/");
    });
    const HostFunctionRecord* record = TestHost::FindFunctionRecordNamed(Api(), kHelpFunction);
    ASSERT_NE(record, nullptr);
    EXPECT_STREQ(record->url, "/test/v1/help");
    EXPECT_EQ(Unpacked(record->method), kMethodGet);
    EXPECT_EQ(Unpacked(record->callEntry), &BindingDispatcher::CallEntry);
    EXPECT_STREQ(record->head.returnTypeName, "BindingFullApiHelp");

    const ApiAnswer answer = Call(kMethodGet, "/test/v1/help");
    ASSERT_EQ(ErrorAndStatus(answer), "(ok) 0");
    ASSERT_EQ(answer.value.fields.size(), 3u);
    EXPECT_EQ(answer.value.fields[0].key, "events");
    EXPECT_EQ(Names(answer.value.Find("functions")),
              (std::vector<std::string>{"GetTestV1Shape", "Help"}));
    const std::vector<std::string> types = Names(answer.value.Find("types"));
    EXPECT_EQ(types.size(), plugin->GetDispatcher().Types().size());
    EXPECT_TRUE(std::is_sorted(types.begin(), types.end()));
    EXPECT_THAT(types, ::testing::IsSupersetOf({"Color", "Point", "Shape", "BindingFullApiHelp"}));

    const Value& help = answer.value.Find("functions")->items[1];
    EXPECT_EQ(help.Find("tags")->ToJson(), R"(["Plugins","Plugin routes-module","$builtin"])");
    EXPECT_EQ(help.Find("returns")->ToJson(), R"({"elementType":"","type":"BindingFullApiHelp"})");
    // No argument of the request is read: a parameter that no function has is no failure.
    TestHost::ApiCall withParameter = Request(kMethodGet, "/test/v1/help");
    withParameter.parameters.push_back({"format", Value::Text("Epytext")});
    EXPECT_EQ(Call(withParameter).value, answer.value);
}

// Which route may answer builtins is the module's choice; which function is one is its tags'.
TEST_F(RoutesTest, OnlyAnExactTagOnARouteThatServesBuiltinsMakesABuiltin) {
    Load([](RouteDeclarer& routes, BindingDispatcher& dispatcher) {
        auto handled = []() -> ResourceOf<std::string> { return std::string("handler"); };
        const auto servingBuiltins = [&](const RouteBuilder& builder) {
            dispatcher.FindEntry(builder.Function())->servesBuiltins = true;
        };
        servingBuiltins(routes.Get("/test/v1/other", handled).AddTags({"$builtin"}));
        servingBuiltins(routes.Get("/test/v1/almost", handled).AddTags({"$builtins", "builtin"}));
        routes.Get("/test/v1/plain", handled).AddTags({"$builtin"});
    });
    EXPECT_EQ(ErrorAndStatus(Call(kMethodGet, "/test/v1/other")),
              "Unsupported builtin function 400");
    EXPECT_EQ(Call(kMethodGet, "/test/v1/almost").value, Value::Text("handler"));
    // Without the registry, a builtin's tag changes nothing.
    EXPECT_EQ(Call(kMethodGet, "/test/v1/plain").value, Value::Text("handler"));
}

TEST_F(RoutesTest, DispatchAnswersHelpOnlyWhenGivenARegistry) {
    Load([](RouteDeclarer& routes, BindingDispatcher&) { routes.Help("/test/v1/help"); });
    const BindingDispatcher& dispatcher = plugin->GetDispatcher();
    const BindingFunctionDescriptor* help = dispatcher.FindFunction(kHelpFunctionName);
    ASSERT_NE(help, nullptr);
    const Route route = MakeRoute(help, dispatcher.FindEntry(help), "/test/v1/help");
    HostRequest request{};
    request.method = kMethodGet;
    request.url = "/test/v1/help";

    TestHost::Host::ModuleCall call(host, module->ClientId());
    HostResponse response{};
    dispatcher.Dispatch(response, request, std::span<const Route>(&route, 1));
    // Nothing else answers a builtin: it has no handler.
    EXPECT_STREQ(response.errorText, "Invalid function");
    EXPECT_EQ(Unpacked(response.status), 404u);

    dispatcher.Dispatch(response, request, std::span<const Route>(&route, 1), &dispatcher);
    EXPECT_EQ(response.errorText, nullptr);
    EXPECT_EQ(Unpacked(response.value.tag), kHostValueStructure);
    EXPECT_EQ(Unpacked(response.status), 0u);
    response.release(&response);
}

}  // namespace
}  // namespace Tavix::Client::Testing
