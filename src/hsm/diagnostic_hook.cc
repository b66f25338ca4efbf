#include "hsm/diagnostic_hook.h"

namespace Tavix::Hsm {
namespace {

DiagnosticSink gSink = nullptr;
void* gSinkContext = nullptr;

}  // namespace

void ReportDiagnostic(const char* format, ...) {
    if (gSink == nullptr) {
        return;
    }
    std::va_list arguments;
    va_start(arguments, format);
    gSink(gSinkContext, format, arguments);
    va_end(arguments);
}

bool IsDiagnosticSinkInstalled() {
    return gSink != nullptr;
}

void SetDiagnosticSink(DiagnosticSink sink, void* context) {
    gSink = sink;
    gSinkContext = sink != nullptr ? context : nullptr;
}

}  // namespace Tavix::Hsm
