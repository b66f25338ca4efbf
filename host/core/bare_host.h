#pragma once
// The least a host can be, for benchmarks and fuzzers that time or hammer one module alone: it
// keeps the module's subscriptions and scheduled callbacks, answers every request with a
// failure, drops events and log lines, and has a clock that moves only when told. It records
// nothing and copies nothing, so that what is measured is the module's own work.
//
// Single-threaded; one module per host.

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "arx/host_boundary.h"

namespace Tavix::TestHost {

class BareHost {
public:
    BareHost();
    ~BareHost();
    BareHost(const BareHost&) = delete;
    BareHost& operator=(const BareHost&) = delete;

    // Loads the module through its export and attaches it. Returns the module's object, or null
    // when the module refused.
    void* Attach(Client::PluginExportFunction exportFunction);
    // Shuts the module down; also done by the destructor.
    void Shutdown();

    // Calls the module's handler of `name`, when it subscribed to it, with `payload`.
    bool Deliver(const std::string& name, const Client::HostValue& payload);
    // Moves the clock by `seconds` and runs, in due order, what comes due on the way; callbacks
    // scheduled meanwhile run too when due. Stops after `limit` callbacks.
    std::size_t Advance(double seconds, std::size_t limit = 1000);
    // Runs the earliest pending callback whenever it is due, without moving the clock; false
    // when none is pending. For timing a module's callback on its own.
    bool RunNext();
    std::int64_t Now() const { return now_; }
    // A clock source over this host's time, for a module linked into the same program.
    static std::int64_t ReadClock(void* host);

    std::size_t PendingCallbacks() const { return callbacks_.size(); }
    std::size_t RequestsRefused() const { return requests_; }

private:
    struct Table {
        Client::HostOperations operations;
        BareHost* host;
    };
    struct Subscription {
        Client::HostEventCallback callback = nullptr;
        void* context = nullptr;
    };

    static BareHost& Of(Client::HostOperations* operations);

    Table table_;
    Client::PluginLoadBlock block_{};
    Client::HostInterface interface_{};
    bool attached_ = false;
    std::int64_t now_ = 0;
    std::uint64_t sequence_ = 0;
    std::size_t requests_ = 0;
    std::map<std::string, Subscription> subscriptions_;
    std::map<std::pair<std::int64_t, std::uint64_t>,
             std::pair<Client::HostScheduledCallback, void*>>
        callbacks_;
};

}  // namespace Tavix::TestHost
