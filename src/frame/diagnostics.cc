#include "frame/diagnostics.h"

namespace Tavix::Client {
namespace {

FrameDiagnosticSink gSink = nullptr;
void* gSinkContext = nullptr;

}  // namespace

void FrameDiagnostic(const char* format, ...) {
    if (gSink == nullptr) {
        return;
    }
    std::va_list arguments;
    va_start(arguments, format);
    gSink(gSinkContext, format, arguments);
    va_end(arguments);
}

bool IsFrameDiagnosticSinkInstalled() {
    return gSink != nullptr;
}

void SetFrameDiagnosticSink(FrameDiagnosticSink sink, void* context) {
    gSink = sink;
    gSinkContext = sink != nullptr ? context : nullptr;
}

}  // namespace Tavix::Client
