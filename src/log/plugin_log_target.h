#pragma once

#include "log/log_target.h"

namespace Tavix::Client {

struct HostOperations;

// Hands each message's level and text to the host's log. The host formats the line itself, so
// the layout set on this target changes nothing of what the host receives.
class PluginLogTarget : public LogTarget {
public:
    explicit PluginLogTarget(HostOperations* host);
    ~PluginLogTarget() override;

    const char* GetName() const override;
    // False only without a host or without a log entry in its table.
    bool Write(const LogMessage& message) override;

private:
    HostOperations* host_;
};

}  // namespace Tavix::Client
