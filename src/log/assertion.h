#pragma once

#include <string>

namespace Tavix::Client {

// The text of an assertion report. Empty (or null) inputs and a line of 0 leave their paragraph
// out; the expression paragraph and the description paragraph are separated by a blank line.
void FormatAssertion(std::string& out, const char* expression, const char* file, int line,
                     const char* function, const char* description);

// Logs the report at level ERROR with group "DBG" and returns; stopping the process is the
// caller's business.
void ReportAssertion(const char* expression, const char* description, const char* file, int line,
                     const char* function);

}  // namespace Tavix::Client
