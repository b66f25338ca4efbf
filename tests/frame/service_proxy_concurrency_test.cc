#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "requests_module.h"

namespace Tavix::Client::Testing {
namespace {

// Flag-1 handlers may run beside the module's own work: answers arrive on one thread while
// requests are registered on another, and every pair still meets exactly once.
TEST_F(RequestsModuleTest, ServiceProxyAnswersAndRequestsOnTwoThreads) {
    constexpr int kPairs = 200;
    static_assert(kPairs < static_cast<int>(kServiceProxyResponseCap));
    std::vector<std::atomic<int>> calls(kPairs);

    std::thread answers([&] {
        for (int i = 0; i < kPairs; ++i) {
            PluginServiceProxyResponse response;
            response.uuid = "u" + std::to_string(i);
            plugin->DeliverServiceProxyUuid(response);
        }
    });
    std::thread requests([&] {
        for (int i = 0; i < kPairs; ++i) {
            plugin->RegisterServiceProxyRequest(
                "u" + std::to_string(i),
                [&calls, i](const PluginServiceProxyResponse&) { ++calls[i]; });
        }
    });
    answers.join();
    requests.join();

    // Pairs that completed while nothing ran the matching step wait for later events.
    PluginServiceProxyResponse tick;
    tick.serviceName = "tick";
    for (int i = 0; i < kPairs; ++i) {
        tick.methodName = std::to_string(i);
        plugin->DeliverServiceProxyMethod(tick);
    }
    for (int i = 0; i < kPairs; ++i) {
        EXPECT_EQ(calls[i].load(), 1) << i;
    }
}

}  // namespace
}  // namespace Tavix::Client::Testing
