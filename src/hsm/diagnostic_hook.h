#pragma once

#include <cstdarg>

namespace Tavix::Hsm {

// Where the machine's diagnostics end up. The product installs no sink, so the texts are dropped
// and the machine pays nothing to build them; a test installs one to read them.
using DiagnosticSink = void (*)(void* context, const char* format, std::va_list arguments);

// The one hook through which every diagnostic of the engine passes, with a printf format.
void ReportDiagnostic(const char* format, ...) __attribute__((format(printf, 1, 2)));

// Lets the machine skip turning events into text when nobody listens.
bool IsDiagnosticSinkInstalled();

// Replaces the sink, or removes it with a null sink. Not synchronised: install it before the
// machines run.
void SetDiagnosticSink(DiagnosticSink sink, void* context);

}  // namespace Tavix::Hsm
