#include "log/log_interface.h"

#include "log/line_format.h"
#include "log/log.h"
#include "log/log_core.h"

namespace Tavix::Client {
namespace {

// Turns a function of the core into a table entry, which also receives the table.
template <auto Function>
struct Entry;

template <typename Result, typename... Arguments, Result (*Function)(Arguments...)>
struct Entry<Function> {
    static Result Call(const LogInterface*, Arguments... arguments) {
        return Function(arguments...);
    }
};

std::int32_t EntryGetInterfaceVersion() {
    return kLogInterfaceVersion;
}

void EntryFormatLine(char* buffer, std::size_t size, const char* layout,
                     const LogMessage* message) {
    if (message == nullptr) {
        const LogMessage empty{};
        FormatLine(buffer, size, layout, empty);
        return;
    }
    FormatLine(buffer, size, layout, *message);
}

void EntryGroupNames(char* buffer, std::size_t size, LogGroupMask mask) {
    GroupNames(buffer, size, mask);
}

void EntryGetLocalTime(Platform::LocalTime* time) {
    if (time != nullptr) {
        *time = Platform::CurrentLocalTime();
    }
}

int EntryFormatTimestamp(char* buffer, std::size_t size, const Platform::LocalTime* time) {
    return time != nullptr ? FormatTimestamp(buffer, size, *time) : 0;
}

int EntryFormatFileTimestamp(char* buffer, std::size_t size, const Platform::LocalTime* time) {
    return time != nullptr ? FormatFileTimestamp(buffer, size, *time) : 0;
}

void EntryLog(LogLevel level, std::uint32_t maskLow, std::uint32_t maskHigh, const char* format,
              va_list arguments) {
    LogV(level, (LogGroupMask{maskHigh} << 32) | maskLow, format, arguments);
}

constexpr LogInterface kLogEntries = {
    &Entry<EntryGetInterfaceVersion>::Call,
    &Entry<LogCore::AddReference>::Call,
    &Entry<LogCore::ReleaseReference>::Call,
    &Entry<LogCore::SetLevel>::Call,
    &Entry<LogCore::GetLevel>::Call,
    &Entry<LogCore::SetIgnoredGroups>::Call,
    &Entry<LogCore::GetIgnoredGroups>::Call,
    &Entry<LogCore::Disable>::Call,
    &Entry<LogCore::Enable>::Call,
    &Entry<LogCore::SetReservedFlag>::Call,
    &Entry<LogCore::ClearReservedFlag>::Call,
    &Entry<LogCore::AddTarget>::Call,
    &Entry<LogCore::RemoveTarget>::Call,
    &Entry<LogCore::FindTarget>::Call,
    &Entry<LogCore::GetStdOutTarget>::Call,
    &Entry<LogCore::GetStdErrTarget>::Call,
    &Entry<LogCore::GetDebuggerTarget>::Call,
    &Entry<RegisterGroup>::Call,
    &Entry<EntryGroupNames>::Call,
    &Entry<EntryFormatLine>::Call,
    &Entry<LevelName>::Call,
    &Entry<LogCore::GetExecutableName>::Call,
    &Entry<EntryGetLocalTime>::Call,
    &Entry<EntryFormatTimestamp>::Call,
    &Entry<EntryFormatFileTimestamp>::Call,
    &Entry<EntryLog>::Call,
};

}  // namespace

const LogInterface* GetLogInterface() {
    return &kLogEntries;
}

}  // namespace Tavix::Client
