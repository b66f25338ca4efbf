#include "log/log_interface.h"

#include "log/line_format.h"
#include "log/log.h"
#include "log/log_core.h"

namespace Tavix::Client {
namespace {

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
    EntryGetInterfaceVersion,
    LogCore::AddReference,
    LogCore::ReleaseReference,
    LogCore::SetLevel,
    LogCore::GetLevel,
    LogCore::SetIgnoredGroups,
    LogCore::GetIgnoredGroups,
    LogCore::Disable,
    LogCore::Enable,
    LogCore::SetReservedFlag,
    LogCore::ClearReservedFlag,
    LogCore::AddTarget,
    LogCore::RemoveTarget,
    LogCore::FindTarget,
    LogCore::GetStdOutTarget,
    LogCore::GetStdErrTarget,
    LogCore::GetDebuggerTarget,
    RegisterGroup,
    EntryGroupNames,
    EntryFormatLine,
    LevelName,
    LogCore::GetExecutableName,
    EntryGetLocalTime,
    EntryFormatTimestamp,
    EntryFormatFileTimestamp,
    EntryLog,
};

}  // namespace

const LogInterface* GetLogInterface() {
    return &kLogEntries;
}

}  // namespace Tavix::Client
