#include "log/log_core.h"

#include <atomic>
#include <cstdio>
#include <cstring>
#include <new>
#include <vector>

#include "log/console_log_targets.h"
#include "log/line_format.h"
#include "log/log.h"
#include "platform/executable_path.h"
#include "platform/local_time.h"

namespace Tavix::Client {

struct LogCore::State {
    State();

    std::recursive_mutex lock;
    std::vector<LogTargetInterface*> targets;
    bool reservedFlag = false;
    // Read without the lock by every message; relaxed access suffices, a change may be seen late.
    std::atomic<bool> disabled{false};
    std::atomic<LogLevel> level{LogLevel::Warn};
    std::atomic<LogGroupMask> ignoredGroups{kLogGroupXtr};
    char executablePath[Platform::kExecutablePathSize] = {};
    const char* executableName = "<unknown>";
    StdErrLogTarget stdErrTarget;
    StdOutLogTarget stdOutTarget;
    DebuggerConsoleLogTarget debuggerTarget;
};

namespace {

std::atomic<LogCore::State*> current{nullptr};
std::atomic<int> references{0};
// Serialises creation and destruction only; messages never take it.
std::mutex lifecycle;

bool Accepts(LogTargetInterface* target, LogLevel level, LogGroupMask mask) {
    if (level < target->GetLevel(target)) {
        return false;
    }
    // A message without groups passes every group filter.
    if (mask == 0) {
        return true;
    }
    if ((mask & target->GetExcludedGroups(target)) != 0) {
        return false;
    }
    const LogGroupMask included = target->GetIncludedGroups(target);
    return included == 0 || (mask & included) != 0;
}

}  // namespace

LogCore::State::State() {
    stdErrTarget.Configure(
        LogTargetConfig{LogLevel::Warn, kLogGroupDbg, kLogGroupGen, kConsoleLogLayout});
    stdOutTarget.Configure(
        LogTargetConfig{LogLevel::Warn, kLogGroupGen, kLogGroupDbg, kMessageOnlyLogLayout});
    debuggerTarget.Configure(LogTargetConfig{LogLevel::Warn, kLogGroupDbg, 0, kConsoleLogLayout});
    std::lock_guard<std::recursive_mutex> guard(lock);
    if (Platform::ReadExecutablePath(executablePath, sizeof executablePath) > 0) {
        executableName = Platform::FileNamePart(executablePath);
    }
}

LogCore::State* LogCore::Current() {
    return current.load(std::memory_order_acquire);
}

LogCore::State* LogCore::CurrentOrCreate() {
    State* core = current.load(std::memory_order_acquire);
    if (core != nullptr) {
        return core;
    }
    std::lock_guard<std::mutex> guard(lifecycle);
    core = current.load(std::memory_order_acquire);
    if (core != nullptr) {
        return core;
    }
    core = new (std::nothrow) State();
    if (core == nullptr) {
        return nullptr;
    }
    current.store(core, std::memory_order_release);
    core->stdErrTarget.Attach();
    core->debuggerTarget.Attach();
    return core;
}

void LogCore::AddReference() {
    references.fetch_add(1, std::memory_order_acq_rel);
    CurrentOrCreate();
}

void LogCore::ReleaseReference() {
    int count = references.load(std::memory_order_acquire);
    do {
        if (count <= 0) {
            return;
        }
    } while (!references.compare_exchange_weak(count, count - 1, std::memory_order_acq_rel));
    if (count != 1) {
        return;
    }
    std::lock_guard<std::mutex> guard(lifecycle);
    State* core = current.load(std::memory_order_acquire);
    // A reference taken since the count reached 0 keeps the core.
    if (core == nullptr || references.load(std::memory_order_acquire) != 0) {
        return;
    }
    {
        std::lock_guard<std::recursive_mutex> coreGuard(core->lock);
        // Each target detaches itself and so leaves the list; the copy keeps the walk stable.
        const std::vector<LogTargetInterface*> attached = core->targets;
        for (auto target = attached.rbegin(); target != attached.rend(); ++target) {
            (*target)->Detach(*target);
        }
        core->targets.clear();
    }
    current.store(nullptr, std::memory_order_release);
    delete core;
}

void LogCore::SetLevel(LogLevel level) {
    if (State* core = CurrentOrCreate()) {
        std::lock_guard<std::recursive_mutex> guard(core->lock);
        core->level.store(level, std::memory_order_relaxed);
    }
}

LogLevel LogCore::GetLevel() {
    State* core = CurrentOrCreate();
    return core != nullptr ? core->level.load(std::memory_order_relaxed) : LogLevel::Warn;
}

void LogCore::SetIgnoredGroups(LogGroupMask mask) {
    if (State* core = CurrentOrCreate()) {
        std::lock_guard<std::recursive_mutex> guard(core->lock);
        core->ignoredGroups.store(mask, std::memory_order_relaxed);
    }
}

LogGroupMask LogCore::GetIgnoredGroups() {
    State* core = CurrentOrCreate();
    return core != nullptr ? core->ignoredGroups.load(std::memory_order_relaxed) : kLogGroupXtr;
}

void LogCore::Disable() {
    if (State* core = CurrentOrCreate()) {
        core->disabled.store(true, std::memory_order_relaxed);
    }
}

void LogCore::Enable() {
    if (State* core = CurrentOrCreate()) {
        core->disabled.store(false, std::memory_order_relaxed);
    }
}

void LogCore::SetReservedFlag() {
    if (State* core = CurrentOrCreate()) {
        std::lock_guard<std::recursive_mutex> guard(core->lock);
        core->reservedFlag = true;
    }
}

void LogCore::ClearReservedFlag() {
    if (State* core = CurrentOrCreate()) {
        std::lock_guard<std::recursive_mutex> guard(core->lock);
        core->reservedFlag = false;
    }
}

void LogCore::AddTarget(LogTargetInterface* target) {
    State* core = CurrentOrCreate();
    if (core == nullptr || target == nullptr) {
        return;
    }
    std::lock_guard<std::recursive_mutex> guard(core->lock);
    core->targets.push_back(target);
}

void LogCore::RemoveTarget(LogTargetInterface* target) {
    State* core = Current();
    if (core == nullptr) {
        return;
    }
    std::lock_guard<std::recursive_mutex> guard(core->lock);
    std::erase(core->targets, target);
}

LogTargetInterface* LogCore::FindTarget(const char* name) {
    State* core = CurrentOrCreate();
    if (core == nullptr || name == nullptr) {
        return nullptr;
    }
    std::lock_guard<std::recursive_mutex> guard(core->lock);
    for (LogTargetInterface* target : core->targets) {
        const char* targetName = target->GetName(target);
        if (targetName != nullptr && std::strcmp(targetName, name) == 0) {
            return target;
        }
    }
    return nullptr;
}

LogTargetInterface* LogCore::GetStdOutTarget() {
    State* core = CurrentOrCreate();
    return core != nullptr ? core->stdOutTarget.Interface() : nullptr;
}

LogTargetInterface* LogCore::GetStdErrTarget() {
    State* core = CurrentOrCreate();
    return core != nullptr ? core->stdErrTarget.Interface() : nullptr;
}

LogTargetInterface* LogCore::GetDebuggerTarget() {
    State* core = CurrentOrCreate();
    return core != nullptr ? core->debuggerTarget.Interface() : nullptr;
}

const char* LogCore::GetExecutableName() {
    State* core = Current();
    return core != nullptr ? core->executableName : "<unknown>";
}

std::recursive_mutex& LogCore::Lock() {
    State* core = CurrentOrCreate();
    if (core != nullptr) {
        return core->lock;
    }
    // Without memory for a core there is nothing to guard; callers still need a lock to hold.
    static std::recursive_mutex fallback;
    return fallback;
}

bool LogCore::Exists() {
    return Current() != nullptr;
}

int LogCore::ReferenceCount() {
    return references.load(std::memory_order_acquire);
}

// Kept out of line so that a filtered message does not pay for the frame that holds the text.
__attribute__((noinline)) void LogCore::Dispatch(State* core, LogLevel level, LogGroupMask mask,
                                                 const char* format, va_list arguments) {
    char text[kLogLineSize];
    std::vsnprintf(text, sizeof text, format != nullptr ? format : "", arguments);
    const LogMessage message{Platform::CurrentLocalTime(), level, mask, text};

    std::lock_guard<std::recursive_mutex> guard(core->lock);
    // By index, and without a copy: a target may detach itself while it writes, and then the
    // next target has moved into its place.
    std::size_t index = 0;
    while (index < core->targets.size()) {
        LogTargetInterface* target = core->targets[index];
        if (Accepts(target, level, mask)) {
            target->Write(target, &message);
        }
        if (index < core->targets.size() && core->targets[index] == target) {
            ++index;
        }
    }
}

void LogV(LogLevel level, LogGroupMask mask, const char* format, va_list arguments) {
    LogCore::State* core = current.load(std::memory_order_acquire);
    if (core == nullptr) {
        core = LogCore::CurrentOrCreate();
        if (core == nullptr) {
            return;
        }
    }
    if (core->disabled.load(std::memory_order_relaxed) ||
        level < core->level.load(std::memory_order_relaxed) ||
        (mask & core->ignoredGroups.load(std::memory_order_relaxed)) != 0) {
        return;
    }
    LogCore::Dispatch(core, level, mask, format, arguments);
}

void Log(LogLevel level, LogGroupMask mask, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    LogV(level, mask, format, arguments);
    va_end(arguments);
}

}  // namespace Tavix::Client
