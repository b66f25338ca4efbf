#include "log/assertion.h"

#include "log/log.h"

namespace Tavix::Client {
namespace {

bool Present(const char* text) {
    return text != nullptr && text[0] != '\0';
}

}  // namespace

void FormatAssertion(std::string& out, const char* expression, const char* file, int line,
                     const char* function, const char* description) {
    out = "Assertion failed!\n\n";
    if (Present(file)) {
        out += "File: ";
        out += file;
        out += "\n";
    }
    if (line != 0) {
        out += "Line: ";
        out += std::to_string(line);
        out += "\n\n";
    }
    if (Present(function)) {
        out += "Function: ";
        out += function;
        out += "\n\n";
    }
    if (Present(expression)) {
        out += "Expression: ";
        out += expression;
    }
    if (Present(description)) {
        out += "\n\nDescription: ";
        out += description;
    }
}

void ReportAssertion(const char* expression, const char* description, const char* file, int line,
                     const char* function) {
    std::string report;
    FormatAssertion(report, expression, file, line, function, description);
    Log(LogLevel::Error, kLogGroupDbg, "%s", report.c_str());
}

}  // namespace Tavix::Client
