#pragma once
// Plays the module in host tests: calls the host only through the operation table, the way a
// plug-in does, with closures standing in for the module's callbacks.

#include <cstring>
#include <functional>
#include <list>
#include <string>
#include <vector>

#include "arx/host_boundary.h"
#include "core/host.h"
#include "core/value.h"

namespace Tavix::TestHost {

class ModuleSide {
public:
    explicit ModuleSide(Host& host, std::uint32_t clientId = 7)
        : operations_(host.Operations()), clientId_(clientId) {}

    std::uint32_t ClientId() const { return clientId_; }
    Client::HostOperations* Operations() const { return operations_; }

    void Schedule(const char* description, double delaySeconds, std::function<void()> work) {
        jobs_.push_back(std::move(work));
        operations_->ScheduleCallback(operations_, description, &RunJob, &jobs_.back(),
                                      delaySeconds, 0);
    }

    void Subscribe(const char* name, std::uint32_t flags,
                   std::function<void(const Client::HostEvent&)> handler) {
        handlers_.push_back(std::move(handler));
        operations_->SubscribeToEvent(operations_, name, clientId_, &OnEvent, &handlers_.back(),
                                      flags);
    }

    void Unsubscribe(const char* name) {
        operations_->UnsubscribeFromEvent(operations_, name, clientId_);
    }

    void SendEvent(const char* name, const Client::HostValue& payload) {
        Client::HostEvent event{};
        event.name = name;
        event.payload = payload;
        operations_->SendEvent(operations_, &event);
    }

    // Sends with no parameters; the caller releases the response.
    void Request(std::uint32_t method, const char* url, Client::HostResponse& response) {
        Client::HostRequest request{};
        request.method = method;
        request.url = url;
        request.clientId = clientId_;
        std::memset(static_cast<void*>(&response), 0, sizeof response);
        operations_->SendRequest(operations_, &response, &request);
    }

    // Sends `parameters`, unnamed and in order, as a module calls a neighbour's route; the caller
    // releases the response.
    void Request(std::uint32_t method, const char* url, const std::vector<Value>& parameters,
                 Client::HostResponse& response) {
        ValueArena arena;
        std::vector<Client::HostParameter> built;
        for (const Value& parameter : parameters) {
            built.push_back({nullptr, arena.Build(parameter)});
        }
        Client::HostRequest request{};
        request.method = method;
        request.url = url;
        request.parameters = built.data();
        request.parameterCount = static_cast<std::uint32_t>(built.size());
        request.clientId = clientId_;
        std::memset(static_cast<void*>(&response), 0, sizeof response);
        operations_->SendRequest(operations_, &response, &request);
    }

    void Yield() { operations_->YieldToHost(operations_); }
    void BeginWait(const char* label) { operations_->BeginWait(operations_, label, 0); }
    void EndWait() { operations_->EndWait(operations_); }
    void Log(std::int32_t level, const char* text) {
        operations_->WriteLog(operations_, level, text);
    }

private:
    static void RunJob(void* context) { (*static_cast<std::function<void()>*>(context))(); }
    static void OnEvent(const Client::HostEvent* event) {
        (*static_cast<std::function<void(const Client::HostEvent&)>*>(event->context))(*event);
    }

    Client::HostOperations* operations_;
    std::uint32_t clientId_;
    // Lists: the host holds addresses of their elements.
    std::list<std::function<void()>> jobs_;
    std::list<std::function<void(const Client::HostEvent&)>> handlers_;
};

inline Client::HostValue BorrowedText(const char* text) {
    Client::HostValue value;
    std::memset(static_cast<void*>(&value), 0, sizeof value);
    value.tag = Client::kHostValueBorrowedString;
    value.payload.text.data = text;
    value.payload.text.length = static_cast<std::uint32_t>(std::strlen(text));
    return value;
}

}  // namespace Tavix::TestHost
