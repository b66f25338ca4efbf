#include "core/bare_host.h"

#include <algorithm>
#include <cstring>

namespace Tavix::TestHost {

using Client::HostEvent;
using Client::HostOperations;

BareHost::BareHost() {
    std::memset(static_cast<void*>(&table_), 0, sizeof table_);
    table_.host = this;
    HostOperations& operations = table_.operations;
    operations.SendRequest = [](HostOperations* self, Client::HostResponse* response,
                                const Client::HostRequest*) {
        static const char kRefused[] = "refused by the bare host";
        ++Of(self).requests_;
        std::memset(static_cast<void*>(response), 0, sizeof *response);
        response->errorText = kRefused;
        response->status = 503;
    };
    operations.ReservedHostCall = [](HostOperations*, std::uintptr_t, std::uintptr_t) {};
    operations.SendEvent = [](HostOperations*, const HostEvent*) {};
    operations.SubscribeToEvent = [](HostOperations* self, const char* name, std::uint32_t,
                                     Client::HostEventCallback callback, void* context,
                                     std::uint32_t) {
        Of(self).subscriptions_[name] = {callback, context};
    };
    operations.UnsubscribeFromEvent = [](HostOperations* self, const char* name, std::uint32_t) {
        Of(self).subscriptions_.erase(name);
    };
    operations.ScheduleCallback = [](HostOperations* self, const char*,
                                     Client::HostScheduledCallback callback, void* context,
                                     double delaySeconds, std::uint32_t) {
        BareHost& host = Of(self);
        const auto delay = static_cast<std::int64_t>(delaySeconds > 0.0 ? delaySeconds * 1e9 : 0.0);
        host.callbacks_[{host.now_ + delay, host.sequence_++}] = {callback, context};
    };
    operations.YieldToHost = [](HostOperations*) {};
    operations.BeginWait = [](HostOperations*, const char*, std::uint32_t) {};
    operations.EndWait = [](HostOperations*) {};
    operations.WriteLog = [](HostOperations*, std::int32_t, const char*) {};
}

BareHost::~BareHost() {
    Shutdown();
}

BareHost& BareHost::Of(HostOperations* operations) {
    return *reinterpret_cast<Table*>(operations)->host;
}

std::int64_t BareHost::ReadClock(void* host) {
    return static_cast<BareHost*>(host)->now_;
}

void* BareHost::Attach(Client::PluginExportFunction exportFunction) {
    block_.major = 18;
    exportFunction(&block_);
    interface_.operations = &table_.operations;
    interface_.clientId = 1;
    attached_ =
        block_.operations != nullptr && block_.operations->Attach(block_.module, &interface_);
    return attached_ ? block_.module : nullptr;
}

void BareHost::Shutdown() {
    if (block_.operations != nullptr) {
        block_.operations->Shutdown(block_.module);
        block_.operations = nullptr;
    }
    attached_ = false;
    subscriptions_.clear();
    callbacks_.clear();
}

bool BareHost::Deliver(const std::string& name, const Client::HostValue& payload) {
    const auto found = subscriptions_.find(name);
    if (found == subscriptions_.end()) {
        return false;
    }
    HostEvent event{};
    event.name = found->first.c_str();
    event.payload = payload;
    event.context = found->second.context;
    found->second.callback(&event);
    return true;
}

bool BareHost::RunNext() {
    if (callbacks_.empty()) {
        return false;
    }
    const auto next = callbacks_.begin();
    const auto [callback, context] = next->second;
    callbacks_.erase(next);
    callback(context);
    return true;
}

std::size_t BareHost::Advance(double seconds, std::size_t limit) {
    const std::int64_t end = now_ + static_cast<std::int64_t>(seconds > 0.0 ? seconds * 1e9 : 0.0);
    std::size_t ran = 0;
    while (ran < limit && !callbacks_.empty() && callbacks_.begin()->first.first <= end) {
        const auto due = callbacks_.begin();
        now_ = std::max(now_, due->first.first);
        const auto [callback, context] = due->second;
        callbacks_.erase(due);
        callback(context);
        ++ran;
    }
    now_ = std::max(now_, end);
    return ran;
}

}  // namespace Tavix::TestHost
