// Routes: literal or pattern, the parameters a match fills, and the choice among routes.

#include "routing/route.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "routing/route_entry.h"

namespace Tavix::Client {
namespace {

Route Routed(std::string_view text) {
    return MakeRoute(nullptr, nullptr, text);
}

TEST(RouteTest, ATextWithoutABraceIsALiteralEvenWithPatternBytes) {
    const Route route = Routed("/a*(b");
    EXPECT_FALSE(route.HasParameters());
    RouteParameters parameters;
    EXPECT_TRUE(MatchRoute(route, "/a*(b", parameters));
    EXPECT_FALSE(MatchRoute(route, "/aaa(b", parameters));
    // Literal routes compare the URL as given: a query string makes it another URL.
    EXPECT_FALSE(MatchRoute(route, "/a*(b?x=1", parameters));
}

TEST(RouteTest, CapturesAreDecodedAndFilledByName) {
    RouteParameters parameters;
    ASSERT_TRUE(MatchRoute(Routed("/x/{id}"), "/x/", parameters));
    ASSERT_NE(parameters.Find("id"), nullptr);
    EXPECT_EQ(*parameters.Find("id"), "");

    EXPECT_FALSE(MatchRoute(Routed("/x/{id}"), "/x/a/b", parameters));
    // The path is matched as the host gave it, query and all.
    ASSERT_TRUE(MatchRoute(Routed("/x/{id}"), "/x/a%41+b?q=1", parameters));
    EXPECT_EQ(*parameters.Find("id"), "aA b?q=1");

    ASSERT_TRUE(MatchRoute(Routed("/f/{+rest}"), "/f/a/b/c", parameters));
    EXPECT_EQ(*parameters.Find("rest"), "a/b/c");
    EXPECT_FALSE(MatchRoute(Routed("/p{#frag}"), "/p", parameters));
    ASSERT_TRUE(MatchRoute(Routed("/p{#frag}"), "/p#top", parameters));
    EXPECT_EQ(*parameters.Find("frag"), "top");

    ASSERT_TRUE(MatchRoute(Routed("/{a}/{a}"), "/1/2", parameters));
    EXPECT_EQ(parameters.Size(), 1u);
    EXPECT_EQ(*parameters.Find("a"), "2");
}

TEST(RouteTest, AStrayBraceShiftsLaterCapturesOntoEarlierGroups) {
    // Captures read groups by position; the stray capture has no group of its own.
    RouteParameters parameters;
    ASSERT_TRUE(MatchRoute(Routed("/{a}}/{b}"), "/1/2", parameters));
    EXPECT_EQ(*parameters.Find("a"), "1");
    EXPECT_EQ(*parameters.Find(""), "2");
    EXPECT_EQ(*parameters.Find("b"), "");
}

class FindRouteTest : public ::testing::Test {
protected:
    // Routes in declaration order; entries stay at their addresses.
    void Add(std::uint32_t method, std::string_view text, std::string methodText = {}) {
        auto entry = std::make_unique<RouteEntry>();
        entry->method = method;
        entry->methodText = std::move(methodText);
        routes.push_back(MakeRoute(nullptr, entry.get(), text));
        entries.push_back(std::move(entry));
    }
    // The index of the chosen route, or -1.
    int Find(std::uint32_t method, std::string_view path, std::string_view methodText = {}) {
        match = RouteMatch();
        match.method = method;
        match.methodText = methodText;
        match.path = path;
        if (!FindRoute(match, routes)) {
            return -1;
        }
        for (std::size_t i = 0; i < entries.size(); ++i) {
            if (entries[i].get() == match.entry) {
                return static_cast<int>(i);
            }
        }
        return -2;
    }

    std::vector<std::unique_ptr<RouteEntry>> entries;
    std::vector<Route> routes;
    RouteMatch match;
};

TEST_F(FindRouteTest, TheRouteWithTheShortestParametersWinsAndTheEarlierOnATie) {
    Add(kMethodGet, "/a/{x}/{y}");
    Add(kMethodGet, "/a/{x}/c");
    Add(kMethodGet, "/{p}/b/c");
    // The second and the third route both leave one byte to parameters; the earlier stays.
    EXPECT_EQ(Find(kMethodGet, "/a/b/c"), 1);
    EXPECT_EQ(*match.parameters.Find("x"), "b");
    EXPECT_EQ(Find(kMethodGet, "/a/b/d"), 0);
    EXPECT_EQ(*match.parameters.Find("y"), "d");
    Add(kMethodGet, "/a/b/c");
    EXPECT_EQ(Find(kMethodGet, "/a/b/c"), 3);
    EXPECT_TRUE(match.parameters.Empty());
}

TEST_F(FindRouteTest, ALiteralRouteEndsTheSearch) {
    Add(kMethodGet, "/a/b");
    Add(kMethodAny, "/a/b");
    EXPECT_EQ(Find(kMethodGet, "/a/b"), 0);
    EXPECT_EQ(Find(kMethodPost, "/a/b"), 1);
}

TEST_F(FindRouteTest, TheMethodMustBeTheEntrysUnlessTheEntryTakesAny) {
    Add(kMethodGet, "/r/{id}");
    EXPECT_EQ(Find(kMethodGet, "/r/1"), 0);
    EXPECT_EQ(Find(kMethodHead, "/r/1"), -1);
    EXPECT_EQ(Find(kMethodOptions, "/r/1"), -1);
    EXPECT_EQ(Find(kMethodPost, "/r/1"), -1);
    Add(kMethodNamed, "/n", "PURGE");
    EXPECT_EQ(Find(kMethodNamed, "/n", "PURGE"), 1);
    EXPECT_EQ(Find(kMethodNamed, "/n", "purge"), -1);
    Add(kMethodAny, "/any/{x}");
    EXPECT_EQ(Find(kMethodOptions, "/any/1"), 2);
    EXPECT_EQ(Find(kMethodGet, "/nowhere"), -1);
}

}  // namespace
}  // namespace Tavix::Client
