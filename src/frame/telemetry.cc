#include "frame/telemetry.h"

#include "frame/app_client.h"
#include "frame/resource_client.h"

namespace Tavix::Client {

namespace {

constexpr const char* kTelemetryRoute = "/telemetry/v1/events/";

}  // namespace

std::future<MaybeType<Failure, void>> TelemetryClient::SendTelemetry(
    const std::string& name, const TelemetryProperties& properties) {
    std::promise<MaybeType<Failure, void>> promise;
    promise.set_value(client_->Request(kMethodPost, kTelemetryRoute + name, properties));
    return promise.get_future();
}

}  // namespace Tavix::Client
