// Await and Yield through the test host: how many host calls a wait costs, in which order, and
// how two waits nest.

#include <gtest/gtest.h>

#include <future>
#include <string>
#include <vector>

#include "frame/await.h"
#include "support/failure.h"
#include "support/maybe_type.h"
#include "test_module.h"

namespace Tavix::Client::Testing {
namespace {

using AwaitTest = HostedModuleTest;

// The waits and yields of the recording as "begin <label>", "yield", "end".
std::vector<std::string> WaitTrace(const TestHost::Recording& recording) {
    std::vector<std::string> trace;
    for (const TestHost::RecordedCall& call : recording.Calls()) {
        if (const auto* wait = std::get_if<TestHost::RecordedWait>(&call)) {
            trace.push_back(wait->begin ? "begin " + wait->label : "end");
        } else if (std::get_if<TestHost::RecordedYield>(&call) != nullptr) {
            trace.push_back("yield");
        }
    }
    return trace;
}

TEST_F(AwaitTest, ReadyFutureCallsNothingOfTheHost) {
    std::promise<MaybeType<Failure, int>> promise;
    promise.set_value(MaybeType<Failure, int>(42));
    host.Calls().Clear();
    MaybeType<Failure, int> result(Failure("unset"));
    InModule([&] { result = plugin->Await(promise.get_future()); });
    ASSERT_FALSE(result.IsFailure());
    EXPECT_EQ(result.GetValue(), 42);
    EXPECT_TRUE(host.Calls().Calls().empty());
}

TEST_F(AwaitTest, FutureCompletedOnTheThirdTurnCostsOneWaitAndThreeYields) {
    std::promise<MaybeType<Failure, void>> promise;
    host.Post(
        "first", [] {}, 0.1);
    host.Post(
        "second", [] {}, 0.2);
    host.Post(
        "third", [&] { promise.set_value(Failure(404, "gone {what}", "away")); }, 0.3);
    host.Calls().Clear();

    MaybeType<Failure, void> result;
    InModule([&] { result = plugin->Await(promise.get_future()); });

    const std::vector<std::string> trace = WaitTrace(host.Calls());
    ASSERT_EQ(trace.size(), 5u);
    EXPECT_EQ(trace[0].rfind("begin Wait: future<", 0), 0u) << trace[0];
    EXPECT_EQ(trace[0].back(), '>');
    EXPECT_EQ(std::vector<std::string>(trace.begin() + 1, trace.end()),
              (std::vector<std::string>{"yield", "yield", "yield", "end"}));
    ASSERT_TRUE(result.IsFailure());
    EXPECT_STREQ(result.GetFailure().GetMessage(), "gone away");
    EXPECT_EQ(result.GetFailure().errorCode, 404);
}

TEST_F(AwaitTest, WaitInsideAnotherWaitsTurnIsNestedInsideIt) {
    std::promise<MaybeType<Failure, int>> outer;
    std::promise<MaybeType<Failure, int>> inner;
    int innerValue = 0;
    // During the outer wait's first turn a job of the module runs and waits itself; the inner
    // promise is kept before the outer one.
    InModule([&] {
        plugin->PostJob(
            "inner", [&] { innerValue = plugin->Await(inner.get_future()).GetValue(); },
            host.Now());
    });
    host.Post(
        "keep inner", [&] { inner.set_value(MaybeType<Failure, int>(1)); }, 0.1);
    host.Post(
        "keep outer", [&] { outer.set_value(MaybeType<Failure, int>(2)); }, 0.2);
    host.Calls().Clear();

    int outerValue = 0;
    InModule([&] { outerValue = plugin->Await(outer.get_future()).GetValue(); });

    EXPECT_EQ(innerValue, 1);
    EXPECT_EQ(outerValue, 2);
    std::vector<std::string> trace = WaitTrace(host.Calls());
    std::vector<std::string> shape;
    for (const std::string& step : trace) {
        shape.push_back(step.rfind("begin", 0) == 0 ? "begin" : step);
    }
    EXPECT_EQ(shape, (std::vector<std::string>{"begin", "yield", "begin", "yield", "end", "yield",
                                               "end"}));
}

TEST_F(AwaitTest, YieldIsOneLabelledTurn) {
    host.Post(
        "something later", [] {}, 0.5);
    host.Calls().Clear();
    InModule([&] { plugin->Yield(); });
    EXPECT_EQ(WaitTrace(host.Calls()),
              (std::vector<std::string>{"begin Wait: yield", "yield", "end"}));
}

}  // namespace
}  // namespace Tavix::Client::Testing
