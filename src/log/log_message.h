#pragma once

#include "log/log_groups.h"
#include "log/log_level.h"
#include "platform/local_time.h"

namespace Tavix::Client {

// What a target receives for one message; valid only during the call.
struct LogMessage {
    Platform::LocalTime time;
    LogLevel level;
    LogGroupMask groups;
    const char* text;
};

}  // namespace Tavix::Client
