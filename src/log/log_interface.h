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
// the core by this table alone.
struct LogInterface {
    std::int32_t (*GetInterfaceVersion)();
    void (*AddReference)();
    void (*ReleaseReference)();
    void (*SetLevel)(LogLevel level);
    LogLevel (*GetLevel)();
    void (*SetIgnoredGroups)(LogGroupMask mask);
    LogGroupMask (*GetIgnoredGroups)();
    void (*Disable)();
    void (*Enable)();
    void (*SetReservedFlag)();
    void (*ClearReservedFlag)();
    void (*AddTarget)(LogTargetInterface* target);
    void (*RemoveTarget)(LogTargetInterface* target);
    LogTargetInterface* (*FindTarget)(const char* name);
    LogTargetInterface* (*GetStdOutTarget)();
    LogTargetInterface* (*GetStdErrTarget)();
    LogTargetInterface* (*GetDebuggerTarget)();
    void (*RegisterGroup)(LogGroupMask* mask, const char* name);
    void (*GroupNames)(char* buffer, std::size_t size, LogGroupMask mask);
    void (*FormatLine)(char* buffer, std::size_t size, const char* layout,
                       const LogMessage* message);
    const char* (*LevelName)(LogLevel level);
    const char* (*GetExecutableName)();
    void (*GetLocalTime)(Platform::LocalTime* time);
    int (*FormatTimestamp)(char* buffer, std::size_t size, const Platform::LocalTime* time);
    int (*FormatFileTimestamp)(char* buffer, std::size_t size, const Platform::LocalTime* time);
    // The mask travels as two 32-bit words, low then high.
    void (*Log)(LogLevel level, std::uint32_t maskLow, std::uint32_t maskHigh, const char* format,
                va_list arguments);
};

inline constexpr std::int32_t kLogInterfaceVersion = 1;

// The library's one constant table.
const LogInterface* GetLogInterface();

}  // namespace Tavix::Client
