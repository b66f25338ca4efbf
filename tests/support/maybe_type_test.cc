#include "support/maybe_type.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "support/failure.h"

namespace Tavix::Client {
namespace {

// Counts its lifetimes, to see that exactly the live alternative is built and destroyed.
struct Counted {
    static inline int alive = 0;
    static inline int constructed = 0;

    explicit Counted(int v) : value(v) { Born(); }
    Counted(const Counted& other) : value(other.value) { Born(); }
    Counted(Counted&& other) noexcept : value(other.value) {
        other.value = -1;
        Born();
    }
    Counted& operator=(const Counted&) = default;
    ~Counted() { --alive; }

    static void Born() {
        ++alive;
        ++constructed;
    }
    static void Reset() { alive = constructed = 0; }

    int value;
};

TEST(MaybeTypeTest, VoidHoldsNothingButTheTag) {
    const MaybeType<Failure, void> success;
    EXPECT_TRUE(success.HasValue());
    EXPECT_FALSE(success.IsFailure());
    EXPECT_TRUE(static_cast<bool>(success));
    EXPECT_EQ(sizeof(success), sizeof(Failure) + alignof(Failure));

    MaybeType<Failure, void> failed = Failure(404, "missing {what}", "page");
    ASSERT_TRUE(failed.IsFailure());
    EXPECT_EQ(failed.GetFailure().errorCode, 404);

    MaybeType<Failure, void> copy = failed;
    EXPECT_STREQ(copy.GetFailure().GetMessage(), "missing page");
    copy = success;
    EXPECT_TRUE(copy.HasValue());
    MaybeType<Failure, void> moved = std::move(failed);
    EXPECT_STREQ(moved.GetFailure().GetMessage(), "missing page");
    const Failure taken = std::move(moved).GetFailure();
    EXPECT_STREQ(taken.GetMessage(), "missing page");
}

TEST(MaybeTypeTest, OnlyTheLiveAlternativeIsBuiltAndDestroyed) {
    Counted::Reset();
    {
        MaybeType<Failure, Counted> failed = Failure("no value");
        EXPECT_EQ(Counted::constructed, 0);
        MaybeType<Failure, Counted> held(std::in_place, 7);
        EXPECT_EQ(Counted::alive, 1);
        EXPECT_EQ(held.GetValue().value, 7);

        // Replacing a value by a failure destroys the value, and the other way builds one.
        held = failed;
        EXPECT_EQ(Counted::alive, 0);
        EXPECT_TRUE(held.IsFailure());
        failed = MaybeType<Failure, Counted>(Counted(3));
        EXPECT_EQ(Counted::alive, 1);

        MaybeType<Failure, Counted> copy(failed);
        EXPECT_EQ(Counted::alive, 2);
        const Counted out = std::move(copy).GetValue();
        EXPECT_EQ(out.value, 3);
        EXPECT_EQ(copy.GetValue().value, -1);
    }
    EXPECT_EQ(Counted::alive, 0);
}

TEST(MaybeTypeTest, ValuesAndFailuresMoveWithoutCopies) {
    MaybeType<Failure, std::string> text = std::string(100, 'x');
    MaybeType<Failure, std::string> moved = std::move(text);
    EXPECT_EQ(moved.GetValue().size(), 100u);

    MaybeType<Failure, std::string> failed = Failure("bad {x}", "input");
    moved = std::move(failed);
    ASSERT_TRUE(moved.IsFailure());
    EXPECT_STREQ(moved.GetFailure().GetMessage(), "bad input");

    const MaybeType<Failure, int> number;
    EXPECT_EQ(number.GetValue(), 0);
}

}  // namespace
}  // namespace Tavix::Client
