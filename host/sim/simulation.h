#pragma once
// A plug-in on the simulated platform: the host on either clock, with the process's clock
// following it when it is virtual, the platform, the timeline, the calls a client makes to the
// plug-in's routes, and the running of the host's time.

#include <csignal>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "core/host.h"
#include "core/module.h"
#include "sim/platform_settings.h"
#include "sim/simulated_platform.h"
#include "sim/timeline.h"

namespace Tavix::TestHost {

// What a route of the plug-in answered.
struct RouteAnswer {
    // A function record took the call; nothing below is set when none did.
    bool called = false;
    bool ok = false;
    std::uint32_t status = 0;
    std::string error;
    Value value;
};

class Simulation {
public:
    enum class Until { Done, TimedOut, Stopped };

    Simulation(ClockMode clock, const PlatformSettings& settings);
    ~Simulation();
    Simulation(const Simulation&) = delete;
    Simulation& operator=(const Simulation&) = delete;

    Host& GetHost() { return host_; }
    SimulatedPlatform& Platform() { return platform_; }
    Timeline& GetTimeline() { return timeline_; }

    // The module whose routes Call() calls: loaded into GetHost(), and outliving every call.
    void Drive(Module& module) { module_ = &module; }

    // A client's request to the plug-in, told on the timeline with its answer. A body is JSON.
    RouteAnswer Call(const std::string& method, const std::string& url,
                     const std::optional<std::string>& body = std::nullopt);

    // Every run stops once `*flag` is non-zero, and at `seconds` from now.
    void StopOn(const volatile std::sig_atomic_t* flag) { stop_ = flag; }
    void EndAfter(double seconds);
    bool Ended() const;
    // Runs the host's time for `seconds`, or less at the end; false when a stop cut it short.
    bool Run(double seconds);
    // Runs the host's time until `done` holds, looking after every tenth of a second.
    Until RunUntil(const std::function<bool()>& done, double limitSeconds);

private:
    Host host_;
    Timeline timeline_;
    SimulatedPlatform platform_;
    Module* module_ = nullptr;
    const volatile std::sig_atomic_t* stop_ = nullptr;
    std::optional<double> end_;
};

}  // namespace Tavix::TestHost
