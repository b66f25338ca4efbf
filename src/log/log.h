#pragma once

#include <cstdarg>

#include "log/log_groups.h"
#include "log/log_level.h"

namespace Tavix::Client {

// Logs a printf-style message with a level and a set of groups (usually kLogGroupDbg). A message
// below the core's level, carrying an ignored group, or sent while the log is disabled costs
// three compares and is never formatted. A text longer than 4095 bytes is cut.
void Log(LogLevel level, LogGroupMask mask, const char* format, ...)
    __attribute__((format(printf, 3, 4)));

void LogV(LogLevel level, LogGroupMask mask, const char* format, va_list arguments)
    __attribute__((format(printf, 3, 0)));

}  // namespace Tavix::Client
