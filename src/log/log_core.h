#pragma once

#include <cstdarg>
#include <mutex>

#include "log/log.h"
#include "log/log_groups.h"
#include "log/log_level.h"
#include "log/log_target.h"

namespace Tavix::Client {

// The process-wide log: its settings, its list of targets and the three built-in targets. The
// object behind these operations is created on first use (a reference or a message) and
// destroyed when the last reference is released; the next use creates a fresh one with the
// defaults: level WARN, group "XTR" ignored, the StdErr and Debugger targets attached.
//
// The operations that change the core create it when it does not exist; RemoveTarget does
// nothing then.
class LogCore {
public:
    LogCore() = delete;

    static void AddReference();
    static void ReleaseReference();

    static void SetLevel(LogLevel level);
    static LogLevel GetLevel();
    static void SetIgnoredGroups(LogGroupMask mask);
    static LogGroupMask GetIgnoredGroups();
    static void Disable();
    static void Enable();
    // A flag kept for the interface table; nothing reads it.
    static void SetReservedFlag();
    static void ClearReservedFlag();

    // Appends `target` to the list, even if it is there already.
    static void AddTarget(LogTargetInterface* target);
    // Removes every occurrence of `target`.
    static void RemoveTarget(LogTargetInterface* target);
    // The first attached target whose name equals `name` exactly, or null.
    static LogTargetInterface* FindTarget(const char* name);

    static LogTargetInterface* GetStdOutTarget();
    static LogTargetInterface* GetStdErrTarget();
    static LogTargetInterface* GetDebuggerTarget();

    // The executable's file name, "<unknown>" when it cannot be read or no core exists.
    static const char* GetExecutableName();

    // The lock held while messages go to the targets. Recursive: a target may log.
    static std::recursive_mutex& Lock();

    // Whether the process-wide object exists now, and how many references hold it.
    static bool Exists();
    static int ReferenceCount();

    // The process-wide object itself; only this library sees its fields.
    struct State;

private:
    friend void LogV(LogLevel, LogGroupMask, const char*, va_list);
    static State* Current();
    static State* CurrentOrCreate();
    static void Dispatch(State* core, LogLevel level, LogGroupMask mask, const char* format,
                         va_list arguments);
};

}  // namespace Tavix::Client
