#pragma once

#include <cstdarg>
#include <cstddef>
#include <cstdint>

#include "log/log_groups.h"
#include "log/log_level.h"
#include "log/log_message.h"
#include "log/log_target.h"
#include "platform/local_time.h"

namespace Tavix::Client {

// The whole surface of the log core as plain functions, so that code of another module can reach
// the core by this table alone. Like every table at a module boundary, each entry takes the
// table's own address first.
struct LogInterface;

struct LogInterface {
    std::int32_t (*GetInterfaceVersion)(const LogInterface* self);
    void (*AddReference)(const LogInterface* self);
    void (*ReleaseReference)(const LogInterface* self);
    void (*SetLevel)(const LogInterface* self, LogLevel level);
    LogLevel (*GetLevel)(const LogInterface* self);
    void (*SetIgnoredGroups)(const LogInterface* self, LogGroupMask mask);
    LogGroupMask (*GetIgnoredGroups)(const LogInterface* self);
    void (*Disable)(const LogInterface* self);
    void (*Enable)(const LogInterface* self);
    void (*SetReservedFlag)(const LogInterface* self);
    void (*ClearReservedFlag)(const LogInterface* self);
    void (*AddTarget)(const LogInterface* self, LogTargetInterface* target);
    void (*RemoveTarget)(const LogInterface* self, LogTargetInterface* target);
    LogTargetInterface* (*FindTarget)(const LogInterface* self, const char* name);
    LogTargetInterface* (*GetStdOutTarget)(const LogInterface* self);
    LogTargetInterface* (*GetStdErrTarget)(const LogInterface* self);
    LogTargetInterface* (*GetDebuggerTarget)(const LogInterface* self);
    void (*RegisterGroup)(const LogInterface* self, LogGroupMask* mask, const char* name);
    void (*GroupNames)(const LogInterface* self, char* buffer, std::size_t size, LogGroupMask mask);
    void (*FormatLine)(const LogInterface* self, char* buffer, std::size_t size, const char* layout,
                       const LogMessage* message);
    const char* (*LevelName)(const LogInterface* self, LogLevel level);
    const char* (*GetExecutableName)(const LogInterface* self);
    void (*GetLocalTime)(const LogInterface* self, Platform::LocalTime* time);
    int (*FormatTimestamp)(const LogInterface* self, char* buffer, std::size_t size,
                           const Platform::LocalTime* time);
    int (*FormatFileTimestamp)(const LogInterface* self, char* buffer, std::size_t size,
                               const Platform::LocalTime* time);
    // The mask travels as two 32-bit words, low then high.
    void (*Log)(const LogInterface* self, LogLevel level, std::uint32_t maskLow,
                std::uint32_t maskHigh, const char* format, va_list arguments);
};

inline constexpr std::int32_t kLogInterfaceVersion = 1;

// The library's one constant table.
const LogInterface* GetLogInterface();

}  // namespace Tavix::Client
