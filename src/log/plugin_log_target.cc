#include "log/plugin_log_target.h"

#include "arx/host_boundary.h"

namespace Tavix::Client {

PluginLogTarget::PluginLogTarget(HostOperations* host) : host_(host) {}

// Detaching here, while the object is still whole, keeps the core from writing through a
// half-destroyed target.
PluginLogTarget::~PluginLogTarget() {
    Detach();
}

const char* PluginLogTarget::GetName() const {
    return "PluginLogTarget";
}

bool PluginLogTarget::Write(const LogMessage& message) {
    if (host_ == nullptr || host_->WriteLog == nullptr) {
        return false;
    }
    std::lock_guard<std::recursive_mutex> guard(Lock());
    host_->WriteLog(host_, static_cast<std::int32_t>(message.level),
                    message.text != nullptr ? message.text : "");
    return true;
}

}  // namespace Tavix::Client
