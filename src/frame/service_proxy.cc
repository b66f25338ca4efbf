#include "frame/service_proxy.h"

#include <utility>

#include "frame/diagnostics.h"
#include "log/log.h"
#include "support/format.h"

namespace Tavix::Client {

namespace {

std::string MethodKey(const PluginServiceProxyResponse& response) {
    return Format("%1.%2", response.serviceName, response.methodName);
}

}  // namespace

void AppClient::SubscribeServiceProxyEvents() {
    RegisterEventHandler<PluginServiceProxyResponse>(
        kServiceProxyUuidEventName,
        [this](const PluginServiceProxyResponse& response) { OnServiceProxyUuid(response); }, 1);
    RegisterEventHandler<PluginServiceProxyResponse>(
        kServiceProxyMethodEventName,
        [this](const PluginServiceProxyResponse& response) { OnServiceProxyMethod(response); }, 1);
    RegisterEventHandler<PluginServiceProxyResponse>(
        kServiceProxyAsyncEventName,
        [this](const PluginServiceProxyResponse& response) { OnServiceProxyAsync(response); }, 1);
}

void AppClient::RegisterServiceProxyRequest(const std::string& key, ServiceProxyFunction function) {
    std::lock_guard<std::mutex> guard(serviceProxyLock);
    serviceProxyRequests[key] = std::move(function);
}

void AppClient::RegisterServiceProxyAsyncHandler(const std::string& key,
                                                 ServiceProxyFunction function) {
    std::lock_guard<std::mutex> guard(serviceProxyLock);
    serviceProxyAsyncHandlers[key] = std::move(function);
}

std::size_t AppClient::UnclaimedServiceProxyResponses() {
    std::lock_guard<std::mutex> guard(serviceProxyLock);
    return serviceProxyResponses.size();
}

void AppClient::OnServiceProxyUuid(const PluginServiceProxyResponse& response) {
    StoreServiceProxyResponse(response.uuid, response);
    FulfilServiceProxyRequest();
}

void AppClient::OnServiceProxyMethod(const PluginServiceProxyResponse& response) {
    StoreServiceProxyResponse(MethodKey(response), response);
    FulfilServiceProxyRequest();
}

void AppClient::OnServiceProxyAsync(const PluginServiceProxyResponse& response) {
    const std::string key = MethodKey(response);
    std::lock_guard<std::mutex> guard(serviceProxyLock);
    const auto found = serviceProxyAsyncHandlers.find(key);
    if (found == serviceProxyAsyncHandlers.end()) {
        Log(LogLevel::Error, kLogGroupDbg,
            "%s: Could not find registered handler for async service proxy event %s",
            shortName.c_str(), key.c_str());
        return;
    }
    found->second(response);
}

// The latest response of a key replaces the earlier one and counts as the newest arrival.
void AppClient::StoreServiceProxyResponse(const std::string& key,
                                          const PluginServiceProxyResponse& response) {
    std::lock_guard<std::mutex> guard(serviceProxyLock);
    PendingServiceProxyResponse& pending = serviceProxyResponses[key];
    if (pending.arrival != 0) {
        serviceProxyArrivals.erase(pending.arrival);
    }
    pending.response = response;
    pending.arrival = ++nextServiceProxyArrival;
    serviceProxyArrivals.emplace(pending.arrival, key);

    while (serviceProxyResponses.size() > kServiceProxyResponseCap) {
        const auto oldest = serviceProxyArrivals.begin();
        FrameDiagnostic("%s: Dropping unclaimed service proxy response: %s", shortName.c_str(),
                        oldest->second.c_str());
        serviceProxyResponses.erase(oldest->second);
        serviceProxyArrivals.erase(oldest);
    }
}

// Matches at most one stored response with its request per call, in the table's order.
void AppClient::FulfilServiceProxyRequest() {
    std::lock_guard<std::mutex> guard(serviceProxyLock);
    for (const auto& [storedKey, pending] : serviceProxyResponses) {
        const auto request = serviceProxyRequests.find(storedKey);
        if (request == serviceProxyRequests.end()) {
            continue;
        }
        const std::string key = storedKey;
        const PendingServiceProxyResponse answer = pending;
        const ServiceProxyFunction function = std::move(request->second);
        function(answer.response);
        Log(LogLevel::Always, kLogGroupDbg, "%s: Fulfilled service proxy request: %s",
            shortName.c_str(), key.c_str());
        serviceProxyRequests.erase(key);
        serviceProxyArrivals.erase(answer.arrival);
        serviceProxyResponses.erase(key);
        return;
    }
}

void AppClient::ClearServiceProxyTables() {
    std::lock_guard<std::mutex> guard(serviceProxyLock);
    serviceProxyRequests.Reset();
    serviceProxyAsyncHandlers.Reset();
    serviceProxyResponses.Reset();
    serviceProxyArrivals.clear();
}

}  // namespace Tavix::Client
