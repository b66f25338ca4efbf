// A handler that cannot serve its function is a programming fault, reported when the route is
// declared rather than when a request finds it out.

#include <gtest/gtest.h>

#include <functional>

#include "routing/dispatcher.h"
#include "routing/route_declarer.h"

namespace Tavix::Client {
namespace {

TEST(RouteDeclarerDeathTest, AnEmptyHandlerIsFatal) {
    const auto declare = [] {
        BindingDispatcher dispatcher;
        RouteDeclarer routes(dispatcher, {});
        routes.Get("/x", std::function<Resource()>());
    };
    EXPECT_DEATH(declare(), "Route GetX was declared with an empty handler(.|\n)*ALE-3B7E0D91");
}

TEST(RouteDeclarerDeathTest, AHandlerOfAnotherArgumentCountThanItsFunctionIsFatal) {
    const auto declare = [] {
        BindingDispatcher dispatcher;
        dispatcher.DeclareFunction("GetX", 2);
        RouteDeclarer routes(dispatcher, {});
        routes.Get("/x", [](std::int32_t) { return Resource(); });
    };
    EXPECT_DEATH(declare(),
                 "Route GetX has a handler of 1 arguments, but its function 'GetX' was declared "
                 "with 2(.|\n)*ALE-3B7E0D91");
}

}  // namespace
}  // namespace Tavix::Client
