#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <vector>

#include "core/module.h"
#include "core/value.h"

namespace Tavix::TestHost {
namespace {

// Every kind built by the arena reads back as the same value, and the arena's tree uses the
// borrowed tags only, since the host keeps the storage.
TEST(HostValueCopy, ArenaTreesCopyBackEqual) {
    const Value original = Value::Map({
        {"flag", Value::Bool(true)},
        {"signed", Value::Signed(std::numeric_limits<std::int64_t>::min())},
        {"unsigned", Value::Unsigned(std::numeric_limits<std::uint64_t>::max())},
        {"float", Value::Float(-0.25)},
        {"text", Value::Text(std::string("nul\0inside", 10))},
        {"blob", Value::Blob(std::string("\x00\xff", 2))},
        {"list", Value::List({Value::None(), Value::List({}), Value::Map({})})},
    });
    ValueArena arena;
    const Client::HostValue built = arena.Build(original);

    const Value copy = CopyHostValue(built);

    EXPECT_EQ(copy, original) << copy.ToText();
    EXPECT_EQ(copy.Find("text")->tag, Client::kHostValueBorrowedString);
    EXPECT_EQ(copy.Find("text")->bytes.size(), 10u);
    EXPECT_EQ(copy.Find("blob")->tag, Client::kHostValueBorrowedBlob);
    EXPECT_EQ(copy.Find("missing"), nullptr);
    EXPECT_EQ(built.payload.structure.entries[4].value.payload.text.data[10], '\0');
}

TEST(HostValueCopy, EqualityIgnoresOwnershipButNotKindOrOrder) {
    Value owned = Value::Text("x");
    owned.tag = Client::kHostValueOwnedString;
    EXPECT_EQ(owned, Value::Text("x"));
    EXPECT_NE(Value::Text("x"), Value::Blob("x"));
    EXPECT_NE(Value::Signed(1), Value::Unsigned(1));
    EXPECT_NE(Value::Map({{"a", Value::None()}, {"b", Value::None()}}),
              Value::Map({{"b", Value::None()}, {"a", Value::None()}}));
    EXPECT_NE(Value::List({Value::Bool(false)}), Value::List({Value::Bool(true)}));
}

TEST(HostValueCopy, HostileShapesCopyWithoutCrashing) {
    Client::HostValue nullArray{};
    nullArray.tag = Client::kHostValueCollection;
    nullArray.payload.collection = {nullptr, 100};
    EXPECT_EQ(CopyHostValue(nullArray), Value::List({}));

    Client::HostValue nullText{};
    nullText.tag = Client::kHostValueOwnedString;
    nullText.payload.text = {nullptr, 5};
    EXPECT_EQ(CopyHostValue(nullText), Value::Text(""));

    Client::HostMapEntry entry{};
    entry.key = nullptr;
    Client::HostValue nullKey{};
    nullKey.tag = Client::kHostValueStructure;
    nullKey.payload.structure = {&entry, 1};
    EXPECT_EQ(CopyHostValue(nullKey), Value::Map({{"", Value::None()}}));

    Client::HostValue unknown{};
    unknown.tag = 77;
    EXPECT_EQ(CopyHostValue(unknown).ToText(), "tag(77)");
}

TEST(HostValueCopy, DeepTreesAreCutAtTheCopyDepth) {
    std::vector<Client::HostValue> chain(kMaxCopyDepth + 10);
    for (std::size_t i = 0; i < chain.size(); ++i) {
        std::memset(static_cast<void*>(&chain[i]), 0, sizeof chain[i]);
        chain[i].tag = Client::kHostValueCollection;
        if (i + 1 < chain.size()) {
            chain[i].payload.collection = {&chain[i + 1], 1};
        }
    }
    const Value copy = CopyHostValue(chain[0]);

    const Value* node = &copy;
    int depth = 0;
    while (!node->truncated) {
        ASSERT_EQ(node->items.size(), 1u) << "at depth " << depth;
        node = &node->items[0];
        ++depth;
    }
    EXPECT_EQ(depth, kMaxCopyDepth + 1);
}

TEST(CoreVersionText, ParsesThreeNumbersOnly) {
    const auto version = ParseCoreVersion("18.7.3");
    ASSERT_TRUE(version.has_value());
    EXPECT_EQ(version->major, 18u);
    EXPECT_EQ(version->minor, 7u);
    EXPECT_EQ(version->patch, 3u);
    EXPECT_TRUE(ParseCoreVersion("4294967295.0.0").has_value());

    for (const char* bad : {"", "18", "18.0", "18.0.0.0", "18.0.", "18..0", "a.b.c", "18.0.0-rc",
                            "-1.0.0", "+1.0.0", " 18.0.0", "4294967296.0.0"}) {
        EXPECT_FALSE(ParseCoreVersion(bad).has_value()) << bad;
    }
}

}  // namespace
}  // namespace Tavix::TestHost
