#include "support/fatal.h"

#include <cerrno>
#include <cstdlib>

#include "log/assertion.h"
#include "log/log.h"

namespace Tavix::Client {

namespace {

// The thread's last system error at the moment of the report, kept where a core dump shows it.
volatile int lastErrorAtFatalReport = 0;

}  // namespace

void LogFatalMessage(const std::string& text) {
    Log(LogLevel::Error, kLogGroupDbg, "%s", text.c_str());
}

void FatalReport(const char* code) {
    lastErrorAtFatalReport = errno;
    ReportAssertion(code, "", "", 0, "");
    std::abort();
}

}  // namespace Tavix::Client
