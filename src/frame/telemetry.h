#pragma once
// The frame's one-line report of a named event with string properties to the host's telemetry
// endpoint. Fire-and-forget for its callers: a failure ends in the returned future and nowhere
// else.

#include <future>
#include <string>

#include "support/failure.h"
#include "support/fnv1a.h"
#include "support/maybe_type.h"

namespace Tavix::Client {

class AppClient;

using TelemetryProperties = FrameHashMap<std::string, std::string>;

class TelemetryClient {
public:
    explicit TelemetryClient(AppClient* client) : client_(client) {}
    virtual ~TelemetryClient() = default;
    TelemetryClient(const TelemetryClient&) = delete;
    TelemetryClient& operator=(const TelemetryClient&) = delete;

    // POSTs the properties as one structure of string fields to "/telemetry/v1/events/" followed
    // by `name`, unescaped. The future is complete when this returns.
    virtual std::future<MaybeType<Failure, void>> SendTelemetry(
        const std::string& name, const TelemetryProperties& properties);

private:
    AppClient* client_;
};

}  // namespace Tavix::Client
