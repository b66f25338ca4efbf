#include "log/console_log_targets.h"

#include <cstring>

#include "log/line_format.h"
#include "platform/debugger_console.h"

namespace Tavix::Client {

void BaseConsoleLogTarget::RenderLine(const LogMessage& message, char* line) const {
    FormatLine(line, kLogLineSize, GetFormat(message), message);
}

StdErrLogTarget::StdErrLogTarget(std::FILE* stream) : stream_(stream) {}

const char* StdErrLogTarget::GetName() const {
    return "StdErrLogTarget";
}

bool StdErrLogTarget::Write(const LogMessage& message) {
    char line[kLogLineSize];
    RenderLine(message, line);
    std::FILE* stream = stream_ != nullptr ? stream_ : stderr;
    std::lock_guard<std::recursive_mutex> guard(Lock());
    std::fwrite(line, 1, std::strlen(line), stream);
    return true;
}

void StdErrLogTarget::Flush() {
    std::lock_guard<std::recursive_mutex> guard(Lock());
    std::fflush(stream_ != nullptr ? stream_ : stderr);
}

StdOutLogTarget::StdOutLogTarget(std::FILE* stream) : stream_(stream) {}

const char* StdOutLogTarget::GetName() const {
    return "StdOutLogTarget";
}

bool StdOutLogTarget::Write(const LogMessage& message) {
    char line[kLogLineSize];
    RenderLine(message, line);
    std::FILE* stream = stream_ != nullptr ? stream_ : stdout;
    std::lock_guard<std::recursive_mutex> guard(Lock());
    std::fwrite(line, 1, std::strlen(line), stream);
    if (autoFlush) {
        std::fflush(stream);
    }
    return true;
}

void StdOutLogTarget::Flush() {
    std::lock_guard<std::recursive_mutex> guard(Lock());
    std::fflush(stream_ != nullptr ? stream_ : stdout);
}

const char* DebuggerConsoleLogTarget::GetName() const {
    return "DebuggerConsoleLogTarget";
}

bool DebuggerConsoleLogTarget::Write(const LogMessage& message) {
    char line[kLogLineSize];
    RenderLine(message, line);
    std::lock_guard<std::recursive_mutex> guard(Lock());
    Platform::WriteDebuggerConsole(line);
    return true;
}

void DebuggerConsoleLogTarget::Flush() {}

}  // namespace Tavix::Client
