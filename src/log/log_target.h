#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>
#include <string>

#include "log/log_groups.h"
#include "log/log_level.h"
#include "log/log_message.h"

namespace Tavix::Client {

// The table through which the core works on a target, possibly one of another module. Every
// entry takes the table's own address first.
struct LogTargetInterface {
    std::int32_t (*GetVersion)(LogTargetInterface* self);
    void (*SetLevel)(LogTargetInterface* self, LogLevel level);
    LogLevel (*GetLevel)(LogTargetInterface* self);
    void (*SetGroups)(LogTargetInterface* self, LogGroupMask included, LogGroupMask excluded);
    LogGroupMask (*GetIncludedGroups)(LogTargetInterface* self);
    LogGroupMask (*GetExcludedGroups)(LogTargetInterface* self);
    const char* (*GetName)(LogTargetInterface* self);
    const char* (*GetFormat)(LogTargetInterface* self, const LogMessage* message);
    void (*Attach)(LogTargetInterface* self);
    void (*Detach)(LogTargetInterface* self);
    bool (*IsAttached)(LogTargetInterface* self);
    bool (*Write)(LogTargetInterface* self, const LogMessage* message);
};

inline constexpr std::int32_t kLogTargetInterfaceVersion = 1;

struct LogTargetConfig {
    LogLevel level = LogLevel::Warn;
    LogGroupMask includedGroups = 0;
    LogGroupMask excludedGroups = 0;
    // A null layout counts as the empty one.
    const char* format = nullptr;
};

// A destination of log lines with its own level, group filter and line layout.
//
// Lock order: the core's lock, then a target's lock, never the other way. The core holds its
// lock while it writes to targets, so attaching, detaching and Install take the core's lock
// first and the target's lock only inside it.
class LogTarget {
public:
    LogTarget();
    LogTarget(const LogTarget&) = delete;
    LogTarget& operator=(const LogTarget&) = delete;
    // Detaches the target. By then the subclass is gone, so a subclass that can be attached while
    // another thread logs detaches in its own destructor.
    virtual ~LogTarget();

    // Detaches the target from the core; the object stays usable and can be attached again.
    virtual void Close();
    virtual const char* GetName() const;
    // The layout for this message; the base returns the configured one whatever the message.
    virtual const char* GetFormat(const LogMessage& message) const;
    virtual bool Write(const LogMessage& message) = 0;

    void SetLevel(LogLevel level);
    LogLevel Level() const { return level_.load(std::memory_order_relaxed); }
    // A bit in both masks ends up only in the excluded one.
    void SetGroups(LogGroupMask included, LogGroupMask excluded);
    // 0 means every group.
    LogGroupMask IncludedGroups() const { return included_.load(std::memory_order_relaxed); }
    LogGroupMask ExcludedGroups() const { return excluded_.load(std::memory_order_relaxed); }
    // Stores level, masks (by the rule of SetGroups) and layout without attaching. Meant for a
    // target that is not attached yet; an attached one takes new settings through Install.
    void Configure(const LogTargetConfig& config);
    void Attach();
    void Detach();
    bool IsAttached() const { return attached_.load(std::memory_order_acquire); }

    LogTargetInterface* Interface() { return &interface_; }
    // Only for tables that belong to a LogTarget of this library.
    static LogTarget* FromInterface(LogTargetInterface* table);

protected:
    std::recursive_mutex& Lock() { return lock_; }

private:
    struct BoundInterface : LogTargetInterface {
        LogTarget* owner;
    };

    BoundInterface interface_;
    std::atomic<bool> attached_{false};
    std::recursive_mutex lock_;
    std::atomic<LogLevel> level_{LogLevel::Warn};
    std::atomic<LogGroupMask> included_{0};
    std::atomic<LogGroupMask> excluded_{0};
    std::string format_;
};

// Replaces the target's settings and attaches it.
void Install(LogTarget& target, const LogTargetConfig& config);

}  // namespace Tavix::Client
