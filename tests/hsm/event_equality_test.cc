#include "hsm/internal/event_equality.h"

#include <gtest/gtest.h>

#include <string>

namespace Tavix::Hsm::Internal {
namespace {

using StringEquality = EventEquality<std::string>;

// Every length around the word boundaries, with the difference at every position: the word-wise
// comparison must see a byte that differs wherever it lies, including in the overlapping tail.
TEST(StringEventEquality, FindsADifferenceAtAnyPositionOfAnyLength) {
    for (std::size_t size = 0; size <= 40; ++size) {
        std::string left(size, 'x');
        for (std::size_t i = 0; i < size; ++i) {
            left[i] = static_cast<char>('A' + i % 26);
        }
        const std::string same = left;
        EXPECT_TRUE(StringEquality::Equal(left, same)) << size;
        for (std::size_t position = 0; position < size; ++position) {
            std::string other = left;
            other[position] = static_cast<char>(other[position] ^ 0x20);
            EXPECT_FALSE(StringEquality::Equal(left, other)) << size << " at " << position;
        }
    }
}

TEST(StringEventEquality, LengthDecidesBeforeContent) {
    EXPECT_FALSE(
        StringEquality::Equal("MATCHMAKING_EVENT.TIMER_TICK", "MATCHMAKING_EVENT.TIMER_TIC"));
    EXPECT_FALSE(StringEquality::Equal("", std::string(1, '\0')));
    EXPECT_FALSE(StringEquality::Equal(std::string("ab\0c", 4), std::string("ab\0d", 4)));
    EXPECT_TRUE(StringEquality::Equal(std::string("ab\0c", 4), std::string("ab\0c", 4)));
}

}  // namespace
}  // namespace Tavix::Hsm::Internal
