#include "binding/result.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>

namespace Tavix::Client {
namespace {

TEST(BindingResult, StartsOkWithNoErrorText) {
    BindingResult result;
    EXPECT_TRUE(result.Ok());
    EXPECT_EQ(result.ErrorText(), "");
    // The text of a good result is empty even when it holds a field named "error".
    result.Field("error").SetString("not an error");
    EXPECT_EQ(result.ErrorText(), "");
}

TEST(BindingResult, SetErrorReplacesTheContentAndTheMessage) {
    BindingResult result;
    result.At(3).SetString("content");
    result.SetError("first");
    EXPECT_FALSE(result.Ok());
    EXPECT_EQ(result.Kind(), BindingValueKind::Structure);
    EXPECT_EQ(result.Size(), 1u);
    EXPECT_EQ(result.ErrorText(), "first");

    result.SetError("second");
    EXPECT_EQ(result.ErrorText(), "second");
    EXPECT_EQ(result.Size(), 1u);

    // The message may be the result's own.
    result.SetError(result.ErrorText().substr(1));
    EXPECT_EQ(result.ErrorText(), "econd");

    result.Field("error").SetSigned(5);
    EXPECT_EQ(result.ErrorText(), "");

    result.ResetToOk();
    EXPECT_TRUE(result.Ok());
    EXPECT_TRUE(result.IsEmpty());
}

TEST(BindingResult, CopiesAndMovesCarryOk) {
    BindingResult failed;
    failed.SetError("broken");

    BindingResult copy(failed);
    EXPECT_FALSE(copy.Ok());
    EXPECT_EQ(copy.ErrorText(), "broken");

    BindingResult moved(std::move(copy));
    EXPECT_FALSE(moved.Ok());
    EXPECT_EQ(moved.ErrorText(), "broken");

    BindingResult target;
    target.SetSigned(1);
    target = std::move(moved);
    EXPECT_FALSE(target.Ok());
    EXPECT_EQ(target.ErrorText(), "broken");

    BindingResult good;
    target = good;
    EXPECT_TRUE(target.Ok());
    EXPECT_TRUE(target.IsEmpty());
}

}  // namespace
}  // namespace Tavix::Client
