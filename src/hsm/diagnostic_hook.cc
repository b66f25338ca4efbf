#include "hsm/diagnostic_hook.h"

#include "support/diagnostic_hook.h"

namespace Tavix::Hsm {
namespace {

Client::DiagnosticHook gHook;

}  // namespace

void ReportDiagnostic(const char* format, ...) {
    if (!gHook.IsInstalled()) {
        return;
    }
    std::va_list arguments;
    va_start(arguments, format);
    gHook.Report(format, arguments);
    va_end(arguments);
}

bool IsDiagnosticSinkInstalled() {
    return gHook.IsInstalled();
}

void SetDiagnosticSink(DiagnosticSink sink, void* context) {
    gHook.Install(sink, context);
}

}  // namespace Tavix::Hsm
