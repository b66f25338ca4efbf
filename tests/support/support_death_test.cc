#include <gtest/gtest.h>

#include <csignal>

#include "support/failure.h"
#include "support/fatal.h"
#include "support/maybe_type.h"
#include "support/slab.h"

namespace Tavix::Client {
namespace {

TEST(FatalReportDeathTest, ReportsTheCodeAndAborts) {
    EXPECT_EXIT(FatalReport(kFatalFutureErrorInAwait), ::testing::KilledBySignal(SIGABRT),
                "Assertion failed!\n\nExpression: ALE-6D828C10");
}

TEST(FatalReportDeathTest, LogsTheSiteMessageFirst) {
    EXPECT_DEATH(FatalReportWithMessage(kFatalIncompatiblePluginApi, kIncompatiblePluginApiMessage,
                                        "arx-matchmaking", "17.2.0", "18.0.0"),
                 "arx-matchmaking which supports plugin API 17.2.0 is not compatible with core's "
                 "plugin API 18.0.0(.|\n)*Expression: ALE-EECF0606");
    EXPECT_DEATH(FatalReportWithMessage(kFatalFutureErrorInAwait, kFutureErrorInAwaitMessage, 4,
                                        "broken promise"),
                 "Caught std::future_error in AppModule::Await: \\(4\\) broken promise");
}

TEST(FatalReportDeathTest, WrongAlternativeOfAMaybeTypeIsFatal) {
    MaybeType<Failure, int> failed = Failure("no");
    EXPECT_DEATH(static_cast<void>(failed.GetValue()), "ALE-4A7E21C3");
    MaybeType<Failure, void> success;
    EXPECT_DEATH(static_cast<void>(success.GetFailure()), "ALE-4A7E21C3");
}

TEST(FatalReportDeathTest, SlabSizeAboveTheLargestClassIsFatal) {
    SlabContext context;
    EXPECT_DEATH(Allocate(context, kLargestSlabSlot + 1), "ALE-2C61E8A4");
}

}  // namespace
}  // namespace Tavix::Client
