#include "frame/diagnostics.h"

#include "support/diagnostic_hook.h"

namespace Tavix::Client {
namespace {

DiagnosticHook gHook;

}  // namespace

void FrameDiagnostic(const char* format, ...) {
    if (!gHook.IsInstalled()) {
        return;
    }
    std::va_list arguments;
    va_start(arguments, format);
    gHook.Report(format, arguments);
    va_end(arguments);
}

bool IsFrameDiagnosticSinkInstalled() {
    return gHook.IsInstalled();
}

void SetFrameDiagnosticSink(FrameDiagnosticSink sink, void* context) {
    gHook.Install(sink, context);
}

}  // namespace Tavix::Client
