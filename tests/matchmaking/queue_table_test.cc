#include "matchmaking/queue_table.h"

#include <gtest/gtest.h>

#include "matchmaking/invalid_queue_strategy.h"

namespace Tavix::Client::Matchmaking {
namespace {

class QueueTableTest : public ::testing::Test {
protected:
    // The table compares strategies by identity only; what they do does not matter here.
    std::shared_ptr<QueueStrategy> squadForge = std::make_shared<InvalidQueueStrategy>(nullptr);
    std::shared_ptr<QueueStrategy> legacy = std::make_shared<InvalidQueueStrategy>(nullptr);
    std::shared_ptr<QueueStrategy> invalid = std::make_shared<InvalidQueueStrategy>(nullptr);
    QueueStrategyTable table;
};

TEST_F(QueueTableTest, EachListedQueueGetsTheStrategyOfItsBackEnd) {
    FillQueueTable(table, {{420, false}, {440, true}}, squadForge, legacy);
    EXPECT_EQ(ResolveQueue(table, 420, invalid), legacy);
    EXPECT_EQ(ResolveQueue(table, 440, invalid), squadForge);
    EXPECT_EQ(ResolveQueue(table, 450, invalid), invalid);
}

TEST_F(QueueTableTest, TheLaterRowOfAnIdWins) {
    FillQueueTable(table, {{420, false}, {420, true}}, squadForge, legacy);
    EXPECT_EQ(ResolveQueue(table, 420, invalid), squadForge);
    FillQueueTable(table, {{420, true}, {420, false}}, squadForge, legacy);
    EXPECT_EQ(ResolveQueue(table, 420, invalid), legacy);
}

TEST_F(QueueTableTest, ANewListReplacesTheWholeTable) {
    FillQueueTable(table, {{420, false}, {440, true}}, squadForge, legacy);
    FillQueueTable(table, {{450, false}}, squadForge, legacy);
    EXPECT_EQ(ResolveQueue(table, 420, invalid), invalid);
    EXPECT_EQ(ResolveQueue(table, 450, invalid), legacy);
    FillQueueTable(table, {}, squadForge, legacy);
    EXPECT_EQ(ResolveQueue(table, 450, invalid), invalid);
}

}  // namespace
}  // namespace Tavix::Client::Matchmaking
