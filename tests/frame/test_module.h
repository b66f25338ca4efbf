#pragma once
// An in-process module for frame tests: a bare AppModule whose jobs and timers a test can drive,
// loaded into the test host through an export of its own, with the module's clock wired to the
// host's virtual clock.

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>

#include "core/host.h"
#include "core/module.h"
#include "frame/app_module.h"
#include "frame/plugin_export.h"
#include "platform/clock.h"

namespace Tavix::Client::Testing {

class TestModule : public AppModule {
public:
    std::uint64_t NextJobId() const { return nextJobId; }
    std::size_t PendingJobs() const { return jobs.size(); }
    bool HasTimer(const std::string& name) const { return timers.count(name) != 0; }

    // Event delivery and resource observation.
    template <typename Payload, typename Function>
    void HandleEvent(const std::string& name, Function function, std::uint32_t flags) {
        RegisterEventHandler<Payload>(name, std::move(function), flags);
    }
    std::size_t EventHandlerCount() const { return eventHandlers.size(); }
    void ForgetEventHandler(const std::string& name) { eventHandlers.erase(name); }
    std::uint64_t ResourceSubscriptionCount(const std::string& channel) const {
        const auto found = resourceSubscriptions.find(channel);
        return found == resourceSubscriptions.end() ? 0 : found->second;
    }
    std::size_t ObserverCount() const { return exactObservers.size() + patternObservers.size(); }
};

inline void LoadTestModule(PluginLoadBlock* block) {
    ConstructPlugin<TestModule>(*block, "test-module");
}

class HostedModuleTest : public ::testing::Test {
protected:
    void SetUp() override {
        Platform::SetClockSource(&TestHost::Host::ReadClock, &host);
        TestHost::LoadResult loaded = TestHost::LoadModule(host, &LoadTestModule);
        ASSERT_TRUE(loaded.module) << loaded.error;
        module = std::move(loaded.module);
        ASSERT_TRUE(module->Attach());
        plugin = static_cast<TestModule*>(static_cast<AppModule*>(module->Block().module));
    }
    void TearDown() override {
        module.reset();
        Platform::ResetClockSource();
    }

    // Runs `work` as one call of the host into the module, as a host callback would.
    template <typename Work>
    void InModule(Work&& work) {
        TestHost::Host::ModuleCall call(host, module->ClientId());
        work();
    }

    double Seconds() const { return static_cast<double>(host.Now()) * 1e-9; }

    TestHost::Host host;
    std::unique_ptr<TestHost::Module> module;
    TestModule* plugin = nullptr;
};

}  // namespace Tavix::Client::Testing
