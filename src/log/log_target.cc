#include "log/log_target.h"

#include "log/line_format.h"
#include "log/log_core.h"

namespace Tavix::Client {
namespace {

LogTarget* Owner(LogTargetInterface* self) {
    return LogTarget::FromInterface(self);
}

std::int32_t EntryGetVersion(LogTargetInterface*) {
    return kLogTargetInterfaceVersion;
}
void EntrySetLevel(LogTargetInterface* self, LogLevel level) {
    Owner(self)->SetLevel(level);
}
LogLevel EntryGetLevel(LogTargetInterface* self) {
    return Owner(self)->Level();
}
void EntrySetGroups(LogTargetInterface* self, LogGroupMask included, LogGroupMask excluded) {
    Owner(self)->SetGroups(included, excluded);
}
LogGroupMask EntryGetIncludedGroups(LogTargetInterface* self) {
    return Owner(self)->IncludedGroups();
}
LogGroupMask EntryGetExcludedGroups(LogTargetInterface* self) {
    return Owner(self)->ExcludedGroups();
}
const char* EntryGetName(LogTargetInterface* self) {
    return Owner(self)->GetName();
}
const char* EntryGetFormat(LogTargetInterface* self, const LogMessage* message) {
    return Owner(self)->GetFormat(*message);
}
void EntryAttach(LogTargetInterface* self) {
    Owner(self)->Attach();
}
void EntryDetach(LogTargetInterface* self) {
    Owner(self)->Detach();
}
bool EntryIsAttached(LogTargetInterface* self) {
    return Owner(self)->IsAttached();
}
bool EntryWrite(LogTargetInterface* self, const LogMessage* message) {
    return message != nullptr && Owner(self)->Write(*message);
}

constexpr LogTargetInterface kTargetEntries = {
    EntryGetVersion,        EntrySetLevel, EntryGetLevel,  EntrySetGroups, EntryGetIncludedGroups,
    EntryGetExcludedGroups, EntryGetName,  EntryGetFormat, EntryAttach,    EntryDetach,
    EntryIsAttached,        EntryWrite,
};

}  // namespace

LogTarget::LogTarget() : interface_{kTargetEntries, this}, format_(kDefaultLogLayout) {}

LogTarget::~LogTarget() {
    Detach();
}

void LogTarget::Close() {
    Detach();
}

const char* LogTarget::GetName() const {
    return "LogTarget";
}

const char* LogTarget::GetFormat(const LogMessage&) const {
    return format_.c_str();
}

void LogTarget::SetLevel(LogLevel level) {
    std::lock_guard<std::recursive_mutex> guard(lock_);
    level_.store(level, std::memory_order_relaxed);
}

void LogTarget::SetGroups(LogGroupMask included, LogGroupMask excluded) {
    std::lock_guard<std::recursive_mutex> guard(lock_);
    included_.store(included & ~excluded, std::memory_order_relaxed);
    excluded_.store(excluded, std::memory_order_relaxed);
}

void LogTarget::Attach() {
    std::lock_guard<std::recursive_mutex> coreGuard(LogCore::Lock());
    if (!attached_.load(std::memory_order_relaxed)) {
        attached_.store(true, std::memory_order_release);
        LogCore::AddTarget(Interface());
    }
}

void LogTarget::Detach() {
    // Without a core nothing holds the target; the flag is already clear then, because the
    // core detaches every target before it goes.
    if (!attached_.load(std::memory_order_acquire) || !LogCore::Exists()) {
        attached_.store(false, std::memory_order_release);
        return;
    }
    std::lock_guard<std::recursive_mutex> coreGuard(LogCore::Lock());
    if (attached_.load(std::memory_order_relaxed)) {
        attached_.store(false, std::memory_order_release);
        LogCore::RemoveTarget(Interface());
    }
}

LogTarget* LogTarget::FromInterface(LogTargetInterface* table) {
    return table == nullptr ? nullptr : static_cast<BoundInterface*>(table)->owner;
}

void LogTarget::Configure(const LogTargetConfig& config) {
    std::lock_guard<std::recursive_mutex> guard(lock_);
    level_.store(config.level, std::memory_order_relaxed);
    format_ = config.format != nullptr ? config.format : "";
    SetGroups(config.includedGroups, config.excludedGroups);
}

void Install(LogTarget& target, const LogTargetConfig& config) {
    // The core's lock first: the layout changes here while no line is being rendered.
    std::lock_guard<std::recursive_mutex> coreGuard(LogCore::Lock());
    target.Detach();
    target.Configure(config);
    target.Attach();
    target.SetGroups(config.includedGroups, config.excludedGroups);
}

}  // namespace Tavix::Client
