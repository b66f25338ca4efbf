// A future error inside a wait is a programming fault of the frame and ends the process.

#include <gtest/gtest.h>

#include <cstdio>
#include <future>

#include "frame/await.h"
#include "support/failure.h"
#include "support/maybe_type.h"
#include "test_module.h"

namespace Tavix::Client::Testing {
namespace {

// After attach the module's log goes to the host; the host echoes it where the test can read it.
class AwaitDeathTest : public HostedModuleTest {
protected:
    void SetUp() override {
        HostedModuleTest::SetUp();
        host.EchoLogTo(stderr);
    }
};

TEST_F(AwaitDeathTest, FutureWithoutStateIsFatal) {
    EXPECT_DEATH(InModule([&] { plugin->Await(std::future<MaybeType<Failure, int>>()); }),
                 "Caught std::future_error in AppModule::Await: \\(3\\) (.|\n)*ALE-6D828C10");
}

TEST_F(AwaitDeathTest, DroppedPromiseIsFatal) {
    auto dropped = [&] {
        std::future<MaybeType<Failure, bool>> future;
        {
            std::promise<MaybeType<Failure, bool>> promise;
            future = promise.get_future();
        }
        InModule([&] { plugin->Await(std::move(future)); });
    };
    EXPECT_DEATH(dropped(),
                 "Caught std::future_error in AppModule::Await: \\(4\\) "
                 "(.|\n)*ALE-6D828C10");
}

}  // namespace
}  // namespace Tavix::Client::Testing
