#include "sim/simulation.h"

#include <algorithm>

#include "sim/process_clock.h"

namespace Tavix::TestHost {

namespace {

constexpr double kLookEvery = 0.1;

std::uint32_t MethodCode(const std::string& method) {
    static const std::pair<const char*, std::uint32_t> kMethods[] = {
        {"GET", Client::kMethodGet},        {"POST", Client::kMethodPost},
        {"PUT", Client::kMethodPut},        {"DELETE", Client::kMethodDelete},
        {"PATCH", Client::kMethodPatch},    {"HEAD", Client::kMethodHead},
        {"OPTIONS", Client::kMethodOptions}};
    for (const auto& [name, code] : kMethods) {
        if (method == name) {
            return code;
        }
    }
    return Client::kMethodNamed;
}

}  // namespace

Simulation::Simulation(ClockMode clock, const PlatformSettings& settings)
    : host_(clock), timeline_(host_), platform_(host_, settings) {
    FollowHostClock(&host_);
    platform_.SetNarrator([this](const std::string& source, const std::string& text) {
        timeline_.Note(source, text);
    });
}

Simulation::~Simulation() {
    FollowHostClock(nullptr);
}

RouteAnswer Simulation::Call(const std::string& method, const std::string& url,
                             const std::optional<std::string>& body) {
    timeline_.Note("client", method + " " + url + (body ? " " + *body : ""));
    ApiCall call;
    call.method = MethodCode(method);
    if (call.method == Client::kMethodNamed) {
        call.methodName = method;
    }
    call.url = url;
    call.clientId = module_->ClientId();
    if (body) {
        call.contentType = "application/json";
        call.body = *body;
    }
    const ApiAnswer answer = module_->CallApi(call);
    RouteAnswer result;
    result.called = answer.called;
    result.ok = answer.called && !answer.error.has_value();
    result.status = answer.status;
    result.error = answer.error.value_or("");
    result.value = answer.value;
    if (!answer.called) {
        timeline_.Note("client", "-> the plug-in has no function for " + method + " " + url);
    } else if (!result.ok) {
        timeline_.Note("client",
                       "-> failed, " + std::to_string(result.status) + " \"" + result.error + "\"");
    } else if (result.value.tag != Client::kHostValueNone) {
        timeline_.Note("client", "-> ok: " + Timeline::Brief(result.value));
    } else {
        timeline_.Note("client", "-> ok");
    }
    return result;
}

void Simulation::EndAfter(double seconds) {
    end_ = timeline_.Seconds() + seconds;
}

bool Simulation::Ended() const {
    return (stop_ != nullptr && *stop_ != 0) || (end_ && timeline_.Seconds() >= *end_);
}

bool Simulation::Run(double seconds) {
    const double wanted = seconds;
    if (end_) {
        seconds = std::min(seconds, *end_ - timeline_.Seconds());
    }
    if (seconds > 0.0) {
        if (host_.Mode() == ClockMode::Virtual) {
            host_.AdvanceBy(seconds);
        } else {
            host_.RunRealTime(seconds, stop_);
        }
    } else {
        host_.RunUntilIdle();
    }
    timeline_.Flush();
    // The timeline keeps what it needs; the host's own record would only grow.
    host_.Calls().Clear();
    return seconds >= wanted && !Ended();
}

Simulation::Until Simulation::RunUntil(const std::function<bool()>& done, double limitSeconds) {
    const double start = timeline_.Seconds();
    while (!done()) {
        const double left = limitSeconds - (timeline_.Seconds() - start);
        if (left <= 0.0) {
            return Until::TimedOut;
        }
        if (!Run(std::min(kLookEvery, left))) {
            return done() ? Until::Done : Until::Stopped;
        }
    }
    return Until::Done;
}

}  // namespace Tavix::TestHost
